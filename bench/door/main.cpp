// Measures the door from outside, as a receiver service sees it. One measurement a run; results go
// to stdout as `name=value` lines, times in microseconds.
//
//   vorlane-door-bench bare N                      a socket round trip with a receiver call's hops
//   vorlane-door-bench property SOCKET PROPERTY N  reads of a property
//   vorlane-door-bench play SOCKET URL N           start-video to "playing", stop, N times
//   vorlane-door-bench events SOCKET URL N         pause, resume and rate to their events
//   vorlane-door-bench seek SOCKET N               seeks in what plays, until it plays on
//   vorlane-door-bench connect SOCKET              until the first call is answered

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

/// A connection to the door.
class Door {
 public:
  explicit Door(const std::string& socket) {
    check(sd_bus_new(&_bus), "new");
    check(sd_bus_set_address(_bus, ("unix:path=" + socket).c_str()), "address");
    check(sd_bus_set_bus_client(_bus, 0), "client");
    check(sd_bus_start(_bus), "start");
    check(sd_bus_add_match(_bus, nullptr, "type='signal',member='Event'", &Door::_heard, this),
          "match");
  }
  ~Door() { sd_bus_close_unref(_bus); }
  Door(const Door&) = delete;
  Door& operator=(const Door&) = delete;

  using Part = std::function<void(sd_bus_message*)>;
  /// `fill` appends the arguments; `read` takes what follows the status of the answer.
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

  /// Until an event of that name that has come since the last forget().
  void waitFor(const std::string& name) {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (std::find(_events.begin(), _events.end(), name) == _events.end()) {
      if (Clock::now() > deadline) throw std::runtime_error("no event " + name);
      if (check(sd_bus_process(_bus, nullptr), "process") == 0)
        check(sd_bus_wait(_bus, 1'000'000), "wait");
    }
  }
  void forget() { _events.clear(); }

 private:
  static int _heard(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) >= 0)
      static_cast<Door*>(self)->_events.emplace_back(name);
    return 0;
  }

  sd_bus* _bus = nullptr;
  std::vector<std::string> _events;
};

void getProperty(Door& door, const char* property, const Door::Part& read = nullptr) {
  const auto fill = [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "s", property), "append");
    check(sd_bus_message_append(m, "av", 0), "append");
  };
  door.call("GetProperty", fill, read);
}

int startVideo(Door& door, const std::string& url, std::uint32_t session) {
  return door.call("StartVideo", [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "a{sv}", 2, "Content-Location", "s", url.c_str(), "sessionID",
                                "u", session),
          "append");
  });
}

void stopVideo(Door& door, std::uint32_t session) {
  door.call("StopVideo", [&](sd_bus_message* m) {
    check(sd_bus_message_append(m, "a{sv}", 1, "sessionID", "u", session), "append");
  });
}

void setProperty(Door& door, const char* property, double value) {
  door.call("SetProperty", [&](sd_bus_message* m) {
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

// The bare round trip: client process, socket, a thread that reads, a hop to another thread and
// back, and the answer. Messages have the size of a property read and its reply.
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

void play(Door& door, const std::string& url, int count) {
  std::vector<double> started;
  std::vector<double> stopped;
  for (int i = 0; i < count; ++i) {
    door.forget();
    const auto session = static_cast<std::uint32_t>(1000 + i);
    const auto began = Clock::now();
    if (const int status = startVideo(door, url, session))
      throw std::runtime_error("status " + std::to_string(status));
    door.waitFor("playing");
    started.push_back(microseconds(Clock::now() - began));
    const auto ended = Clock::now();
    stopVideo(door, session);
    stopped.push_back(microseconds(Clock::now() - ended));
  }
  std::printf("first=%.1f\n", started.front());
  print("playing", started);
  print("stop", stopped);
}

void events(Door& door, const std::string& url, int count) {
  if (startVideo(door, url, 1) != 0) throw std::runtime_error("start");
  door.waitFor("playing");
  std::vector<double> paused;
  std::vector<double> resumed;
  const auto timed = [&](std::vector<double>& times, double rate, const char* event) {
    door.forget();
    const auto began = Clock::now();
    setProperty(door, "rate", rate);
    door.waitFor(event);
    times.push_back(microseconds(Clock::now() - began));
  };
  for (int i = 0; i < count; ++i) {
    timed(paused, 0, "paused");
    timed(resumed, 1, "playing");
  }
  stopVideo(door, 1);
  print("paused", paused);
  print("resumed", resumed);
}

void seek(Door& door, int count) {
  constexpr auto kBetweenLooks = std::chrono::milliseconds(2);
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const double destination = 0.5 + 0.25 * (i * 37 % 60);
    const auto began = Clock::now();
    setProperty(door, "position", destination);
    // No event tells: the position is the destination until it has been reached.
    for (double position = destination; position == destination;) {
      if (Clock::now() - began > std::chrono::seconds(30)) throw std::runtime_error("no seek");
      std::this_thread::sleep_for(kBetweenLooks);
      getProperty(door, "playbackInfo", [&](sd_bus_message* m) { position = positionOf(m); });
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
    Door door(arguments[1]);
    print("property",
          measure(std::stoi(arguments[3]), [&] { getProperty(door, arguments[2].c_str()); }));
  } else if (is("play", 3)) {
    Door door(arguments[1]);
    play(door, arguments[2], std::stoi(arguments[3]));
  } else if (is("events", 3)) {
    Door door(arguments[1]);
    events(door, arguments[2], std::stoi(arguments[3]));
  } else if (is("seek", 2)) {
    Door door(arguments[1]);
    seek(door, std::stoi(arguments[2]));
  } else if (is("connect", 1)) {
    Door door(arguments[1]);
    getProperty(door, "playbackInfo");
  } else {
    std::fprintf(stderr, "usage: see bench/door/main.cpp\n");
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlane-door-bench: %s\n", error.what());
    return 1;
  }
}
