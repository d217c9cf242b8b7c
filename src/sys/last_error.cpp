#include "sys/last_error.h"

#include <cerrno>

int SYS_GetLastError() {
  return errno;
}
