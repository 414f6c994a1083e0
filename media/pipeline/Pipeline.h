#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "media/captions/PictureCaptions.h"
#include "media/elements/PresentationPipeline.h"
#include "media/elements/ResourceSource.h"
#include "media/encryption/SenderContentKeys.h"
#include "media/engine/AccessLog.h"
#include "media/metadata/MetadataTimeline.h"
#include "media/output/PositionClock.h"
#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"
#include "media/output/VideoFrames.h"
#include "media/pipeline/AudioDevice.h"
#include "media/pipeline/AudioOutput.h"
#include "media/pipeline/CommandMailbox.h"
#include "media/pipeline/SinkProgress.h"
#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/VideoSink.h"
#include "media/segments/TextSegments.h"
#include "media/support/GstRef.h"
#include "media/support/MediaErrors.h"
#include "media/texts/AlternateTexts.h"
#include "media/texts/TextSink.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/media/MediaFacts.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// What became true in a pipeline; the engine passes it on.
struct PipelineEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind;
  double rate = 0;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Seek: the newest request that it answers
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};

/// What is wanted of a load from the start, and may change later.
struct PipelineWish {
  bool playing = true;
  double rate = 1;
  std::optional<double> forwardEnd;
  std::optional<double> reverseEnd;
  float volume = 1;
  bool muted = false;
};

struct PipelineSetup {
  std::string url;
  /// What fetches the media; null for a file, which the media library reads itself.
  std::shared_ptr<streaming::StreamedItem> item;
  std::shared_ptr<streaming::Streaming> streaming;  ///< for texts beside a file
  int displayHeight = 0;                            ///< pixels; 0: unknown
  std::optional<double> startSeconds;
  std::optional<double> startFraction;
  std::optional<platform::Date> startDate;  ///< for media whose time line tells dates
  PipelineWish wish;
  /// Goes no further than to the first frame, and tells nothing, before begin().
  bool held = false;
  std::vector<std::string> preferredLanguages;  ///< BCP 47, the best first
  std::vector<AlternateText> alternates;
  std::shared_ptr<const SubtitleStyles> subtitleStyles;  ///< may be null
  SubtitleCues::Observer textsChanged;                   ///< may be null; called on any thread
  std::shared_ptr<AudioDevice> audio;
  std::shared_ptr<VideoFrames> frames;
  std::uint64_t ticket = 0;  ///< for `frames`
  /// Called on the pipeline's thread.
  std::function<void(const PipelineEvent&)> report;
  /// The position has changed otherwise than by time or pictures. Any thread; may be empty.
  std::function<void()> positionChanged;
};

/// One load: a GStreamer pipeline of its own, a thread that makes the calls into it that may block
/// and handles its bus, and the wish (playing or not, rate, position, end times) that the thread
/// brings the pipeline to. Files and plain resources are played by playbin3, presentations of HLS
/// and DASH by a PresentationPipeline.
///
/// Wishes are kept apart from what is: whatever was asked while a seek or a selection is under way
/// takes effect, newest only, when that has ended.
///
/// Workflow: start(), begin() if it is held, then anything from any thread, then close() once; the
/// thread takes the pipeline down and ends by itself. Nothing but close() ends it, a failure
/// neither.
///
/// Files: Pipeline.cpp builds, loops and takes down; PipelinePresentation.cpp does what only HLS
/// and DASH need; PipelineControl.cpp reconciles what is with what is wanted; PipelineTracks.cpp
/// selects streams and texts; PipelineSound.cpp handles the audio device, PipelineBuffering.cpp
/// stalls; PipelineMessages.cpp handles the bus and keeps the facts.
class Pipeline : public std::enable_shared_from_this<Pipeline> {
 public:
  /// `predecessor` may hold the audio device: the new one waits for its end, at most a second.
  /// Null: the system has no thread left.
  static std::shared_ptr<Pipeline> start(const platform::Clock& clock, PipelineSetup setup,
                                         std::shared_ptr<Pipeline> predecessor);

  /// Of one that is held: goes on. `predecessor` as in start().
  void begin(const PipelineWish& wish, std::shared_ptr<Pipeline> predecessor);
  void play(double rate);
  void pause();
  void seek(double seconds, std::uint64_t serial);
  /// As soon as there is a time line to find the date on; none, or one without dates: nothing.
  void seekToDate(platform::Date date, std::uint64_t serial);
  void setEndTimes(std::optional<double> forwardSeconds, std::optional<double> reverseSeconds);
  void setVolume(float volume);
  void setMuted(bool muted);
  /// May be null.
  void setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles);
  void setTrackEnabled(std::uint32_t trackID, bool enabled);
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier);
  /// Looks again at what changes without a message: a sliding window, the position of sound alone.
  void refresh();
  /// Calls `done` on the pipeline's thread, after all that was asked before. Not after close().
  void ping(std::function<void()> done);
  void close();

  double position() const { return _position.seconds(); }
  platform::Duration positionAge() const { return _position.age(); }
  PositionClock::Point positionPoint() const { return _position.point(); }
  std::shared_ptr<const platform::MediaFacts> facts() const;
  PlaybackStatistics statistics() const;
  /// As they were whenever the media began to come from elsewhere, and as they are now.
  std::vector<PlaybackStatistics> statisticsOfLegs() const;

 private:
  Pipeline(const platform::Clock& clock, PipelineSetup setup);
  void _post(std::function<void(Pipeline&)> command);
  void _noteLeg();
  void _wish(const PipelineWish& wish);
  void _report(PipelineEvent::Kind kind) { _setup.report({.kind = kind}); }

  // Pipeline.cpp
  void _run(const std::shared_ptr<Pipeline>& predecessor);
  void _makeBus();
  void _open();
  void _opened(const std::optional<platform::Error>& error);
  bool _makeSinks();
  bool _buildPlaybin(const std::string& uri);
  void _loop();
  void _letGo();
  void _releaseItem();
  void _takeDown();
  /// A second at most.
  void _waitUntilClosed();
  GstClockTime _untilDeadline() const;

  // PipelinePresentation.cpp
  void _openPresentation();
  void _buildPresentation(double start, const std::optional<platform::Error>& error);
  streaming::TrackSelection _trackSelection() const;
  void _noteTracks();
  void _updatePresentation();
  void _noteText(const streaming::TrackPiece& piece, bool isFirst);
  void _refreshPresentationFacts();

  // PipelineBuffering.cpp
  void _noteWaiting(bool waits);
  void _watchDryness();
  void _handleDryness();
  void _stall();
  void _handleRefill();
  void _publishBuffer();

  // PipelineControl.cpp
  void _reconcile();
  bool _wantsSeek() const;
  void _resolveDate();
  double _seekDestination() const;
  void _issueSeek();
  void _answerSeek();
  void _finishSeek();
  void _setState(GstState state);
  void _announce();
  void _announcePlay();
  void _setTimeRuns(bool runs);
  void _runPosition();
  void _hold(double seconds);
  void _applyVolume();
  double _queryPosition() const;
  std::optional<double> _wantedStop() const;

  // PipelineTracks.cpp
  void _setUpTexts();
  std::vector<platform::MediaSelectionGroup> _groups() const;
  bool _choosePreferred();
  void _loadAlternate();
  void _noteCaptions(PictureCaptions::Channel channel);
  std::optional<PictureCaptions::Channel> _captionsNamed(const std::string& identifier) const;
  void _noteCaptionTracks(const std::vector<streaming::Track>& tracks);
  void _select(const std::string& characteristic, const std::optional<std::string>& identifier);
  void _beginSelection(std::optional<StreamCatalog::Choice> choice);
  void _handleSelection(StreamCatalog::Selection selection);
  void _finishSelection();
  void _tellSelection(const std::vector<platform::MediaSelectionGroup>& before);
  void _showTexts();

  // PipelineSound.cpp
  void _setUpSound();
  static GstBusSyncReply _onSyncMessage(GstBus* bus, GstMessage* message, gpointer sound);
  void _beginSound(const std::shared_ptr<Pipeline>& predecessor);
  void _changeSound(GstRef<GstElement> sink);
  /// Whether an error is only that the device has gone, or comes of it.
  bool _losesSound(GstMessage* message);
  void _searchSound();
  void _noteSilence() const;

  // PipelineMetadata.cpp
  void _setUpMetadata();
  void _noteTags(const GstTagList* tags);
  void _noteEvents();
  void _updateMetadata();

  // PipelineScrub.cpp
  bool _beginScrub(double destination);
  bool _scrubTo(double seconds);
  void _runScrub();
  void _stepScrub();
  void _pauseScrub();

  // PipelineMessages.cpp
  void _handle(GstMessage* message);
  void _noteChapters(std::vector<platform::MediaChapter> chapters);
  void _updateCatalog();
  void _handleElement(GstMessage* message);
  void _handleAsyncDone();
  void _handleEnd();
  void _handleDeadline();
  /// Why the media do not come, where it is the network's or the sender's fault.
  std::optional<platform::Error> _itemFailure() const;
  void _fail(platform::Error error);
  void _becomeReady();
  void _progress();
  void _refreshFacts();
  void _publishFacts();

  const platform::Clock& _clock;
  const PipelineSetup _setup;
  const std::shared_ptr<SenderContentKeys> _contentKeys;  // null for a file
  CommandMailbox _mailbox;
  PositionClock _position;

  mutable std::mutex _mutex;  // protects what comes next
  std::condition_variable _ended;
  bool _hasEnded = false;
  std::shared_ptr<const platform::MediaFacts> _published;
  PlaybackStatistics _statistics;
  std::vector<PlaybackStatistics> _legs;          // at the end of each
  std::optional<platform::TimePoint> _runsSince;  // time runs

  // Everything below belongs to the pipeline's thread.
  GstRef<GstElement> _player;
  GstRef<GstBus> _bus;
  std::unique_ptr<AudioOutput> _sound;
  std::unique_ptr<VideoSink> _videoSink;
  std::unique_ptr<TextSink> _textSink;
  bool _closing = false;
  bool _failed = false;
  std::optional<platform::Error> _untoldFailure;  // of one that is held
  platform::TimePoint _startedAt{};
  std::optional<platform::TimePoint> _deadline;
  std::optional<platform::TimePoint> _lookAt;  // at the demuxers, which may have given up

  // What is wanted.
  bool _held = false;
  bool _wantPlaying = true;
  double _wantedRate = 1;
  std::optional<double> _wantedPosition;
  std::optional<double> _wantedFraction;
  std::optional<platform::Date> _wantedDate;
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
  bool _buffering = false;                         // time waits for the media
  bool _waits = false;                             // the demuxer waits for bytes
  std::uint64_t _bytesAtStall = 0;                 // of the item's transfers
  std::optional<platform::TimePoint> _dryAt;       // look whether the sinks have run dry
  std::optional<platform::TimePoint> _refilledAt;  // the demuxer has had enough for so long
  SinkProgress _videoProgress;
  SinkProgress _soundProgress;
  bool _live = false;
  bool _playAnnounced = false;
  bool _pauseAnnounced = false;
  bool _endAnnounced = false;

  std::shared_ptr<const AudioDevice::Arrival> _soundArrival;
  bool _mendsSound = false;                      // from a loss to the flush that mends it
  std::optional<platform::TimePoint> _searchAt;  // for a device, while time runs
  platform::Duration _searchDelay{};

  std::optional<StreamCatalog::Choice> _selecting;
  std::vector<std::function<void(Pipeline&)>> _afterSelection;
  GstRef<GstStreamCollection> _collection;
  StreamCatalog _catalog;
  bool _chosen = false;                                 // by who watches, or in their name
  std::unique_ptr<PresentationPipeline> _presentation;  // null for a plain resource
  std::unique_ptr<TextSegments> _textSegments;
  ResourceURI _resourceURI;
  const std::shared_ptr<SubtitleCues> _subtitles;
  AlternateTexts _alternates;
  /// In the pictures, and what is known of them.
  std::array<std::optional<platform::MediaSelectionOption>, 4> _captions;
  std::optional<PictureCaptions::Channel> _shownCaptions;
  const std::shared_ptr<MetadataTimeline> _metadata = std::make_shared<MetadataTimeline>();
  std::shared_ptr<const streaming::Presentation> _eventsOf;
  MetadataTimeline::Items _tagItems;               // the newest of each
  std::optional<platform::TimePoint> _metadataAt;  // when more is due
  platform::MediaFacts _facts;
};

}  // namespace media
