// Runs the scenarios of tests/scenarios that are enabled for the real program.

#include <chrono>

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/box/process/ChildProcess.h"
#include "tests/box/services/dbus/Client.h"
#include "tests/media/TestMedia.h"
#include "tests/scenarios/ScenarioRunner.h"

namespace {

using platform::Dictionary;
using platform::Value;
using scenarios::Answer;
using scenarios::Call;
using scenarios::Event;
using scenarios::Failure;
using testing_media::TestMedia;

/// Timeout of conditions that no event reports.
constexpr auto kStepPatience = std::chrono::seconds(30);

class RealBox final : public scenarios::ScenarioBox {
 public:
  RealBox() {
    if (!_process.waitForLine("D-Bus server listens"))
      throw Failure("the program does not start its D-Bus server");
    _peer.emplace(_process.socketPath().string());
    _peer->ready();
  }

  bool isReal() const override { return true; }
  std::string mediaRoot() override {
    const std::string url = TestMedia::shared().url("clip.mp4");
    return url.substr(0, url.rfind('/'));
  }
  void addMedia(const std::string& name, const Dictionary&) override {
    TestMedia::shared().url(name);  // create it in advance
  }

  Answer call(const Call& call) override {
    const auto answer =
        _peer->call(call.method.c_str(), [&](sd_bus_message* message) { _append(message, call); });
    if (!answer.error.empty()) throw Failure("the server replied " + answer.error);
    return {answer.status, call.method == "GetProperty" ? answer.value : Value(answer.out)};
  }
  std::optional<Event> nextEvent() override {
    const auto event = _peer->nextEvent();
    if (!event) return std::nullopt;
    return Event{event->name, event->info};
  }
  bool findInLog(const std::string& text) override {
    if (!_process.waitForLine(text, _logRead)) return false;
    const std::string output = _process.output();
    _logRead = output.find('\n', output.find(text, _logRead));
    return true;
  }
  std::string state(const std::string& wanted) override {
    std::string state;
    _look([&] {
      state = _status().string("state").value_or("");
      return state == wanted;
    });
    return state;
  }
  std::size_t sessions(std::size_t wanted) override {
    std::size_t count = 0;
    _look([&] {
      count = _status().array("sessions").value_or(platform::Array()).size();
      return count == wanted;
    });
    return count;
  }
  bool hasPicture(bool wanted) override {
    bool has = false;
    _look([&] {
      has = _peer->callBox("Screenshot").dataSize > 0;
      return has == wanted;
    });
    return has;
  }
  /// Nothing to do: input is accepted during a fade.
  void settle() override {}
  void press(const std::string& button) override { _input("Press", button); }
  void swipe(const std::string& direction) override { _input("Swipe", direction); }

  /// Ends the process and returns its exit status.
  int end() {
    _process.send(SIGTERM);
    return _process.waitForEnd();
  }
  std::string log() const { return _process.output(); }

 private:
  Dictionary _status() { return _peer->callBox("Status").out; }
  void _input(const char* method, const std::string& name) {
    const auto answer = _peer->callBox(method, [&](sd_bus_message* message) {
      sd_bus_message_append(message, "s", name.c_str());
    });
    if (!answer.error.empty()) throw Failure("the server replied " + answer.error);
  }
  static void _look(const std::function<bool()>& asWanted) {
    // Each call of the condition waits for a D-Bus reply, so this does not spin.
    const auto end = std::chrono::steady_clock::now() + kStepPatience;
    while (!asWanted() && std::chrono::steady_clock::now() < end) {
    }
  }
  static void _append(sd_bus_message* message, const Call& call) {
    box::ValueWriter writer(message);
    if (call.method == "GetProperty") {
      writer.appendString(call.string(0));
      writer.appendValueOrNone(call.optional(1));
    } else if (call.method == "SetProperty") {
      writer.appendString(call.string(0));
      writer.appendValueOrNone(call.optional(2));
      // Scenarios set numeric properties only.
      const double number = call.number(1);
      if (call.optional(1).asNumber()->kind() == platform::Number::Kind::Boolean) {
        sd_bus_message_append(message, "v", "b", number != 0 ? 1 : 0);
      } else {
        sd_bus_message_append(message, "v", "d", number);
      }
    } else if (call.method == "Perform") {
      writer.appendString(call.string(0));
      writer.appendDictionary(call.dictionary(1));
    } else if (call.method == "UpdateAudioProgress") {
      sd_bus_message_append(message, "dd", call.number(0), call.number(1));
    } else if (!call.arguments.empty()) {
      writer.appendDictionary(call.dictionary(0));
    }
  }

  ChildProcess _process{std::vector<std::string>{"--log-level", "5", "--windowed", "1280x720"}};
  std::optional<testing_dbus::Client> _peer;
  std::size_t _logRead = 0;
};

std::vector<std::filesystem::path> filesForTheBox() {
  auto files = scenarios::scenarioFiles();
  std::erase_if(files, [](const auto& file) { return !scenarios::Scenario::read(file).alsoOnBox; });
  return files;
}

class Scenarios : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(Scenarios, RunOnTheRealProgram) {
  const auto scenario = scenarios::Scenario::read(GetParam());
  RealBox box;
  const auto failure = scenarios::ScenarioRunner(scenario, box).run();
  EXPECT_FALSE(failure) << *failure << "\n" << box.log();
  EXPECT_EQ(box.end(), 0) << box.log();
}

INSTANTIATE_TEST_SUITE_P(Files, Scenarios, testing::ValuesIn(filesForTheBox()),
                         [](const auto& file) { return scenarios::scenarioName(file.param); });

}  // namespace
