#include "sys/process.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

/// Makes the C library expand * and ? in arguments, as shells do elsewhere.
extern "C" int _dowildcard;
int _dowildcard = -1;

namespace {

UINT OldCodePage;

void RestoreCodePage() {
  SetConsoleOutputCP(OldCodePage);
}

}  // namespace

bool SYS_OpenMissingStandardStreams() {
  return true;  // the C library never gives their numbers to other files
}

void SYS_IgnoreWriteSignals() {}

void SYS_PrepareOutput() {
  for (std::FILE* pStream : {stdout, stderr}) {
    _setmode(_fileno(pStream), _O_BINARY);
    std::setvbuf(pStream, nullptr, _IOFBF, BUFSIZ);  // single bytes of a character would not reach the console as one
  }
  OldCodePage = GetConsoleOutputCP();
  if (OldCodePage != 0 && SetConsoleOutputCP(GetACP()) != 0) {
    std::atexit(RestoreCodePage);
  }
}
