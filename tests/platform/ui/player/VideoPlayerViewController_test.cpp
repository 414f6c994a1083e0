#include "platform/ui/player/VideoPlayerViewController.h"

#include <cmath>
#include <sstream>

#include <gtest/gtest.h>

#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

/// Says what the player asks it, and allows it.
struct Delegate final : TVSPlayerPlaybackDelegate {
  bool add(const std::string& text) {
    asked += (asked.empty() ? "" : ", ") + text;
    return true;
  }
  static std::string number(double value) { return std::to_string(std::lround(value)); }
  bool playerShouldSeekToTime(TVSPlayer&, double seconds, const std::optional<Date>&) override {
    return add("seek " + number(seconds));
  }
  bool playerShouldPlay(TVSPlayer&, double) override { return add("play"); }
  bool playerShouldPause(TVSPlayer&) override { return add("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double rate) override {
    return add("scan " + number(rate));
  }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int) override { return add("change"); }
  std::string asked;
};

struct Root final : ViewController {
  std::shared_ptr<View> preferredFocusedView() override {
    return children().empty() ? nullptr : children()[0]->preferredFocusedView();
  }
};

/// A player on screen, and the remote in front of it.
struct Sofa {
  using Change = std::function<void(sim::MediaScript&)>;

  /// Shows a player whose item has not begun to load.
  Sofa() {
    player->setPlaybackDelegate(delegate);
    root->addChild(controller);
    root->view()->addSubview(controller->view());
    controller->didMoveToParent(root.get());
    fixture.window.updateFocus();
    box.run();
  }
  void load(const Change& change = {}) {
    sim::MediaScript script;
    script.duration = 1000;
    if (change) change(script);
    box.mediaLibrary().add("http://a/v", std::move(script));
    const auto item = std::make_shared<TVSURLMediaItem>("http://a/v", std::vector<std::string>());
    item->setMetadata(kMediaItemTitle, "Film");
    player->setPlaylist(
        std::make_shared<TVSPlaylist>(std::vector<std::shared_ptr<TVSMediaItem>>{item}, 0, false));
    box.run();
  }
  /// Loads for a moment, then plays, until the bar has gone.
  void play(const Change& change = {}) {
    load(change);
    box.advance(seconds(6));
    ASSERT_EQ(player->state(), TVSPlaybackState::Playing);
    player->setElapsedTime(494);
    box.advance(seconds(6));
    delegate->asked.clear();
  }
  /// "right" presses, "~down" swipes, "right@2500" holds for so many milliseconds, "600" lets them
  /// pass.
  void act(const std::string& actions) {
    std::istringstream stream(actions);
    for (std::string action; stream >> action;) {
      if (std::isdigit(action[0])) {
        box.advance(milliseconds(std::stoi(action)));
        continue;
      }
      const auto name = action.substr(0, action.find('@'));
      const int held = name == action ? 0 : std::stoi(action.substr(name.size() + 1));
      send(eventOf(name));
      for (int passed = 0; passed < held; passed += 50) {
        box.advance(milliseconds(50));
        send(eventOf(name + ".."));
      }
    }
  }
  void send(const InputEvent& event) {
    EXPECT_TRUE(fixture.window.handleInput(event));
    box.run();
  }

  /// What a person sees, in words, from what lies behind to what lies in front.
  std::string seen() const {
    if (!controller->parent()) return "left";
    std::string text;
    visitElements(fixture.scene().nodes, [&](const SceneElement& element) {
      if (const auto* spinner = std::get_if<SpinnerElement>(&element))
        text += "spinner" + spinner->text + " ";
      if (const auto* message = std::get_if<MessageElement>(&element))
        text += message->text + " / " + message->hint + " ";
      if (std::get_if<OptionPanelElement>(&element) && controller->isOptionPanelOpen())
        text += panel();
      if (std::get_if<TransportBarElement>(&element) && controller->isTransportBarVisible())
        text += bar() + " ";
    });
    if (text.ends_with(' ')) text.pop_back();
    return text.empty() ? "picture" : text;
  }
  std::string bar() const {
    const auto element = fixture.shown<TransportBarElement>().value();
    constexpr const char* kStates[] = {"loading", "playing", "paused", "scan", "scan"};
    std::string text = element.stateText;
    if (text.empty()) text = kStates[static_cast<int>(element.state)];
    if (element.rate != 1) text += Delegate::number(element.rate);
    text += " " + Delegate::number(element.elapsed);
    if (element.seeking) text += " large";
    if (!element.skipText.empty()) text += " " + element.skipText;
    if (element.live) text += " " + element.liveText;
    if (element.goToLiveText.empty()) return text;
    return text + (element.goToLiveFocused ? " <live>" : " live");
  }
  std::string panel() const {
    std::string text;
    const auto element = fixture.shown<OptionPanelElement>().value();
    for (const auto& list : element.lists) {
      text += list.title + ":";
      for (std::size_t i = 0; i < list.options.size(); ++i) {
        const auto name = list.options[i] + (list.selected == i ? "*" : "");
        text += list.focused == i ? " <" + name + ">" : " " + name;
      }
      text += "; ";
    }
    return text;
  }

  sim::Box box;
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  std::shared_ptr<VideoPlayerViewController> controller =
      std::make_shared<VideoPlayerViewController>(player, true);
  std::shared_ptr<Root> root = std::make_shared<Root>();
  WindowFixture fixture{root};
};

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
  Sofa::Change media;
  std::vector<Step> steps;
};

void run(Sofa& sofa, const Case& the) {
  SCOPED_TRACE(the.name);
  for (const auto& step : the.steps) {
    sofa.act(step.actions);
    EXPECT_EQ(sofa.seen(), step.seen) << step.actions;
    EXPECT_EQ(std::exchange(sofa.delegate->asked, {}), step.asked) << step.actions;
  }
}

TEST(VideoPlayerViewControllerTest, KeyPaths) {
  const Case cases[] = {
      {"one press seeks",
       {},
       {{"right", "playing 510 large +10 s", "seek 510"},
        {"1000", "playing 511"},
        {"left", "playing 501 large −10 s", "seek 501"}}},
      {"presses pile up to one place, in longer and longer steps",
       {},
       {{"right right right", "playing 550 large +50 s", "seek 510"},
        {"right right right", "playing 700 large +200 s"},
        {"300", "playing 700 large +200 s", "seek 700"},
        {"left", "playing 690 large −10 s"},
        {"select", "Paused 690", "seek 690, pause"}}},
      {"nobody falls out of the end",
       {},
       {{"right right right right right right right right right right right right right 300",
         "playing 998 large +498 s", "seek 510, seek 998"},
        {"playpause 2000 right", "Paused 998 large", "pause, seek 998"}}},
      {"nor of the beginning",
       {},
       {{"left@9000 30000", "playing 3", "seek 490, scan -2, scan -4, scan -8, scan -16"}}},
      {"holding scans, faster and faster, until another button",
       {},
       {{"right@500", "scan2 511 large", "seek 510, scan 2"},
        {"right@4000", "scan16 535 large", "scan 4, scan 8, scan 16"},
        {"right 10000", "scan16 695 large"},
        {"left", "scan-2 695 large", "scan -2"},
        {"playpause", "playing 695", "scan 1"},
        {"playpause", "Paused 695", "pause"}}},
      {"back ends a scan",
       {},
       {{"left@400 menu", "playing 490", "seek 490, scan -2, scan 1"}, {"menu", "picture"}}},
      {"the panel, then back stays",
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
      {"back hides the bar that was called, then leaves",
       {},
       {{"up", "playing 500"}, {"menu", "picture"}, {"menu", "left"}}},
      {"back leaves at once where the bar stays", {}, {{"select menu", "left", "pause"}}},
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
    Sofa sofa;
    sofa.play([&](sim::MediaScript& script) {
      addOptions(script);
      if (each.media) each.media(script);
    });
    run(sofa, each);
  }
}

TEST(VideoPlayerViewControllerTest, FromTheFirstLoadOn) {
  const auto slow = [](sim::MediaScript& script) { script.loadDelay = 1; };
  const Case cases[] = {
      {"the bar stays until it plays for five seconds; a stall tells at once how full the buffer "
       "is",
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
      {"the spinner comes late, and later tells how full the buffer is",
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
      {"pause while it loads", slow, {{"playpause right 2000", "Paused 0", "pause"}}},
      {"and taken back",
       slow,
       {{"playpause right playpause right 2000", "playing 1", "pause, play"}}},
      {"and once more",
       slow,
       {{"playpause playpause playpause right 2000", "Paused 0", "pause, play, pause"}}},
  };
  for (const auto& each : cases) {
    Sofa sofa;
    EXPECT_EQ(sofa.seen(), "picture");
    sofa.load(each.media);
    run(sofa, each);
    EXPECT_EQ(sofa.fixture.shown<VideoElement>()->output, sofa.player->videoOutput());
    // Nothing wakes for a bar that nobody sees: the item's end is the next thing to happen.
    if (sofa.seen() != "picture") continue;
    EXPECT_GT(*sofa.box.mainQueue().nextDeadline() - sofa.box.clock().now(), seconds(900));
  }
}

TEST(VideoPlayerViewControllerTest, BarTellsWhatPlays) {
  Sofa sofa;
  sofa.load([](sim::MediaScript& script) {
    script.duration = 200;
    script.chapters = {{0, "One"}, {50, "Two"}, {100, "Three"}, {200, "Behind the end"}};
  });
  sofa.act("200");
  const auto bar = sofa.fixture.shown<TransportBarElement>().value();
  EXPECT_EQ(bar.title, "Film");
  EXPECT_EQ(bar.duration, 200);
  EXPECT_EQ(bar.chapters, (std::vector<double>{0.25, 0.5}));
  ASSERT_EQ(bar.loaded.size(), 1U);
  EXPECT_LT(bar.loaded[0].first, bar.loaded[0].second);
  EXPECT_LE(bar.loaded[0].second, 1);
}

TEST(VideoPlayerViewControllerTest, FailuresAndTheEndAreTold) {
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
  Sofa sofa;
  for (const auto& [failure, sentence] : cases) {
    sofa.load([&, what = failure](sim::MediaScript& script) { script.loadFailure = what; });
    sofa.act("1000");
    EXPECT_EQ(sofa.seen(), sentence + " / " + texts.retryHint);
  }
  // One that fails before it is on screen.
  const auto late = std::make_shared<VideoPlayerViewController>(sofa.player, false);
  sofa.root->view()->addSubview(late->view());
  sofa.controller->view()->setHidden(true);
  sofa.act("0");
  EXPECT_EQ(sofa.fixture.shown<MessageElement>().value().text, texts.failures.failed);
  late->view()->removeFromSuperview();
  sofa.controller->view()->setHidden(false);
  PlayerTexts others;
  others.failures.failed = "Kaputt.";
  sofa.controller->setTexts(others);
  sofa.act("0");
  EXPECT_TRUE(sofa.seen().starts_with("Kaputt."));

  // What was missing is there now.
  sofa.box.mediaLibrary().add("http://a/v", {.duration = 10});
  sofa.act("select 200");
  EXPECT_EQ(sofa.seen(), "playing 0");
  sofa.act("10899");
  EXPECT_EQ(sofa.seen(), "picture");
  sofa.act("1");
  EXPECT_EQ(sofa.seen(), texts.ended + " / " + texts.replayHint);
}

TEST(VideoPlayerViewControllerTest, TakenAwayItInvalidatesThePlayerIfItIsTo) {
  Sofa sofa;
  const auto other = std::make_shared<VideoPlayerViewController>(sofa.player, false);
  sofa.root->addChild(other);
  other->didMoveToParent(sofa.root.get());
  other->removeFromParent();
  EXPECT_TRUE(sofa.player->hasQueuePlayer());

  sofa.play(addOptions);
  sofa.act("down");
  sofa.controller->dismiss();
  EXPECT_EQ(sofa.controller->view()->superview(), nullptr);
  EXPECT_FALSE(sofa.player->hasQueuePlayer());
  sofa.box.advance(seconds(60));
  EXPECT_FALSE(sofa.fixture.shown<VideoElement>());
  EXPECT_FALSE(sofa.box.mainQueue().nextDeadline());
}

}  // namespace
}  // namespace platform
