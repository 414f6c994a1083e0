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

TEST(InternetAvailability, RequiresInternetConnectivity) {
  const struct {
    GNetworkConnectivity connectivity;
    bool networkAvailable;
    bool internet;
  } cases[] = {
      {G_NETWORK_CONNECTIVITY_FULL, true, true},
      // Reported by network managers that do not check connectivity.
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

/// Reports the states that a test sets, on the calling thread.
class ScriptedWatch final : public box::NetworkWatch {
 public:
  explicit ScriptedWatch(std::function<void(bool)>& report) : _report(report) {}
  void start(std::function<void(bool)> report) override { _report = std::move(report); }
  void stop() override {}

 private:
  std::function<void(bool)>& _report;
};

TEST(Network, PostsEachChangeOnTheMainThread) {
  sim::Box box;
  std::function<void(bool)> report;
  auto network = std::make_unique<box::Network>(box.mainQueue(), box.notificationCenter(),
                                                std::make_unique<ScriptedWatch>(report));
  std::vector<bool> changes;
  const auto token = box.notificationCenter().addObserver(
      platform::TVSInternetAvailabilityDidChangeNotification, nullptr, [&](const auto&) {
        EXPECT_TRUE(box.mainQueue().isCurrent());
        changes.push_back(network->internetAvailable());
      });
  network->start();
  EXPECT_FALSE(network->internetAvailable()) << "before the first report";
  const auto reportFromAnotherThread = [&](std::vector<bool> answers) {
    std::thread([&] {
      for (const bool answer : answers) report(answer);
    }).join();
  };
  reportFromAnotherThread({false});
  box.run();
  EXPECT_EQ(changes, std::vector<bool>()) << "no change";
  reportFromAnotherThread({true, true, false, true});
  EXPECT_FALSE(network->internetAvailable()) << "before the main queue has run";
  box.run();
  EXPECT_EQ(changes, (std::vector<bool>{true, false, true}));

  // A pending report is dropped with the network.
  reportFromAnotherThread({false});
  network.reset();
  box.run();
  EXPECT_EQ(changes.size(), 3U);
}

TEST(GioNetworkWatch, ReportsOnItsOwnThreadAndStops) {
  // The netlink monitor needs no daemon.
  setenv("GIO_USE_NETWORK_MONITOR", "netlink", 1);
  box::GioNetworkWatch watch;
  watch.stop();
  std::promise<std::pair<bool, std::thread::id>> reported;
  std::atomic<bool> first = true;
  watch.start([&](bool available) {
    if (first.exchange(false)) reported.set_value({available, std::this_thread::get_id()});
  });
  const auto [available, thread] = reported.get_future().get();
  watch.stop();
  GNetworkMonitor* const monitor = g_network_monitor_get_default();
  EXPECT_EQ(available, g_network_monitor_get_network_available(monitor) != FALSE);
  EXPECT_STREQ(G_OBJECT_TYPE_NAME(monitor), "GNetworkMonitorNetlink");
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(GioNetworkWatch, CanStopImmediatelyAfterStart) {
  for (int count = 0; count < 20; ++count) {
    box::GioNetworkWatch watch;
    watch.start([](bool) {});
  }
}

}  // namespace
