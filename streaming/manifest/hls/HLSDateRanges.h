#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/hls/HLSLines.h"

namespace streaming {

/// The EXT-X-DATERANGE tags of a playlist.
class HLSDateRanges {
 public:
  /// `size`: of the tag in bytes. Tags of one ID are one range.
  void add(const HLSAttributes& attributes, std::size_t size);
  /// A delta update leaves out ranges. `removed`: the IDs of those that are gone, with tabs.
  void setRemoved(std::string_view removed) { _removed = std::string(removed); }

  /// Dates become positions by `marks`; without marks there are no events. `previous`: the playlist
  /// that a delta update completes; or null.
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
