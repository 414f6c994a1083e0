#pragma once

#include <algorithm>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "box/services/Door.h"
#include "platform/foundation/TVSLogger.h"
#include "sim/LogRecorder.h"
#include "tests/box/services/Client.h"

namespace testing_door {

/// Writes down what it is asked, and answers what the test wants.
class Delegate : public VorlaneReceiverUIDelegate {
 public:
  using Dictionary = platform::Dictionary;
  using Value = platform::Value;

  std::function<void()> whileCalled;  ///< runs inside every call, on the receiver queue
  Status status = 0;
  Value value;
  Dictionary out;

  std::vector<std::string> calls() const {
    const std::lock_guard lock(_mutex);
    return _calls;
  }
  Value lastArgument() const {
    const std::lock_guard lock(_mutex);
    return _lastArgument;
  }
  Value lastQualifier() const {
    const std::lock_guard lock(_mutex);
    return _lastQualifier;
  }

  Value vorlaneUIGetProperty(const std::string& property, const Value& qualifier,
                             Status* error) override {
    _lastQualifierIs(qualifier);
    if (const Status result = _called("get " + property, {})) *error = result;
    return value;
  }
  Status vorlaneUISetProperty(const std::string& property, const Value& qualifier,
                              const Value& newValue) override {
    _lastQualifierIs(qualifier);
    return _called("set " + property, newValue);
  }
  Status vorlaneUIPerform(const std::string& action, const Dictionary& params,
                          Dictionary* outParams) override {
    *outParams = out;
    return _called("perform " + action, params);
  }
  Status vorlaneUIStartPresentation(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start presentation", params);
  }
  Status vorlaneUIStopPresentation(const Dictionary& params) override {
    return _called("stop presentation", params);
  }
  Status vorlaneUIShowProgress() override { return _called("show", {}); }
  Status vorlaneUIHideProgress() override { return _called("hide", {}); }
  void vorlaneUIActivity() override { _called("activity", {}); }
  Status vorlaneUIStartAudio(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start audio", params);
  }
  Status vorlaneUIStopAudio(const Dictionary& params) override {
    return _called("stop audio", params);
  }
  Status vorlaneUIUpdateAudioMetaData(const Dictionary& params) override {
    return _called("metadata", params);
  }
  Status vorlaneUIUpdateAudioProgress(double elapsed, double duration) override {
    return _called("progress", platform::Array{elapsed, duration});
  }
  Status vorlaneUIStartVideo(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start video", params);
  }
  Status vorlaneUIStopVideo(const Dictionary& params) override {
    return _called("stop video", params);
  }

 private:
  void _lastQualifierIs(const Value& qualifier) {
    const std::lock_guard lock(_mutex);
    _lastQualifier = qualifier;
  }
  Status _called(std::string name, Value argument) {
    {
      const std::lock_guard lock(_mutex);
      _calls.push_back(std::move(name));
      _lastArgument = std::move(argument);
    }
    if (whileCalled) whileCalled();
    return status;
  }

  mutable std::mutex _mutex;
  std::vector<std::string> _calls;
  Value _lastArgument;
  Value _lastQualifier;
};

/// A door with real queues and a real socket in a folder of its own. The test's thread is the
/// client; the main queue runs on another.
class DoorFixture : public ::testing::Test {
 protected:
  DoorFixture() {
    char pattern[] = "/tmp/door-XXXXXX";
    folder = mkdtemp(pattern);
    options.socketPath = folder + "/receiver.sock";
    TVSLogger::initialize("test", {"TVVLCommunication"});
    TVSLogger::addSink(log);
  }
  ~DoorFixture() override {
    if (door) onMain([&] { door->close(); });
    queue.reset();
    mainQueue.stop();
    if (mainThread.joinable()) mainThread.join();
    door.reset();
    TVSLogger::removeSink(log);
    std::filesystem::remove_all(folder);
  }

  /// After `options`, `boxInterface` and `isKeyRequest` are set.
  void openDoor() {
    std::promise<void> bound;
    mainThread = std::thread([&] {
      mainQueue.bindToCurrentThread();
      bound.set_value();
      mainQueue.run();
    });
    bound.get_future().wait();
    onMain([&] {
      door = std::make_unique<box::Door>(mainQueue, options);
      door->setBoxInterface(boxInterface);
      door->setKeyRequestCheck(isKeyRequest);
      door->setDelegate(delegate, queue);
    });
  }
  void onMain(const std::function<void()>& task) { mainQueue.sync(task); }
  void post(const char* name, const platform::Dictionary& info = {}) {
    queue->async([this, name, info] { door->postEvent(name, info); });
  }
  std::unique_ptr<Client> client() { return std::make_unique<Client>(options.socketPath); }

  /// How many lines hold the text. Lines of what the door's thread did before a call was answered
  /// are there.
  long lines(const std::string& text) const {
    const auto all = log->lines();
    return std::count_if(all.begin(), all.end(), [&](const auto& line) {
      return line.text.find(text) != std::string::npos;
    });
  }

  std::string folder;
  box::DoorOptions options;
  box::BoxInterface boxInterface;
  std::function<bool(std::uint64_t)> isKeyRequest;
  std::shared_ptr<sim::LogRecorder> log = std::make_shared<sim::LogRecorder>();
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::shared_ptr<platform::SerialQueue> queue =
      std::make_shared<platform::SerialQueue>("receiver");
  std::unique_ptr<box::Door> door;
  std::thread mainThread;
};

}  // namespace testing_door
