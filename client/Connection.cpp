#include "client/Connection.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <unistd.h>

#include "client/Coding.h"
#include "client/Names.h"

namespace tvvorlane {

namespace {

/// Limit of messages per dispatch, so that the caller's loop can run.
constexpr int kMaxMessagesPerDispatch = 64;

int resultOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ECONNREFUSED:
      return TVVORLANE_NO_BOX;
    case EACCES:
    case EPERM:
      return TVVORLANE_FORBIDDEN;
    case ECONNRESET:
    case ENOTCONN:
    case EPIPE:
    case ESHUTDOWN:
      return TVVORLANE_CLOSED;
    case EINVAL:
    case ENAMETOOLONG:
      return TVVORLANE_INVALID;
    default:
      return TVVORLANE_FAILED;
  }
}

/// Returns a connected socket or a negative errno.
int connectTo(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (std::strlen(path) >= sizeof address.sun_path) return -ENAMETOOLONG;
  std::strcpy(address.sun_path, path);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0) return -errno;
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    const int error = errno;
    close(socket);
    return -error;
  }
  return socket;
}

/// Maps an error reply to CLOSED if the connection has ended, and to an error of the box otherwise.
int resultOfError(const sd_bus_error* error) {
  return sd_bus_error_has_name(error, SD_BUS_ERROR_NO_REPLY) ||
                 sd_bus_error_has_name(error, SD_BUS_ERROR_DISCONNECTED)
             ? TVVORLANE_CLOSED
             : TVVORLANE_REFUSED;
}

}  // namespace

Connection::~Connection() {
  // Makes a close() inside a completion harmless.
  _dispatching = true;
  _completeAll();
  // Unsent messages are dropped, because flushing would block.
  sd_bus_close_unref(_bus);
  if (_timer >= 0) close(_timer);
  if (_epoll >= 0) close(_epoll);
}

int Connection::open(const char* path) {
  _epoll = epoll_create1(EPOLL_CLOEXEC);
  _timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  if (_epoll < 0 || _timer < 0) return TVVORLANE_FAILED;
  const int socket = connectTo(path);
  if (socket < 0) return resultOf(-socket);
  int result = sd_bus_new(&_bus);
  if (result >= 0) result = sd_bus_set_fd(_bus, socket, socket);
  if (result < 0) {
    close(socket);
    return resultOf(-result);
  }
  result = sd_bus_set_bus_client(_bus, 0);
  if (result >= 0) result = sd_bus_start(_bus);
  if (result < 0) return resultOf(-result);

  const auto match = [this](const char* interface, const char* signal,
                            sd_bus_message_handler_t handler) {
    return sd_bus_match_signal(_bus, nullptr, nullptr, kPath, interface, signal, handler, this);
  };
  result = match(kReceiver, "Event", _handleEvent);
  if (result >= 0) result = match(kNotifications, "Posted", _handlePosted);
  if (result >= 0) result = match(kNotifications, "Distributed", _handleDistributed);
  if (result < 0) return resultOf(-result);

  epoll_event timer{EPOLLIN, {}};
  epoll_event bus{EPOLLIN, {}};
  if (epoll_ctl(_epoll, EPOLL_CTL_ADD, _timer, &timer) < 0 ||
      epoll_ctl(_epoll, EPOLL_CTL_ADD, sd_bus_get_fd(_bus), &bus) < 0) {
    return TVVORLANE_FAILED;
  }
  return _join();
}

/// The box sends events only to peers that have made a call.
int Connection::_join() {
  return call(
      "org.freedesktop.DBus.Peer", "Ping", Answer::Nothing, nullptr,
      [](const tvvorlane_reply*, void*) {}, nullptr);
}

int Connection::call(const char* interface, const char* method, Answer answer, const Append& append,
                     tvvorlane_completion completion, void* context) {
  if (_over) return TVVORLANE_CLOSED;
  sd_bus_message* message = nullptr;
  int result = sd_bus_message_new_method_call(_bus, &message, nullptr, kPath, interface, method);
  if (result >= 0 && append) result = append(message);
  if (result >= 0 && !completion) result = sd_bus_send(_bus, message, nullptr);
  if (result >= 0 && completion) {
    Call& made = _calls.emplace_back(Call{this, answer, completion, context, nullptr, {}});
    made.place = std::prev(_calls.end());
    result = sd_bus_call_async(_bus, &made.slot, message, _answered, &made, UINT64_MAX);
    if (result < 0) _calls.pop_back();
  }
  sd_bus_message_unref(message);
  if (!_dispatching) _updatePolling();
  return result < 0 ? resultOf(-result) : TVVORLANE_OK;
}

int Connection::dispatch() {
  if (_over || _dispatching) return _over ? TVVORLANE_CLOSED : TVVORLANE_INVALID;
  std::uint64_t expirations = 0;
  // Fails harmlessly if the timer has not expired.
  [[maybe_unused]] const auto count = read(_timer, &expirations, sizeof expirations);
  _dispatching = true;
  int result = 1;
  for (int done = 0; result > 0 && done < kMaxMessagesPerDispatch && !closeRequested; ++done) {
    result = sd_bus_process(_bus, nullptr);
  }
  if (!closeRequested && (result < 0 || sd_bus_is_open(_bus) <= 0)) {
    _over = true;
    _completeAll();
    if (closed.handler && !closeRequested) closed.handler(TVVORLANE_CLOSED, closed.context);
  }
  _dispatching = false;
  if (_over || closeRequested) return TVVORLANE_CLOSED;
  _updatePolling();
  return TVVORLANE_OK;
}

void Connection::_updatePolling() {
  itimerspec due{};
  std::uint64_t microseconds = 0;
  const int events = sd_bus_get_events(_bus);
  if (events < 0 || sd_bus_get_timeout(_bus, &microseconds) < 0) microseconds = 0;
  if (microseconds != UINT64_MAX) {
    due.it_value.tv_sec = static_cast<time_t>(microseconds / 1000000);
    due.it_value.tv_nsec = static_cast<long>(microseconds % 1000000 * 1000);
    // Zero would disarm the timer.
    if (microseconds == 0) due.it_value.tv_nsec = 1;
  }
  timerfd_settime(_timer, TFD_TIMER_ABSTIME, &due, nullptr);
  // POLLIN and POLLOUT equal EPOLLIN and EPOLLOUT.
  epoll_event bus{static_cast<std::uint32_t>(events & (POLLIN | POLLOUT)), {}};
  if (events >= 0) epoll_ctl(_epoll, EPOLL_CTL_MOD, sd_bus_get_fd(_bus), &bus);
}

void Connection::_complete(Call& call, int result, std::int32_t status,
                           const tvvorlane_value* value) {
  const tvvorlane_completion completion = call.completion;
  void* const context = call.context;
  sd_bus_slot_unref(call.slot);
  _calls.erase(call.place);
  const tvvorlane_reply reply{result, status, value};
  completion(&reply, context);
}

void Connection::_completeAll() {
  _over = true;
  while (!_calls.empty()) _complete(_calls.front(), TVVORLANE_CLOSED, 0, nullptr);
}

int Connection::_answered(sd_bus_message* reply, void* data, sd_bus_error*) {
  Call& call = *static_cast<Call*>(data);
  Connection& self = *call.connection;
  if (const sd_bus_error* const error = sd_bus_message_get_error(reply)) {
    self._complete(call, resultOfError(error), 0, nullptr);
    return 0;
  }
  std::int32_t status = 0;
  Reference value;
  const bool hasStatus = call.answer != Answer::State && call.answer != Answer::Nothing;
  if (hasStatus && sd_bus_message_read_basic(reply, 'i', &status) <= 0) {
    self._complete(call, TVVORLANE_REFUSED, 0, nullptr);
    return 0;
  }
  if (call.answer == Answer::StatusAndValue) value = readValueOrNone(reply);
  if (call.answer == Answer::StatusAndDictionary) value = readDictionary(reply);
  if (std::uint64_t state = 0;
      call.answer == Answer::State && sd_bus_message_read_basic(reply, 't', &state) > 0) {
    value = Reference(tvvorlane_unsigned(state));
  }
  self._complete(call, TVVORLANE_OK, status, value.get());
  return 0;
}

int Connection::_handleEvent(sd_bus_message* message, void* data, sd_bus_error*) {
  const auto& [handler, context] = static_cast<Connection*>(data)->event;
  const char* name = nullptr;
  if (handler && sd_bus_message_read_basic(message, 's', &name) > 0) {
    handler(name, readDictionary(message).get(), context);
  }
  return 0;
}

int Connection::_handlePosted(sd_bus_message* message, void* data, sd_bus_error*) {
  const auto& [handler, context] = static_cast<Connection*>(data)->notification;
  const char* name = nullptr;
  if (handler && sd_bus_message_read_basic(message, 's', &name) > 0)
    handler(name, nullptr, context);
  return 0;
}

int Connection::_handleDistributed(sd_bus_message* message, void* data, sd_bus_error*) {
  const auto& [handler, context] = static_cast<Connection*>(data)->notification;
  const char* name = nullptr;
  if (handler && sd_bus_message_read_basic(message, 's', &name) > 0) {
    handler(name, readDictionary(message).get(), context);
  }
  return 0;
}

}  // namespace tvvorlane
