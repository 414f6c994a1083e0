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

/// The four channels of captions that lie in the lines of pictures. Those of the channel that is
/// shown are put among the subtitles; the others are kept, to be there when they are wanted.
///
/// Bounds: so many cues of each channel, the earliest go first.
/// Threads: any, but pairs come from one at a time.
class PictureCaptions {
 public:
  static constexpr std::array<std::string_view, 4> kNames{"CC1", "CC2", "CC3", "CC4"};
  static constexpr std::size_t kCueLimit = 5000;
  using Channel = std::size_t;  ///< of `kNames`

  /// `found` is called once for each channel that captions come on, `changed` whenever other words
  /// are to be seen; both on the thread that the pairs come from.
  PictureCaptions(std::shared_ptr<SubtitleCues> subtitles, std::function<void(Channel)> found,
                  std::function<void()> changed);

  /// Of the first or the second field, 0 or 1.
  void feed(double seconds, std::size_t field, std::uint8_t first, std::uint8_t second);
  /// What has come is forgotten; what follows is from elsewhere.
  void restart();
  void show(std::optional<Channel> channel);

 private:
  void _take(Channel channel, SubtitleCue cue);
  void _notice(std::size_t field, std::uint8_t first, std::uint8_t second);

  const std::shared_ptr<SubtitleCues> _subtitles;
  const std::function<void(Channel)> _found;
  const std::function<void()> _changed;
  std::array<Cea608Decoder, 4> _decoders;
  std::array<bool, 4> _isFound{};
  bool _isOfProgramme = false;  // what the second field says is of the programme, not captions
  std::mutex _mutex;            // guards the rest
  std::optional<Channel> _shown;
  std::array<std::map<double, SubtitleCue>, 4> _cues;  // by their beginnings
};

}  // namespace media
