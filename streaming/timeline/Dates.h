#pragma once

#include <optional>
#include <vector>

#include "platform/foundation/Date.h"
#include "streaming/manifest/Presentation.h"

namespace streaming {

/// The date at `position`: counted from the mark before it, or back from the first one. `marks` are
/// by position.
std::optional<platform::Date> dateAt(const std::vector<DateMark>& marks, double position);
/// The inverse. Between two marks that do not meet, the position of the second one.
std::optional<double> positionOf(const std::vector<DateMark>& marks, platform::Date date);

}  // namespace streaming
