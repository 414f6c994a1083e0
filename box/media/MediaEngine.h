#pragma once

#include <memory>
#include <optional>

#include "box/media/VideoFrames.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Queue.h"
#include "platform/media/MediaEngine.h"

namespace box {

class Pipeline;
struct PipelineEvent;

struct MediaEngineOptions {
  bool allowFileURLs = false;
};

/// Plays media with GStreamer.
///
/// Each load has a pipeline of its own on a thread of its own, which is told what is wanted and
/// reports what became true over the main queue. Calls here only pass wishes on and read what was
/// published, so none of them waits, whatever the media or the network do; a pipeline that is let
/// go takes itself down.
///
/// Threads: main. Lifetime: `queue` and `clock` outlive the engine and all WorkerThreads.
class MediaEngine final : public platform::MediaEngine {
 public:
  MediaEngine(platform::MainQueue& queue, const platform::Clock& clock,
              MediaEngineOptions options = {});
  ~MediaEngine() override;

  void setObserver(platform::MediaEngineObserver* observer) override;
  void load(const platform::MediaLoad& load) override;
  void unload() override;
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
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _frames; }

 private:
  struct Link;

  std::function<void(const PipelineEvent&)> _reporter(std::uint64_t generation);
  void _receive(std::uint64_t generation, const PipelineEvent& event);
  void _refreshWhenOld();

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  const MediaEngineOptions _options;
  platform::MediaEngineObserver* _observer = nullptr;
  const std::shared_ptr<VideoFrames> _frames;
  /// What posted callbacks find the engine through; gone with it.
  std::shared_ptr<Link> _link;

  std::uint64_t _generation = 0;  // 0: nothing is loaded
  std::shared_ptr<Pipeline> _pipeline;
  std::shared_ptr<Pipeline> _predecessor;  // the one before, which may not have ended
  bool _ready = false;
  std::uint64_t _seekSerial = 0;
  std::optional<double> _seekDestination;  // while a seek is under way
  std::shared_ptr<const platform::MediaFacts> _facts;
  platform::TimePoint _refreshedAt{};
  std::string _url;
  platform::Date _loadedAt;
};

}  // namespace box
