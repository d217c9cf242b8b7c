#include <new>

#include "check/command.h"
#include "check/terminal.h"

int main(int argc, char** argv) {
  std::set_new_handler(CHECK_StopWithoutMemory);
  return CHECK_Run(argc, argv);
}
