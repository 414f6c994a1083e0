// Requests of the player to the item.

#include "tests/player/PlayerFixture.h"

namespace {

using platform::MediaErrorCode;
using platform::ResourceResponse;
using platform::URLErrorCode;
using testing::ElementsAre;
using testing::IsEmpty;

ResourceResponse redirect(const std::string& url) { return {{}, nullptr, {}, url}; }
platform::Error urlError(std::int64_t code) {
  return {std::string(platform::kURLErrorDomain), code, {}, {}, {}};
}

TEST_F(TVSPlayerTest, LoadSucceedsOrFailsWithTheAnswer) {
  const auto answer = [&](TVSResourceLoadingRequest& request) {
    request.finishLoading(bench->answerTo(request));
  };
  const auto fail = [](TVSResourceLoadingRequest& request) {
    request.finishLoadingWithError(urlError(404));
  };
  const struct {
    const char* name;
    const char* what;
    std::function<void(TVSResourceLoadingRequest&)> answer;
    std::int64_t code;  // 0: the item plays
  } cases[] = {
      {"own", "data", answer, 0},
      {"own", "an error", fail, 404},
      {"own", "not accepted", {}, static_cast<int>(URLErrorCode::UnsupportedURL)},
      {"own", "a redirect",
       [&](auto& request) { request.finishLoading(redirect(bench->url("a"))); }, 0},
      {"own", "an endless redirect",
       [](auto& request) { request.finishLoading(redirect(std::string(request.url()))); },
       static_cast<int>(URLErrorCode::BadServerResponse)},
      {"key", "a key", answer, 0},
      {"key", "an error", fail, 404},
      {"key", "no key", [](auto& request) { request.finishLoading({}); },
       static_cast<int>(MediaErrorCode::ContentNotAuthorized)},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.name) + ", " + each.what);
    begin({each.name});
    const auto asked = current();
    asked->takes = each.answer != nullptr;
    asked->answerWith(each.answer);
    ASSERT_TRUE(until([&] { return events.all().size() == 2; }));
    EXPECT_THAT(events.take(), ElementsAre("loading", each.code ? "stopped" : "playing"));
    EXPECT_GT(asked->requests.size(), 0U);
    EXPECT_LT(asked->requests.size(), 25U);
    const auto& error = player->currentPlayerItem()->error();
    EXPECT_EQ(error ? error->code : 0, each.code);
    player->stop();
    events.take();
  }
}

TEST_F(TVSPlayerTest, LoadWaitsForTheAnswer) {
  begin({"own"});
  ASSERT_TRUE(until([&] { return !current()->requests.empty(); }));
  player->setElapsedTime(2);
  player->pause();
  EXPECT_EQ(player->state(), TVSPlaybackState::Loading);
  EXPECT_TRUE(player->currentPlayerItem()->tracks().empty());
  answerRequests(*current());
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(player->elapsedTime(), near(2));
  EXPECT_THAT(events.take(), ElementsAre("loading", "paused"));
}

TEST_F(TVSPlayerTest, AStallIsLoadingUntilTheAnswerOrAPause) {
  for (const bool pauses : {false, true}) {
    begin({"asks"});
    ASSERT_TRUE(until([&] { return player->rate() == 1; }));
    events.take();
    ASSERT_TRUE(untilEvent("loading"));
    EXPECT_EQ(player->rate(), 0);
    EXPECT_LT(player->elapsedTime(), 1.5);
    EXPECT_FALSE(player->currentPlayerItem()->isPlaybackLikelyToKeepUp());
    if (pauses) {
      player->pause();
      ASSERT_TRUE(untilEvent("paused"));
    }
    answerRequests(*current());
    if (pauses) {
      EXPECT_THAT(events.take(), ElementsAre("loading", "paused"));
      player->play();
    }
    ASSERT_TRUE(untilPosition([](double at) { return at > 1.7; }));
    EXPECT_EQ(events.take().back(), "playing");
  }
}

TEST_F(TVSPlayerTest, ASeekEndsAStall) {
  beginAndPlay({"asks"});
  ASSERT_TRUE(untilEvent("loading"));
  ASSERT_TRUE(seek(0.2));
  ASSERT_TRUE(untilEvent("playing"));
  events.take();
  ASSERT_TRUE(untilEvent("loading")) << "playback reaches the missing part again";
  const auto asked = current();
  EXPECT_FALSE(asked->requests.back()->isFinished());
  player->stop();
  for (const auto& request : asked->requests)
    EXPECT_TRUE(request->isFinished()) << "cancelled by stop()";
}

TEST_F(TVSPlayerTest, AnUnansweredRequestBlocksNothingElse) {
  begin({"silent", "a"});
  player->setElapsedTime(2);
  player->setRateUsedForPlayback(2);
  player->pause();
  player->play();
  bench->turn();
  EXPECT_THAT(events.take(), ElementsAre("loading"));
  EXPECT_EQ(player->elapsedTime(), 2);
  player->changeMediaInDirection(TVSMediaDirection::Next);
  ASSERT_TRUE(untilEvent("stopped"));
  EXPECT_THAT(events.take(),
              ElementsAre("will silent", "did a", "playing", "end a", "finished", "stopped"));
  EXPECT_EQ(player->errorLog(), std::nullopt);
}

}  // namespace
