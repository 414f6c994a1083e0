#pragma once

#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/ui/player/VideoPlayerViewController.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/platform/ui/Support.h"

namespace platform {

/// Records the requests of the player and allows them.
struct AllowingDelegate final : TVSPlayerPlaybackDelegate {
  bool add(const std::string& text) {
    asked += (asked.empty() ? "" : ", ") + text;
    return true;
  }
  static std::string number(double value) { return std::to_string(std::lround(value)); }
  bool playerShouldSeekToTime(TVSPlayer&, double target, const std::optional<Date>&) override {
    return add("seek " + number(target));
  }
  bool playerShouldPlay(TVSPlayer&, double) override { return add("play"); }
  bool playerShouldPause(TVSPlayer&) override { return add("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double rate) override {
    return add("scan " + number(rate));
  }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int) override { return add("change"); }
  std::string asked;
};

struct PlayerRoot final : ViewController {
  std::shared_ptr<View> preferredFocusedView() override {
    return children().empty() ? nullptr : children()[0]->preferredFocusedView();
  }
};

/// A player on screen with a remote control.
struct PlayerOnScreen {
  using Change = std::function<void(sim::MediaScript&)>;

  /// The player is on screen and has no playlist.
  PlayerOnScreen() {
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
  /// Loads an item and plays until the transport bar is hidden. The position is then 500.
  void play(const Change& change = {}) {
    load(change);
    box.advance(std::chrono::seconds(6));
    ASSERT_EQ(player->state(), TVSPlaybackState::Playing);
    player->setElapsedTime(494);
    box.advance(std::chrono::seconds(6));
    delegate->asked.clear();
  }
  /// "right" presses a button, "~down" swipes, "right@2500" holds a button for 2500 ms, "600" waits
  /// for 600 ms.
  void act(const std::string& actions) {
    std::istringstream stream(actions);
    for (std::string action; stream >> action;) {
      if (std::isdigit(action[0])) {
        box.advance(std::chrono::milliseconds(std::stoi(action)));
        continue;
      }
      const auto name = action.substr(0, action.find('@'));
      const int held = name == action ? 0 : std::stoi(action.substr(name.size() + 1));
      send(eventOf(name));
      for (int passed = 0; passed < held; passed += 50) {
        box.advance(std::chrono::milliseconds(50));
        send(eventOf(name + ".."));
      }
    }
  }
  void send(const InputEvent& event) {
    EXPECT_TRUE(fixture.window.handleInput(event));
    box.run();
  }

  /// Describes the visible elements, back to front.
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
    if (element.rate != 1) text += AllowingDelegate::number(element.rate);
    text += " " + AllowingDelegate::number(element.elapsed);
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
  std::shared_ptr<AllowingDelegate> delegate = std::make_shared<AllowingDelegate>();
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  std::shared_ptr<VideoPlayerViewController> controller =
      std::make_shared<VideoPlayerViewController>(player, true);
  std::shared_ptr<PlayerRoot> root = std::make_shared<PlayerRoot>();
  WindowFixture fixture{root};
};

}  // namespace platform
