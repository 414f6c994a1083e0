#include "receivers/upnp/model/PlaybackReader.h"

#include <utility>

namespace upnp {

namespace {

constexpr Clock::Duration kAnswerTimeout{1000};
constexpr std::size_t kMaximumWaiting = 64;

}  // namespace

void PlaybackReader::read(BoxCalls::PlaybackCompletion done) {
  if (!_calls.isConnected() || _waiting.size() >= kMaximumWaiting) {
    done(std::nullopt);
    return;
  }
  _waiting.push_back(std::move(done));
  if (_waiting.size() > 1) return;
  const unsigned round = ++_round;
  _timeout = _clock.after(kAnswerTimeout, [this] { _finish(std::nullopt); });
  _calls.readPlayback([this, round](const std::optional<Playback>& playback) {
    // An answer after the timeout is of an earlier round.
    if (round == _round) _finish(playback);
  });
}

void PlaybackReader::_finish(const std::optional<Playback>& playback) {
  ++_round;
  _timeout.reset();
  for (const auto& done : std::exchange(_waiting, {})) done(playback);
}

}  // namespace upnp
