#include "app/run.h"
#include "sys/signals.h"

int main(int argc, char** argv) {
  SYS_IgnoreWriteSignals();
  return APP_Run(argc, argv);
}
