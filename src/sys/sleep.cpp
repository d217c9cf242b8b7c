#include "sys/sleep.h"

#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace {

uint64_t MonotonicMicroseconds() {
  timespec Now{};
  clock_gettime(CLOCK_MONOTONIC, &Now);
  return static_cast<uint64_t>(Now.tv_sec) * 1000000 + static_cast<uint64_t>(Now.tv_nsec) / 1000;
}

}  // namespace

void SYS_Sleep(uint32_t Milliseconds) {
  const uint32_t Total = Milliseconds * 1000;
  const uint64_t Start = MonotonicMicroseconds();
  uint32_t Rest = Total;
  while (usleep(Rest) != 0 && errno == EINTR) {
    const uint64_t Elapsed = MonotonicMicroseconds() - Start;
    if (Elapsed >= Total) {
      return;
    }
    Rest = Total - static_cast<uint32_t>(Elapsed);
  }
}
