#pragma once

#include <optional>
#include <vector>

#include "platform/foundation/Date.h"
#include "streaming/manifest/Presentation.h"

namespace streaming {

/// The date at `position`, computed from the last mark before it, or from the first mark. `marks`
/// are sorted by position.
std::optional<platform::Date> dateAt(const std::vector<DateMark>& marks, double position);
/// The inverse of dateAt(). A date in a gap between two marks maps to the second mark.
std::optional<double> positionOf(const std::vector<DateMark>& marks, platform::Date date);

}  // namespace streaming
