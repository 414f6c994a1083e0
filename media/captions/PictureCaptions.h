#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "media/captions/Cea608Decoder.h"
#include "media/captions/Cea708Decoder.h"
#include "media/captions/Cea708Packets.h"
#include "media/output/SubtitleCues.h"

namespace media {

/// The captions that are embedded in pictures: the four channels of CEA-608, and the first service
/// of CEA-708. Cues of the shown channel are added to the subtitles. Cues of the other channels are
/// kept until their channel is shown.
///
/// Limits: kCueLimit cues a channel; the earliest are dropped first.
/// Threads: any, but feed() is called from one thread at a time.
class PictureCaptions {
 public:
  /// As in HLS playlists.
  static constexpr std::array<std::string_view, 5> kNames{"CC1", "CC2", "CC3", "CC4", "SERVICE1"};
  static constexpr std::size_t kChannels = kNames.size();
  static constexpr std::size_t kCueLimit = 5000;
  using Channel = std::size_t;  ///< index into `kNames`

  /// `found` is called once for each channel that has captions, `changed` whenever the displayed
  /// text changes. Both are called on the thread of feed().
  PictureCaptions(std::shared_ptr<SubtitleCues> subtitles, std::function<void(Channel)> found,
                  std::function<void()> changed);

  /// Takes a byte pair of a picture (`cc_data`). `type` is 0 or 1 for a field of CEA-608, 3 for the
  /// first pair of a packet of CEA-708, and 2 for another pair of it.
  void feed(double seconds, int type, std::uint8_t first, std::uint8_t second);
  /// Clears all channels. Call it after a seek.
  void restart();
  void show(std::optional<Channel> channel);

 private:
  void _feedField(double seconds, std::size_t field, std::uint8_t first, std::uint8_t second);
  void _take(Channel channel, SubtitleCue cue);
  void _noteFound(Channel channel);
  void _reload();
  void _detectChannel(std::size_t field, std::uint8_t first, std::uint8_t second);

  const std::shared_ptr<SubtitleCues> _subtitles;
  const std::function<void(Channel)> _found;
  const std::function<void()> _changed;
  std::array<Cea608Decoder, 4> _decoders;
  Cea708Decoder _service;
  Cea708Packets _packets;
  double _seconds = 0;  // of the picture
  std::array<bool, kChannels> _isFound{};
  bool _isXDS = false;  // the second field has XDS data, not captions
  std::mutex _mutex;    // guards the members below
  std::optional<Channel> _selected;
  std::optional<Channel> _shown;  // the selected one, unless _reload() is replacing the subtitles
  std::uint64_t _generation = 0;  // counts selections and restarts
  std::array<std::map<double, SubtitleCue>, kChannels> _cues;  // by start
};

}  // namespace media
