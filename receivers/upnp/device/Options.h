#pragma once

#include <optional>
#include <string>
#include <vector>

namespace upnp {

struct Options {
  std::vector<std::string> interfaces;  ///< empty: all
  std::string name;
  std::string socket;
  std::string stateFolder;
  bool isTracing = false;
};

/// None if the program has to exit with `status`, after a help text or an error.
std::optional<Options> parseOptions(int count, char** arguments, int& status);

}  // namespace upnp
