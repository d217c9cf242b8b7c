#include "app/run.h"
#include "sys/process.h"

int main(int argc, char** argv) {
  if (!SYS_OpenMissingStandardStreams()) {
    return 1;
  }
  SYS_IgnoreWriteSignals();
  SYS_PrepareOutput();
  return APP_Run(argc, argv);
}
