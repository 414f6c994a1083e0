#pragma once

#include "platform/foundation/Value.h"

/// Publishes what the box plays to the now-playing service. Class operations only. Main thread, but
/// keyMap(), which any thread may call.
class TVVorlaneMetadataMonitor {
 public:
  TVVorlaneMetadataMonitor() = delete;

  /// From the sender's key to the now-playing service's field.
  static const platform::Dictionary& keyMap();
  /// Publishes what the map knows and is not null, and the playback state: playing when the rate,
  /// cut to an integer, is not 0.
  static void updateWithParameters(const platform::Dictionary& parameters);
  /// Publishes these two fields alone. `elapsedTime` in seconds.
  static void updateWithElapsedTime(double elapsedTime, float playbackRate);
};
