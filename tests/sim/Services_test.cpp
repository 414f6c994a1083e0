#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/Box.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

class ServicesTest : public testing::Test {
 protected:
  sim::Box box;
};

TEST_F(ServicesTest, JournalKeepsTheOrderAcrossServices) {
  box.systemService().wakeSystem(0);
  const auto assertion = box.processAssertions().acquire("bundle", 12, 1, "name");
  std::uint32_t identifier = 0;
  EXPECT_EQ(box.powerManager().createAssertion({{"AssertType", "x"}}, &identifier), 0u);
  EXPECT_EQ(box.powerManager().held().at(identifier).string("AssertType"), "x");
  box.powerManager().releaseAssertion(identifier);
  box.powerManager().setStatus(7);
  EXPECT_EQ(box.powerManager().createAssertion({}, &identifier), 7u);
  EXPECT_TRUE(box.powerManager().held().empty());
  EXPECT_THAT(
      box.journal().entries(),
      ElementsAre("systemService.wakeSystem(0)", "processAssertions.acquire(bundle, 12, 1, name)",
                  "powerManager.createAssertion()", "powerManager.releaseAssertion(1)",
                  "powerManager.createAssertion() failed"));
  EXPECT_EQ(box.journal().count("powerManager."), 3u);
  EXPECT_EQ(box.processAssertions().held(), 1);
}

TEST_F(ServicesTest, StateTokensCarryTheirNamesState) {
  auto& service = box.systemNotifications();
  service.setRegistrationFails(true);
  EXPECT_EQ(service.registerStateToken("a"), std::nullopt);
  service.setRegistrationFails(false);
  const auto first = service.registerStateToken("a");
  const auto second = service.registerStateToken("b");
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(service.setState(*second, 5));
  EXPECT_FALSE(service.setState(*second + 1, 5));
  EXPECT_EQ(service.state("b"), 5u);
  EXPECT_EQ(service.state("a"), std::nullopt);
}

TEST_F(ServicesTest, SystemNotificationsReachObserversOnTheNextTurn) {
  auto& service = box.systemNotifications();
  int heard = 0;
  auto token = service.addObserver("a", [&] { ++heard; });
  EXPECT_TRUE(service.post("a"));
  service.deliver("a");
  service.deliver("b");
  EXPECT_EQ(heard, 0);
  box.run();
  EXPECT_EQ(heard, 2);
  service.setPostFails("a");
  EXPECT_FALSE(service.post("a"));
  service.deliver("a");
  token.reset();
  box.run();
  EXPECT_EQ(heard, 2);
}

TEST_F(ServicesTest, RoutesAnswerLaterUnlessTheControllerIsGone) {
  auto& routing = box.audioRouting();
  routing.setRoutes({{"tv", 0, false, true}, {"speaker", 3, true, false}});
  std::vector<platform::AudioRoute> answer;
  auto controller = routing.makeController(2);
  const auto keep = [&](std::vector<platform::AudioRoute> routes) { answer = std::move(routes); };
  controller->fetchAvailableRoutes(keep);
  EXPECT_TRUE(answer.empty());
  box.run();
  ASSERT_EQ(answer.size(), 2u);
  EXPECT_TRUE(answer[1].selected);
  controller->selectDefaultRoute();
  EXPECT_TRUE(routing.routes()[0].selected);
  EXPECT_FALSE(routing.routes()[1].selected);
  controller->selectRoute(answer[1]);
  EXPECT_TRUE(routing.routes()[1].selected);

  answer.clear();
  routing.setFetchDelay(1s);
  controller->fetchAvailableRoutes(keep);
  EXPECT_EQ(routing.controllers(), 1);
  controller = nullptr;
  box.advance(2s);
  EXPECT_TRUE(answer.empty());
  EXPECT_EQ(routing.controllers(), 0);
}

TEST_F(ServicesTest, OnlyAChangeOfTheInternetIsPosted) {
  std::vector<bool> heard;
  const auto token = box.notificationCenter().addObserver(
      platform::TVSInternetAvailabilityDidChangeNotification, nullptr,
      [&](const platform::Notification&) { heard.push_back(box.network().internetAvailable()); });
  box.network().setInternetAvailable(true);
  box.network().setInternetAvailable(false);
  box.network().setInternetAvailable(false);
  box.network().setInternetAvailable(true);
  EXPECT_THAT(heard, ElementsAre(false, true));
}

TEST_F(ServicesTest, NowPlayingInfoMergesByPolicy) {
  box.nowPlaying().setNowPlayingInfo({{"a", 1}, {"b", 2}}, 0);
  box.nowPlaying().setNowPlayingInfo({{"b", 3}}, 0);
  EXPECT_EQ(box.nowPlaying().info(), (platform::Dictionary{{"a", 1}, {"b", 3}}));
  box.nowPlaying().setNowPlayingInfo({{"c", 4}}, 1);
  EXPECT_EQ(box.nowPlaying().info(), (platform::Dictionary{{"c", 4}}));
}

TEST_F(ServicesTest, ScreenOpensAsScripted) {
  using Opening = sim::Screen::Opening;
  struct Case {
    const char* name;
    Opening opening;
    platform::Duration delay;
    platform::Duration wait;
    bool closedMeanwhile;
    const char* answer;
  };
  const Case cases[] = {
      {"at once", Opening::Succeeds, 0s, 0s, false, "open"},
      {"too early", Opening::Succeeds, 2s, 1s, false, "none"},
      {"late", Opening::Succeeds, 2s, 2s, false, "open"},
      {"refused", Opening::Refuses, 0s, 0s, false, "error"},
      {"never", Opening::NeverAnswers, 0s, 1h, false, "none"},
      {"closed before the answer", Opening::Succeeds, 2s, 3s, true, "error"},
      {"never, but closed", Opening::NeverAnswers, 0s, 0s, true, "error"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    sim::Screen screen(box.mainQueue());
    std::vector<std::string> answers;
    screen.setOpening(one.opening, one.delay);
    screen.open([&](const std::optional<platform::Error>& error) {
      answers.emplace_back(error ? "error" : "open");
    });
    if (one.closedMeanwhile) screen.close();
    EXPECT_TRUE(answers.empty()) << "answered from inside the call";
    box.advance(one.wait);
    const std::vector<std::string> none;
    EXPECT_EQ(answers,
              std::string_view(one.answer) == "none" ? none : std::vector<std::string>{one.answer});
    EXPECT_EQ(screen.isOpen(), std::string_view(one.answer) == "open");
  }
}

TEST_F(ServicesTest, ScreenShowsCapturesAndGoesAway) {
  auto& screen = box.screen();
  std::vector<bool> captured;
  const auto capture = [&] {
    screen.capture([&](const auto& png) { captured.push_back(png != nullptr); });
    box.run();
  };
  int presses = 0;
  int closings = 0;
  screen.setInputHandler([&](const platform::InputEvent&) { ++presses; });
  screen.setClosedHandler([&] { ++closings; });
  capture();
  EXPECT_FALSE(screen.send({platform::PressType::Menu}));
  screen.open([](const auto&) {});
  box.run();
  EXPECT_EQ(screen.scene(), nullptr);
  const auto scene = std::make_shared<const platform::Scene>();
  screen.setScene(scene);
  EXPECT_EQ(screen.scene(), scene);
  EXPECT_TRUE(screen.send({platform::PressType::Menu}));
  capture();
  screen.setPicture(nullptr);
  capture();
  screen.closeByItself();
  EXPECT_FALSE(screen.isOpen());
  EXPECT_EQ(closings, 0);
  box.run();
  EXPECT_EQ(closings, 1);
  EXPECT_EQ(screen.scene(), nullptr);
  EXPECT_EQ(presses, 1);
  EXPECT_THAT(captured, ElementsAre(false, true, false));
  EXPECT_EQ(screen.timesClosed(), 1);
}

}  // namespace
