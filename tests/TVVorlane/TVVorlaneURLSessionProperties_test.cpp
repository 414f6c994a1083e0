// Properties and actions of the sender.

#include <limits>

#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

class URLSessionPropertyTest : public URLSessionTest {
 protected:
  /// Every setting that a write can change.
  std::string settings() {
    const auto item = player().currentMediaItem();
    std::string text =
        compact(Dictionary{{"rate", player().rate()},
                           {"used", player().rateUsedForPlayback()},
                           {"muted", player().muted()},
                           {"volume", player().volume()},
                           {"end", static_cast<int>(player().mediaItemEndAction())},
                           {"styles", item->metadata(platform::kMediaItemSubtitleStyles)},
                           {"forward", item->metadata(platform::kMediaItemForwardEndTime)},
                           {"reverse", item->metadata(platform::kMediaItemReverseEndTime)},
                           {"items", static_cast<int>(session->playlist()->trackList().size())}});
    for (const auto& track : player().currentPlayerItem()->tracks())
      text += track.enabled ? '+' : '-';
    for (const auto& call : engine().calls()) text += ' ' + call;
    return text;
  }
};

TEST_F(URLSessionPropertyTest, EverythingFailsWithoutAPlayer) {
  const auto refuses = [&] {
    EXPECT_TRUE(get("playbackInfo").isNone());
    EXPECT_EQ(code(), kTVVorlaneStatusNoPlayer);
    EXPECT_FALSE(set("rate", 1));
    EXPECT_EQ(code(), kTVVorlaneStatusNoPlayer);
    EXPECT_FALSE(perform("anything", Dictionary()));
    EXPECT_EQ(code(), kTVVorlaneStatusNoPlayer);
    // The value is validated before the player is checked.
    EXPECT_FALSE(set("rate", "1"));
    EXPECT_EQ(code(), kTVVorlaneStatusWrongType);
    EXPECT_FALSE(perform("anything", Dictionary{{"item", 1}}));
    EXPECT_EQ(code(), kTVVorlaneStatusWrongType);
  };
  refuses();
  startPlaying();
  session->stopWithOptions({}, nullptr);
  refuses();
}

TEST_F(URLSessionPropertyTest, UnsupportedPropertiesFail) {
  startPlaying();
  EXPECT_TRUE(get("position").isNone());
  EXPECT_EQ(code(), kTVVorlaneStatusUnsupported);
  EXPECT_FALSE(set("playbackInfo", 1));
  EXPECT_EQ(code(), kTVVorlaneStatusUnsupported);
  EXPECT_TRUE(session->getProperty("", {}, nullptr).isNone());
  EXPECT_TRUE(perform("dance", Dictionary{{"how", "well"}}));
  EXPECT_FALSE(outInfo);
  const std::string error6735 = platform::Error::status(kTVVorlaneStatusUnsupported).description();
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Get value for unsupported property:  position",
                          "Error getting property:  position, error: " + error6735,
                          "Error setting property:  playbackInfo, error: " + error6735,
                          "Get value for unsupported property:  ",
                          "Error getting property:  , error: " + error6735));
}

struct Write {
  const char* property;
  Value value;
  Value qualifier = {};
  std::int64_t code = kTVVorlaneStatusWrongType;
};

class InvalidWrites : public URLSessionPropertyTest, public testing::WithParamInterface<Write> {};

TEST_P(InvalidWrites, ChangeNothing) {
  box.mediaLibrary().add(kVideoURL, {.tracks = {{1, "video", "avc", true}}});
  startPlaying();
  player().setMediaItemEndAction(TVSMediaItemEndAction::Pause);
  const auto before = settings();
  const auto& [property, value, qualifier, expected] = GetParam();
  EXPECT_EQ(set(property, value, qualifier), expected == 0);
  EXPECT_EQ(code(), expected);
  box.run();
  EXPECT_EQ(settings(), before);
  EXPECT_THAT(delegate->take(), IsEmpty());
  if (expected == 0) return;
  const auto log = logTexts(box, "TVVLSession");
  ASSERT_EQ(log.size(), 1u);
  const std::string name(property);
  // validateParameters() rejects the types that it covers, the session rejects the others.
  const std::string line = "Error setting property:  " + name +
                           ", error: " + platform::Error::status(expected).description();
  const std::string refusal = "### Vorlane bad value for '" + name + "' in params:\n{";
  EXPECT_THAT(log[0], testing::AnyOf(line, StartsWith(refusal)));
}

INSTANTIATE_TEST_SUITE_P(
    Refused, InvalidWrites,
    testing::Values(Write{"position", "12"}, Write{"position", Value::null()},
                    Write{"position", {}}, Write{"rate", "2"}, Write{"rate", Array()},
                    Write{"rate", {}}, Write{"date", 5}, Write{"date", {}},
                    Write{"forwardEndTime", 12.0}, Write{"reverseEndTime", "0"},
                    Write{"enableTrack", "NO", 1}, Write{"enableTrack", false, "1"},
                    Write{"enableTrack", false, {}}, Write{"enableTrack", false, Array{1}},
                    Write{"selectedMediaArray", Dictionary()}, Write{"muted", "YES"},
                    Write{"volume", Dictionary()}, Write{"actionAtItemEnd", "1"},
                    Write{"actionAtItemEnd", {}, {}, kTVVorlaneStatusBadValue},
                    Write{"metaData", "title"}, Write{"metaData", {}, {}, kTVVorlaneStatusBadValue},
                    Write{"textMarkupArray", "style", {}, kTVVorlaneStatusBadValue},
                    Write{"textMarkupArray", {}, {}, kTVVorlaneStatusBadValue}));

INSTANTIATE_TEST_SUITE_P(
    Harmless, InvalidWrites,
    testing::Values(Write{"actionAtItemEnd", 3, {}, 0}, Write{"actionAtItemEnd", -1, {}, 0},
                    Write{"actionAtItemEnd", 1e9, {}, 0}, Write{"actionAtItemEnd", kNaN, {}, 0},
                    Write{"forwardEndTime", Dictionary(), {}, 0},
                    Write{"forwardEndTime", {}, {}, 0}, Write{"reverseEndTime", {}, {}, 0},
                    Write{"reverseEndTime", Dictionary{{"value", 1}}, {}, 0},
                    Write{"enableTrack", false, Dictionary(), 0},
                    Write{"enableTrack", false, 99, 0},
                    Write{"selectedMediaArray", Array{1, "x", Dictionary()}, {}, 0},
                    Write{"position", kNaN, {}, 0}, Write{"volume", kNaN, {}, 0},
                    Write{"date", platform::Date{kNaN}, {}, 0}));

TEST_F(URLSessionPropertyTest, PositionIsClampedToTheDuration) {
  startPlaying();
  EXPECT_TRUE(set("position", -kInfinity));
  box.run();
  EXPECT_EQ(player().elapsedTime(), 0);
  EXPECT_TRUE(set("position", 1e9));
  box.run();
  EXPECT_THAT(delegate->take(), ElementsAre("itemPlayedToEnd {uuid=U1}", "ended",
                                            "stopped {sessionID=7, reason=ended}"));
}

TEST_F(URLSessionPropertyTest, PositionOfAQueuedItemSetsItsStartTime) {
  startPlaying();
  insert(kNextURL, "U2");
  const auto next = session->playlist()->trackList().back();
  EXPECT_TRUE(set("position", 40, Dictionary{{"uuid", "U2"}}));
  EXPECT_EQ(next->metadata(platform::kMediaItemStartTime), Value(40));
  EXPECT_THAT(engine().calls(), IsEmpty());
  // The current item, an unknown item, and an invalid qualifier: a seek.
  for (const Value& qualifier :
       {Value(Dictionary{{"uuid", "U1"}}), Value(Dictionary{{"uuid", "U9"}}),
        Value(Dictionary{{"uuid", 2}}), Value("U2")}) {
    engine().clearCalls();
    EXPECT_TRUE(set("position", 20, qualifier));
    EXPECT_THAT(engine().calls(), ElementsAre("seek 20")) << compact(qualifier);
  }
  remove("U1");
  box.advance(200ms);
  EXPECT_GE(player().elapsedTime(), 40);
}

struct RateWrite {
  Value rate;
  double used;
  TVSPlaybackState state;
};

TEST_F(URLSessionPropertyTest, RatePausesPlaysAndIsClamped) {
  startPlaying();
  for (const auto& [rate, used, state] :
       {RateWrite{2, 2, TVSPlaybackState::Playing}, RateWrite{0, 2, TVSPlaybackState::Paused},
        RateWrite{kNaN, 2, TVSPlaybackState::Playing},
        RateWrite{0.5, 0.5, TVSPlaybackState::Playing},
        RateWrite{false, 0.5, TVSPlaybackState::Paused},
        RateWrite{1e9, 64, TVSPlaybackState::Playing},
        RateWrite{kInfinity, 64, TVSPlaybackState::Playing},
        RateWrite{1, 1, TVSPlaybackState::Playing}, RateWrite{-1, -1, TVSPlaybackState::Playing}}) {
    EXPECT_TRUE(set("rate", rate)) << compact(rate);
    box.run();
    EXPECT_EQ(player().rateUsedForPlayback(), used) << compact(rate);
    EXPECT_EQ(player().state(), state) << compact(rate);
  }
  EXPECT_EQ(logTexts(box, "TVVLSession").front(), "Vorlane set rate to 2.000000");
  EXPECT_THAT(delegate->take(), ElementsAre("paused", "playing", "paused", "playing"));
}

TEST_F(URLSessionPropertyTest, DateSeeks) {
  box.mediaLibrary().add(kVideoURL, {.startDate = platform::Date{1000}});
  startPlaying();
  EXPECT_TRUE(set("date", platform::Date{1050}));
  box.run();
  EXPECT_EQ(player().elapsedTime(), 50);
  EXPECT_EQ(get("playbackInfo").asDictionary()->date("date"), platform::Date{1050});
}

TEST_F(URLSessionPropertyTest, EndTimesLimitPlayback) {
  startPlaying();
  EXPECT_TRUE(set("forwardEndTime", *MediaTime::seconds(20).toDictionary()));
  EXPECT_EQ(engine().currentLoad().forwardEndSeconds, 20);
  EXPECT_TRUE(set("reverseEndTime", *MediaTime::seconds(5).toDictionary()));
  EXPECT_EQ(engine().currentLoad().reverseEndSeconds, 5);
  EXPECT_TRUE(set("forwardEndTime", *MediaTime::positiveInfinity().toDictionary()));
  EXPECT_FALSE(engine().currentLoad().forwardEndSeconds);
  EXPECT_TRUE(set("forwardEndTime", *MediaTime::seconds(10).toDictionary()));
  box.advance(10s);
  EXPECT_THAT(delegate->take(), Contains("itemPlayedToEnd {uuid=U1}"));
}

TEST_F(URLSessionPropertyTest, TrackQualifierIsANumberOrADictionary) {
  box.mediaLibrary().add(kVideoURL,
                         {.tracks = {{1, "video", "avc", true}, {2, "audio", "aac", true}}});
  startPlaying();
  EXPECT_TRUE(set("enableTrack", false, 2));
  EXPECT_EQ(get("enableTrack", 2), Value(false));
  EXPECT_EQ(get("enableTrack", Dictionary{{"qualifier", 2}}), Value(false));
  EXPECT_TRUE(set("enableTrack", true, Dictionary{{"qualifier", 2}}));
  EXPECT_EQ(get("enableTrack", 2), Value(true));
  EXPECT_EQ(get("enableTrack", 1), Value(true));

  EXPECT_TRUE(get("enableTrack", Dictionary()).isNone());
  EXPECT_EQ(code(), 0);
  for (const Value& qualifier : {Value("2"), Value(), Value(Array{2})}) {
    EXPECT_TRUE(get("enableTrack", qualifier).isNone());
    EXPECT_EQ(code(), kTVVorlaneStatusWrongType) << compact(qualifier);
  }
}

TEST_F(URLSessionPropertyTest, WritesVolumeMutedEndActionAndStyles) {
  startPlaying();
  EXPECT_TRUE(set("muted", 1));
  EXPECT_TRUE(player().muted());
  EXPECT_TRUE(set("volume", 0.25));
  EXPECT_EQ(player().volume(), 0.25F);
  EXPECT_TRUE(set("volume", 1e9));
  EXPECT_EQ(player().volume(), 1);
  for (const int action : {2, 1, 0}) {
    EXPECT_TRUE(set("actionAtItemEnd", action));
    EXPECT_EQ(static_cast<int>(player().mediaItemEndAction()), action);
  }
  EXPECT_TRUE(set("textMarkupArray", Array{"style"}));
  EXPECT_EQ(player().currentMediaItem()->metadata(platform::kMediaItemSubtitleStyles),
            Value(Array{"style"}));
}

TEST_F(URLSessionPropertyTest, PublishedTitlesAreShown) {
  startPlaying();
  const auto item = player().currentMediaItem();
  EXPECT_TRUE(set("metaData", Dictionary{{"title", "T"}, {"artist", "A"}}));
  // Missing values and values of another type are not changed.
  EXPECT_TRUE(set("metaData", Dictionary{{"title", 5}, {"album", "B"}}));
  EXPECT_EQ(item->metadata(platform::kMediaItemTitle), Value("T"));
  EXPECT_EQ(item->metadata(platform::kMediaItemArtist), Value("A"));
}

TEST_F(URLSessionPropertyTest, PublishedMetadataTakesPositionAndRateFromThePlayer) {
  startPlaying();
  EXPECT_TRUE(
      set("metaData", Dictionary{{"title", "T"}, {"elapsedTime", 55}, {"rate", 0}, {"other", 1}}));
  const auto& info = box.nowPlaying().publishedInfos().back();
  EXPECT_EQ(info.get(platform::kNowPlayingTitle), Value("T"));
  EXPECT_EQ(info.get(platform::kNowPlayingElapsedTime), Value(player().elapsedTime()));
  EXPECT_EQ(info.get(platform::kNowPlayingPlaybackRate), Value(1));
  EXPECT_EQ(info.size(), 3u);
  EXPECT_EQ(box.nowPlaying().playbackState(), platform::NowPlayingPlaybackState::Playing);
}

TEST_F(URLSessionPropertyTest, ReadsReturnThePlayerState) {
  startPlaying();
  EXPECT_EQ(get("playbackAccessLog").asArray()->size(), 1u);
  EXPECT_TRUE(get("playbackErrorLog").isNone());
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(get("timedMetadataArray"), Value(Array()));
  EXPECT_EQ(get("selectedMediaArray"), Value(Array()));
  // Qualifiers are ignored.
  EXPECT_EQ(get("playbackInfo", "any").asDictionary()->get("readyToPlay"), Value(1));
}

// Playlist actions.

TEST_F(URLSessionPropertyTest, InsertAppendsForAnyAfterItem) {
  startPlaying();
  const Value afters[] = {{}, Dictionary{{"uuid", "U1"}}, Dictionary{{"uuid", 7}}, "nonsense"};
  int number = 2;
  for (const Value& after : afters) {
    const std::string uuid = "U" + std::to_string(number++);
    EXPECT_TRUE(
        perform("playlistInsert",
                Dictionary{{"item", Dictionary{{"Content-Location", kNextURL}, {"uuid", uuid}}},
                           {"afterItem", after}}))
        << compact(after);
    EXPECT_TRUE(session->playlist()->trackList().back()->metadataEquals(
        TVVorlaneMediaItemMetadataUUID, uuid));
  }
  EXPECT_EQ(session->playlist()->trackList().size(), 5u);
  EXPECT_THAT(delegate->take(), IsEmpty());
}

struct BadAction {
  const char* action;
  Dictionary options;
  std::int64_t code;
};

TEST_F(URLSessionPropertyTest, BadActionsChangeNothing) {
  startPlaying();
  const auto before = settings();
  const BadAction cases[] = {
      {"playlistInsert", {{"item", "x"}}, kTVVorlaneStatusWrongType},
      {"playlistInsert", {{"item", Dictionary{{"uuid", 5}}}}, kTVVorlaneStatusWrongType},
      {"playlistRemove", {{"item", 5}}, kTVVorlaneStatusWrongType},
      {"playlistRemove", {{"item", Dictionary{{"uuid", 5}}}}, kTVVorlaneStatusWrongType},
      {"playlistRemove", {{"item", Dictionary{{"uuid", "U9"}}}}, kTVVorlaneStatusNotFound},
      {"dance", {{"volume", "loud"}}, kTVVorlaneStatusWrongType}};
  for (const auto& [action, options, expected] : cases) {
    EXPECT_FALSE(perform(action, options)) << action << compact(options);
    EXPECT_EQ(code(), expected) << action << compact(options);
    EXPECT_FALSE(session->performAction(action, options, nullptr, nullptr));
  }
  box.run();
  EXPECT_EQ(settings(), before);
  EXPECT_THAT(delegate->take(), IsEmpty());
}

TEST_F(URLSessionPropertyTest, FailedActionIsLoggedIfTheCallerTakesTheError) {
  startPlaying();
  const Dictionary options{{"item", Dictionary{{"uuid", "U9"}, {"Play-Info", platform::Bytes(3)}}}};
  EXPECT_FALSE(session->performAction("playlistRemove", options, nullptr, nullptr));
  EXPECT_THAT(logTexts(box, "TVVLSession"), IsEmpty());
  EXPECT_FALSE(perform("playlistRemove", options));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Error performing action 'playlistRemove':\n{\n    item = {\n        "
                          "uuid = U9;\n        \"Play-Info\" = \"<...> 3 bytes\";\n    };\n}"));
}

TEST_F(URLSessionPropertyTest, RemovingTheCurrentItemPlaysTheNext) {
  startPlaying();
  insert(kNextURL, "U2");
  EXPECT_TRUE(remove("U1"));
  box.advance(1s);
  EXPECT_THAT(delegate->take(), ElementsAre("itemRemoved {uuid=U1}", "currentItemChanged {uuid=U2}",
                                            "loading", "itemRemoved {uuid=U1}", "playing"));
  EXPECT_TRUE(remove("U2"));
  EXPECT_THAT(delegate->take(),
              ElementsAre("stopped {sessionID=7, reason=ended}", "itemRemoved {uuid=U2}"));
}

TEST_F(URLSessionPropertyTest, RemovesTheFirstItemWithTheIdentifier) {
  startPlaying();
  insert(kNextURL, "U2");
  insert(kVideoURL, "U2");
  const auto last = session->playlist()->trackList().back();
  EXPECT_TRUE(remove("U2"));
  EXPECT_THAT(session->playlist()->trackList(), ElementsAre(player().currentMediaItem(), last));
}

TEST_F(URLSessionPropertyTest, PredictsActionsThatFailAnAssertion) {
  const Dictionary none{{"item", Dictionary()}};
  EXPECT_FALSE(session->isFatalAction("playlistRemove", none)) << "it has no player";
  startPlaying();
  EXPECT_TRUE(session->isFatalAction("playlistRemove", none));
  EXPECT_TRUE(session->isFatalAction("playlistRemove", {}));
  EXPECT_FALSE(session->isFatalAction("playlistInsert", none));
  for (const Value& item :
       {Value("U"), Value(Dictionary{{"uuid", 1}}), Value(Dictionary{{"uuid", "U"}})})
    EXPECT_FALSE(session->isFatalAction("playlistRemove", {{"item", item}})) << compact(item);
}

TEST_F(URLSessionPropertyTest, RemovalWithoutAnIdentifierFailsAnAssertion) {
  startPlaying();
  EXPECT_THAT(assertionText([&] {
                perform("playlistRemove", Dictionary{{"item", Dictionary()}});
              }),
              testing::StartsWith("_removeItemWithInfo (TVVorlane/TVVorlaneURLSession): "));
}

TEST_F(URLSessionPropertyTest, InsertAfterTheEndContinuesPlayback) {
  startPlaying();
  box.advance(2min);
  delegate->take();
  player().changeMediaInDirection(TVSMediaDirection::Next);
  player().changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_THAT(delegate->take(), ElementsAre("userNext", "userPrevious"));
  // A position in the item that has ended.
  EXPECT_TRUE(set("position", 50));
  EXPECT_TRUE(insert(kNextURL, "U2"));
  EXPECT_TRUE(set("rate", 1));
  box.advance(1s);
  EXPECT_LT(player().elapsedTime(), 2);
  EXPECT_THAT(delegate->take(), ElementsAre("itemRemoved {uuid=U1}", "currentItemChanged {uuid=U2}",
                                            "loading", "playing"));
}

}  // namespace
