#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/engine/AccessLog.h"
#include "media/output/PositionClock.h"
#include "media/output/SubtitleStyles.h"
#include "media/pipeline/PipelineSetup.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/media/MediaFacts.h"

namespace media {

struct LoadContext;
class Playback;

/// One load: a GStreamer pipeline of its own, and a thread that makes the calls into it that may
/// block and handles its bus. A resource pipeline plays files and plain resources, a
/// PresentationPipeline plays presentations of HLS and DASH.
///
/// Requests are kept apart from the state of the pipeline: a request that comes during a seek or a
/// selection takes effect at its end, and only the newest of its kind does.
///
/// Workflow: start(), begin() if it is held, then anything from any thread, then close() once; the
/// thread takes the pipeline down and ends by itself. Only close() ends it; a failure does not.
class Pipeline : public std::enable_shared_from_this<Pipeline> {
 public:
  /// `predecessor` may hold the audio device: the new one waits for its end, at most a second.
  /// Null: the system has no thread left.
  static std::shared_ptr<Pipeline> start(const platform::Clock& clock, PipelineSetup setup,
                                         std::shared_ptr<Pipeline> predecessor);
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Of one that is held: goes on. `predecessor` as in start().
  void begin(const PlaybackRequest& request, std::shared_ptr<Pipeline> predecessor);
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

  double position() const;
  platform::Duration positionAge() const;
  PositionClock::Point positionPoint() const;
  std::shared_ptr<const platform::MediaFacts> facts() const;
  /// As they were whenever the media began to come from elsewhere, and as they are now.
  std::vector<PlaybackStatistics> statisticsOfLegs() const;

 private:
  Pipeline(const platform::Clock& clock, PipelineSetup setup);
  void _post(std::function<void(Playback&)> command);
  void _run(const std::shared_ptr<Pipeline>& predecessor);
  /// A second at most.
  void _waitUntilClosed();

  const std::unique_ptr<LoadContext> _load;
  const std::unique_ptr<Playback> _playback;  // belongs to the pipeline's thread
  std::mutex _mutex;
  std::condition_variable _ended;
  bool _hasEnded = false;
};

}  // namespace media
