#include "box/services/network/Network.h"

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "box/services/network/GioNetworkWatch.h"
#include "sim/Box.h"

namespace {

TEST(InternetAvailability, IsWhatLeadsIntoTheInternet) {
  const struct {
    GNetworkConnectivity connectivity;
    bool networkAvailable;
    bool internet;
  } cases[] = {
      {G_NETWORK_CONNECTIVITY_FULL, true, true},
      // A network manager that checks nothing says no more than local.
      {G_NETWORK_CONNECTIVITY_LOCAL, true, true},
      {G_NETWORK_CONNECTIVITY_LOCAL, false, false},
      {G_NETWORK_CONNECTIVITY_LIMITED, true, false},
      {G_NETWORK_CONNECTIVITY_PORTAL, true, false},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(box::isInternet(one.connectivity, one.networkAvailable), one.internet)
        << one.connectivity << " " << one.networkAvailable;
  }
}

/// Tells what a test wants, from whatever thread that calls it.
class ScriptedWatch final : public box::NetworkWatch {
 public:
  explicit ScriptedWatch(std::function<void(bool)>& tell) : _tell(tell) {}
  void start(std::function<void(bool)> tell) override { _tell = std::move(tell); }
  void stop() override {}

 private:
  std::function<void(bool)>& _tell;
};

TEST(Network, PostsEachChangeOnTheMainThread) {
  sim::Box box;
  std::function<void(bool)> tell;
  auto network = std::make_unique<box::Network>(box.mainQueue(), box.notificationCenter(),
                                                std::make_unique<ScriptedWatch>(tell));
  std::vector<bool> changes;
  const auto token = box.notificationCenter().addObserver(
      platform::TVSInternetAvailabilityDidChangeNotification, nullptr, [&](const auto&) {
        EXPECT_TRUE(box.mainQueue().isCurrent());
        changes.push_back(network->internetAvailable());
      });
  network->start();
  EXPECT_FALSE(network->internetAvailable()) << "nothing is known yet";
  const auto tellFromElsewhere = [&](std::vector<bool> answers) {
    std::thread([&] {
      for (const bool answer : answers) tell(answer);
    }).join();
  };
  tellFromElsewhere({false});
  box.run();
  EXPECT_EQ(changes, std::vector<bool>()) << "that is no change";
  tellFromElsewhere({true, true, false, true});
  EXPECT_FALSE(network->internetAvailable()) << "the main thread has not heard of it";
  box.run();
  EXPECT_EQ(changes, (std::vector<bool>{true, false, true}));

  // What is on its way when the network goes reaches nobody.
  tellFromElsewhere({false});
  network.reset();
  box.run();
  EXPECT_EQ(changes.size(), 3U);
}

TEST(GioNetworkWatch, TellsOnAThreadOfItsOwnAndEnds) {
  // The kernel's routes are the same for whoever asks, and no daemon is needed.
  setenv("GIO_USE_NETWORK_MONITOR", "netlink", 1);
  box::GioNetworkWatch watch;
  watch.stop();
  std::promise<std::pair<bool, std::thread::id>> told;
  std::atomic<bool> first = true;
  watch.start([&](bool available) {
    if (first.exchange(false)) told.set_value({available, std::this_thread::get_id()});
  });
  const auto [available, thread] = told.get_future().get();
  watch.stop();
  GNetworkMonitor* const monitor = g_network_monitor_get_default();
  EXPECT_EQ(available, g_network_monitor_get_network_available(monitor) != FALSE);
  EXPECT_STREQ(G_OBJECT_TYPE_NAME(monitor), "GNetworkMonitorNetlink");
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(GioNetworkWatch, EndsAtOnceAfterItsStart) {
  for (int count = 0; count < 20; ++count) {
    box::GioNetworkWatch watch;
    watch.start([](bool) {});
  }
}

}  // namespace
