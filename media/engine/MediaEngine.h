#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/engine/EngineLoad.h"
#include "media/output/SubtitleCues.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

class AudioDevice;

struct MediaEngineOptions {
  bool allowFileURLs = false;
  std::vector<std::string> preferredLanguages = {};  ///< BCP 47, in order of preference
  /// Fetches everything except plain files. May be shared. Null: the engine creates one.
  std::shared_ptr<streaming::Streaming> streaming = nullptr;
  std::shared_ptr<AudioDevice> audio = nullptr;  ///< null: the default device
  /// The position has jumped. Called on any thread; may be empty.
  std::function<void()> positionChanged = {};
  /// The texts of a load have changed. Called on any thread; may be empty.
  SubtitleCues::Observer textsChanged = {};
};

/// Plays media with GStreamer.
///
/// Each load has a pipeline on a thread of its own, which reports events by way of the main queue.
/// The calls here pass a request on or read published values, so none of them blocks, whatever the
/// media or the network do. A released pipeline shuts itself down. A prepared item is a load
/// without output.
///
/// `queue` and `clock` have to outlive the engine and all WorkerThreads.
/// Threads: main.
class MediaEngine final : public platform::MediaEngine {
 public:
  MediaEngine(platform::MainQueue& queue, const platform::Clock& clock,
              MediaEngineOptions options = {});
  ~MediaEngine() override;

  void setObserver(platform::MediaEngineObserver* observer) override;
  void load(const platform::MediaLoad& load) override;
  void unload() override;
  void prepare(const platform::MediaLoad& load) override;
  void cancelPreparation() override;
  void play(double rate) override;
  void pause() override;
  void seek(double seconds) override;
  void seekToDate(platform::Date date) override;
  void setEndTimes(std::optional<double> forwardSeconds,
                   std::optional<double> reverseSeconds) override;
  void setVolume(float volume) override;
  void setMuted(bool muted) override;
  void setTrackEnabled(std::uint32_t trackID, bool enabled) override;
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier) override;
  double position() override;
  const platform::MediaFacts& facts() override;
  platform::Array accessLog() override;
  std::vector<platform::FailedRequest> failedRequests() override;
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _frames; }

  // For EngineServer, which reports the state to another process.
  /// 0 if nothing is loaded.
  std::uint64_t generation() const;
  /// Updates facts that change without a callback; at most once a second.
  void refresh();
  bool isSeeking() const;
  PositionClock::Point positionPoint() const;
  /// Calls `done` on another thread after all earlier requests; at once if nothing is loaded.
  void ping(std::function<void()> done);

 private:
  EngineLoad::Setup _setupOf(const platform::MediaLoad& load);
  void _receive(EngineLoad& load, const PipelineEvent& event);
  void _closeCurrent();

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  const bool _allowFileURLs;
  const std::vector<std::string> _preferredLanguages;
  const std::shared_ptr<streaming::Streaming> _streaming;
  const std::shared_ptr<AudioDevice> _audio;
  const std::function<void()> _positionChanged;
  const SubtitleCues::Observer _textsChanged;
  platform::MediaEngineObserver* _observer = nullptr;
  const std::shared_ptr<VideoFrames> _frames;

  std::shared_ptr<EngineLoad> _current;  // null: nothing is loaded
  std::shared_ptr<EngineLoad> _prepared;
  std::shared_ptr<Pipeline> _predecessor;  // the previous one, which may still be shutting down
  std::shared_ptr<const platform::MediaFacts> _facts;
};

}  // namespace media
