#include "check/command.h"

int main(int argc, char** argv) {
  return CHECK_Run(argc, argv);
}
