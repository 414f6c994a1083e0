#pragma once

#include <cstddef>
#include <vector>

#include "media/texts/TTMLStyle.h"

namespace media {

/// The style of an element, and the changes that its `set` elements make.
struct TTMLTimedStyle {
  struct Change {
    double begin = 0;
    double end = 0;
    TTMLStyle style;
  };
  static constexpr std::size_t kMaxChanges = 64;

  TTMLStyle style;
  std::vector<Change> changes;  ///< a later one overrides an earlier one

  /// Ignores a change above the limit.
  void add(Change change);
  TTMLStyle at(double time) const;
  void appendTimes(std::vector<double>& times) const;
};

}  // namespace media
