#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <systemd/sd-bus.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/vorlanectl/Json.h"

/// A door that writes down what one client calls, and answers what a test wants. It serves on a
/// thread of its own while run() lasts.
class FakeDoor {
 public:
  struct Signal {
    std::string interface;  ///< the last part of its name: "Receiver1"
    std::string member;
    std::string name;
    vorlanectl::Json info;  ///< null: the signal has none
  };
  using Json = vorlanectl::Json;

  FakeDoor();
  ~FakeDoor();
  FakeDoor(const FakeDoor&) = delete;
  FakeDoor& operator=(const FakeDoor&) = delete;

  const std::string& socketPath() const { return _path; }
  /// Set before run(). The status of every call, and what Status answers.
  int status = 0;
  Json state = Json::object();
  /// What Perform gives beside the status.
  Json out = Json::object();
  /// Sent once the client listens, and after the answer to each call of a method.
  std::vector<Signal> signalsAtOnce;
  std::map<std::string, std::vector<Signal>> signalsAfter;

  /// Runs a command line of one client to its end, and returns the exit status.
  int run(std::vector<std::string> words);
  /// What that client called: "Perform \"showPIN\" {\"pin\":\"1234\"}".
  const std::vector<std::string>& calls() const { return _calls; }

 private:
  static int _called(sd_bus_message* call, void* self, sd_bus_error*);
  void _serve();
  void _answer(sd_bus_message* call, const std::string& member);
  void _send(sd_bus* bus, const std::vector<Signal>& signals);

  const testing_support::TemporaryFolder _folder;
  const std::string _path = _folder / "receiver.sock";
  int _listener = -1;
  std::vector<std::string> _calls;
  std::vector<Signal> _pending;
};
