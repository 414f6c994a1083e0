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

/// The texts of a media process, made anew from its messages.
///
/// There are those of the few loads that were used last; those of others are forgotten, but live as
/// long as a picture has them.
///
/// Threads: any.
class TextMirror {
 public:
  /// A load that plays, one that is prepared, and one that goes.
  static constexpr std::size_t kLimit = 4;

  /// Pictures may come before the first text does: what is not there yet is made, without a text.
  std::shared_ptr<SubtitleCues> of(std::uint64_t identity);
  void apply(const TextChange& change);
  /// For the texts that are there, and for those to come. May be null.
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const SubtitleStyles> _styles;
  /// By the number in the media process, the one used last at the end.
  std::deque<std::pair<std::uint64_t, std::shared_ptr<SubtitleCues>>> _texts;
};

}  // namespace media
