#pragma once

#include <memory>
#include <optional>
#include <string>

#include <libgupnp/gupnp.h>

#include "receivers/upnp/model/Errors.h"

namespace upnp {

/// An action of a controller that is answered once, now or later. Copies share the answer. If all
/// copies are destroyed without one, the action fails.
class Action {
 public:
  explicit Action(GUPnPServiceAction* action);

  std::string name() const;
  /// None if the controller has not sent the argument.
  std::optional<std::string> text(const char* argument) const;
  std::optional<int> number(const char* argument) const;
  void set(const char* argument, const std::string& value);
  void succeed();
  void fail(Error error);
  void answer(const Failure& failure);

 private:
  struct State {
    GUPnPServiceAction* action = nullptr;  ///< null after the answer
    std::string name;
    // For the trace.
    std::string inputs;
    std::string outputs;
    ~State();
    void fail(Error error);
  };
  std::shared_ptr<State> _state;
};

}  // namespace upnp
