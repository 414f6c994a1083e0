#include "media/captions/PictureCaptions.h"

#include <algorithm>
#include <utility>

namespace media {
namespace {

/// Commands that begin captions: pop-on, roll-up of two to four rows, paint-on.
constexpr std::array<std::uint8_t, 5> kStartCommands{0x20, 0x25, 0x26, 0x27, 0x29};

}  // namespace

PictureCaptions::PictureCaptions(std::shared_ptr<SubtitleCues> subtitles,
                                 std::function<void(Channel)> found, std::function<void()> changed)
    : _subtitles(std::move(subtitles)),
      _found(std::move(found)),
      _changed(std::move(changed)),
      _decoders{Cea608Decoder([this](SubtitleCue cue) { _take(0, std::move(cue)); }),
                Cea608Decoder([this](SubtitleCue cue) { _take(1, std::move(cue)); },
                              Cea608Decoder::Channel::Second),
                Cea608Decoder([this](SubtitleCue cue) { _take(2, std::move(cue)); }),
                Cea608Decoder([this](SubtitleCue cue) { _take(3, std::move(cue)); },
                              Cea608Decoder::Channel::Second)} {}

void PictureCaptions::feed(double seconds, std::size_t field, std::uint8_t first,
                           std::uint8_t second) {
  const auto code = static_cast<std::uint8_t>(first & 0x7f);
  if (code == 0 && (second & 0x7f) == 0) {
    // Padding. The decoders need it, too: it ends the repetition of control codes.
  } else if (field == 1 && code < 0x10) {
    _isXDS = code != 0x0f;
    return;
  } else if (code < 0x20) {
    _isXDS = false;
    _detectChannel(field, code, static_cast<std::uint8_t>(second & 0x7f));
  } else if (field == 1 && _isXDS) {
    return;
  }
  for (std::size_t each = 0; each < 2; ++each)
    _decoders[2 * field + each].feed(seconds, first, second);
}

void PictureCaptions::_detectChannel(std::size_t field, std::uint8_t first, std::uint8_t second) {
  const bool isCommand = (first & 0x16) == 0x14;
  if (!isCommand ||
      std::find(kStartCommands.begin(), kStartCommands.end(), second) == kStartCommands.end())
    return;
  const Channel channel = 2 * field + ((first & 0x08) != 0 ? 1u : 0u);
  if (!std::exchange(_isFound[channel], true)) _found(channel);
}

void PictureCaptions::restart() {
  for (Cea608Decoder& each : _decoders) each.restart();
  _isXDS = false;
  const std::lock_guard lock(_mutex);
  for (auto& each : _cues) each.clear();
  _subtitles->clearCaptions();
}

void PictureCaptions::show(std::optional<Channel> channel) {
  const std::lock_guard lock(_mutex);
  if (std::exchange(_shown, channel) == channel) return;
  _subtitles->clearCaptions();
  if (!channel) return;
  for (const auto& each : _cues[*channel]) _subtitles->addCaption(each.second);
}

void PictureCaptions::_take(Channel channel, SubtitleCue cue) {
  {
    const std::lock_guard lock(_mutex);
    if (_shown == channel) _subtitles->addCaption(cue);
    auto& cues = _cues[channel];
    const double start = cue.start;
    cues.insert_or_assign(start, std::move(cue));
    if (cues.size() > kCueLimit) cues.erase(cues.begin());
    if (_shown != channel) return;
  }
  _changed();
}

}  // namespace media
