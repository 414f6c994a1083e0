#include "receivers/upnp/device/Action.h"

#include <charconv>
#include <utility>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/device/Log.h"

namespace upnp {

namespace {

const char* errorText(Error error) {
  switch (error) {
    case Error::InvalidAction:
      return "Invalid action";
    case Error::InvalidArgs:
      return "Invalid args";
    case Error::ActionFailed:
      return "Action failed";
    case Error::TransitionNotAvailable:
      return "Transition not available";
    case Error::InvalidName:
      return "Invalid name";
    case Error::InvalidRenderingInstance:
    case Error::InvalidInstance:
      return "Invalid InstanceID";
    case Error::InvalidConnection:
      return "Invalid connection reference";
    case Error::SeekModeNotSupported:
      return "Seek mode not supported";
    case Error::IllegalSeekTarget:
      return "Illegal seek target";
    case Error::PlayModeNotSupported:
      return "Play mode not supported";
    case Error::IllegalMimeType:
      return "Illegal MIME-type";
    case Error::ResourceNotFound:
      return "Resource not found";
    case Error::PlaySpeedNotSupported:
      return "Play speed not supported";
  }
  return "Action failed";
}

/// For the trace.
std::string shortened(const std::string& text) {
  constexpr std::size_t kMaximum = 200;
  return text.size() <= kMaximum ? text : text.substr(0, kMaximum) + "...";
}

}  // namespace

Action::State::~State() {
  if (action) fail(Error::ActionFailed);
}

void Action::State::fail(Error error) {
  trace(name + inputs + " -> error " + std::to_string(codeOf(error)) + " " + errorText(error));
  gupnp_service_action_return_error(std::exchange(action, nullptr),
                                    static_cast<guint>(codeOf(error)), errorText(error));
}

Action::Action(GUPnPServiceAction* action) : _state(std::make_shared<State>()) {
  _state->action = action;
  _state->name = textOf(gupnp_service_action_get_name(action));
}

std::string Action::name() const { return _state->name; }

std::optional<std::string> Action::text(const char* argument) const {
  if (!_state->action) return std::nullopt;
  GValue* const value = gupnp_service_action_get_gvalue(_state->action, argument, G_TYPE_STRING);
  if (!value) return std::nullopt;
  // Null: the controller has not sent it.
  const char* const sent = g_value_get_string(value);
  std::optional<std::string> text;
  if (sent) {
    text = sent;
    const std::string input = std::string(" ") + argument + "=" + shortened(*text);
    // An argument may be read twice.
    if (_state->inputs.find(input) == std::string::npos) _state->inputs += input;
  }
  g_value_unset(value);
  g_slice_free(GValue, value);
  return text;
}

std::optional<int> Action::number(const char* argument) const {
  const auto digits = text(argument);
  if (!digits) return std::nullopt;
  int number = 0;
  const char* const end = digits->data() + digits->size();
  const auto result = std::from_chars(digits->data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

void Action::set(const char* argument, const std::string& value) {
  if (!_state->action) return;
  _state->outputs += std::string(" ") + argument + "=" + shortened(value);
  gupnp_service_action_set(_state->action, argument, G_TYPE_STRING, value.c_str(), nullptr);
}

void Action::succeed() {
  if (!_state->action) return;
  trace(_state->name + _state->inputs + " ->" + _state->outputs);
  gupnp_service_action_return_success(std::exchange(_state->action, nullptr));
}

void Action::fail(Error error) {
  if (_state->action) _state->fail(error);
}

void Action::answer(const Failure& failure) {
  if (failure) {
    fail(*failure);
  } else {
    succeed();
  }
}

}  // namespace upnp
