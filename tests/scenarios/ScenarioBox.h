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

/// Thrown by a step that fails.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Call {
  std::string method;  ///< D-Bus method, such as "StartVideo"
  std::vector<platform::Value> arguments;

  /// Throw Failure if the argument is missing or has another type.
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

/// The box that a scenario controls: the simulated one, or a real process. Operations that a box
/// does not support throw Failure.
class ScenarioBox {
 public:
  virtual ~ScenarioBox() = default;
  /// Returns true for a real process: time also passes between the steps.
  virtual bool isReal() const = 0;

  /// Returns the beginning of the URLs of media, such as "http://sender".
  virtual std::string mediaRoot() = 0;
  virtual void addMedia(const std::string& name, const platform::Dictionary& script) = 0;

  virtual Answer call(const Call& call) = 0;
  /// Begins a call and returns when the box waits for time to pass.
  virtual void begin(const Call& call);
  /// Returns the status of that call, or nullopt while it has not returned.
  virtual std::optional<std::int32_t> statusOfBegun();

  /// Returns the next event. A real box waits for it. Returns nullopt if there is none.
  virtual std::optional<Event> nextEvent() = 0;
  /// Searches the log for a line with `text`, from behind the line of the previous match. A real
  /// box waits for the line.
  virtual bool findInLog(const std::string& text) = 0;
  /// Returns the state of the session manager. A real box waits until it is `wanted`.
  virtual std::string state(const std::string& wanted) = 0;
  virtual std::size_t sessions(std::size_t wanted) = 0;
  /// Returns whether the screen shows anything. A real box waits until that is `wanted`.
  virtual bool hasPicture(bool wanted) = 0;
  /// Waits until fades have ended. Elements that fade in do not accept input.
  virtual void settle() = 0;
  virtual void press(const std::string& button) = 0;
  virtual void swipe(const std::string& direction) = 0;

  /// Returns the screens from bottom to top: "mirroring", "progress", "video", "pin", "dialog".
  virtual std::vector<std::string> screen();
  /// Returns the title in the transport bar; empty without a bar.
  virtual std::string title();
  /// Returns the message on the screen; empty if there is none.
  virtual std::string message();
  /// Returns the calls to services that begin with `prefix`, since the last call of this function.
  virtual std::vector<std::string> journal(const std::string& prefix);
  virtual void advance(platform::Duration duration);
  /// "refuse", "late SECONDS", "never", "accept", "end", "close".
  virtual void host(const std::vector<std::string>& words);
  /// "sleep"
  virtual void system(const std::vector<std::string>& words);
};

}  // namespace scenarios
