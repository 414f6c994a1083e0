// What a pipeline hears on its bus, and what it knows of its item. On the pipeline's thread.

#include <utility>

#include "media/metadata/Chapters.h"
#include "media/pipeline/Pipeline.h"
#include "media/support/GstTime.h"
#include "media/texts/MatroskaTexts.h"
#include "media/workarounds/Workarounds.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;

/// Without any sign of life from the media for this long, a load or a seek has failed.
constexpr auto kSilenceLimit = std::chrono::seconds(15);

/// After so much of it, while nothing has been found to play, it is worth looking why.
constexpr auto kShortSilence = std::chrono::seconds(2);

}  // namespace

void Pipeline::_progress() {
  // Only where the media owe something.
  if (!_prerolled || _seeking) _deadline = _clock.now() + kSilenceLimit;
  if (!_prerolled && !_collection) _lookAt = _clock.now() + kShortSilence;
}

void Pipeline::_handle(GstMessage* message) {
  const GstMessageType type = GST_MESSAGE_TYPE(message);
  const bool own = GST_MESSAGE_SRC(message) == GST_OBJECT(_player.get());
  if (_failed) return;
  if (type == GST_MESSAGE_ERROR) {
    if (!_losesSound(message)) _fail(_itemFailure().value_or(errorOfMessage(message)));
  } else if (type == GST_MESSAGE_ASYNC_DONE) {
    if (own) _handleAsyncDone();
  } else if (type == GST_MESSAGE_EOS) {
    if (own) _handleEnd();
  } else if (type == GST_MESSAGE_REQUEST_STATE) {
    GstState requested = GST_STATE_VOID_PENDING;
    gst_message_parse_request_state(message, &requested);
    if (requested == GST_STATE_PAUSED) _setup.audio->noteInterruption();
  } else if (type == GST_MESSAGE_ELEMENT) {
    _handleElement(message);
  } else if (type == GST_MESSAGE_STREAM_COLLECTION) {
    GstStreamCollection* parsed = nullptr;
    gst_message_parse_stream_collection(message, &parsed);
    _collection.reset(parsed);
    _progress();
    _updateCatalog();
  } else if (type == GST_MESSAGE_STREAMS_SELECTED) {
    _handleSelection(StreamCatalog::selectionOf(message));
  } else if (type == GST_MESSAGE_DURATION_CHANGED) {
    if (_ready) {
      _refreshFacts();
      if (_timeRuns && !_seeking && !_scrubbing) _runPosition();
      _report(Kind::Facts);
    }
  } else if (type == GST_MESSAGE_TAG) {
    GstTagList* parsed = nullptr;
    gst_message_parse_tag(message, &parsed);
    const GstRef<GstTagList> tags(parsed);
    _noteTags(tags.get());
    gchar* title = nullptr;
    // A stream's own title names a track.
    if (gst_tag_list_get_scope(tags.get()) == GST_TAG_SCOPE_GLOBAL &&
        gst_tag_list_get_string(tags.get(), GST_TAG_TITLE, &title)) {
      const GstRef<gchar> owned(title);
      if (_facts.title != title) {
        _facts.title = title;
        _publishFacts();
        if (_ready) _report(Kind::Facts);
      }
    }
    // Streams are told of before what is known about them, such as their language.
    _updateCatalog();
  } else if (type == GST_MESSAGE_TOC) {
    GstToc* toc = nullptr;
    gst_message_parse_toc(message, &toc, nullptr);
    const GstRef<GstToc> owned(toc);
    _noteChapters(chaptersOf(toc));
  } else if (type == GST_MESSAGE_CLOCK_LOST) {
    if (_requested == GST_STATE_PLAYING) {
      _setState(GST_STATE_PAUSED);
      _setState(GST_STATE_PLAYING);
    }
  } else if (type == GST_MESSAGE_QOS) {
    // One for each picture that came too late.
    const std::lock_guard lock(_mutex);
    ++_statistics.droppedFrameCount;
  } else if (type == GST_MESSAGE_LATENCY) {
    gst_bin_recalculate_latency(GST_BIN(_player.get()));
  }
  // State changes and wake-ups say no more than that it is time to look.
}

void Pipeline::_noteChapters(std::vector<platform::MediaChapter> chapters) {
  // Each sink tells the same.
  if (chapters == _facts.chapters) return;
  _facts.chapters = std::move(chapters);
  _publishFacts();
  if (_ready) _report(Kind::Facts);
}

void Pipeline::_updateCatalog() {
  if (!_collection || !_catalog.update(_collection.get()) || !_ready) return;
  _refreshFacts();
  _report(Kind::Facts);
}

void Pipeline::_handleElement(GstMessage* message) {
  const GstStructure* content = gst_message_get_structure(message);
  if (!content) return;
  if (gst_structure_has_name(content, "missing-plugin")) {
    if (auto error = missingPluginError(content)) _fail(std::move(*error));
  } else if (gst_structure_has_name(content, kForcedTextMessage)) {
    _catalog.noteForced(gst_structure_get_string(content, kForcedTextStream));
  }
}

void Pipeline::_handleAsyncDone() {
  GST_OBJECT_LOCK(_player.get());
  // A flush came after this message had been sent, and another one follows; or an error did.
  const bool prerolling = GST_STATE_PENDING(_player.get()) == GST_STATE_PAUSED ||
                          GST_STATE_RETURN(_player.get()) == GST_STATE_CHANGE_FAILURE;
  GST_OBJECT_UNLOCK(_player.get());
  if (prerolling) return;
  if (_seeking) {
    _finishSeek();
  } else if (!_prerolled) {
    if (_collection && !_catalog.hasMedia()) {
      // A single picture has been put already.
      _setup.frames->close(_setup.ticket);
      return _fail(unrecognizedError());
    }
    _prerolled = true;
    _mendsSound = false;
    _deadline.reset();
    _refreshFacts();
  }
}

void Pipeline::_becomeReady() {
  const double position = _queryPosition();
  _ready = true;
  _noteSilence();
  _refreshFacts();
  if (!_timeRuns && !_seeking) _position.hold(position);
  {
    const std::lock_guard lock(_mutex);
    _statistics.startupSeconds = platform::secondsFromDuration(_clock.now() - _startedAt);
  }
  _report(Kind::Ready);
}

void Pipeline::_handleEnd() {
  // One that was sent before a seek began says nothing.
  if (_seeking || _atEnd) return;
  double end = _queryPosition();
  if (_appliedRate < 0)
    end = _reverseEnd.value_or(0);
  else if (_appliedStop && (_facts.duration <= 0 || *_appliedStop < _facts.duration))
    end = *_appliedStop;
  else if (_facts.duration > 0)
    end = _facts.duration;
  _atEnd = true;
  _hold(end);
}

void Pipeline::_handleDeadline() {
  const auto now = _clock.now();
  if (_scrubAt && *_scrubAt <= now) {
    _stepScrub();
    return;
  }
  if (_dryAt && *_dryAt <= now) return _handleDryness();
  if (_refilledAt && *_refilledAt <= now) return _handleRefill();
  if (_timeRuns && _searchAt && *_searchAt <= now) {
    _searchSound();
    return;
  }
  if (_lookAt && *_lookAt <= now) {
    _lookAt.reset();
    if (!_failed && !_prerolled && !_collection && _player &&
        Workarounds::shared().hasLostError(_player.get()))
      _fail(_itemFailure().value_or(silenceError()));
    return;
  }
  if (!_deadline || *_deadline > now) return;
  _deadline.reset();
  if (_selecting)
    _finishSelection();
  else if (_setup.item && _setup.item->isBusy())
    _progress();  // transfers end by themselves
  else if (!_failed)
    _fail(_itemFailure().value_or(silenceError()));
}

std::optional<platform::Error> Pipeline::_itemFailure() const {
  if (auto failure = _presentation ? _presentation->failure() : std::nullopt) return failure;
  return _setup.item ? _setup.item->failure() : std::nullopt;
}

void Pipeline::_fail(platform::Error error) {
  if (std::exchange(_failed, true)) return;
  _deadline.reset();
  _dryAt.reset();
  _refilledAt.reset();
  _lookAt.reset();
  _scrubAt.reset();
  if (_timeRuns) _hold(_position.seconds());
  if (_held)
    _untoldFailure = std::move(error);
  else
    _setup.report({.kind = Kind::Fail, .error = std::move(error)});
  // Connections and devices are let go at once; the owner may keep the load to look at.
  _letGo();
}

void Pipeline::_refreshFacts() {
  if (_presentation) return _refreshPresentationFacts();
  if (!_player) return;
  gint64 duration = -1;
  if (gst_element_query_duration(_player.get(), GST_FORMAT_TIME, &duration) && duration >= 0)
    _facts.duration = secondsOf(duration);

  _facts.seekable.clear();
  const GstRef<GstQuery> seeking(gst_query_new_seeking(GST_FORMAT_TIME));
  if (gst_element_query(_player.get(), seeking.get())) {
    gboolean seekable = FALSE;
    gint64 start = 0;
    gint64 end = -1;
    gst_query_parse_seeking(seeking.get(), nullptr, &seekable, &start, &end);
    if (end < 0) end = duration;
    if (Workarounds::shared().losesMediaBySeeks(_player.get())) seekable = FALSE;
    if (seekable && start >= 0 && end >= start)
      _facts.seekable.push_back({secondsOf(start), secondsOf(end - start)});
  }
  const bool file = _setup.url.starts_with("file:");
  _facts.live = _live || (_prerolled && _facts.duration <= 0 && !file);

  // What is fetched is told by the item.
  if (file) _facts.loaded = _facts.seekable;
  if (_ready && !_buffering) {
    _facts.likelyToKeepUp = true;
    _facts.bufferEmpty = false;
  }
  _facts.tracks = _catalog.tracks();
  _facts.selectionGroups = _groups();
  _publishFacts();
}

void Pipeline::_publishFacts() {
  auto facts = std::make_shared<const platform::MediaFacts>(_facts);
  const std::lock_guard lock(_mutex);
  _published.swap(facts);
}

}  // namespace media
