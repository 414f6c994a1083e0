#pragma once

#include <algorithm>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "box/services/door/Door.h"
#include "platform/foundation/log/TVSLogger.h"
#include "sim/LogRecorder.h"
#include "tests/box/services/door/Client.h"
#include "tests/sim/RecordingReceiver.h"
#include "tests/support/TemporaryFolder.h"

namespace testing_door {

/// A door with real queues and a real socket in a folder of its own. The test's thread is the
/// client; the main queue runs on another.
class DoorFixture : public ::testing::Test {
 protected:
  DoorFixture() {
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
  }

  /// After `options`, `boxInterface` and `isFatal` are set.
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
      door->setFatalActionCheck(isFatal);
      door->setDelegate(delegate, queue);
    });
  }
  void onMain(const std::function<void()>& task) { mainQueue.sync(task); }
  void post(const char* name, const platform::Dictionary& info = {}) {
    queue->async([to = door.get(), name, info] { to->postEvent(name, info); });
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

  const testing_support::TemporaryFolder _temporary;
  const std::string& folder = _temporary.path();
  box::DoorOptions options;
  box::BoxInterface boxInterface;
  box::FatalActionCheck isFatal;
  std::shared_ptr<sim::LogRecorder> log = std::make_shared<sim::LogRecorder>();
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::shared_ptr<RecordingReceiver> delegate = std::make_shared<RecordingReceiver>();
  std::shared_ptr<platform::SerialQueue> queue =
      std::make_shared<platform::SerialQueue>("receiver");
  std::unique_ptr<box::Door> door;
  std::thread mainThread;
};

}  // namespace testing_door
