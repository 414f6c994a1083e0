#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/PositionClock.h"
#include "media/output/SubtitleCues.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

class AudioDevice;
class ItemRequests;
class Pipeline;
struct PipelineEvent;

/// One load of the engine: an item, its pipeline, and everything with the same lifetime.
///
/// Workflow: start(), or prepare() and later begin(); finally close(). Before begin() the load has
/// no output and reports no events. A failure before begin() is reported after it.
///
/// Threads: main. Events of the pipeline arrive by way of the main queue. No event arrives after
/// close() or after the load is destroyed.
class EngineLoad : public std::enable_shared_from_this<EngineLoad> {
 public:
  struct Setup {
    platform::MediaLoad load;
    bool allowFileURLs = false;
    std::vector<std::string> preferredLanguages;  ///< BCP 47, in order of preference
    std::shared_ptr<streaming::Streaming> streaming;
    std::shared_ptr<AudioDevice> audio;
    std::shared_ptr<VideoFrames> frames;
    /// The pipeline before. It may still occupy the audio device.
    std::shared_ptr<Pipeline> predecessor;
    /// Called in tasks of the main queue. It may close and release the load.
    std::function<void(EngineLoad& load, const PipelineEvent& event)> onEvent;
    /// See PipelineSetup.
    std::function<void()> positionChanged;
    SubtitleCues::Observer textsChanged;
  };

  static std::shared_ptr<EngineLoad> start(platform::MainQueue& queue, const platform::Clock& clock,
                                           Setup setup);
  static std::shared_ptr<EngineLoad> prepare(platform::MainQueue& queue,
                                             const platform::Clock& clock, Setup setup);

  /// Shows the pictures of this load in place of the earlier ones.
  void show();
  /// Starts a prepared load; call show() first. Applies the settings of `load`, except for the item
  /// and the start position. `predecessor` is as in Setup.
  void begin(const platform::MediaLoad& load, std::shared_ptr<Pipeline> predecessor);
  /// Returns the pipeline, which may still be shutting down, or null.
  std::shared_ptr<Pipeline> close();

  /// The newest settings.
  const platform::MediaLoad& load() const { return _setup.load; }
  std::uint64_t generation() const { return _setup.load.generation; }

  // See platform::MediaEngine.
  void play(double rate);
  void pause();
  void seek(double seconds);
  void seekToDate(platform::Date date);
  void setEndTimes(std::optional<double> forwardSeconds, std::optional<double> reverseSeconds);
  void setVolume(float volume);
  void setMuted(bool muted);
  void setTrackEnabled(std::uint32_t trackID, bool enabled);
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier);
  double position();
  std::shared_ptr<const platform::MediaFacts> facts();
  platform::Array accessLog();
  std::vector<platform::FailedRequest> failedRequests() const;
  /// Updates facts that change without a callback; at most once a second.
  void refresh();
  bool isSeeking() const { return _seekDestination.has_value(); }
  PositionClock::Point positionPoint() const;
  /// Calls `done` on the pipeline's thread after all earlier requests; at once without a pipeline.
  void ping(std::function<void()> done);

 private:
  EngineLoad(platform::MainQueue& queue, const platform::Clock& clock, Setup setup);
  void _open(bool held);
  /// Reports a failure: at once, or in begin() if the load is prepared.
  void _failToStart(platform::Error error);
  void _openItem();
  void _observeSubtitleStyles();
  std::function<void(const PipelineEvent&)> _reporter();
  void _receive(const PipelineEvent& event);
  std::shared_ptr<const platform::MediaFacts> _mergeTimeline(
      std::shared_ptr<const platform::MediaFacts> facts);

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  Setup _setup;
  const std::string _url;
  platform::Date _loadedAt;

  std::optional<platform::Error> _startError;  // there is no pipeline
  std::shared_ptr<ItemRequests> _itemRequests;
  std::shared_ptr<streaming::StreamedItem> _item;  // null for a plain file
  std::shared_ptr<Pipeline> _pipeline;
  platform::Token _metadataObserver;
  std::uint64_t _ticket = 0;  // of VideoFrames
  bool _held = false;         // prepared; begin() was not called yet
  bool _closed = false;
  bool _ready = false;
  std::uint64_t _seekSerial = 0;
  std::optional<double> _seekDestination;  // while seeking
  platform::TimePoint _refreshedAt{};
  // The facts of the pipeline merged with those of the item.
  std::shared_ptr<const platform::MediaFacts> _facts;
  std::shared_ptr<const platform::MediaFacts> _pipelineFacts;
  platform::TimePoint _mergedAt{};
};

}  // namespace media
