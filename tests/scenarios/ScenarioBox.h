#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"

namespace scenarios {

/// A step that did not go as written.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Call {
  std::string method;  ///< as at the receiver service's door: "StartVideo"
  std::vector<platform::Value> arguments;

  /// Throw Failure when there is no such argument.
  platform::Dictionary dictionary(std::size_t index) const;
  std::string string(std::size_t index) const;
  double number(std::size_t index) const;
  platform::Value optional(std::size_t index) const;
};

struct Answer {
  std::int32_t status = 0;
  platform::Value value;  ///< the out dictionary, or a property's value
};

struct Event {
  std::string name;
  platform::Dictionary info;
};

/// A box that a scenario steers: the one in memory, or a real process. Operations that one of them
/// does not have throw Failure.
class ScenarioBox {
 public:
  virtual ~ScenarioBox() = default;
  /// Whether time passes by itself, and things happen between the steps.
  virtual bool isReal() const = 0;

  /// URLs of media begin with it: "http://sender".
  virtual std::string mediaRoot() = 0;
  virtual void addMedia(const std::string& name, const platform::Dictionary& script) = 0;

  virtual Answer call(const Call& call) = 0;
  /// Makes a call, and goes on once nothing more happens without time moving.
  virtual void begin(const Call& call);
  /// The status of the call that was begun; nothing while it waits.
  virtual std::optional<std::int32_t> statusOfBegun();

  /// The next event. In memory nothing when there is none; on a real box, when none came in time.
  virtual std::optional<Event> nextEvent() = 0;
  /// Whether the log holds `text` behind the last one that was found; a real box is waited for.
  virtual bool findInLog(const std::string& text) = 0;
  /// The session manager's; a real box is given time to reach `wanted`.
  virtual std::string state(const std::string& wanted) = 0;
  virtual std::size_t sessions(std::size_t wanted) = 0;
  /// Whether there is something on screen; a real box is given time to come to `wanted`.
  virtual bool hasPicture(bool wanted) = 0;
  /// Lets all that fades in or out do so; the remote is heard by what has been faded in.
  virtual void settle() = 0;
  virtual void press(const std::string& button) = 0;
  virtual void swipe(const std::string& direction) = 0;

  /// What is on screen, bottom to top: "mirroring", "progress", "video", "pin", "dialog".
  virtual std::vector<std::string> screen();
  /// What the transport bar of the video on screen calls it; empty without a bar.
  virtual std::string title();
  /// The sentence that is shown in place of a picture; empty without one.
  virtual std::string message();
  /// What was asked of the services and begins with `prefix`, since the last time.
  virtual std::vector<std::string> journal(const std::string& prefix);
  virtual void advance(platform::Duration duration);
  /// "refuse", "late SECONDS", "never", "accept", "end", "close".
  virtual void host(const std::vector<std::string>& words);
  /// "sleep"
  virtual void system(const std::vector<std::string>& words);
};

}  // namespace scenarios
