#pragma once

#include <optional>
#include <string_view>

namespace media {

/// How a TTML document counts its times.
struct TTMLClock {
  double frameRate = 30;
  double tickRate = 0;  ///< 0: that of the frames where the document names one, or 1
  bool namesFrames = false;

  /// `frameRate`, its multiplier and `tickRate` of the document's element; what is no number, or
  /// none above zero, changes nothing.
  void setFrameRate(std::string_view text) { namesFrames = _set(frameRate, text); }
  void setTickRate(std::string_view text) { _set(tickRate, text); }
  void multiplyFrameRate(std::string_view text);

  /// "00:01:02.5", "00:01:02:12" with frames, "1.5h", "10s", "250ms", "30f", "900t". Seconds.
  std::optional<double> secondsOf(std::string_view text) const;

 private:
  static bool _set(double& rate, std::string_view text);
};

}  // namespace media
