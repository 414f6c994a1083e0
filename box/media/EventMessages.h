#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "box/media/MetadataTimeline.h"
#include "box/media/MovieBoxes.h"
#include "box/relay/MediaTimeline.h"

namespace box {

/// What an event message (ISO/IEC 23009-1) says.
struct EventMessage {
  std::string scheme;
  std::string value;
  std::optional<double> duration;  ///< seconds
  std::uint32_t identifier = 0;
  std::vector<std::uint8_t> data;
};

/// As metadata: under the scheme and, behind a space, the value, the data. A tag of ID3 in one
/// becomes what it is elsewhere.
MetadataTimeline::Items itemsOfEvent(const EventMessage& event);

/// Finds event messages among the boxes of fragmented mp4, which the library's demuxer passes over.
///
/// Bounds: 64 messages before the fragment that they belong to.
/// Threads: one at a time.
class EventMessages {
 public:
  /// `seconds` are counted from the first fragment after `restart()`, or as the fragments do.
  using Found = std::function<void(double seconds, EventMessage event)>;
  explicit EventMessages(Found found) : _found(std::move(found)) {}

  /// "emsg", "moov" or "moof"; of any other nothing is taken.
  void takeBox(std::uint32_t type, BoxBytes content);
  /// Other boxes follow. `recount`: and times are counted anew.
  void restart(bool recount);

 private:
  struct Waiting {
    bool isAbsolute;  // else it counts from the beginning of the next fragment
    double seconds;
    EventMessage event;
  };
  void _takeEvent(BoxBytes content);
  void _takeTracks(BoxBytes movie);
  void _takeFragment(BoxBytes fragment);

  const Found _found;
  std::map<std::uint32_t, std::uint32_t> _timescales;  // by the tracks' numbers
  std::optional<double> _firstTime;
  std::vector<Waiting> _waiting;
};

}  // namespace box
