#include "platform/ui/player/VideoPlayerViewController.h"

#include <cmath>
#include <sstream>

#include <gtest/gtest.h>

#include "platform/media/TimedMetadataItem.h"
#include "tests/platform/ui/player/PlayerOnScreen.h"

namespace platform {
namespace {

void addOptions(sim::MediaScript& script) {
  script.selectionGroups = {
      {"audible", {{"1", "Stereo", "en"}, {"2", "Surround", "en"}, {"3", "", "de"}}, 0, false},
      {"legible",
       {{"4", "", "en", true}, {"5", "", "ja"}, {"6", "", "en", false, {"hard-of-hearing"}}},
       std::nullopt,
       true}};
}

struct Step {
  const char* actions;
  const char* seen;
  const char* asked = "";
};

struct Case {
  const char* name;
  PlayerOnScreen::Change media;
  std::vector<Step> steps;
};

void run(PlayerOnScreen& screen, const Case& test) {
  SCOPED_TRACE(test.name);
  for (const auto& step : test.steps) {
    screen.act(step.actions);
    EXPECT_EQ(screen.seen(), step.seen) << step.actions;
    EXPECT_EQ(std::exchange(screen.delegate->asked, {}), step.asked) << step.actions;
  }
}

TEST(VideoPlayerViewControllerTest, ButtonsAndSwipes) {
  const Case cases[] = {
      {"one press seeks",
       {},
       {{"right", "playing 510 large +10 s", "seek 510"},
        {"1000", "playing 511"},
        {"left", "playing 501 large −10 s", "seek 501"}}},
      {"quick presses add up to one seek with growing steps",
       {},
       {{"right right right", "playing 550 large +50 s", "seek 510"},
        {"right right right", "playing 700 large +200 s"},
        {"300", "playing 700 large +200 s", "seek 700"},
        {"left", "playing 690 large −10 s"},
        {"select", "Paused 690", "seek 690, pause"}}},
      {"skips stop before the end",
       {},
       {{"right right right right right right right right right right right right right 300",
         "playing 998 large +498 s", "seek 510, seek 998"},
        {"playpause 2000 right", "Paused 998 large", "pause, seek 998"}}},
      {"a backward scan stops at the beginning",
       {},
       {{"left@9000 30000", "playing 3", "seek 490, scan -2, scan -4, scan -8, scan -16"}}},
      {"a held button scans with growing rate until another button is pressed",
       {},
       {{"right@500", "scan2 511 large", "seek 510, scan 2"},
        {"right@4000", "scan16 535 large", "scan 4, scan 8, scan 16"},
        {"right 10000", "scan16 695 large"},
        {"left", "scan-2 695 large", "scan -2"},
        {"playpause", "playing 695", "scan 1"},
        {"playpause", "Paused 695", "pause"}}},
      {"menu ends a scan",
       {},
       {{"left@400 menu", "playing 490", "seek 490, scan -2, scan 1"}, {"menu", "picture"}}},
      {"menu closes the option panel",
       {},
       {{"down",
         "Audio: <English – Stereo*> English – Surround German; "
         "Subtitles: Off* Japanese English (for the hard of hearing);"},
        {"down down down",
         "Audio: English – Stereo* English – Surround <German>; "
         "Subtitles: Off* Japanese English (for the hard of hearing);"},
        {"select right down select",
         "Audio: English – Stereo English – Surround German*; "
         "Subtitles: Off <Japanese*> English (for the hard of hearing);"},
        {"~up select ~left 10000",
         "Audio: English – Stereo English – Surround <German*>; "
         "Subtitles: Off* Japanese English (for the hard of hearing);"},
        {"menu", "picture"},
        {"select", "Paused 510", "pause"},
        {"~down menu", "Paused 510"}}},
      {"menu hides the bar shown by a button, then dismisses",
       {},
       {{"up", "playing 500"}, {"menu", "picture"}, {"menu", "left"}}},
      {"menu dismisses at once while paused", {}, {{"select menu", "left", "pause"}}},
      {"a live stream",
       [](sim::MediaScript& script) { script.liveWindow = 600; },
       {{"up", "playing 500 LIVE <live>"},
        {"down", "playing 500 LIVE live"},
        {"~up select", "playing 612 LIVE", "seek 612"},
        {"up", "playing 612 LIVE"},
        {"left left left left", "playing 532 large −80 s LIVE live", "seek 602"}}},
      {"swipes skip", {}, {{"~right ~left 300", "playing 500 large −10 s", "seek 510, seek 500"}}},
  };
  for (const auto& each : cases) {
    PlayerOnScreen screen;
    screen.play([&](sim::MediaScript& script) {
      addOptions(script);
      if (each.media) each.media(script);
    });
    run(screen, each);
  }
}

TEST(VideoPlayerViewControllerTest, BarAndSpinnerWhileLoading) {
  const auto slow = [](sim::MediaScript& script) { script.loadDelay = 1; };
  const Case cases[] = {
      {"the bar hides after five seconds of playback; a stall shows the buffering percentage at "
       "once",
       [](sim::MediaScript& script) {
         script.loadDelay = 0.3;
         script.stalls = {{20, 60}};
       },
       {{"299", "loading 0"},
        {"1 4999", "playing 4"},
        {"1", "picture"},
        {"3000 playpause 60000", "Paused 8", "pause"},
        {"select 5000", "picture", "play"},
        {"6999", "picture"},
        {"1", "loading 20"},
        {"400", "loading 20 spinner0%"},
        {"66600", "picture"}}},
      {"the spinner of the first load appears after 0.4 s and shows the percentage after 2 s",
       [](sim::MediaScript& script) {
         script.loadDelay = 3;
         script.buffering = {{0.2, 20}, {2.5, 60}};
       },
       {{"399", "loading 0"},
        {"1", "loading 0 spinner"},
        {"1599", "loading 0 spinner"},
        {"1", "loading 0 spinner20%"},
        {"500", "loading 0 spinner60%"},
        {"500", "playing 0"}}},
      {"pause while loading", slow, {{"playpause right 2000", "Paused 0", "pause"}}},
      {"pause and play while loading",
       slow,
       {{"playpause right playpause right 2000", "playing 1", "pause, play"}}},
      {"pause, play and pause while loading",
       slow,
       {{"playpause playpause playpause right 2000", "Paused 0", "pause, play, pause"}}},
  };
  for (const auto& each : cases) {
    PlayerOnScreen screen;
    EXPECT_EQ(screen.seen(), "picture");
    screen.load(each.media);
    run(screen, each);
    EXPECT_EQ(screen.fixture.shown<VideoElement>()->output, screen.player->videoOutput());
    // A hidden bar has no timers; the next one is for the end of the item.
    if (screen.seen() != "picture") continue;
    EXPECT_GT(*screen.box.mainQueue().nextDeadline() - screen.box.clock().now(), seconds(900));
  }
}

TEST(VideoPlayerViewControllerTest, BarShowsTitleDurationChaptersAndLoadedRanges) {
  PlayerOnScreen screen;
  screen.load([](sim::MediaScript& script) {
    script.duration = 200;
    script.chapters = {{0, "One"}, {50, "Two"}, {100, "Three"}, {200, "Behind the end"}};
  });
  screen.act("200");
  const auto bar = screen.fixture.shown<TransportBarElement>().value();
  EXPECT_EQ(bar.title, "Film");
  EXPECT_EQ(bar.duration, 200);
  EXPECT_EQ(bar.chapters, (std::vector<double>{0.25, 0.5}));
  ASSERT_EQ(bar.loaded.size(), 1U);
  EXPECT_LT(bar.loaded[0].first, bar.loaded[0].second);
  EXPECT_LE(bar.loaded[0].second, 1);
}

TEST(VideoPlayerViewControllerTest, ShowsMessagesForFailuresAndTheEnd) {
  const auto error = [](std::string_view domain, auto code) {
    return Error{std::string(domain), static_cast<std::int64_t>(code), "Details", {}, {}};
  };
  const PlayerTexts texts;
  const std::pair<Error, std::string> cases[] = {
      {error(kURLErrorDomain, 404), texts.failures.notFound},
      {error(kURLErrorDomain, URLErrorCode::CannotFindHost), texts.failures.noConnection},
      {error(kURLErrorDomain, URLErrorCode::TimedOut), texts.failures.timedOut},
      {error(kURLErrorDomain, 403), texts.failures.notAllowed},
      {error(kURLErrorDomain, 500), texts.failures.failed},
      {error(kMediaErrorDomain, MediaErrorCode::DecoderNotFound), texts.failures.unknownFormat},
      {error(kMediaErrorDomain, MediaErrorCode::ContentNotAuthorized), texts.failures.notAllowed},
      {error(kMediaErrorDomain, MediaErrorCode::DecodeFailed), texts.failures.failed},
      {Error::status(404), texts.failures.failed}};
  PlayerOnScreen screen;
  for (const auto& [failure, sentence] : cases) {
    screen.load([&, what = failure](sim::MediaScript& script) { script.loadFailure = what; });
    screen.act("1000");
    EXPECT_EQ(screen.seen(), sentence + " / " + texts.retryHint);
  }
  // A controller that is loaded after the failure.
  const auto late = std::make_shared<VideoPlayerViewController>(screen.player, false);
  screen.root->view()->addSubview(late->view());
  screen.controller->view()->setHidden(true);
  screen.act("0");
  EXPECT_EQ(screen.fixture.shown<MessageElement>().value().text, texts.failures.failed);
  late->view()->removeFromSuperview();
  screen.controller->view()->setHidden(false);
  PlayerTexts others;
  others.failures.failed = "Kaputt.";
  screen.controller->setTexts(others);
  screen.act("0");
  EXPECT_TRUE(screen.seen().starts_with("Kaputt."));

  // Play retries, now with existing media.
  screen.box.mediaLibrary().add("http://a/v", {.duration = 10});
  screen.act("select 200");
  EXPECT_EQ(screen.seen(), "playing 0");
  screen.act("10899");
  EXPECT_EQ(screen.seen(), "picture");
  screen.act("1");
  EXPECT_EQ(screen.seen(), texts.ended + " / " + texts.replayHint);
}

TEST(VideoPlayerViewControllerTest, ShowsCoverAndTextsOfAnItemWithoutVideo) {
  PlayerOnScreen screen;
  const auto texts = [&] {
    std::string all;
    visitElements(screen.fixture.scene().nodes, [&](const SceneElement& element) {
      if (const auto* text = std::get_if<TextElement>(&element)) all += text->text + "|";
      if (std::get_if<VideoElement>(&element)) all += "picture|";
    });
    return all;
  };
  const auto frameOfPicture = [&] {
    std::optional<Rect> frame;
    const std::function<void(const std::vector<SceneNode>&)> visit =
        [&](const std::vector<SceneNode>& nodes) {
          for (const SceneNode& node : nodes) {
            for (const SceneElement& element : node.elements)
              if (std::get_if<VideoElement>(&element)) frame = node.frame;
            visit(node.children);
          }
        };
    visit(screen.fixture.scene().nodes);
    return frame;
  };
  screen.play([](sim::MediaScript& script) { script.tracks = {{1, "video", "", true}}; });
  EXPECT_EQ(texts(), "picture|");
  EXPECT_EQ(frameOfPicture(), kScreenBounds);

  const auto music = [](sim::MediaScript& script) {
    script.tracks = {{1, "audio", "", true}};
    script.timedMetadata = {{0,
                             {{"artist", "common", {}, {}, "Anna", {}},
                              {"album", "common", {}, {}, "Songs", {}},
                              {"artist", "icy", {}, {}, "Radio", {}}}}};
  };
  screen.play(music);
  EXPECT_EQ(texts(), "Film|Anna|Songs|");
  screen.play([&](sim::MediaScript& script) {
    music(script);
    script.hasCover = true;
  });
  EXPECT_EQ(texts(), "Film|Anna|Songs|picture|");
  ASSERT_TRUE(frameOfPicture());
  EXPECT_LT(frameOfPicture()->width, kScreenWidth / 2);

  // The texts of the sender replace those of the media.
  screen.player->currentMediaItem()->setMetadata(kMediaItemArtist, "Bob");
  screen.box.run();
  EXPECT_EQ(texts(), "Film|Bob|Songs|picture|");

  screen.player->stop();
  screen.box.run();
  EXPECT_EQ(texts(), "picture|");
}

TEST(VideoPlayerViewControllerTest, InvalidatesThePlayerAfterRemovalIfRequested) {
  PlayerOnScreen screen;
  const auto other = std::make_shared<VideoPlayerViewController>(screen.player, false);
  screen.root->addChild(other);
  other->didMoveToParent(screen.root.get());
  other->removeFromParent();
  EXPECT_TRUE(screen.player->hasQueuePlayer());

  screen.play(addOptions);
  screen.act("down");
  screen.controller->dismiss();
  EXPECT_EQ(screen.controller->view()->superview(), nullptr);
  EXPECT_FALSE(screen.player->hasQueuePlayer());
  screen.box.advance(seconds(60));
  EXPECT_FALSE(screen.fixture.shown<VideoElement>());
  EXPECT_FALSE(screen.box.mainQueue().nextDeadline());
}

}  // namespace
}  // namespace platform
