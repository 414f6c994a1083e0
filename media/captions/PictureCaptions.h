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
#include "media/output/SubtitleCues.h"

namespace media {

/// The four channels of CEA-608 captions that are embedded in pictures. Cues of the shown channel
/// are added to the subtitles. Cues of the other channels are kept until their channel is shown.
///
/// Limits: kCueLimit cues a channel; the earliest are dropped first.
/// Threads: any, but feed() is called from one thread at a time.
class PictureCaptions {
 public:
  static constexpr std::array<std::string_view, 4> kNames{"CC1", "CC2", "CC3", "CC4"};
  static constexpr std::size_t kCueLimit = 5000;
  using Channel = std::size_t;  ///< index into `kNames`

  /// `found` is called once for each channel that has captions, `changed` whenever the displayed
  /// text changes. Both are called on the thread of feed().
  PictureCaptions(std::shared_ptr<SubtitleCues> subtitles, std::function<void(Channel)> found,
                  std::function<void()> changed);

  /// `field` is 0 or 1.
  void feed(double seconds, std::size_t field, std::uint8_t first, std::uint8_t second);
  /// Clears all channels. Call it after a seek.
  void restart();
  void show(std::optional<Channel> channel);

 private:
  void _take(Channel channel, SubtitleCue cue);
  void _detectChannel(std::size_t field, std::uint8_t first, std::uint8_t second);

  const std::shared_ptr<SubtitleCues> _subtitles;
  const std::function<void(Channel)> _found;
  const std::function<void()> _changed;
  std::array<Cea608Decoder, 4> _decoders;
  std::array<bool, 4> _isFound{};
  bool _isXDS = false;  // the second field has XDS data, not captions
  std::mutex _mutex;    // guards the members below
  std::optional<Channel> _shown;
  std::array<std::map<double, SubtitleCue>, 4> _cues;  // by start
};

}  // namespace media
