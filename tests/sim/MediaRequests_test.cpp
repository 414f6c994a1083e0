// What scripted media ask for, below the player.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/TVSMediaItem.h"
#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"

using namespace std::chrono_literals;
using platform::Bytes;
using platform::Error;
using sim::MediaScript;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

platform::ResourceResponse redirect(const std::string& url) {
  return {std::nullopt, nullptr, std::nullopt, url};
}

constexpr auto kKey = MediaScript::Request::Kind::Key;

class Item final : public TVSURLMediaItem {
 public:
  using TVSURLMediaItem::TVSURLMediaItem;
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override {
    requests.push_back(request);
    return true;
  }
  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    requests.push_back(request);
  }
  std::vector<std::shared_ptr<TVSResourceLoadingRequest>> requests;
};

class MediaRequests : public testing::Test, private platform::MediaEngineObserver {
 protected:
  MediaRequests() { engine.setObserver(this); }
  ~MediaRequests() override { engine.setObserver(nullptr); }

  void load(MediaScript script) {
    box.mediaLibrary().add(item->url(), std::move(script));
    platform::MediaLoad mediaLoad;
    mediaLoad.generation = ++generation;
    mediaLoad.item = item;
    engine.load(mediaLoad);
    box.advance(100ms);
  }
  /// The requests so far, by URL; those that were given up have a "-" in front.
  std::vector<std::string> asked() const {
    std::vector<std::string> urls;
    for (const auto& request : item->requests)
      urls.push_back((request->isFinished() ? "-" : "") + request->url());
    return urls;
  }
  std::vector<std::string> take() {
    box.run();
    return std::exchange(heard, {});
  }
  void answer(platform::ResourceResponse response = {}) {
    item->requests.back()->finishLoading(std::move(response));
  }

  sim::Box box;
  sim::MediaEngine engine{box.mainQueue(), box.clock(), box.mediaLibrary()};
  std::shared_ptr<Item> item =
      std::make_shared<Item>("http://sender/list", std::vector<std::string>());
  std::uint64_t generation = 0;

 private:
  void engineDidBecomeReady(std::uint64_t) override { heard.emplace_back("ready"); }
  void engineDidPlay(std::uint64_t, double) override { heard.emplace_back("play"); }
  void engineDidPause(std::uint64_t) override { heard.emplace_back("pause"); }
  void engineDidStall(std::uint64_t) override { heard.emplace_back("stall"); }
  void engineDidSeek(std::uint64_t) override { heard.emplace_back("seek"); }
  void engineDidReachEnd(std::uint64_t) override { heard.emplace_back("end"); }
  void engineDidFail(std::uint64_t, const Error& error) override {
    heard.push_back("fail " + std::to_string(error.code));
  }
  void engineFactsDidChange(std::uint64_t) override {}
  void engineSelectionDidChange(std::uint64_t, const std::string&) override {}

  std::vector<std::string> heard;
};

TEST_F(MediaRequests, OfTheLoadAreAskedOneAfterTheOther) {
  load({.duration = 10, .requests = {{.url = "a"}, {.position = 5, .url = "b"}, {.url = "c"}}});
  EXPECT_THAT(asked(), ElementsAre("a"));
  box.advance(20s);
  EXPECT_THAT(take(), IsEmpty());
  answer();
  EXPECT_THAT(asked(), ElementsAre("-a", "c"));
  answer();
  EXPECT_THAT(take(), ElementsAre("ready", "play"));
  box.advance(5s);
  EXPECT_THAT(take(), ElementsAre("stall"));
  EXPECT_EQ(engine.position(), 5);
  EXPECT_FALSE(engine.facts().likelyToKeepUp);
  box.advance(2s);
  EXPECT_EQ(engine.position(), 5);
  answer();
  EXPECT_THAT(take(), ElementsAre("play"));
  box.advance(5s);
  EXPECT_THAT(take(), ElementsAre("end"));
  EXPECT_EQ(engine.pendingRequests(), 0U);
}

TEST_F(MediaRequests, PauseAndSeekWhileItWaits) {
  load({.duration = 100, .requests = {{.position = 5, .url = "a"}}});
  box.advance(5s);
  take();
  engine.pause();
  answer();
  EXPECT_THAT(take(), ElementsAre("pause"));
  box.advance(10s);
  EXPECT_EQ(engine.position(), 5);
  engine.play(1);
  EXPECT_THAT(take(), ElementsAre("play"));

  // Left behind by a seek, it is asked for anew when playback comes by again.
  load({.duration = 100, .requests = {{.position = 5, .url = "b"}}});
  box.advance(5s);
  take();
  engine.seek(2);
  EXPECT_THAT(take(), ElementsAre("seek", "play"));
  EXPECT_THAT(asked(), ElementsAre("-a", "-b"));
  box.advance(3s);
  EXPECT_THAT(asked(), ElementsAre("-a", "-b", "b"));
  engine.unload();
  EXPECT_THAT(asked(), ElementsAre("-a", "-b", "-b"));
}

TEST_F(MediaRequests, EndBadly) {
  const auto bytes = [](Bytes data) {
    return platform::ResourceResponse{std::nullopt, std::make_shared<const Bytes>(std::move(data)),
                                      std::nullopt, std::nullopt};
  };
  constexpr auto kResource = MediaScript::Request::Kind::Resource;
  const struct {
    const char* what;
    platform::ResourceResponse response;
    MediaScript::Request::Kind kind;
    std::vector<std::string> expected;
  } cases[] = {
      {"redirected to nothing", redirect("http://sender/nothing"), kResource, {"fail -1100"}},
      {"a resource of no bytes", bytes({}), kResource, {"ready", "play"}},
      {"a key of no bytes", bytes({}), kKey, {"fail -11835"}},
      {"a key elsewhere", redirect("http://sender/list"), kKey, {"fail -11835"}},
      {"a key", bytes({std::byte{1}}), kKey, {"ready", "play"}},
  };
  for (const auto& [what, response, kind, expected] : cases) {
    SCOPED_TRACE(what);
    load({.requests = {{.url = "a", .kind = kind}}});
    answer(response);
    EXPECT_EQ(take(), expected);
  }
  load({.requests = {{.url = "a"}}});
  item->requests.back()->finishLoadingWithError(Error::status(7));
  EXPECT_THAT(take(), ElementsAre("fail 7"));
  load({.requests = {{.url = "silent"}}});
  box.advance(30s);
  EXPECT_THAT(take(), ElementsAre("fail -1001"));
}

TEST_F(MediaRequests, RedirectsThatNeverEnd) {
  load({.requests = {{.url = "round"}}});
  for (int round = 0; round < 10; ++round) answer(redirect(item->url()));
  EXPECT_THAT(take(), IsEmpty());
  answer(redirect(item->url()));
  EXPECT_THAT(take(), ElementsAre("fail -1011"));
  EXPECT_EQ(item->requests.size(), 11U);
}

}  // namespace
