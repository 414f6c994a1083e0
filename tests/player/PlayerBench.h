#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/media/TVSResourceLoadingRequest.h"
#include "sim/Audio.h"

/// The environment of the tests of this folder: the simulated engine in virtual time
/// (tests/platform/media), or the real engine with real media (tests/media). Installs itself as the
/// current platform.
///
/// Media by name. They have video and audio unless noted otherwise.
///
/// | | |
/// |---|---|
/// | a, b, c | one second each |
/// | clip | three seconds with the title "Clip" |
/// | long | twenty seconds |
/// | dated | three seconds with dates |
/// | tracks | three seconds with two audio and two subtitle tracks: English, French |
/// | live | a live stream |
/// | own | three seconds that are requested from the item |
/// | asks | three seconds; the second one is requested from the item |
/// | key | three seconds with a key that is requested from the item |
/// | silent | the item accepts the request and never finishes it |
/// | damaged | not playable |
/// | missing | does not exist |
///
/// Threads: main.
class PlayerBench {
 public:
  /// Implemented by the linked bench.
  static std::unique_ptr<PlayerBench> make();
  virtual ~PlayerBench() = default;

  virtual std::string url(const std::string& name) = 0;
  /// The successful answer to `request`.
  virtual platform::ResourceResponse answerTo(const TVSResourceLoadingRequest& request) = 0;

  /// Runs the due tasks and timers.
  virtual void turn() = 0;
  /// Waits until `condition` returns true: at most a minute in virtual time, and a generous limit
  /// in real time. Returns whether it did.
  virtual bool until(const std::function<bool()>& condition) = 0;
  /// Waits until all operations have finished. Nothing may be playing.
  virtual void waitForIdle() = 0;

  /// The number of engines that exist.
  virtual std::size_t engines() = 0;
  virtual sim::NowPlayingService& nowPlaying() = 0;
  /// True in virtual time. Otherwise tests with many similar cases run only some of them.
  virtual bool hasVirtualTime() const = 0;
};
