#pragma once

#include <string>

namespace tvvorlane {

/// Where this user's box has its door when it is not told otherwise.
std::string defaultSocket();

}  // namespace tvvorlane
