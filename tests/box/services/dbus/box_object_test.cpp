#include <chrono>
#include <cmath>

#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::Bytes;
using platform::Dictionary;
using testing_dbus::DBusServerFixture;

class BoxInterface : public DBusServerFixture {
 protected:
  static auto text(const char* text) {
    return [text](sd_bus_message* m) { sd_bus_message_append(m, "s", text); };
  }
};

TEST_F(BoxInterface, CallsInputOnTheMainThread) {
  std::vector<std::pair<platform::InputEvent, double>> events;
  boxInterface.input = [&](platform::InputEvent event, platform::Duration held) {
    EXPECT_TRUE(mainQueue.isCurrent());
    EXPECT_FALSE(event.repeated);
    events.emplace_back(event, platform::secondsFromDuration(held));
  };
  openServer();
  const auto peer = client();
  const auto hold = [&](const char* button, double seconds) {
    const auto append = [&](auto* m) { sd_bus_message_append(m, "sd", button, seconds); };
    return peer->callBox("Hold", append).error;
  };
  EXPECT_EQ(peer->callBox("Press", text("playpause")).error, "");
  EXPECT_EQ(peer->callBox("Swipe", text("left")).error, "");
  EXPECT_EQ(hold("right", 2.5), "");
  EXPECT_EQ(peer->callBox("Press", text("volume")).error, SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(peer->callBox("Swipe", text("")).error, SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(hold("volume", 1), SD_BUS_ERROR_INVALID_ARGS);
  for (const double seconds : {-1.0, 61.0, std::nan("")})
    EXPECT_EQ(hold("left", seconds), SD_BUS_ERROR_INVALID_ARGS);
  onMain([] {});
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(std::get<platform::PressType>(events[0].first.what), platform::PressType::PlayPause);
  EXPECT_EQ(std::get<platform::SwipeDirection>(events[1].first.what),
            platform::SwipeDirection::Left);
  EXPECT_EQ(std::get<platform::PressType>(events[2].first.what), platform::PressType::Right);
  EXPECT_EQ(events[0].second, 0);
  EXPECT_EQ(events[2].second, 2.5);
}

TEST_F(BoxInterface, RepliesNotSupportedWithoutFunctions) {
  openServer();
  const auto peer = client();
  EXPECT_EQ(peer->callBox("Press", text("up")).error, SD_BUS_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(peer->callBox("Status").error, SD_BUS_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(peer->callBox("Screenshot").error, SD_BUS_ERROR_NOT_SUPPORTED);
}

TEST_F(BoxInterface, AcceptsAScreenshotFromAnyThread) {
  std::thread painter;
  boxInterface.screenshot = [&](auto completion) {
    EXPECT_TRUE(mainQueue.isCurrent());
    painter = std::thread([completion] { completion(std::make_shared<const Bytes>(1234)); });
  };
  openServer();
  EXPECT_EQ(client()->callBox("Screenshot").dataSize, 1234U);
  // The answer may be there before the thread is known here.
  onMain([] {});
  painter.join();
}

TEST_F(BoxInterface, ReturnsAnErrorWithoutAPicture) {
  boxInterface.screenshot = [](auto completion) { completion(nullptr); };
  openServer();
  EXPECT_EQ(client()->callBox("Screenshot").error, SD_BUS_ERROR_FAILED);
}

TEST_F(BoxInterface, TimesOutAScreenshot) {
  options.screenshotLimit = std::chrono::milliseconds(20);
  std::function<void(std::shared_ptr<const Bytes>)> late;
  boxInterface.screenshot = [&](auto completion) { late = completion; };
  openServer();
  const auto peer = client();
  EXPECT_EQ(peer->callBox("Screenshot").error, SD_BUS_ERROR_TIMEOUT);
  onMain([] {});
  late(std::make_shared<const Bytes>(1));
  EXPECT_EQ(peer->getProperty("x").error, "") << "a late completion is ignored";
}

TEST_F(BoxInterface, ServesOtherCallsDuringAScreenshot) {
  std::function<void(std::shared_ptr<const Bytes>)> finish;
  boxInterface.screenshot = [&](auto completion) { finish = completion; };
  openServer();
  auto asking = client();
  asking->send("Screenshot", nullptr, "quorin.tvvorlane.Box1");
  // Served after the Screenshot call, because it is on the same connection.
  EXPECT_EQ(asking->getProperty("x").error, "");
  onMain([] {});
  asking.reset();
  EXPECT_EQ(client()->getProperty("x").error, "");
  finish(std::make_shared<const Bytes>(1));
  EXPECT_EQ(client()->getProperty("x").error, "") << "the caller has disconnected";
}

TEST_F(BoxInterface, CallsNoFunctionAfterClose) {
  int calls = 0;
  boxInterface.input = [&](platform::InputEvent, platform::Duration) { ++calls; };
  openServer();
  const auto peer = client();
  onMain([&] {
    // The server's thread serves the call. Its task on the main queue runs after this one.
    EXPECT_EQ(peer->callBox("Press", text("up")).error, "");
    server->close();
  });
  onMain([] {});
  EXPECT_EQ(calls, 0);
}

}  // namespace
