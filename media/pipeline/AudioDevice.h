#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// Where pipelines sound. By itself the default device of the box: that of the sound server where
/// one listens, else that of ALSA where there is one to play on.
///
/// What is not there is not tried: trying loads libraries, takes tens of milliseconds and may print
/// to stderr.
///
/// Threads: any that may block, several at once; a sound server may take its time to answer.
class AudioDevice {
 public:
  /// `interrupted` is called when the sound server silences a stream in favour of another, and
  /// `lost` when one fails; on a thread of a pipeline's.
  explicit AudioDevice(std::function<void()> interrupted = {}, std::function<void()> lost = {})
      : _interrupted(std::move(interrupted)), _lost(std::move(lost)) {}
  virtual ~AudioDevice() = default;
  /// A sink with the device open (READY); null where there is none, or where it refuses.
  virtual GstRef<GstElement> open();
  /// Only one at a time can have it: a sound server mixes, a card need not.
  virtual bool isExclusive();

  using Arrival = std::function<void()>;
  /// `arrival` is called on the thread of noteArrival(), for as long as somebody else holds it.
  void listen(std::weak_ptr<const Arrival> arrival);
  /// There may be a device now where there was none.
  void noteArrival();
  void noteInterruption() {
    if (_interrupted) _interrupted();
  }
  void noteLoss() {
    if (_lost) _lost();
  }

 private:
  const std::function<void()> _interrupted;
  const std::function<void()> _lost;
  std::mutex _mutex;
  std::vector<std::weak_ptr<const Arrival>> _listeners;
};

}  // namespace media
