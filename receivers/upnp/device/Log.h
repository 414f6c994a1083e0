#pragma once

#include <string>

namespace upnp {

/// Writes a line to stderr, which is the journal in a unit.
void log(const std::string& line);
/// A line that appears with --trace only.
void trace(const std::string& line);
void setTracing(bool isOn);

}  // namespace upnp
