#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "box/media/MetadataTimeline.h"
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

/// Finds event messages in the segments of fragmented mp4 as their bytes come, which the library's
/// demuxer passes over. Of everything else it looks at the headers alone.
///
/// Bounds: 64 KiB of a message, 64 messages before the fragment that they belong to, and 1 MiB of
/// the boxes that tell times; what is longer is passed over.
/// Threads: one at a time.
class EventMessages {
 public:
  /// `seconds` are counted from the first fragment after `restart()`.
  using Found = std::function<void(double seconds, EventMessage event)>;
  explicit EventMessages(Found found) : _found(std::move(found)) {}

  void feed(std::span<const std::uint8_t> bytes);
  /// Other bytes follow, from the beginning of a box. `recount`: and times are counted anew.
  void restart(bool recount);

 private:
  struct Waiting {
    bool isAbsolute;  // else it counts from the beginning of the next fragment
    double seconds;
    EventMessage event;
  };
  void _beginBox();
  void _takeBox();
  void _takeEvent(std::span<const std::uint8_t> box);
  void _takeTracks(std::span<const std::uint8_t> box);
  void _takeFragment(std::span<const std::uint8_t> box);

  const Found _found;
  std::vector<std::uint8_t> _box;  // its header, and all of it where it matters
  std::uint64_t _boxSize = 0;      // 0: its header has not come
  std::uint64_t _skip = 0;
  std::map<std::uint32_t, std::uint32_t> _timescales;  // by the tracks' numbers
  std::optional<double> _firstTime;
  std::vector<Waiting> _waiting;
};

}  // namespace box
