#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/media/TVSResourceLoadingRequest.h"
#include "sim/Audio.h"

/// What the tests of this folder run on, so that their bodies know nothing of it: the scripted
/// engine in virtual time (tests/platform/media), or the box's engine with real media
/// (tests/media). It is the current platform while it lives.
///
/// Media, by name: what is not said otherwise has picture and sound.
///
/// | | |
/// |---|---|
/// | a, b, c | one second each |
/// | clip | three seconds, of the title "Clip" |
/// | long | twenty seconds |
/// | dated | three seconds whose positions have dates |
/// | tracks | three seconds with two sounds and two texts, each first in English, then in French |
/// | live | a programme that is on |
/// | own | three seconds that only the item's sender has |
/// | asks | three seconds of which the sender alone has the second one |
/// | key | three seconds that need a key of the sender's |
/// | silent | somebody takes the request for it and never answers |
/// | damaged | nothing that could be played |
/// | missing | there is nothing there |
///
/// Threads: main.
class PlayerBench {
 public:
  /// The one that is linked.
  static std::unique_ptr<PlayerBench> make();
  virtual ~PlayerBench() = default;

  virtual std::string url(const std::string& name) = 0;
  /// What a sender that has it answers to such a request.
  virtual platform::ResourceResponse answerTo(const TVSResourceLoadingRequest& request) = 0;

  /// Does what is due now.
  virtual void turn() = 0;
  /// Lets time pass until something is so: in virtual time a minute, in real time a generous bound
  /// that says nothing of how long it should take. True when it is.
  virtual bool until(const std::function<bool()>& isSo) = 0;
  /// Lets everything happen that is still under way. Nothing may be playing.
  virtual void exhaust() = 0;

  /// Those that have not been destroyed.
  virtual std::size_t engines() = 0;
  virtual sim::NowPlayingService& nowPlaying() = 0;
  /// Of many cases that are much alike all can be tried, not only some.
  virtual bool timeIsFree() const = 0;
};
