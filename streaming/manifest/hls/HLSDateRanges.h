#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/hls/HLSLines.h"

namespace streaming {

/// Collects the EXT-X-DATERANGE tags of a playlist.
class HLSDateRanges {
 public:
  /// `size`: length of the tag in bytes. Tags with the same ID are merged.
  void add(const HLSAttributes& attributes, std::size_t size);
  /// `removed`: the tab-separated RECENTLY-REMOVED-DATERANGES of a delta update.
  void setRemoved(std::string_view removed) { _removed = std::string(removed); }

  /// Converts dates to positions with `marks`; without marks there are no events. `previous`: the
  /// playlist that a delta update is based on, or null.
  std::vector<PresentationEvent> events(const std::vector<DateMark>& marks,
                                        const MediaPlaylist* previous) const;

 private:
  struct Range {
    std::string identifier;
    platform::Date start;
    std::optional<double> duration;
    bool endsOnNext = false;
    std::string key;
    platform::Dictionary details;
  };

  std::optional<double> _durationOf(const Range& range) const;

  std::vector<Range> _ranges;
  std::size_t _bytes = 0;
  std::optional<std::string> _removed;
};

}  // namespace streaming
