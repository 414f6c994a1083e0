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
#include "platform/media/MediaEngine.h"
#include "platform/media/MediaFacts.h"

namespace media {

struct LoadContext;
class Playback;

/// One load: a GStreamer pipeline, and a thread for the calls to it that may block and for its bus.
/// Files and plain resources are played by a ResourcePipeline, presentations of HLS and DASH by a
/// PresentationPipeline.
///
/// Requests are stored separately from the state of the pipeline: a request during a seek or a
/// selection takes effect afterwards, and a newer request replaces older ones of its kind.
///
/// Workflow: start(), begin() if it is held, then any calls on any thread, finally close() once.
/// The thread then shuts the pipeline down and exits. A failure does not end the thread.
class Pipeline : public std::enable_shared_from_this<Pipeline> {
 public:
  /// `predecessor` may occupy the audio device: the new pipeline waits for its end for at most a
  /// second. Returns null if no thread could be started.
  static std::shared_ptr<Pipeline> start(const platform::Clock& clock, PipelineSetup setup,
                                         std::shared_ptr<Pipeline> predecessor);
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Starts a held pipeline. `predecessor` is as in start().
  void begin(const PlaybackRequest& request, std::shared_ptr<Pipeline> predecessor);
  void play(double rate);
  void pause();
  void seek(double seconds, std::uint64_t serial);
  /// Seeks once the time line is known. Ignored if it has no dates.
  void seekToDate(platform::Date date, std::uint64_t serial);
  void setEndTimes(std::optional<double> forwardSeconds, std::optional<double> reverseSeconds);
  void setVolume(float volume);
  void setMuted(bool muted);
  /// `styles` may be null.
  void setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles);
  void setTrackEnabled(std::uint32_t trackID, bool enabled);
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier);
  /// Updates facts that change without a message: a sliding window, and the position without video.
  void refresh();
  /// Calls `done` on the pipeline's thread after all earlier requests. Not called after close().
  void ping(std::function<void()> done);
  void close();

  double position() const;
  platform::Duration positionAge() const;
  PositionClock::Point positionPoint() const;
  std::shared_ptr<const platform::MediaFacts> facts() const;
  /// Returns the statistics at the end of each access log entry, and the current ones.
  std::vector<PlaybackStatistics> statisticsByEntry() const;
  /// Returns the failures of streams that are left out.
  std::vector<platform::FailedRequest> failures() const;

 private:
  Pipeline(const platform::Clock& clock, PipelineSetup setup);
  void _post(std::function<void(Playback&)> command);
  void _run(const std::shared_ptr<Pipeline>& predecessor);
  /// Waits for a second at most.
  void _waitUntilClosed();

  const std::unique_ptr<LoadContext> _load;
  const std::unique_ptr<Playback> _playback;  // only used on the pipeline's thread
  std::mutex _mutex;
  std::condition_variable _ended;
  bool _hasEnded = false;
};

}  // namespace media
