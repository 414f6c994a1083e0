// Handles messages of the bus and deadlines. On the pipeline's thread.

#include <utility>

#include "media/elements/ResourcePipeline.h"
#include "media/elements/SilentStreams.h"
#include "media/metadata/Chapters.h"
#include "media/metadata/MetadataTap.h"
#include "media/pipeline/playback/Playback.h"
#include "media/support/MediaErrors.h"
#include "media/texts/matroska/MatroskaTexts.h"
#include "media/workarounds/Workarounds.h"

namespace media {
namespace {

/// Reverse playback that ends more than this before its limit, in seconds, has failed.
constexpr double kReverseEnd = 1;
/// An item whose demuxer does not report the end ends this before its duration, in seconds.
constexpr double kLostEnd = 1;

}  // namespace

void Playback::_handle(GstMessage* message) {
  const GstMessageType type = GST_MESSAGE_TYPE(message);
  const bool own = GST_MESSAGE_SRC(message) == GST_OBJECT(_player.element());
  if (_state.failed) return;
  if (type == GST_MESSAGE_ERROR) {
    _handleError(message);
  } else if (type == GST_MESSAGE_ASYNC_DONE) {
    if (own) _handleAsyncDone();
  } else if (type == GST_MESSAGE_EOS) {
    if (own) _handleEnd();
  } else if (type == GST_MESSAGE_REQUEST_STATE) {
    GstState requested = GST_STATE_VOID_PENDING;
    gst_message_parse_request_state(message, &requested);
    if (requested == GST_STATE_PAUSED) _sound.noteInterruption();
  } else if (type == GST_MESSAGE_ELEMENT) {
    _handleElement(message);
  } else if (type == GST_MESSAGE_STREAM_COLLECTION) {
    GstStreamCollection* parsed = nullptr;
    gst_message_parse_stream_collection(message, &parsed);
    _selection.setCollection(GstRef<GstStreamCollection>(parsed));
  } else if (type == GST_MESSAGE_STREAMS_SELECTED) {
    _selection.handleStreamsSelected(StreamCatalog::selectionOf(message));
  } else if (type == GST_MESSAGE_DURATION_CHANGED) {
    _handleDurationChange();
  } else if (type == GST_MESSAGE_TAG) {
    _handleTags(message);
  } else if (type == GST_MESSAGE_TOC) {
    GstToc* toc = nullptr;
    gst_message_parse_toc(message, &toc, nullptr);
    const GstRef<GstToc> owned(toc);
    _noteChapters(chaptersOf(toc));
  } else if (type == GST_MESSAGE_CLOCK_LOST) {
    if (_player.requested() == GST_STATE_PLAYING) {
      _player.setState(GST_STATE_PAUSED);
      _player.setState(GST_STATE_PLAYING);
    }
  } else if (type == GST_MESSAGE_QOS) {
    // Posted for each dropped picture.
    _load.statistics.noteDroppedFrame();
  } else if (type == GST_MESSAGE_LATENCY) {
    gst_bin_recalculate_latency(GST_BIN(_player.element()));
  }
  // Other messages only wake the thread.
}

void Playback::_handleError(GstMessage* message) {
  using Source = SoundBranch::ErrorSource;
  // After a seek behind the end of one stream.
  if (_state.prerolled && isWithoutFrames(message)) return;
  const Source source = _sound.handleError(message);
  if (source == Source::Elsewhere)
    _failUnlessHandled(errorOfMessage(message), message);
  else if (source == Source::SoundAndSeek)
    _finishSeek();
}

void Playback::_failUnlessHandled(platform::Error error, GstMessage* message) {
  if (auto failure = _itemFailure()) return _fail(std::move(*failure));
  auto remaining = _failures.handleError(std::move(error), message);
  if (!remaining) return;
  // A single image may have been shown already.
  if (!_state.prerolled) _load.setup.frames->close(_load.setup.ticket);
  _fail(std::move(*remaining));
}

void Playback::_handleElement(GstMessage* message) {
  const GstStructure* content = gst_message_get_structure(message);
  if (!content) return;
  if (gst_structure_has_name(content, "missing-plugin")) {
    if (auto error = _failures.handleMissingPlugin(message)) _fail(std::move(*error));
  } else if (gst_structure_has_name(content, kRepeatSeek)) {
    _progressTimeout.noteProgress();
    repeatSeek(_player.element());
  } else if (gst_structure_has_name(content, kSilentStreamMessage)) {
    if (auto error = _failures.handleSilentStream(silentStreamOf(content)))
      _fail(std::move(*error));
  } else if (gst_structure_has_name(content, kSkippedAudioMessage)) {
    _failures.handleSkippedAudio();
  } else if (gst_structure_has_name(content, kForcedTextMessage)) {
    _catalog.noteForced(gst_structure_get_string(content, kForcedTextStream));
  }
}

void Playback::_handleDurationChange() {
  if (!_state.ready) return;
  _facts.refresh();
  if (_state.timeRuns && !_state.seeking && !_state.scrubbing) _player.runPosition();
  _announcements.facts();
}

void Playback::_handleTags(GstMessage* message) {
  GstTagList* parsed = nullptr;
  gst_message_parse_tag(message, &parsed);
  const GstRef<GstTagList> tags(parsed);
  // Tags in stream scope describe a track. Those of a single track, such as in FLAC, are the
  // item's.
  const bool isGlobal = gst_tag_list_get_scope(parsed) == GST_TAG_SCOPE_GLOBAL;
  const bool describesItem = isGlobal || _catalog.hasSingleStream();
  _metadata.noteTags(parsed, describesItem);
  _cover.noteTags(parsed);
  if (_state.ready && _cover.show()) _announcements.facts();
  gchar* title = nullptr;
  if (describesItem && (isGlobal || _load.facts.newest().title.empty()) &&
      gst_tag_list_get_string(parsed, GST_TAG_TITLE, &title)) {
    const GstRef<gchar> owned(title);
    if (_load.facts.newest().title != title) {
      _load.facts.newest().title = title;
      _load.facts.publish();
      _announcements.factsIfReady();
    }
  }
  // Tags with properties of streams, such as their language, arrive after the collection.
  _selection.update();
}

void Playback::_noteChapters(std::vector<platform::MediaChapter> chapters) {
  // Every sink posts the same table of contents.
  if (chapters == _load.facts.newest().chapters) return;
  _load.facts.newest().chapters = std::move(chapters);
  _load.facts.publish();
  _announcements.factsIfReady();
}

void Playback::_handleAsyncDone() {
  GstElement* const player = _player.element();
  GST_OBJECT_LOCK(player);
  // Outdated: a flush has happened since, and another message follows; or there was an error.
  const bool prerolling = GST_STATE_PENDING(player) == GST_STATE_PAUSED ||
                          GST_STATE_RETURN(player) == GST_STATE_CHANGE_FAILURE;
  GST_OBJECT_UNLOCK(player);
  if (prerolling) return;
  if (_state.seeking) {
    _finishSeek();
  } else if (!_state.prerolled) {
    if (_state.knowsStreams && !_catalog.hasMedia()) return _failUnlessHandled(unrecognizedError());
    _state.prerolled = true;
    _sound.noteFlush();
    _progressTimeout.clear();
    _facts.refresh();
  }
}

void Playback::_handleEnd() {
  // Ignore EOS from before a seek.
  if (_state.seeking || _state.atEnd) return;
  if (_state.rate < 0 && !_state.scrubbing) {
    // Demuxers of fragmented mp4 accept a seek to play backwards and end at once.
    const double position = _load.position.seconds();
    if (position > _scrubbing.limit() + kReverseEnd && _scrubbing.begin(position)) return;
  }
  const double duration = _load.facts.newest().duration;
  double end = _player.position();
  if (_state.rate < 0)
    end = _wanted.reverseEnd.value_or(0);
  else if (_state.stop && (duration <= 0 || *_state.stop < duration))
    end = *_state.stop;
  else if (duration > 0)
    end = duration;
  _state.atEnd = true;
  _player.hold(end);
}

void Playback::_handleDeadline() {
  const auto now = _load.clock.now();
  const auto isDue = [now](const std::optional<platform::TimePoint>& at) {
    return at && *at <= now;
  };
  if (isDue(_scrubbing.stepAt())) {
    if (_seeking.stepScrubbing()) _finishSeek();
  } else if (isDue(_buffering.underrunCheckAt())) {
    _buffering.checkForUnderrun();
  } else if (isDue(_buffering.refilledAt())) {
    _buffering.handleRefill();
  } else if (isDue(_buffering.dataCheckAt())) {
    if (_buffering.checkForLostData()) _handleLostData();
  } else if (isDue(_sound.searchAt())) {
    _sound.search();
  } else if (isDue(_progressTimeout.failureCheckAt())) {
    _checkForLostError();
  } else if (isDue(_progressTimeout.deadline())) {
    _handleTimeout();
  }
}

void Playback::_checkForLostError() {
  _progressTimeout.clearFailureCheck();
  if (!_state.failed && !_state.prerolled && !_state.knowsStreams && _elements.player &&
      Workarounds::shared().hasLostError(_elements.player.get()))
    _failUnlessHandled(noProgressError());
}

void Playback::_handleLostData() {
  const double duration = _load.facts.newest().duration;
  const bool isOver = _state.timeRuns && duration > 0 &&
                      (_state.rate < 0 || _player.position() > duration - kLostEnd);
  if (isOver)
    _handleEnd();
  else
    _failUnlessHandled(noProgressError());
}

void Playback::_handleTimeout() {
  _progressTimeout.clear();
  if (_selection.isUnderWay())
    _selection.finish();
  else if (_load.setup.item && _load.setup.item->isBusy())
    _progressTimeout.noteProgress();  // transfers have time-outs of their own
  else if (!_state.failed)
    _failUnlessHandled(noProgressError());
}

std::optional<platform::Error> Playback::_itemFailure() const {
  const auto& presentation = _elements.presentation;
  if (auto failure = presentation ? presentation->failure() : std::nullopt) return failure;
  return _load.setup.item ? _load.setup.item->failure() : std::nullopt;
}

}  // namespace media
