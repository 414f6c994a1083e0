#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <systemd/sd-bus.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/vorlanectl/Json.h"

/// A D-Bus server that records the calls of one client and returns the results that the test has
/// set. It runs on its own thread during run().
class FakeDBusServer {
 public:
  struct Signal {
    std::string interface;  ///< the last component: "Receiver1"
    std::string member;
    std::string name;
    vorlanectl::Json info;  ///< null: no info
  };
  using Json = vorlanectl::Json;

  FakeDBusServer();
  ~FakeDBusServer();
  FakeDBusServer(const FakeDBusServer&) = delete;
  FakeDBusServer& operator=(const FakeDBusServer&) = delete;

  const std::string& socketPath() const { return _path; }
  /// Set these before run(): the status of every call, and the result of Status.
  int status = 0;
  Json state = Json::object();
  /// The value of every property; none if it is null.
  Json value;
  /// The output dictionary of Perform.
  Json out = Json::object();
  /// Signals that are sent when the client has connected, and after the reply to a method.
  std::vector<Signal> signalsAtOnce;
  std::map<std::string, std::vector<Signal>> signalsAfter;

  /// Runs a command line and returns its exit status.
  int run(std::vector<std::string> words);
  /// The calls of the client, such as "Perform \"showPIN\" {\"pin\":\"1234\"}".
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
