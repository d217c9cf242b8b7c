#include <new>

#include "check/command.h"
#include "check/terminal.h"
#include "sys/process.h"

int main(int argc, char** argv) {
  SYS_PrepareOutput();
  std::set_new_handler(CHECK_StopWithoutMemory);
  return CHECK_Run(argc, argv);
}
