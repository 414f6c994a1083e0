// vorlanectl: command line for a box.

#include <string>
#include <vector>

#include "tools/vorlanectl/Command.h"

int main(int argc, char** argv) {
  return vorlanectl::runCommandLine(
      std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
