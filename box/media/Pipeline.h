#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "box/media/CommandMailbox.h"
#include "box/media/GstRef.h"
#include "box/media/MediaErrors.h"
#include "box/media/PositionClock.h"
#include "box/media/StreamCatalog.h"
#include "box/media/VideoFrames.h"
#include "box/media/VideoSink.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Error.h"
#include "platform/media/MediaFacts.h"

namespace box {

/// What became true in a pipeline; the engine passes it on.
struct PipelineEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind;
  double rate = 0;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Seek: the newest request that it answers
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};

struct PipelineSetup {
  std::string url;
  std::string userAgent;             ///< empty: the library's own
  std::vector<std::string> cookies;  ///< each `name=value`
  std::optional<double> startSeconds;
  std::optional<double> startFraction;
  std::optional<double> forwardEnd;
  std::optional<double> reverseEnd;
  bool playing = true;
  double rate = 1;
  float volume = 1;
  bool muted = false;
  std::shared_ptr<VideoFrames> frames;
  std::uint64_t ticket = 0;  ///< for `frames`
  /// Called on the pipeline's thread.
  std::function<void(const PipelineEvent&)> report;
};

struct PipelineStatistics {
  std::optional<double> startupSeconds;
  std::uint32_t stallCount = 0;
  std::optional<std::uint64_t> bytesRead;
};

/// One load: a playbin3 of its own, a thread that does to it what may block and hears its bus, and
/// the wish (playing or not, rate, position, end times) that the thread brings the pipeline to.
///
/// Wishes are kept apart from what is: whatever was asked while a seek or a selection is under way
/// takes effect, newest only, when that has ended.
///
/// Workflow: start(), then anything from any thread, then close() once; the thread takes the
/// pipeline down and ends by itself. Nothing but close() ends it, a failure neither.
///
/// Files: Pipeline.cpp builds, loops and takes down; PipelineControl.cpp brings what is to what is
/// wanted; PipelineMessages.cpp hears the bus and keeps the facts.
class Pipeline : public std::enable_shared_from_this<Pipeline> {
 public:
  /// `predecessor` may hold the audio device: the new one waits for its end, at most a second.
  static std::shared_ptr<Pipeline> start(const platform::Clock& clock, PipelineSetup setup,
                                         std::shared_ptr<Pipeline> predecessor);

  void play(double rate);
  void pause();
  void seek(double seconds, std::uint64_t serial);
  void setEndTimes(std::optional<double> forwardSeconds, std::optional<double> reverseSeconds);
  void setVolume(float volume);
  void setMuted(bool muted);
  void setTrackEnabled(std::uint32_t trackID, bool enabled);
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier);
  /// Looks again at what changes without a message: a sliding window, the position of sound alone.
  void refresh();
  void close();

  double position() const { return _position.seconds(); }
  platform::Duration positionAge() const { return _position.age(); }
  std::shared_ptr<const platform::MediaFacts> facts() const;
  PipelineStatistics statistics() const;

 private:
  Pipeline(const platform::Clock& clock, PipelineSetup setup);
  void _post(std::function<void(Pipeline&)> command);
  void _report(PipelineEvent::Kind kind) { _setup.report({.kind = kind}); }

  // Pipeline.cpp
  void _run(const std::shared_ptr<Pipeline>& predecessor);
  bool _build();
  void _loop();
  void _letGo();
  void _takeDown();
  void _waitUntilClosed(platform::Duration limit);
  GstClockTime _untilDeadline() const;
  static void _onSourceSetup(GstElement* playbin, GstElement* source, gpointer self);

  // PipelineControl.cpp
  void _reconcile();
  bool _wantsSeek() const;
  double _seekDestination() const;
  void _issueSeek();
  void _answerSeek();
  void _finishSeek();
  void _setState(GstState state);
  void _announce();
  void _announcePlay();
  void _hold(double seconds);
  void _applyVolume();
  void _beginSelection(std::optional<StreamCatalog::Selection> selection);
  void _finishSelection();
  double _queryPosition() const;
  std::optional<double> _wantedStop() const;

  // PipelineScrub.cpp
  bool _beginScrub(double destination);
  bool _scrubTo(double seconds);
  void _runScrub();
  void _stepScrub();
  void _pauseScrub();

  // PipelineMessages.cpp
  void _handle(GstMessage* message);
  void _updateCatalog();
  void _handleElement(GstMessage* message);
  void _handleAsyncDone();
  void _handleBuffering(int percent);
  void _handleEnd();
  void _handleDeadline();
  void _fail(platform::Error error);
  void _becomeReady();
  void _progress();
  void _refreshFacts();
  void _publishFacts();
  void _noteSilence() const;

  const platform::Clock& _clock;
  const PipelineSetup _setup;
  CommandMailbox _mailbox;
  PositionClock _position;

  mutable std::mutex _mutex;  // protects the next three
  std::condition_variable _ended;
  bool _hasEnded = false;
  std::shared_ptr<const platform::MediaFacts> _published;
  PipelineStatistics _statistics;

  // Everything below belongs to the pipeline's thread.
  GstRef<GstElement> _playbin;
  GstRef<GstBus> _bus;
  GstRef<GstElement> _audioSink;
  std::unique_ptr<VideoSink> _videoSink;
  bool _closing = false;
  bool _failed = false;
  SourceReport _source;
  platform::TimePoint _startedAt{};
  std::optional<platform::TimePoint> _deadline;

  // What is wanted.
  bool _wantPlaying = true;
  double _wantedRate = 1;
  std::optional<double> _wantedPosition;
  std::optional<double> _wantedFraction;
  std::optional<double> _forwardEnd;
  std::optional<double> _reverseEnd;
  float _volume = 1;
  bool _muted = false;
  std::optional<std::uint64_t> _unansweredSeek;

  // What is.
  GstState _requested = GST_STATE_NULL;
  double _appliedRate = 1;
  std::optional<double> _appliedStop;
  bool _prerolled = false;
  bool _ready = false;
  bool _seeking = false;
  bool _reseek = false;  // only a flush makes a new selection flow
  bool _endsAfterSeek = false;
  bool _scrubbing = false;
  std::optional<platform::TimePoint> _scrubAt;  // when the next picture is due
  bool _atEnd = false;
  bool _timeRuns = false;
  bool _buffering = false;    // time waits for the media
  bool _hasBeenFull = false;  // since the load or the last seek
  int _bufferPercent = 0;
  bool _live = false;
  bool _playAnnounced = false;
  bool _pauseAnnounced = false;
  bool _endAnnounced = false;

  std::optional<StreamCatalog::Selection> _selecting;
  std::vector<std::function<void(Pipeline&)>> _afterSelection;
  GstRef<GstStreamCollection> _collection;
  StreamCatalog _catalog;
  platform::MediaFacts _facts;
};

}  // namespace box
