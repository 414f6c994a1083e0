#include "media/pipeline/playback/Playback.h"

#include <initializer_list>
#include <utility>

#include "media/support/PipelineDump.h"

namespace media {

Playback::Playback(LoadContext& load)
    : _load(load),
      _wanted(load.setup),
      _announcements(load.setup.report, _state),
      _progressTimeout(load.clock, _state),
      _player(load, _elements, _wanted, _state),
      _texts(load, _elements, _catalog),
      _facts(load, _elements, _state, _catalog, _texts),
      _selection(_parts, _catalog, _texts, _facts),
      _failures(load, _elements, _state, _selection, [this] { _reopen(); }),
      _sound(load, _elements, _wanted, _state, _player, _catalog),
      _buffering(load, _state, _player, _catalog, _progressTimeout, _announcements),
      _metadata(load, _state, _announcements),
      _cover(load),
      _scrubbing(_parts),
      _seeking(_parts, _facts, _sound, _buffering, _scrubbing),
      _builder(_parts, _sound, _texts, _selection, _buffering, _metadata) {
  _player.whenTimeChanges([this] { _buffering.noteTimeChange(); });
}

void Playback::begin(const PlaybackRequest& request,
                     const std::function<void()>& waitForPredecessor) {
  _sound.begin(waitForPredecessor);
  _wanted.held = false;
  _load.statistics.restart();
  _wanted.set(request);
  _sound.applyVolume();
  _announcements.reportWithheldFailure();
}

void Playback::play(double rate) {
  _wanted.playing = true;
  _wanted.rate = rate;
  _announcements.renewPlay();
  _announcements.renewEnd();
}

void Playback::pause() {
  _wanted.playing = false;
  _announcements.renewPause();
}

void Playback::setEndTimes(std::optional<double> forwardSeconds,
                           std::optional<double> reverseSeconds) {
  _wanted.forwardEnd = forwardSeconds;
  _wanted.reverseEnd = reverseSeconds;
}

void Playback::setVolume(float volume) {
  _wanted.volume = volume;
  _sound.applyVolume();
}

void Playback::setMuted(bool muted) {
  _wanted.muted = muted;
  _sound.applyVolume();
}

void Playback::setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles) {
  _texts.setStyles(std::move(styles));
}

void Playback::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  _selection.requestTrack(trackID, enabled);
}

void Playback::selectOption(const std::string& characteristic,
                            const std::optional<std::string>& identifier) {
  _selection.requestOption(characteristic, identifier);
}

void Playback::refresh() {
  if (!_state.ready || _state.failed) return;
  if (_state.timeRuns && !_state.seeking) _load.position.correct(_player.position());
  _facts.refresh();
}

void Playback::run() {
  _builder.makeBus();
  _progressTimeout.noteProgress();
  _open();
  _loop();
  _load.mailbox->detach();
  _release();
  _builder.takeDown();
}

GstClockTime Playback::_untilDeadline() const {
  std::optional<platform::TimePoint> until;
  for (const auto& each :
       {_progressTimeout.deadline(), _progressTimeout.failureCheckAt(), _scrubbing.stepAt(),
        _buffering.underrunCheckAt(), _buffering.refilledAt(), _buffering.dataCheckAt(),
        _sound.searchAt(), _metadata.updateAt()})
    if (each && (!until || *each < *until)) until = each;
  if (!until) return GST_CLOCK_TIME_NONE;
  const auto left = *until - _load.clock.now();
  return left.count() > 0 ? static_cast<GstClockTime>(left.count()) : 0;
}

void Playback::_loop() {
  while (true) {
    for (const auto& command : _load.mailbox->take()) command();
    if (_state.closing) return;
    _reconcile();
    _updateMetadata();
    _buffering.watchData(_state.ready && !_state.failed && !_state.atEnd && !_state.seeking &&
                         !_state.scrubbing && !_selection.isUnderWay() &&
                         _player.requested() == GST_STATE_PLAYING);
    // Without a deadline there is no time-out: every command is accompanied by a message.
    const GstRef<GstMessage> message(gst_bus_timed_pop(_elements.bus.get(), _untilDeadline()));
    if (message)
      _handle(message.get());
    else
      _handleDeadline();
  }
}

void Playback::_reconcile() {
  if (_state.failed || _state.seeking || _selection.isUnderWay() || !_elements.player) return;
  if (_state.prerolled) {
    if (_selection.beginPreferred()) return;
    _seeking.resolveDate();
    if (_wanted.needsSeek(_state)) {
      _seeking.begin();
      if (_state.seeking) return;
    }
    if (!_state.ready && !_wanted.held) _becomeReady();
    if (_selection.beginNext()) {
      // Other changes wait for the end of the selection, or are made at once if it has ended.
      if (!_selection.isUnderWay()) _reconcile();
      return;
    }
  }
  // Before preroll go straight to PLAYING: a pause would only delay the start. But with a start
  // position, a seek follows preroll.
  const bool mayRun = _state.prerolled ? !_state.atEnd && !_state.buffering && !_state.scrubbing
                                       : !_wanted.needsSeek(_state);
  const GstState state =
      _wanted.playing && !_wanted.held && mayRun ? GST_STATE_PLAYING : GST_STATE_PAUSED;
  if (state != _player.requested()) _player.setState(state);
  if (_state.ready && !_state.failed) _announce();
}

void Playback::_updateMetadata() {
  if (!_state.ready || _state.failed) return;
  if (_elements.presentation) _metadata.noteEvents();
  _metadata.update();
}

void Playback::_announce() {
  if (!_wanted.playing) {
    if (_state.scrubbing) _scrubbing.pause();
    _announcements.pause();
    return;
  }
  if (_state.atEnd) return _announcements.end();
  if (_state.scrubbing) {
    _scrubbing.run();
    _announcements.play();
    return;
  }
  if (_player.requested() != GST_STATE_PLAYING) return;
  GstState current = GST_STATE_NULL;
  GstState pending = GST_STATE_VOID_PENDING;
  gst_element_get_state(_player.element(), &current, &pending, 0);
  const bool isDue = !_catalog.plays(GST_STREAM_TYPE_VIDEO) || _elements.video->hasBecomeDue();
  if (current != GST_STATE_PLAYING || pending != GST_STATE_VOID_PENDING || !isDue) return;
  if (!_state.timeRuns) {
    _player.setTimeRuns(true);
    _player.runPosition();
  }
  _announcements.play();
}

void Playback::_becomeReady() {
  const double position = _player.position();
  _state.ready = true;
  _sound.noteReady();
  _facts.refresh();
  _cover.show();
  if (!_state.timeRuns && !_state.seeking) _load.position.hold(position);
  _load.statistics.noteReady();
  dumpPipeline(_elements.player.get(), "ready");
  _announcements.ready();
}

void Playback::_finishSeek() {
  _seeking.finish();
  if (!_state.ready && !_wanted.held) _becomeReady();
}

void Playback::_fail(platform::Error error) {
  if (std::exchange(_state.failed, true)) return;
  dumpPipeline(_elements.player.get(), "failed");
  _progressTimeout.clearAll();
  _buffering.stop();
  _scrubbing.cancelStep();
  if (_state.timeRuns) _player.hold(_load.position.seconds());
  _announcements.failure(std::move(error), _wanted.held);
  // Release connections and devices at once: the owner may keep a failed load for long.
  _release();
}

void Playback::_release() {
  _load.measuring->setClosed(true);
  if (_load.contentKeys) _load.contentKeys->close();
  _texts.stop();
  if (const auto& item = _load.setup.item) {
    item->whenAccessLogEntryStarts({});
    item->close();
  }
  if (_elements.presentation)
    _elements.presentation->close();
  else if (_elements.player)
    gst_element_set_state(_elements.player.get(), GST_STATE_NULL);
  // The device is open even if the sink never got data.
  if (_elements.sound && _elements.sound->element())
    gst_element_set_state(_elements.sound->element(), GST_STATE_NULL);
}

}  // namespace media
