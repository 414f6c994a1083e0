#pragma once

#include <functional>
#include <list>
#include <memory>

#include <systemd/sd-bus.h>

#include "client/Value.h"

namespace tvvorlane {

/// The connection under a client: sd-bus, peer to peer over the door's socket, driven from outside
/// through one descriptor. That is an epoll set of the socket, with what sd-bus waits for, and a
/// timer for when sd-bus has something to do by itself; so the caller polls for reading, always.
class Connection {
 public:
  /// What an answer holds.
  enum class Answer { Status, StatusAndValue, StatusAndDictionary, State, Nothing };
  using Append = std::function<int(sd_bus_message*)>;

  Connection() = default;
  /// Completes what is outstanding.
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// A result. Once, before anything else.
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
  /// Set when it is closed from within a callback: it goes when the callback has returned.
  bool closeAfterwards = false;

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
  static int _eventCame(sd_bus_message* message, void* data, sd_bus_error*);
  static int _postedCame(sd_bus_message* message, void* data, sd_bus_error*);
  static int _distributedCame(sd_bus_message* message, void* data, sd_bus_error*);
  void _complete(Call& call, int result, std::int32_t status, const tvvorlane_value* value);
  void _completeAll();
  int _join();
  /// Tells the descriptor what sd-bus waits for.
  void _rearm();

  sd_bus* _bus = nullptr;
  int _epoll = -1;
  int _timer = -1;
  std::list<Call> _calls;
  bool _dispatching = false;
  bool _over = false;
};

}  // namespace tvvorlane
