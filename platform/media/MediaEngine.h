#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSMediaItem.h"

namespace platform {

/// Where an engine's pictures come from; the screen of the same box knows the type behind it.
class VideoOutput : public Object {
 public:
  std::string className() const override { return "VideoOutput"; }
};

/// Everything an engine needs to know to begin with an item.
struct MediaLoad {
  /// Comes back with every callback that belongs to this load. Never 0, never used twice.
  std::uint64_t generation = 0;
  std::shared_ptr<TVSMediaItem> item;
  // Where to begin. The date is used where the media carry dates; otherwise one of the other two,
  // of which at most one is set. The beginning without them, the edge of a live stream also with a
  // fraction. Values beyond the item's end are clamped.
  std::optional<double> startSeconds;
  std::optional<double> startFraction;  ///< of the duration, 0 to 1
  std::optional<Date> startDate;
  std::optional<double> forwardEndSeconds;
  std::optional<double> reverseEndSeconds;
  bool playing =
      true;  ///< play as soon as there is something to show; false: show the first frame and wait
  double rate = 1;
  float volume = 1;  ///< 0 to 1, linear
  bool muted = false;

  /// Whether what was prepared for `other` serves this load too: the same item from the same point.
  bool beginsLike(const MediaLoad& other) const {
    return item == other.item && startSeconds == other.startSeconds &&
           startFraction == other.startFraction && startDate == other.startDate;
  }
};

/// Hears what became true, on the main thread, never from inside an engine call. Every callback
/// names its load; the owner drops those of an older one.
class MediaEngineObserver {
 public:
  virtual ~MediaEngineObserver() = default;
  /// Duration, tracks and options are known, and the first frame (or sound) waits to be shown. Once
  /// a load, before any of the following ones.
  virtual void engineDidBecomeReady(std::uint64_t generation) = 0;
  /// The first frame is due on screen (or sound to the device) and time runs at `rate`: after a
  /// load, a play(), a change of rate, or the end of a stall.
  virtual void engineDidPlay(std::uint64_t generation, double rate) = 0;
  /// Time stands still on request.
  virtual void engineDidPause(std::uint64_t generation) = 0;
  /// Time stands still because the media do not arrive.
  virtual void engineDidStall(std::uint64_t generation) = 0;
  /// A seek has its effect; one call may answer several seeks that piled up.
  virtual void engineDidSeek(std::uint64_t generation) = 0;
  /// Played to the end, or to the end time of its direction; the last frame stays.
  virtual void engineDidReachEnd(std::uint64_t generation) = 0;
  /// The load is over; only unload() or another load() help.
  virtual void engineDidFail(std::uint64_t generation, const Error& error) = 0;
  /// Something in facts() other than positions and loaded ranges has changed. That the buffer has
  /// filled further is told before it is ready, too.
  virtual void engineFactsDidChange(std::uint64_t generation) = 0;
  /// The selected option of `characteristic` has changed.
  virtual void engineSelectionDidChange(std::uint64_t generation,
                                        const std::string& characteristic) = 0;
};

/// The narrow part of a player that knows how media are really played. It has one item loaded at a
/// time and no opinion: what to do at an end or after a failure is its owner's business.
///
/// Workflow: setObserver(), load(), then anything; calls while nothing is loaded do nothing. Calls
/// are short and never wait for the media; their effect is reported. Between load() and the ready
/// callback, play(), pause(), seek() and the rest are remembered and take effect when it is ready,
/// the last one of each kind winning.
///
/// Beside the item that is loaded a next one may be prepared, which is neither shown nor heard nor
/// told of until it is loaded itself.
///
/// Threads: main only. Lifetime: after setObserver(nullptr), unload() or destruction no callback
/// comes. A callback may call anything, a new load() and unload() included; its owner does not
/// destroy the engine inside one.
class MediaEngine {
 public:
  virtual ~MediaEngine() = default;
  virtual void setObserver(MediaEngineObserver* observer) = 0;

  virtual void load(const MediaLoad& load) = 0;
  /// Also drops what was prepared.
  virtual void unload() = 0;

  /// Brings an item as far as its first frame. A load() of the same object from the same start
  /// point takes it over, and becomes ready and plays at once, or fails at once where this has
  /// failed; any other load() drops it, and so does preparing something else. Does nothing while
  /// nothing is loaded. The generation is not looked at.
  virtual void prepare(const MediaLoad& load) = 0;
  virtual void cancelPreparation() = 0;

  /// Runs time at `rate` (not 0): begins, resumes, or changes the rate of what plays. Clamped to
  /// what the engine can do.
  virtual void play(double rate) = 0;
  virtual void pause() = 0;
  /// Exact. Clamped to the seekable range where there is one. While an earlier seek is under way,
  /// the latest wins.
  virtual void seek(double seconds) = 0;
  /// Only for media that carry dates; otherwise it does nothing.
  virtual void seekToDate(Date date) = 0;
  virtual void setEndTimes(std::optional<double> forwardSeconds,
                           std::optional<double> reverseSeconds) = 0;
  virtual void setVolume(float volume) = 0;
  virtual void setMuted(bool muted) = 0;
  virtual void setTrackEnabled(std::uint32_t trackID, bool enabled) = 0;
  /// No option: none of the group. Unknown characteristics and options do nothing.
  virtual void selectOption(const std::string& characteristic,
                            const std::optional<std::string>& identifier) = 0;

  /// Seconds; 0 before the load is ready. After a seek call: where it goes.
  virtual double position() = 0;
  virtual const MediaFacts& facts() = 0;
  /// One dictionary an entry: kAccessLog… keys. Empty when there is nothing to tell.
  virtual Array accessLog() = 0;

  virtual std::shared_ptr<VideoOutput> videoOutput() = 0;
};

}  // namespace platform
