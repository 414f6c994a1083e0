// Measures receiver calls over D-Bus like a receiver service. One measurement for each run. Prints
// `name=value` lines to stdout; times are in microseconds.
//
//   vorlane-dbus-bench bare N                      socket round trip with a hop to another thread
//   vorlane-dbus-bench property SOCKET PROPERTY N  read a property
//   vorlane-dbus-bench play SOCKET URL N           start until "playing", and stop
//   vorlane-dbus-bench events SOCKET URL N         pause and resume until their events
//   vorlane-dbus-bench seek SOCKET N               seek during playback until the position moves
//   vorlane-dbus-bench connect SOCKET              connect and make one call

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double microseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}

void print(const std::string& name, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  const auto at = [&](double share) {
    return times[std::min(times.size() - 1,
                          static_cast<std::size_t>(share * static_cast<double>(times.size())))];
  };
  std::printf("%s.median=%.1f\n%s.p99=%.1f\n%s.min=%.1f\n", name.c_str(), at(0.5), name.c_str(),
              at(0.99), name.c_str(), times.front());
}

int check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
  return result;
}

/// A connection to the receiver socket.
class Connection {
 public:
  explicit Connection(const std::string& socket) {
    check(sd_bus_new(&_bus), "new");
    check(sd_bus_set_address(_bus, ("unix:path=" + socket).c_str()), "address");
    check(sd_bus_set_bus_client(_bus, 0), "client");
    check(sd_bus_start(_bus), "start");
    check(sd_bus_add_match(_bus, nullptr, "type='signal',member='Event'", &Connection::_received,
                           this),
          "match");
  }
  ~Connection() { sd_bus_close_unref(_bus); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  using Part = std::function<void(sd_bus_message*)>;
  /// `fill` appends the arguments. `read` reads the reply after its status.
  int call(const char* method, const Part& fill, const Part& read = nullptr) {
    sd_bus_message* request = nullptr;
    sd_bus_message* reply = nullptr;
    check(sd_bus_message_new_method_call(_bus, &request, nullptr, "/quorin/tvvorlane/Receiver",
                                         "quorin.tvvorlane.Receiver1", method),
          "call");
    fill(request);
    check(sd_bus_call(_bus, request, 30'000'000, nullptr, &reply), method);
    std::int32_t status = 0;
    check(sd_bus_message_read(reply, "i", &status), "status");
    if (read) read(reply);
    sd_bus_message_unref(request);
    sd_bus_message_unref(reply);
    return status;
  }

  /// Waits for an event, unless it was received since the last clearEvents().
  void waitFor(const std::string& name) {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (std::find(_events.begin(), _events.end(), name) == _events.end()) {
      if (Clock::now() > deadline) throw std::runtime_error("no event " + name);
      if (check(sd_bus_process(_bus, nullptr), "process") == 0)
        check(sd_bus_wait(_bus, 1'000'000), "wait");
    }
  }
  void clearEvents() { _events.clear(); }

 private:
  static int _received(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) >= 0)
      static_cast<Connection*>(self)->_events.emplace_back(name);
    return 0;
  }

  sd_bus* _bus = nullptr;
  std::vector<std::string> _events;
};

void getProperty(Connection& bus, const char* property, const Connection::Part& read = nullptr) {
  const auto fill = [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "s", property), "append");
    check(sd_bus_message_append(m, "av", 0), "append");
  };
  bus.call("GetProperty", fill, read);
}

int startVideo(Connection& bus, const std::string& url, std::uint32_t session) {
  return bus.call("StartVideo", [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "a{sv}", 2, "Content-Location", "s", url.c_str(), "sessionID",
                                "u", session),
          "append");
  });
}

void stopVideo(Connection& bus, std::uint32_t session) {
  bus.call("StopVideo", [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "a{sv}", 1, "sessionID", "u", session), "append");
  });
}

void setProperty(Connection& bus, const char* property, double value) {
  bus.call("SetProperty", [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "s", property), "append");
    check(sd_bus_message_append(m, "av", 0), "append");
    check(sd_bus_message_append(m, "v", "d", value), "append");
  });
}

double positionOf(sd_bus_message* reply) {
  double position = 0;
  check(sd_bus_message_enter_container(reply, 'a', "v"), "value");
  check(sd_bus_message_enter_container(reply, 'v', "a{sv}"), "dictionary");
  check(sd_bus_message_enter_container(reply, 'a', "{sv}"), "entries");
  while (check(sd_bus_message_enter_container(reply, 'e', "sv"), "entry") > 0) {
    const char* key = nullptr;
    check(sd_bus_message_read(reply, "s", &key), "key");
    if (std::strcmp(key, "position") == 0)
      check(sd_bus_message_read(reply, "v", "d", &position), "position");
    else
      check(sd_bus_message_skip(reply, "v"), "skip");
    check(sd_bus_message_exit_container(reply), "exit");
  }
  return position;
}

std::vector<double> measure(int count, const std::function<void()>& body) {
  for (int i = 0; i < count / 10 + 1; ++i) body();
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const auto began = Clock::now();
    body();
    times.push_back(microseconds(Clock::now() - began));
  }
  return times;
}

// The minimal round trip: a message over a socket to a thread of another process, a hop to a second
// thread and back, and the reply. The messages have the sizes of a property read.
constexpr std::size_t kRequestSize = 200;
constexpr std::size_t kReplySize = 700;

void serveBare(int descriptor) {
  std::atomic<int> turn{0};
  std::thread receiver([&] {
    std::array<char, kRequestSize> request;
    const std::array<char, kReplySize> reply{};
    while (recv(descriptor, request.data(), request.size(), MSG_WAITALL) ==
           static_cast<ssize_t>(request.size())) {
      turn.store(1);
      turn.notify_one();
      turn.wait(1);
      if (send(descriptor, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) break;
    }
    turn.store(2);
    turn.notify_one();
  });
  for (;;) {
    turn.wait(0);
    if (turn.load() == 2) break;
    turn.store(0);
    turn.notify_one();
  }
  receiver.join();
}

void bare(int count) {
  std::array<int, 2> sockets{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0)
    throw std::runtime_error("socketpair");
  const pid_t child = fork();
  if (child == 0) {
    close(sockets[0]);
    serveBare(sockets[1]);
    _exit(0);
  }
  close(sockets[1]);
  const std::array<char, kRequestSize> request{};
  std::array<char, kReplySize> reply;
  print("bare", measure(count, [&] {
          if (send(sockets[0], request.data(), request.size(), MSG_NOSIGNAL) < 0 ||
              recv(sockets[0], reply.data(), reply.size(), MSG_WAITALL) < 0) {
            throw std::runtime_error("round trip");
          }
        }));
  close(sockets[0]);
  waitpid(child, nullptr, 0);
}

void play(Connection& bus, const std::string& url, int count) {
  std::vector<double> started;
  std::vector<double> stopped;
  for (int i = 0; i < count; ++i) {
    bus.clearEvents();
    const auto session = static_cast<std::uint32_t>(1000 + i);
    const auto began = Clock::now();
    if (const int status = startVideo(bus, url, session))
      throw std::runtime_error("status " + std::to_string(status));
    bus.waitFor("playing");
    started.push_back(microseconds(Clock::now() - began));
    const auto ended = Clock::now();
    stopVideo(bus, session);
    stopped.push_back(microseconds(Clock::now() - ended));
  }
  std::printf("first=%.1f\n", started.front());
  print("playing", started);
  print("stop", stopped);
}

void events(Connection& bus, const std::string& url, int count) {
  if (startVideo(bus, url, 1) != 0) throw std::runtime_error("start");
  bus.waitFor("playing");
  std::vector<double> paused;
  std::vector<double> resumed;
  const auto timed = [&](std::vector<double>& times, double rate, const char* event) {
    bus.clearEvents();
    const auto began = Clock::now();
    setProperty(bus, "rate", rate);
    bus.waitFor(event);
    times.push_back(microseconds(Clock::now() - began));
  };
  for (int i = 0; i < count; ++i) {
    timed(paused, 0, "paused");
    timed(resumed, 1, "playing");
  }
  stopVideo(bus, 1);
  print("paused", paused);
  print("resumed", resumed);
}

void seek(Connection& bus, int count) {
  constexpr auto kPollInterval = std::chrono::milliseconds(2);
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const double destination = 0.5 + 0.25 * (i * 37 % 60);
    const auto began = Clock::now();
    setProperty(bus, "position", destination);
    // There is no event. The position is constant until the seek is complete.
    for (double position = destination; position == destination;) {
      if (Clock::now() - began > std::chrono::seconds(30)) throw std::runtime_error("no seek");
      std::this_thread::sleep_for(kPollInterval);
      getProperty(bus, "playbackInfo", [&](sd_bus_message* m) { position = positionOf(m); });
    }
    times.push_back(microseconds(Clock::now() - began));
  }
  print("seek", times);
}

int run(const std::vector<std::string>& arguments) {
  const auto is = [&](const char* name, std::size_t count) {
    return arguments.size() == count + 1 && arguments[0] == name;
  };
  if (is("bare", 1)) {
    bare(std::stoi(arguments[1]));
  } else if (is("property", 3)) {
    Connection bus(arguments[1]);
    print("property",
          measure(std::stoi(arguments[3]), [&] { getProperty(bus, arguments[2].c_str()); }));
  } else if (is("play", 3)) {
    Connection bus(arguments[1]);
    play(bus, arguments[2], std::stoi(arguments[3]));
  } else if (is("events", 3)) {
    Connection bus(arguments[1]);
    events(bus, arguments[2], std::stoi(arguments[3]));
  } else if (is("seek", 2)) {
    Connection bus(arguments[1]);
    seek(bus, std::stoi(arguments[2]));
  } else if (is("connect", 1)) {
    Connection bus(arguments[1]);
    getProperty(bus, "playbackInfo");
  } else {
    std::fprintf(stderr, "usage: see bench/dbus/main.cpp\n");
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlane-dbus-bench: %s\n", error.what());
    return 1;
  }
}
