// What an engine reports of scripted media, and what they ask for, below the player.

#include "sim/MediaEngine.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/TVSMediaItem.h"
#include "sim/Box.h"
#include "sim/MediaLibrary.h"

using namespace std::chrono_literals;
using sim::MediaScript;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

platform::ResourceResponse redirect(const std::string& url) {
  return {std::nullopt, nullptr, std::nullopt, url};
}

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
  ~MediaRequests() override {
    if (made) engine.setObserver(nullptr);
  }

  void begin(std::shared_ptr<TVSMediaItem> what) {
    platform::MediaLoad mediaLoad;
    mediaLoad.generation = ++generation;
    mediaLoad.item = std::move(what);
    engine.load(mediaLoad);
  }
  void load(MediaScript script) {
    box.mediaLibrary().add(item->url(), std::move(script));
    begin(item);
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
  std::unique_ptr<sim::MediaEngine> made =
      std::make_unique<sim::MediaEngine>(box.mainQueue(), box.clock(), box.mediaLibrary());
  sim::MediaEngine& engine = *made;
  std::shared_ptr<Item> item =
      std::make_shared<Item>("http://sender/list", std::vector<std::string>());
  std::uint64_t generation = 0;
  std::vector<std::string> heard;

 private:
  void _note(std::uint64_t of, std::string text) {
    EXPECT_EQ(of, generation);
    heard.push_back(std::move(text));
  }
  void engineDidBecomeReady(std::uint64_t of) override { _note(of, "ready"); }
  void engineDidPlay(std::uint64_t of, double) override { _note(of, "play"); }
  void engineDidPause(std::uint64_t of) override { _note(of, "pause"); }
  void engineDidStall(std::uint64_t of) override { _note(of, "stall"); }
  void engineDidSeek(std::uint64_t of) override { _note(of, "seek"); }
  void engineDidReachEnd(std::uint64_t of) override { _note(of, "end"); }
  void engineDidFail(std::uint64_t of, const platform::Error& error) override {
    _note(of, "fail " + std::to_string(error.code));
  }
  void engineFactsDidChange(std::uint64_t) override {}
  void engineSelectionDidChange(std::uint64_t, const std::string&) override {}
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

TEST_F(MediaRequests, RedirectsThatNeverEnd) {
  load({.requests = {{.url = "round"}}});
  for (int round = 0; round < 10; ++round) answer(redirect(item->url()));
  EXPECT_THAT(take(), IsEmpty());
  answer(redirect(item->url()));
  EXPECT_THAT(take(), ElementsAre("fail -1011"));
  EXPECT_EQ(item->requests.size(), 11U);
}

using ScriptedEngine = MediaRequests;

TEST_F(ScriptedEngine, ReportsNothingFromInsideACall) {
  const auto missing = std::make_shared<Item>("missing", std::vector<std::string>());
  begin(missing);
  EXPECT_THAT(heard, IsEmpty());
  EXPECT_THAT(take(), ElementsAre("fail -1100"));
  engine.play(1);
  engine.seek(3);
  box.advance(5s);
  EXPECT_THAT(take(), IsEmpty()) << "only another load helps";
}

TEST_F(ScriptedEngine, NothingComesAfterUnloadAnotherLoadOrDestruction) {
  load({.duration = 10});
  take();
  engine.pause();
  engine.unload();
  box.advance(20s);
  EXPECT_THAT(take(), IsEmpty());

  begin(std::make_shared<Item>("missing", std::vector<std::string>()));
  load({.duration = 10});
  EXPECT_THAT(take(), ElementsAre("ready", "play"));

  engine.play(2);
  made.reset();
  box.advance(20s);
  EXPECT_THAT(take(), IsEmpty());
  EXPECT_THAT(box.mediaLibrary().engines(), IsEmpty());
}

TEST_F(ScriptedEngine, APausedLiveStreamLosesWhatItNoLongerKeeps) {
  load({.loadDelay = 0.1, .liveWindow = 30});
  engine.pause();
  box.advance(100s);
  EXPECT_EQ(engine.position(), 30.1);
  engine.play(1);
  box.advance(1s);
  EXPECT_EQ(engine.facts().seekable, (std::vector<platform::TimeRange>{{101.1, 30}}));
  EXPECT_EQ(engine.position(), 101.1);
}

}  // namespace
