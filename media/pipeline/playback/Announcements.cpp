#include "media/pipeline/playback/Announcements.h"

namespace media {

using Kind = PipelineEvent::Kind;

void Announcements::ready() { _reportKind(Kind::Ready); }

void Announcements::stall() { _reportKind(Kind::Stall); }

void Announcements::facts() { _reportKind(Kind::Facts); }

void Announcements::factsIfReady() {
  if (_state.ready) facts();
}

void Announcements::selection(const std::string& characteristic) {
  _report({.kind = Kind::Selection, .characteristic = characteristic});
}

void Announcements::seek(std::uint64_t serial) {
  _report({.kind = Kind::Seek, .seekSerial = serial});
}

void Announcements::failure(platform::Error error, bool held) {
  if (held)
    _withheldFailure = std::move(error);
  else
    _report({.kind = Kind::Fail, .error = std::move(error)});
}

void Announcements::reportWithheldFailure() {
  if (auto error = std::exchange(_withheldFailure, std::nullopt)) failure(*std::move(error), false);
}

void Announcements::play() {
  if (std::exchange(_hasReportedPlay, true)) return;
  _hasPlayed = true;
  _hasReportedPause = false;
  _report({.kind = Kind::Play, .rate = _state.rate});
}

void Announcements::pause() {
  if (std::exchange(_hasReportedPause, true)) return;
  _hasReportedPlay = false;
  _reportKind(Kind::Pause);
}

void Announcements::end() {
  // Very short media may end before the clock runs.
  if (!_hasPlayed) play();
  if (!std::exchange(_hasReportedEnd, true)) _reportKind(Kind::End);
}

}  // namespace media
