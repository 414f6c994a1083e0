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
class ItemQuestions;
class Pipeline;
struct PipelineEvent;

/// One load of the engine: an item, the pipeline that plays it, and whatever else lives exactly as
/// long as that.
///
/// Workflow: start() or prepare(), in the second case begin() when its turn has come; close() once.
/// Before begin() it shows, sounds and tells nothing; what has failed by then is told after it.
///
/// Threads: main; what the pipeline tells comes here over the main queue. No event comes after
/// close() or once the load is gone.
class EngineLoad : public std::enable_shared_from_this<EngineLoad> {
 public:
  struct Setup {
    platform::MediaLoad load;
    bool allowFileURLs = false;
    std::vector<std::string> preferredLanguages;  ///< BCP 47, the best first
    std::shared_ptr<streaming::Streaming> streaming;
    std::shared_ptr<AudioDevice> audio;
    std::shared_ptr<VideoFrames> frames;
    /// May hold the audio device.
    std::shared_ptr<Pipeline> predecessor;
    /// Called in tasks of the main queue only. It may close the load, and let go of it.
    std::function<void(EngineLoad& load, const PipelineEvent& event)> tell;
    /// As in PipelineSetup.
    std::function<void()> positionChanged;
    SubtitleCues::Observer textsChanged;
  };

  static std::shared_ptr<EngineLoad> start(platform::MainQueue& queue, const platform::Clock& clock,
                                           Setup setup);
  static std::shared_ptr<EngineLoad> prepare(platform::MainQueue& queue,
                                             const platform::Clock& clock, Setup setup);

  /// Its pictures take the place of those shown so far.
  void show();
  /// After show(). What `load` says beside item and start point is made so. `predecessor` as in
  /// Setup.
  void begin(const platform::MediaLoad& load, std::shared_ptr<Pipeline> predecessor);
  /// Returns the pipeline, which may take a while to end; null where there is none.
  std::shared_ptr<Pipeline> close();

  /// As it was asked for last.
  const platform::MediaLoad& load() const { return _setup.load; }
  std::uint64_t generation() const { return _setup.load.generation; }

  // As in platform::MediaEngine.
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
  /// Has what changes without being told looked at, at most once a second.
  void refresh();
  bool isSeeking() const { return _seekDestination.has_value(); }
  PositionClock::Point positionPoint() const;
  /// Calls `done` on the pipeline's thread once it has done all that was asked before; at once
  /// where there is none.
  void ping(std::function<void()> done);

 private:
  EngineLoad(platform::MainQueue& queue, const platform::Clock& clock, Setup setup);
  void _open(bool held);
  /// Told at once, or once begin() asks.
  void _refuse(platform::Error error);
  void _openItem();
  void _followStyles();
  std::function<void(const PipelineEvent&)> _reporter();
  void _receive(const PipelineEvent& event);
  std::shared_ptr<const platform::MediaFacts> _withTimeline(
      std::shared_ptr<const platform::MediaFacts> facts);

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  Setup _setup;
  const std::string _url;
  platform::Date _loadedAt;

  std::optional<platform::Error> _refusal;  // without a pipeline
  std::shared_ptr<ItemQuestions> _questions;
  std::shared_ptr<streaming::StreamedItem> _item;  // null for a file
  std::shared_ptr<Pipeline> _pipeline;
  platform::Token _metadataObserver;
  std::uint64_t _ticket = 0;  // of its pictures
  bool _held = false;         // prepared, and begin() has not been called
  bool _closed = false;
  bool _ready = false;
  std::uint64_t _seekSerial = 0;
  std::optional<double> _seekDestination;  // while a seek is under way
  platform::TimePoint _refreshedAt{};
  // What the pipeline and the item know, put together.
  std::shared_ptr<const platform::MediaFacts> _facts;
  std::shared_ptr<const platform::MediaFacts> _factsOfPipeline;
  platform::TimePoint _factsMadeAt{};
};

}  // namespace media
