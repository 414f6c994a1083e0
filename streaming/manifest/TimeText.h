#pragma once

#include <optional>
#include <string_view>

#include "platform/foundation/Date.h"

namespace streaming {

/// A number in decimal notation, and nothing else; never infinite.
std::optional<double> numberFrom(std::string_view text);
/// RFC 3339, with fractions; also without a zone, which is UTC then, and with one as `+hhmm`.
std::optional<platform::Date> dateFrom(std::string_view text);
/// Seconds of an ISO 8601 duration, `PT1H2M3.5S`; of months and years, as long as they are on
/// average.
std::optional<double> durationFrom(std::string_view text);

}  // namespace streaming
