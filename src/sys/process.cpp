#include "sys/signals.h"

#include <signal.h>

void SYS_IgnoreWriteSignals() {
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
}
