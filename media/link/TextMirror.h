#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "media/link/TextMessages.h"
#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"

namespace media {

/// Copies of the SubtitleCues of a media process, updated by its messages.
///
/// Keeps the copies of the loads that were used last. Pictures keep references to older copies.
///
/// Threads: any.
class TextMirror {
 public:
  /// A playing load, a prepared load, and loads that are ending.
  static constexpr std::size_t kLimit = 4;

  /// Returns the copy with this identity. Creates an empty one if it is not known: pictures may
  /// arrive before the first text.
  std::shared_ptr<SubtitleCues> of(std::uint64_t identity);
  void apply(const TextChange& change);
  /// Sets the styles of current and future copies. May be null.
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const SubtitleStyles> _styles;
  /// By identity, the most recently used last.
  std::deque<std::pair<std::uint64_t, std::shared_ptr<SubtitleCues>>> _texts;
};

}  // namespace media
