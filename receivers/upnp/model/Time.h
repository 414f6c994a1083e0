#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace upnp {

/// Writes seconds as "H:MM:SS". Fractions are dropped; negative and invalid times are "0:00:00".
std::string formatTime(double seconds);

/// Reads "H+:MM:SS", with an optional fraction ".F+" or ".F0/F1". None if the text is invalid.
std::optional<double> parseTime(std::string_view text);

}  // namespace upnp
