#pragma once

#include <optional>
#include <string_view>

namespace media {

/// The time base of a TTML document.
struct TTMLClock {
  double frameRate = 30;
  double tickRate = 0;  ///< 0: the frame rate if the document sets it, otherwise 1
  bool namesFrames = false;

  /// Set the attributes `frameRate`, `frameRateMultiplier` and `tickRate` of `tt`. Values that are
  /// not positive numbers are ignored.
  void setFrameRate(std::string_view text) { namesFrames = _set(frameRate, text); }
  void setTickRate(std::string_view text) { _set(tickRate, text); }
  void multiplyFrameRate(std::string_view text);

  /// Returns the seconds of "00:01:02.5", "00:01:02:12" (frames), "1.5h", "10s", "250ms", "30f",
  /// "900t".
  std::optional<double> secondsOf(std::string_view text) const;

 private:
  static bool _set(double& rate, std::string_view text);
};

}  // namespace media
