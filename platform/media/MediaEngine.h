#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSMediaItem.h"

namespace platform {

/// The source of the video frames of an engine. The screen of the same platform knows the actual
/// type.
class VideoOutput : public Object {
 public:
  std::string className() const override { return "VideoOutput"; }
};

/// The parameters of MediaEngine::load().
struct MediaLoad {
  /// Identifies this load in callbacks. Nonzero and unique.
  std::uint64_t generation = 0;
  std::shared_ptr<TVSMediaItem> item;
  // The start point. `startDate` is used if the media have dates; otherwise `startSeconds` or
  // `startFraction`, of which at most one is set. Default: the beginning, or the live edge of a
  // live stream. A live stream ignores the fraction. Values beyond the end are clamped.
  std::optional<double> startSeconds;
  std::optional<double> startFraction;  ///< of the duration, 0 to 1
  std::optional<Date> startDate;
  std::optional<double> forwardEndSeconds;
  std::optional<double> reverseEndSeconds;
  bool playing = true;  ///< play when ready; false: show the first frame and pause
  double rate = 1;
  float volume = 1;  ///< 0 to 1, linear
  bool muted = false;

  /// Whether an engine prepared for `other` can be used for this load.
  bool hasSameStart(const MediaLoad& other) const {
    return item == other.item && startSeconds == other.startSeconds &&
           startFraction == other.startFraction && startDate == other.startDate;
  }
};

/// A request of a load that has failed. Playback may have continued without the resource.
struct FailedRequest {
  Date date;
  std::string url;  ///< may be empty
  Error error;

  friend bool operator==(const FailedRequest&, const FailedRequest&) = default;
};

/// Receives the events of an engine on the main thread, never during a call into the engine. The
/// observer must ignore events whose `generation` is not that of the current load.
class MediaEngineObserver {
 public:
  virtual ~MediaEngineObserver() = default;
  /// The item is prerolled: duration, tracks and options are known. Once for each load, before the
  /// following events.
  virtual void engineDidBecomeReady(std::uint64_t generation) = 0;
  /// Playback runs at `rate`, from the first frame (or audio sample) on: after a load, a play(), a
  /// change of rate, or the end of a stall.
  virtual void engineDidPlay(std::uint64_t generation, double rate) = 0;
  virtual void engineDidPause(std::uint64_t generation) = 0;
  /// Playback has stopped because of a buffer underrun.
  virtual void engineDidStall(std::uint64_t generation) = 0;
  /// A seek is complete. One event may complete several seeks.
  virtual void engineDidSeek(std::uint64_t generation) = 0;
  /// The end of the item, or the end time of the direction of playback, has been reached. The last
  /// frame stays on screen.
  virtual void engineDidReachEnd(std::uint64_t generation) = 0;
  /// The load has failed. Only unload() and load() are useful afterwards.
  virtual void engineDidFail(std::uint64_t generation, const Error& error) = 0;
  /// facts() have changed, apart from positions and loaded ranges. A change of `bufferingPercent`
  /// is reported before the engine is ready, too.
  virtual void engineFactsDidChange(std::uint64_t generation) = 0;
  virtual void engineSelectionDidChange(std::uint64_t generation,
                                        const std::string& characteristic) = 0;
};

/// Decodes and renders one media item. The owner decides what happens at the end of an item and
/// after a failure.
///
/// Usage: setObserver(), load(), then any call. Calls do nothing while no item is loaded. All calls
/// are asynchronous: they return at once, and the observer is notified when they have taken effect.
/// Calls between load() and engineDidBecomeReady() take effect when the engine is ready; of each
/// kind of call the last one counts.
///
/// The next item can be prepared while the current one plays. A prepared item is not rendered and
/// emits no events before it is loaded.
///
/// Threads: main. Lifetime: there are no callbacks after setObserver(nullptr), unload() and
/// destruction. Callbacks may call any function, including load() and unload(), but must not
/// destroy the engine.
class MediaEngine {
 public:
  virtual ~MediaEngine() = default;
  virtual void setObserver(MediaEngineObserver* observer) = 0;

  virtual void load(const MediaLoad& load) = 0;
  /// Also cancels the preparation.
  virtual void unload() = 0;

  /// Prerolls the next item. A later load() with the same item and start point uses the result, and
  /// becomes ready or fails at once. Any other load() or prepare() cancels the preparation. Does
  /// nothing while no item is loaded. `load.generation` is ignored.
  virtual void prepare(const MediaLoad& load) = 0;
  virtual void cancelPreparation() = 0;

  /// Starts, resumes, or changes the rate. `rate` is not 0; it is clamped to the range of the
  /// engine.
  virtual void play(double rate) = 0;
  virtual void pause() = 0;
  /// An accurate seek. Clamped to the seekable ranges if there are any. A later seek replaces one
  /// that is in progress.
  virtual void seek(double seconds) = 0;
  /// Does nothing if the media have no dates.
  virtual void seekToDate(Date date) = 0;
  virtual void setEndTimes(std::optional<double> forwardSeconds,
                           std::optional<double> reverseSeconds) = 0;
  virtual void setVolume(float volume) = 0;
  virtual void setMuted(bool muted) = 0;
  virtual void setTrackEnabled(std::uint32_t trackID, bool enabled) = 0;
  /// std::nullopt deselects all options of the group. Unknown characteristics and options are
  /// ignored.
  virtual void selectOption(const std::string& characteristic,
                            const std::optional<std::string>& identifier) = 0;

  /// In seconds. 0 before the engine is ready. During a seek: its target.
  virtual double position() = 0;
  virtual const MediaFacts& facts() = 0;
  /// An array of dictionaries with kAccessLog… keys.
  virtual Array accessLog() = 0;
  /// The newest failed requests of the load, the oldest first.
  virtual std::vector<FailedRequest> failedRequests() = 0;
  static constexpr std::size_t kMaxFailedRequests = 32;

  virtual std::shared_ptr<VideoOutput> videoOutput() = 0;
};

}  // namespace platform
