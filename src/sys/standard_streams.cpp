#include "sys/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

bool SYS_OpenMissingStandardStreams() {
  int Descriptor = STDIN_FILENO;
  while (Descriptor >= 0 && Descriptor <= STDERR_FILENO) {
    Descriptor = open("/dev/null", O_RDWR);  // takes the lowest descriptor that is free
  }
  return Descriptor >= 0 && close(Descriptor) == 0;
}
