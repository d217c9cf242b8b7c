#include "sys/process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

bool SYS_OpenMissingStandardStreams() {
  for (int Descriptor = STDIN_FILENO; Descriptor <= STDERR_FILENO; ++Descriptor) {
    // The lowest free descriptor is the missing one: those below it are open.
    if (fcntl(Descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) != Descriptor) {
      return false;
    }
  }
  return true;
}

void SYS_IgnoreWriteSignals() {
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
}

void SYS_PrepareOutput() {}
