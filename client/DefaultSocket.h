#pragma once

#include <string>

namespace tvvorlane {

/// Returns the default path of the box's socket for the current user.
std::string defaultSocket();

}  // namespace tvvorlane
