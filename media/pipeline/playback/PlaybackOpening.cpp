// Opens the item, and handles changes of a presentation. On the pipeline's thread.

#include <algorithm>
#include <utility>

#include "media/elements/ResourceSource.h"
#include "media/pipeline/playback/Playback.h"
#include "media/support/MediaErrors.h"

namespace media {

void Playback::_open() {
  if (!_load.setup.item) {
    GstElement* const source =
        gst_element_make_from_uri(GST_URI_SRC, _load.setup.url.c_str(), nullptr, nullptr);
    if (!_builder.buildResource(source)) _fail(unknownMediaError());
    return;
  }
  _load.setup.item->whenOpened(
      [this, post = _load.mailbox->poster()](const std::optional<platform::Error>& error) {
        post([this, error] { _handleOpened(error); });
      });
}

void Playback::_handleOpened(const std::optional<platform::Error>& error) {
  if (_state.failed || _state.closing) return;
  if (error) return _fail(*error);
  if (_load.setup.item->kind() == streaming::StreamedItem::Kind::Presentation)
    _openPresentation();
  else
    _openResource();
}

void Playback::_openResource() {
  const auto resource = _load.setup.item->resource();
  resource->whenWaiting([this, post = _load.mailbox->poster()](bool waits) {
    post([this, waits] { _buffering.noteWaiting(waits); });
  });
  if (resource->icyInterval() > 0) _metadata.noteStation(*resource);
  if (!_builder.buildResource(makeResourceSource(resource))) _fail(unknownMediaError());
}

/// Reusing the player would be faster, but decodebin3 keeps data of the first run.
void Playback::_reopen() {
  _player.reset();
  _load.mailbox->detach();
  _builder.takeDown();
  _builder.makeBus();
  _state.knowsStreams = false;
  _progressTimeout.noteProgress();
  if (_load.setup.item)
    _openResource();
  else
    _open();
}

void Playback::_openPresentation() {
  const auto playback = _load.setup.item->presentation();
  playback->whenChanged(
      [this, post = _load.mailbox->poster()] { post([this] { _updatePresentation(); }); });
  _noteTracks();
  playback->select(_selection.selectForStart());
  streaming::PresentationPlayback::Start start;
  start.seconds = std::exchange(_wanted.position, std::nullopt);
  start.fraction = std::exchange(_wanted.fraction, std::nullopt);
  start.date = std::exchange(_wanted.date, std::nullopt);
  playback->prepare(start, {.displayHeight = _load.setup.displayHeight},
                    [this, post = _load.mailbox->poster()](
                        double seconds, const std::optional<platform::Error>& error) {
                      post([this, seconds, error] { _handlePrepared(seconds, error); });
                    });
}

void Playback::_handlePrepared(double start, const std::optional<platform::Error>& error) {
  if (_state.failed || _state.closing) return;
  if (error) return _fail(*error);
  if (!_builder.buildPresentation(start)) return _fail(unknownMediaError());
  _progressTimeout.noteProgress();
}

void Playback::_noteTracks() {
  const auto tracks = _load.setup.item->presentation()->tracksAt(_load.position.seconds());
  _texts.noteCaptionTracks(tracks);
  _sound.setHasPicture(std::any_of(tracks.begin(), tracks.end(), [](const auto& each) {
    return each.kind == streaming::MediaKind::Video;
  }));
  _selection.update(tracks);
}

void Playback::_updatePresentation() {
  if (_state.failed || _state.closing || !_elements.presentation) return;
  _noteTracks();
  _metadata.noteEvents();
  const auto duration = _load.facts.newest().duration;
  _facts.refresh();
  if (!_state.ready) return;
  if (duration != _load.facts.newest().duration && _state.timeRuns && !_state.seeking &&
      !_state.scrubbing)
    _player.runPosition();
  _announcements.facts();
}

}  // namespace media
