#pragma once

#include "platform/foundation/Dictionary.h"

/// Publishes metadata and position to the now-playing service. Static functions only. keyMap() is
/// thread-safe; the other functions run on the main thread.
class TVVorlaneMetadataMonitor {
 public:
  TVVorlaneMetadataMonitor() = delete;

  /// Maps the sender's keys to the fields of the now-playing service.
  static const platform::Dictionary& keyMap();
  /// Publishes the non-null parameters that keyMap() contains, and the playback state. The state is
  /// "playing" if the rate, truncated to an integer, is not 0.
  static void updateWithParameters(const platform::Dictionary& parameters);
  /// Publishes only these two fields. `elapsedTime` is in seconds.
  static void updateWithElapsedTime(double elapsedTime, float playbackRate);
};
