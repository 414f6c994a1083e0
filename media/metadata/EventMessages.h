#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/metadata/MetadataTimeline.h"
#include "media/metadata/MovieBoxes.h"

namespace media {

/// What an event message (ISO/IEC 23009-1) says.
struct EventMessage {
  std::string scheme;
  std::string value;
  std::optional<double> duration;  ///< seconds
  std::uint32_t identifier = 0;
  std::vector<std::uint8_t> data;
};

/// An `emsg` box.
struct EventBox {
  EventMessage message;
  /// Seconds on the time line of the media; or from the beginning of the segment or fragment that
  /// follows the box.
  double seconds = 0;
  bool isAbsolute = false;
};
/// `content` is the box without its header. Returns nothing for a damaged box.
std::optional<EventBox> readEventMessage(BoxBytes content);

/// As metadata: under the scheme and, behind a space, the value, the data. A tag of ID3 in one
/// becomes what it is elsewhere.
MetadataTimeline::Items itemsOfEvent(const EventMessage& event);

/// Finds event messages among the boxes of fragmented mp4, which the library's demuxer passes over.
///
/// Bounds: 64 messages before the fragment that they belong to.
/// Threads: one at a time.
class EventMessages {
 public:
  /// `seconds` are counted from the first fragment.
  using Found = std::function<void(double seconds, EventMessage event)>;
  explicit EventMessages(Found found) : _found(std::move(found)) {}

  /// "emsg", "moov" or "moof"; of any other nothing is taken.
  void takeBox(std::uint32_t type, BoxBytes content);
  /// Other boxes follow.
  void restart() { _waiting.clear(); }

 private:
  void _takeTracks(BoxBytes movie);
  void _takeFragment(BoxBytes fragment);

  const Found _found;
  std::map<std::uint32_t, std::uint32_t> _timescales;  // by the tracks' numbers
  std::optional<double> _firstTime;
  std::vector<EventBox> _waiting;  // for the next fragment
};

}  // namespace media
