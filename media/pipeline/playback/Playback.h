#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "media/durations/MediaSpan.h"
#include "media/pipeline/CoverArt.h"
#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/Announcements.h"
#include "media/pipeline/playback/Buffering.h"
#include "media/pipeline/playback/CurrentMetadata.h"
#include "media/pipeline/playback/FactsReader.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackParts.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/PlayerBuilder.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/ProgressTimeout.h"
#include "media/pipeline/playback/Scrubbing.h"
#include "media/pipeline/playback/Seeking.h"
#include "media/pipeline/playback/SoundBranch.h"
#include "media/pipeline/playback/StreamFailures.h"
#include "media/pipeline/playback/StreamSelection.h"
#include "media/pipeline/playback/TextBranch.h"
#include "media/pipeline/playback/WantedPlayback.h"
#include "platform/foundation/Error.h"
#include "platform/media/MediaTrack.h"

namespace media {

/// The main loop of a pipeline's thread: builds the player, handles its bus, and changes it until
/// it matches the requests. close() ends the loop; a failure does not.
///
/// Threads: the pipeline's; setSubtitleStyles() any.
///
/// Files: Playback.cpp has the loop, PlaybackOpening.cpp opens the item and handles changes of a
/// presentation, PlaybackMessages.cpp handles messages and deadlines.
class Playback {
 public:
  /// Commands arrive in the mailbox of `load`.
  explicit Playback(LoadContext& load);
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  /// Runs until close() is called, then stops the player.
  void run();

  // See Pipeline.
  void begin(const PlaybackRequest& request, const std::function<void()>& waitForPredecessor);
  void play(double rate);
  void pause();
  void seek(double seconds, std::uint64_t serial) { _seeking.request(seconds, serial); }
  void seekToDate(platform::Date date, std::uint64_t serial) { _seeking.requestDate(date, serial); }
  void setEndTimes(std::optional<double> forwardSeconds, std::optional<double> reverseSeconds);
  void setVolume(float volume);
  void setMuted(bool muted);
  void setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles);
  void setTrackEnabled(std::uint32_t trackID, bool enabled);
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier);
  void refresh();
  void close() { _state.closing = true; }

 private:
  // Playback.cpp
  void _loop();
  GstClockTime _untilDeadline() const;
  void _reconcile();
  void _updateMetadata();
  void _announce();
  void _becomeReady();
  void _finishSeek();
  void _fail(platform::Error error);
  void _release();

  // PlaybackOpening.cpp
  void _open();
  void _handleOpened(const std::optional<platform::Error>& error);
  void _openResource();
  void _reopen();
  void _openFile();
  void _measure(ReadBytes read, std::uint64_t size, std::uint64_t limit,
                const std::function<GstElement*()>& makeSource);
  void _build(const std::function<GstElement*()>& makeSource, const std::optional<MediaSpan>& span);
  void _openPresentation();
  void _handlePrepared(double start, const std::optional<platform::Error>& error);
  void _noteTracks();
  void _updatePresentation();

  // PlaybackMessages.cpp
  void _handle(GstMessage* message);
  void _handleError(GstMessage* message);
  void _failUnlessHandled(platform::Error error, GstMessage* message = nullptr);
  void _handleElement(GstMessage* message);
  void _handleDurationChange();
  void _handleTags(GstMessage* message);
  void _noteChapters(std::vector<platform::MediaChapter> chapters);
  void _handleAsyncDone();
  void _handleEnd();
  void _handleDeadline();
  void _checkForLostError();
  void _handleLostData();
  void _handleTimeout();
  /// Returns the failure of the network or the sender, if that is why no data arrives.
  std::optional<platform::Error> _itemFailure() const;

  LoadContext& _load;
  WantedPlayback _wanted;
  PlaybackState _state;
  PlayerElements _elements;
  StreamCatalog _catalog;
  Announcements _announcements;
  ProgressTimeout _progressTimeout;
  Player _player;
  const PlaybackParts _parts{_load,   _elements,        _wanted,       _state,
                             _player, _progressTimeout, _announcements};
  TextBranch _texts;
  FactsReader _facts;
  StreamSelection _selection;
  StreamFailures _failures;
  SoundBranch _sound;
  Buffering _buffering;
  CurrentMetadata _metadata;
  CoverArt _cover;
  Scrubbing _scrubbing;
  Seeking _seeking;
  PlayerBuilder _builder;
};

}  // namespace media
