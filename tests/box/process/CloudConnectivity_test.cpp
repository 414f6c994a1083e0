#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "box/process/Box.h"
#include "tests/box/process/ChildProcess.h"
#include "tests/box/services/dbus/Client.h"

namespace {

constexpr const char* kName = "quorin.vorlane.cloudConnectivity";

/// The test writes the availability of the network to it: '1' or '0'.
int networkPipe[2];

/// Reports the states from the pipe on its own thread.
class PipeWatch final : public box::NetworkWatch {
 public:
  ~PipeWatch() override { stop(); }
  void start(std::function<void(bool)> onChange) override {
    _thread = std::thread([onChange = std::move(onChange)] {
      char state = 0;
      while (read(networkPipe[0], &state, 1) == 1 && state != 'e') onChange(state == '1');
    });
  }
  void stop() override {
    if (!_thread.joinable()) return;
    static_cast<void>(!write(networkPipe[1], "e", 1));
    _thread.join();
  }

 private:
  std::thread _thread;
};

std::unique_ptr<platform::RunnablePlatform> makeBoxWithPipeWatch(int count, char** words, int*) {
  std::string error;
  const std::vector<std::string_view> arguments(words + 1, words + count);
  return std::make_unique<box::Box>(*box::parseOptions(arguments, &error),
                                    platform::SystemClock().now(), std::make_unique<PipeWatch>());
}

platform::Application application() {
  return {std::make_shared<TVVorlaneAppDelegate>(),
          [] { return std::make_shared<TVVorlaneMediaViewController>(); }};
}

int countPost(sd_bus_message*, void* posts, sd_bus_error*) {
  ++*static_cast<int*>(posts);
  return 0;
}

TEST(CloudConnectivity, FollowsInternetAvailability) {
  ASSERT_EQ(pipe(networkPipe), 0);
  ChildProcess process(application, {}, makeBoxWithPipeWatch);
  ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
  {
    testing_dbus::Client peer(process.socketPath());
    int posts = 0;
    sd_bus_match_signal(peer.bus(), nullptr, nullptr, testing_dbus::Client::kPath,
                        "quorin.vorlane.Notifications1", "Posted", countPost, &posts);
    // After this reply the server sends signals to the peer.
    EXPECT_EQ(peer.notificationState(kName), 0U);
    for (const char* const network : {"1", "0", "1"}) {
      ASSERT_EQ(write(networkPipe[1], network, 1), 1);
      for (const int before = posts; posts == before;) {
        if (sd_bus_process(peer.bus(), nullptr) != 0) continue;
        ASSERT_GT(sd_bus_wait(peer.bus(), 1000ULL * testing_dbus::kPatienceMilliseconds), 0);
      }
      EXPECT_EQ(peer.notificationState(kName), *network == '1' ? 1U : 0U);
    }
  }
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
  EXPECT_THAT(process.output(), testing::HasSubstr("Vorlane set should use cloud:  NO"));
  close(networkPipe[0]);
  close(networkPipe[1]);
}

}  // namespace
