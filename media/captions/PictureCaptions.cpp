#include "media/captions/PictureCaptions.h"

#include <algorithm>
#include <utility>

namespace media {
namespace {

/// Commands that begin captions: pop-on, roll-up of two to four rows, paint-on.
constexpr std::array<std::uint8_t, 5> kStartCommands{0x20, 0x25, 0x26, 0x27, 0x29};
constexpr PictureCaptions::Channel kService = 4;

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
                              Cea608Decoder::Channel::Second)},
      _service([this](SubtitleCue cue) {
        if (!cue.isEmpty()) _noteFound(kService);
        _take(kService, std::move(cue));
      }),
      _packets([this](int service, std::span<const std::uint8_t> block) {
        if (service == 1) _service.feed(_seconds, block);
      }) {}

void PictureCaptions::feed(double seconds, int type, std::uint8_t first, std::uint8_t second) {
  constexpr int kPacketData = 2;
  constexpr int kPacketStart = 3;
  if (std::exchange(_seconds, seconds) != seconds) _service.advance(seconds);
  if (type < kPacketData)
    _feedField(seconds, static_cast<std::size_t>(type), first, second);
  else
    _packets.feed(type == kPacketStart, first, second);
}

void PictureCaptions::_feedField(double seconds, std::size_t field, std::uint8_t first,
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
  _noteFound(channel);
}

void PictureCaptions::_noteFound(Channel channel) {
  if (!std::exchange(_isFound[channel], true)) _found(channel);
}

void PictureCaptions::restart() {
  for (Cea608Decoder& each : _decoders) each.restart();
  _service.restart();
  _packets.restart();
  _isXDS = false;
  {
    const std::lock_guard lock(_mutex);
    for (auto& each : _cues) each.clear();
    ++_generation;
  }
  _reload();
}

void PictureCaptions::show(std::optional<Channel> channel) {
  {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_selected, channel) == channel) return;
    ++_generation;
  }
  _reload();
}

/// Replaces the subtitles by the cues of the selected channel. Starts again if another thread
/// selects a channel or restarts meanwhile.
void PictureCaptions::_reload() {
  std::unique_lock lock(_mutex);
  for (bool isDone = false; !isDone;) {
    const std::uint64_t generation = _generation;
    _shown.reset();
    lock.unlock();
    _subtitles->clearCaptions();
    lock.lock();
    _shown = _selected;
    const auto cues = _shown ? _cues[*_shown] : std::map<double, SubtitleCue>();
    lock.unlock();
    for (const auto& each : cues) _subtitles->addCaption(each.second);
    lock.lock();
    isDone = generation == _generation;
  }
}

void PictureCaptions::_take(Channel channel, SubtitleCue cue) {
  std::uint64_t generation = 0;
  bool isCurrent = false;
  {
    const std::lock_guard lock(_mutex);
    generation = _generation;
    auto& cues = _cues[channel];
    cues.insert_or_assign(cue.start, cue);
    if (cues.size() > kCueLimit) cues.erase(cues.begin());
    if (_shown != channel) return;
  }
  _subtitles->addCaption(std::move(cue));
  {
    const std::lock_guard lock(_mutex);
    isCurrent = generation == _generation;
  }
  if (!isCurrent) _reload();
  _changed();
}

}  // namespace media
