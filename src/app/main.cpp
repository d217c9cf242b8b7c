#include "app/run.h"

int main(int argc, char** argv) {
  return APP_Run(argc, argv);
}
