#include <new>

#include "check/terminal.h"
#include "convert/command.h"
#include "sys/process.h"

int main(int argc, char** argv) {
  if (!SYS_OpenMissingStandardStreams()) {
    return CHECK_UNREADABLE;
  }
  SYS_IgnoreWriteSignals();
  SYS_PrepareOutput();
  std::set_new_handler(CHECK_StopWithoutMemory);
  return CONVERT_Run(argc, argv);
}
