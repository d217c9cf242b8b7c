#include "app/run.h"
#include "sys/signals.h"
#include "sys/standard_streams.h"

int main(int argc, char** argv) {
  if (!SYS_OpenMissingStandardStreams()) {
    return 1;
  }
  SYS_IgnoreWriteSignals();
  return APP_Run(argc, argv);
}
