#pragma once

#include <algorithm>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "box/services/dbus/DBusServer.h"
#include "platform/foundation/log/TVSLogger.h"
#include "sim/LogRecorder.h"
#include "tests/box/services/dbus/Client.h"
#include "tests/sim/RecordingReceiver.h"
#include "tests/support/TemporaryFolder.h"

namespace testing_dbus {

/// A server with real queues and a real socket in a temporary folder. The test thread is the
/// client; the main queue runs on a thread of its own.
class DBusServerFixture : public ::testing::Test {
 protected:
  DBusServerFixture() {
    options.socketPath = folder + "/receiver.sock";
    TVSLogger::initialize("test", {"TVVLCommunication"});
    TVSLogger::addSink(log);
  }
  ~DBusServerFixture() override {
    if (server) onMain([&] { server->close(); });
    queue.reset();
    mainQueue.stop();
    if (mainThread.joinable()) mainThread.join();
    server.reset();
    TVSLogger::removeSink(log);
  }

  /// Call it after setting `options`, `boxInterface` and `isFatal`.
  void openServer() {
    std::promise<void> bound;
    mainThread = std::thread([&] {
      mainQueue.bindToCurrentThread();
      bound.set_value();
      mainQueue.run();
    });
    bound.get_future().wait();
    onMain([&] {
      server = std::make_unique<box::DBusServer>(mainQueue, options);
      server->setBoxInterface(boxInterface);
      server->setFatalActionCheck(isFatal);
      server->setDelegate(delegate, queue);
    });
  }
  void onMain(const std::function<void()>& task) { mainQueue.sync(task); }
  void post(const char* name, const platform::Dictionary& info = {}) {
    queue->async([to = server.get(), name, info] { to->postEvent(name, info); });
  }
  std::unique_ptr<Client> client() { return std::make_unique<Client>(options.socketPath); }

  /// Returns the number of log lines that contain `text`. Lines written before a reply was sent are
  /// included.
  long lines(const std::string& text) const {
    const auto all = log->lines();
    return std::count_if(all.begin(), all.end(), [&](const auto& line) {
      return line.text.find(text) != std::string::npos;
    });
  }

  const testing_support::TemporaryFolder _temporary;
  const std::string& folder = _temporary.path();
  box::DBusServerOptions options;
  box::BoxInterface boxInterface;
  box::FatalActionCheck isFatal;
  std::shared_ptr<sim::LogRecorder> log = std::make_shared<sim::LogRecorder>();
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::shared_ptr<RecordingReceiver> delegate = std::make_shared<RecordingReceiver>();
  std::shared_ptr<platform::SerialQueue> queue =
      std::make_shared<platform::SerialQueue>("receiver");
  std::unique_ptr<box::DBusServer> server;
  std::thread mainThread;
};

}  // namespace testing_dbus
