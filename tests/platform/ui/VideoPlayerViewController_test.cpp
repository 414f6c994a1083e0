#include "platform/ui/VideoPlayerViewController.h"

#include <gtest/gtest.h>

#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

struct VideoPlayerTest : ::testing::Test {
  /// Shows a player whose item has not begun to load.
  VideoPlayerTest() {
    root->addChild(controller);
    root->view()->addSubview(controller->view());
    controller->didMoveToParent(root.get());
    fixture.window.updateFocus();
    box.run();
  }

  using Change = std::function<void(sim::MediaScript&)>;

  void load(const Change& change = {}) {
    sim::MediaScript script;
    if (change) change(script);
    box.mediaLibrary().add("http://a/v", std::move(script));
    const auto item = std::make_shared<TVSURLMediaItem>("http://a/v", std::vector<std::string>());
    item->setMetadata(kMediaItemTitle, "Film");
    player->setPlaylist(
        std::make_shared<TVSPlaylist>(std::vector<std::shared_ptr<TVSMediaItem>>{item}, 0, false));
  }
  /// Loads for a moment, then plays.
  void play(const Change& change = {}) {
    load(change);
    box.advance(milliseconds(100));
    ASSERT_EQ(player->state(), TVSPlaybackState::Playing);
  }
  bool send(PressType type, bool repeated = false) {
    const bool taken = fixture.window.handleInput(press(type, repeated));
    box.run();
    return taken;
  }
  bool barVisible() const { return controller->isTransportBarVisible(); }

  struct Root final : ViewController {
    std::shared_ptr<View> preferredFocusedView() override {
      return children().empty() ? nullptr : children()[0]->preferredFocusedView();
    }
  };

  sim::Box box;
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  std::shared_ptr<VideoPlayerViewController> controller =
      std::make_shared<VideoPlayerViewController>(player, true);
  std::shared_ptr<Root> root = std::make_shared<Root>();
  WindowFixture fixture{root};
};

TEST_F(VideoPlayerTest, BarStaysUntilPlayingAndFiveSecondsAfterTheLastPress) {
  EXPECT_TRUE(barVisible());
  load([&](sim::MediaScript& script) { script.loadDelay = 20; });
  box.advance(milliseconds(19'999));
  EXPECT_TRUE(barVisible());
  box.advance(milliseconds(1));
  ASSERT_EQ(player->state(), TVSPlaybackState::Playing);
  box.advance(milliseconds(4'999));
  EXPECT_TRUE(barVisible());
  box.advance(milliseconds(1));
  EXPECT_FALSE(barVisible());
  EXPECT_TRUE(fixture.shown<TransportBarElement>());  // fading
  box.advance(milliseconds(300));
  EXPECT_FALSE(fixture.shown<TransportBarElement>());

  EXPECT_TRUE(send(PressType::Up));
  EXPECT_TRUE(barVisible());
  box.advance(seconds(4));
  EXPECT_TRUE(send(PressType::Down, true));
  box.advance(milliseconds(4'999));
  EXPECT_TRUE(barVisible());
  box.advance(milliseconds(1));
  EXPECT_FALSE(barVisible());
}

TEST_F(VideoPlayerTest, BarStaysWhilePausedScanningStalledAndStopped) {
  play([&](sim::MediaScript& script) {
    script.duration = 1000;
    script.stalls = {{20, 60}};
  });
  box.advance(seconds(6));
  EXPECT_FALSE(barVisible());

  player->pause();
  box.advance(seconds(60));
  EXPECT_EQ(player->state(), TVSPlaybackState::Paused);
  EXPECT_TRUE(barVisible());
  player->play();
  box.advance(seconds(6));
  EXPECT_FALSE(barVisible());

  box.advance(seconds(60));
  EXPECT_EQ(player->state(), TVSPlaybackState::Loading);
  EXPECT_TRUE(barVisible());
  box.advance(seconds(30));
  EXPECT_EQ(player->state(), TVSPlaybackState::Playing);
  EXPECT_FALSE(barVisible());

  player->scanAtRate(4);
  box.advance(seconds(60));
  EXPECT_EQ(player->state(), TVSPlaybackState::Scanning);
  EXPECT_TRUE(barVisible());

  player->stop();
  box.advance(seconds(60));
  EXPECT_TRUE(barVisible());
}

TEST_F(VideoPlayerTest, NothingWakesWhileTheBarIsHidden) {
  play([&](sim::MediaScript& script) { script.duration = 1000; });
  box.advance(seconds(6));
  const auto scenes = fixture.scenes.size();
  // The item's own end is the next thing to happen.
  ASSERT_TRUE(box.mainQueue().nextDeadline());
  EXPECT_GT(*box.mainQueue().nextDeadline() - box.clock().now(), seconds(900));
  box.advance(seconds(900));
  EXPECT_EQ(fixture.scenes.size(), scenes);
}

TEST_F(VideoPlayerTest, BarTellsWhatPlays) {
  play([&](sim::MediaScript& script) { script.duration = 200; });
  auto bar = fixture.shown<TransportBarElement>();
  ASSERT_TRUE(bar);
  EXPECT_EQ(bar->title, "Film");
  EXPECT_EQ(bar->state, TransportState::Playing);
  EXPECT_EQ(bar->duration, 200);
  EXPECT_FALSE(bar->live);
  for (const auto& [start, end] : bar->loaded) {
    EXPECT_LT(start, end);
    EXPECT_LE(end, 1);
  }
  box.advance(seconds(3));
  EXPECT_NEAR(fixture.shown<TransportBarElement>()->elapsed, 3, 0.01);

  player->scanAtRate(-4);
  box.run();
  bar = fixture.shown<TransportBarElement>();
  EXPECT_EQ(bar->state, TransportState::ScanningBackward);
  EXPECT_EQ(bar->rate, -4);
  player->scanAtRate(8);
  box.advance(milliseconds(250));
  bar = fixture.shown<TransportBarElement>();
  EXPECT_EQ(bar->state, TransportState::ScanningForward);
  EXPECT_EQ(bar->rate, 8);
  EXPECT_TRUE(send(PressType::Select));
  bar = fixture.shown<TransportBarElement>();
  EXPECT_EQ(bar->state, TransportState::Playing);
  EXPECT_EQ(bar->rate, 1);
}

TEST_F(VideoPlayerTest, ButtonsSteerThePlayer) {
  load([&](sim::MediaScript& script) {
    script.loadDelay = 1;
    script.duration = 100;
  });
  EXPECT_TRUE(send(PressType::Right));  // nothing to skip in yet
  box.advance(seconds(1));
  ASSERT_EQ(player->state(), TVSPlaybackState::Playing);
  EXPECT_NEAR(player->elapsedTime(), 0, 0.01);

  send(PressType::PlayPause);
  EXPECT_EQ(player->state(), TVSPlaybackState::Paused);
  send(PressType::PlayPause, true);
  EXPECT_EQ(player->state(), TVSPlaybackState::Paused);

  const std::pair<PressType, double> skips[] = {
      {PressType::Right, 10}, {PressType::Right, 20}, {PressType::Left, 10},
      {PressType::Left, 0},   {PressType::Left, 0},
  };
  for (const auto& [type, position] : skips) {
    send(type);
    EXPECT_NEAR(player->elapsedTime(), position, 0.01);
    EXPECT_NEAR(fixture.shown<TransportBarElement>()->elapsed, position, 0.01);
  }
  for (int i = 0; i < 20; ++i) send(PressType::Right, i > 0);
  EXPECT_NEAR(player->elapsedTime(), 100, 0.01);
  send(PressType::Left);
  send(PressType::Select);
  EXPECT_EQ(player->state(), TVSPlaybackState::Playing);
  send(PressType::Select);
  EXPECT_EQ(player->state(), TVSPlaybackState::Paused);
}

TEST_F(VideoPlayerTest, PauseWhileLoadingCanBeTakenBack) {
  for (const int presses : {1, 2, 3}) {
    load([&](sim::MediaScript& script) { script.loadDelay = 1; });
    box.run();
    for (int i = 0; i < presses; ++i) send(PressType::PlayPause);
    box.advance(seconds(2));
    EXPECT_EQ(player->state(), presses % 2 ? TVSPlaybackState::Paused : TVSPlaybackState::Playing)
        << presses;
    player->stop();
    player->play();  // wanted again, for the next load
    player->stop();
  }
}

TEST_F(VideoPlayerTest, SpinnerOnlyWhenLoadingTakesItsTime) {
  load([&](sim::MediaScript& script) { script.loadDelay = 0.3; });
  box.advance(milliseconds(300));
  EXPECT_EQ(player->state(), TVSPlaybackState::Playing);
  box.advance(seconds(2));
  EXPECT_FALSE(fixture.shown<SpinnerElement>());

  load([&](sim::MediaScript& script) { script.loadDelay = 2; });
  box.advance(milliseconds(399));
  EXPECT_FALSE(fixture.shown<SpinnerElement>());
  box.advance(milliseconds(1));
  EXPECT_TRUE(fixture.shown<SpinnerElement>());
  box.advance(seconds(2));
  EXPECT_FALSE(fixture.shown<SpinnerElement>());
  EXPECT_EQ(fixture.shown<VideoElement>()->output, player->videoOutput());
}

TEST_F(VideoPlayerTest, FailureIsTold) {
  Error error = Error::status(-1);
  error.localizedDescription = "Gone";
  load([&](sim::MediaScript& script) { script.loadFailure = error; });
  box.advance(seconds(1));
  ASSERT_EQ(player->state(), TVSPlaybackState::Stopped);
  EXPECT_EQ(fixture.shown<TextElement>()->text, "Gone");
  EXPECT_TRUE(barVisible());

  controller->setFailureText(
      [](const Error& failure) { return "Code " + std::to_string(failure.code); });
  box.run();
  EXPECT_EQ(fixture.shown<TextElement>()->text, "Code -1");
  controller->setFailureText(nullptr);
  load([&](sim::MediaScript& script) { script.loadFailure = Error::status(-2); });
  box.advance(seconds(1));
  EXPECT_EQ(fixture.shown<TextElement>()->text, "This video can't be played.");

  play();
  EXPECT_FALSE(fixture.shown<TextElement>());
}

TEST_F(VideoPlayerTest, MenuTakesItAwayAndInvalidatesThePlayer) {
  play();
  EXPECT_TRUE(send(PressType::Menu, true));
  EXPECT_EQ(controller->parent(), root.get());
  EXPECT_TRUE(send(PressType::Menu));
  EXPECT_EQ(controller->parent(), nullptr);
  EXPECT_EQ(controller->view()->superview(), nullptr);
  EXPECT_FALSE(player->hasQueuePlayer());
  EXPECT_FALSE(fixture.shown<VideoElement>());
  box.advance(seconds(60));
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

TEST_F(VideoPlayerTest, PlayerIsKeptWhereItIsNotToBeInvalidated) {
  const auto other = std::make_shared<VideoPlayerViewController>(player, false);
  root->addChild(other);
  other->didMoveToParent(root.get());
  other->removeFromParent();
  EXPECT_TRUE(player->hasQueuePlayer());
}

}  // namespace
}  // namespace platform
