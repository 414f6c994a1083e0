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
  std::vector<std::string> preferredLanguages = {};  ///< for sound and text; BCP 47, the best first
  /// Fetches everything but files; engines may share it. Null: one of the engine's own.
  std::shared_ptr<streaming::Streaming> streaming = nullptr;
  std::shared_ptr<AudioDevice> audio = nullptr;  ///< null: the box's default
  /// The position has changed otherwise than by time or pictures. Any thread; may be empty.
  std::function<void()> positionChanged = {};
  /// Something has changed in the texts of a load. Any thread; may be empty.
  SubtitleCues::Observer textsChanged = {};
};

/// Plays media with GStreamer.
///
/// Each load has a pipeline of its own on a thread of its own, which is told what is wanted and
/// reports what became true over the main queue. Calls here only pass wishes on and read what was
/// published, so none of them waits, whatever the media or the network do; a pipeline that is let
/// go takes itself down. What is prepared is a load of the same kind, held back until its turn.
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
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _frames; }

  // For whoever tells another process how it is.
  /// 0 while nothing is loaded.
  std::uint64_t generation() const;
  /// Has what changes without being told looked at, at most once a second.
  void refresh();
  bool isSeeking() const;
  PositionClock::Point positionPoint() const;
  /// Calls `done` on another thread once all that was asked of the load has reached it; at once
  /// while nothing is loaded.
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
  std::shared_ptr<Pipeline> _predecessor;  // the one before, which may not have ended
  std::shared_ptr<const platform::MediaFacts> _facts;
};

}  // namespace media
