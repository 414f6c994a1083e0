#pragma once

#include <optional>
#include <string_view>

#include "platform/foundation/Date.h"

namespace streaming {

/// Parses a finite decimal number. nullopt if `text` contains anything else.
std::optional<double> numberFrom(std::string_view text);
/// Parses an RFC 3339 date. The zone may be missing (UTC) or have the form `+hhmm`.
std::optional<platform::Date> dateFrom(std::string_view text);
/// Parses an ISO 8601 duration such as `PT1H2M3.5S` to seconds. Months and years have their average
/// length.
std::optional<double> durationFrom(std::string_view text);

}  // namespace streaming
