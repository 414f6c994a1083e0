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

/// An event message (ISO/IEC 23009-1).
struct EventMessage {
  std::string scheme;
  std::string value;
  std::optional<double> duration;  ///< seconds
  std::uint32_t identifier = 0;
  std::vector<std::uint8_t> data;
};

struct EventBox {
  EventMessage message;
  /// Media time if `isAbsolute`, otherwise relative to the following segment or fragment.
  double seconds = 0;
  bool isAbsolute = false;
};
/// `content` is the box without its header. Returns nullopt for a broken box.
std::optional<EventBox> readEventMessage(BoxBytes content);

/// Converts an event to metadata items. The key is the scheme, with the value after a space. An ID3
/// tag in the data is converted to its frames.
MetadataTimeline::Items itemsOfEvent(const EventMessage& event);

/// Finds event messages in the boxes of fragmented MP4. qtdemux does not report them.
///
/// Limits: 64 messages before their fragment.
/// Threads: one at a time.
class EventMessages {
 public:
  /// `seconds` are relative to the first fragment.
  using Found = std::function<void(double seconds, EventMessage event)>;
  explicit EventMessages(Found found) : _found(std::move(found)) {}

  /// Takes "emsg", "moov" and "moof" boxes. Ignores any other.
  void takeBox(std::uint32_t type, BoxBytes content);
  /// Call it after a seek.
  void restart() { _pending.clear(); }

 private:
  void _takeTracks(BoxBytes movie);
  void _takeFragment(BoxBytes fragment);

  const Found _found;
  std::map<std::uint32_t, std::uint32_t> _timescales;  // by track id
  std::optional<double> _firstTime;
  std::vector<EventBox> _pending;  // without a following fragment so far
};

}  // namespace media
