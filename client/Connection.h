#pragma once

#include <functional>
#include <list>
#include <memory>

#include <systemd/sd-bus.h>

#include "client/Value.h"

namespace tvvorlane {

/// The connection of a client: sd-bus, peer to peer over the socket of the box. The caller polls
/// one descriptor for reading. It is an epoll set of the socket, with the events that sd-bus waits
/// for, and a timer with the timeout of sd-bus.
class Connection {
 public:
  /// The contents of a reply.
  enum class Answer { Status, StatusAndValue, StatusAndDictionary, State, Nothing };
  using Append = std::function<int(sd_bus_message*)>;

  Connection() = default;
  /// Completes all pending calls.
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Returns a tvvorlane_result. Call once, before any other function.
  int open(const char* path);
  int descriptor() const { return _epoll; }
  int dispatch();
  int call(const char* interface, const char* method, Answer answer, const Append& append,
           tvvorlane_completion completion, void* context);

  template <class Handler>
  struct Callback {
    Handler handler = nullptr;
    void* context = nullptr;
  };
  Callback<tvvorlane_event_handler> event;
  Callback<tvvorlane_event_handler> notification;
  Callback<tvvorlane_closed_handler> closed;

  bool isDispatching() const { return _dispatching; }
  /// Set by close() inside a callback. The connection is destroyed after the callback has returned.
  bool closeRequested = false;

 private:
  struct Call {
    Connection* connection;
    Answer answer;
    tvvorlane_completion completion;
    void* context;
    sd_bus_slot* slot = nullptr;
    std::list<Call>::iterator place;
  };

  static int _answered(sd_bus_message* reply, void* data, sd_bus_error*);
  static int _handleEvent(sd_bus_message* message, void* data, sd_bus_error*);
  static int _handlePosted(sd_bus_message* message, void* data, sd_bus_error*);
  static int _handleDistributed(sd_bus_message* message, void* data, sd_bus_error*);
  void _complete(Call& call, int result, std::int32_t status, const tvvorlane_value* value);
  void _completeAll();
  int _join();
  /// Updates the epoll set and the timer to the events and the timeout of sd-bus.
  void _updatePolling();

  sd_bus* _bus = nullptr;
  int _epoll = -1;
  int _timer = -1;
  std::list<Call> _calls;
  bool _dispatching = false;
  bool _over = false;
};

}  // namespace tvvorlane
