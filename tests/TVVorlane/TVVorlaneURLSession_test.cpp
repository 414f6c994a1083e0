#include "TVVorlane/TVVorlaneURLSession.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "tests/TVVorlane/URLSessionFixture.h"

using namespace std::chrono_literals;
using platform::Dictionary;
using platform::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST_F(URLSessionTest, StartsShowsAndPlays) {
  start();
  EXPECT_EQ(completions.count(), 0u);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));
  EXPECT_EQ(session->initialRequest(), videoOptions(7));
  EXPECT_TRUE(box.nowPlaying().isEligible());
  EXPECT_EQ(engine().calls().back(), "load " + kVideoURL);
  EXPECT_TRUE(session->playlist()->isWindowed());
  EXPECT_EQ(player().name(), "TVVorlaneURLPlayerName");
  EXPECT_TRUE(player().handlesRemoteCommandsWithoutNowPlayingInfo());

  box.run();
  ASSERT_EQ(completions.count(), 1u);
  EXPECT_FALSE(completions.errors[0]);
  EXPECT_FALSE(completions.outInfos[0]);
  EXPECT_EQ(rootController()->videoPlaybackSession(), session);
  box.advance(1s);
  EXPECT_THAT(delegate->take(), ElementsAre("loading", "playing"));
  EXPECT_EQ(delegate->lastInfo()->get("readyToPlay"), Value(1));
  EXPECT_EQ(delegate->lastInfo()->get("position"), Value(0));
  EXPECT_EQ(delegate->lastInfo()->size(), get("playbackInfo").asDictionary()->size());
  EXPECT_THAT(session->description(), EndsWith("> ID: 7"));
  EXPECT_EQ(completions.count(), 1u);
}

struct BadOption {
  const char* key;
  Value value;
};

class RefusedStart : public URLSessionTest, public testing::WithParamInterface<BadOption> {};

TEST_P(RefusedStart, LeavesNothingBehind) {
  start(videoOptions(7, {{GetParam().key, GetParam().value}}));
  box.run();
  ASSERT_EQ(completions.count(), 1u);
  EXPECT_EQ(completions.errors[0], platform::Error::status(kTVVorlaneStatusWrongType));
  EXPECT_FALSE(completions.outInfos[0]);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_THAT(box.mediaLibrary().engines(), IsEmpty());
  EXPECT_FALSE(session->initialRequest());
  EXPECT_FALSE(box.nowPlaying().isEligible());
  EXPECT_EQ(box.log().size(), 1u);
  EXPECT_EQ(box.logCount("#TVVLSession : ### Vorlane bad value for '" +
                         std::string(GetParam().key) + "' in params:\n{"),
            1u);
}

INSTANTIATE_TEST_SUITE_P(Some, RefusedStart,
                         testing::Values(BadOption{"Content-Location", 5},
                                         BadOption{"Content-Location", Value::null()},
                                         BadOption{"rate", "1"}, BadOption{"uuid", 1}));

TEST_F(URLSessionTest, WithoutAURLNothingIsStartedOrAnswered) {
  const Dictionary options{{"sessionID", 7}};
  start(options);
  box.advance(1h);
  EXPECT_EQ(completions.count(), 0u);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_EQ(session->player(), nullptr);
  EXPECT_EQ(session->initialRequest(), options);
  EXPECT_THAT(box.log(), ElementsAre("#T:[Main] #Notice #TVVLSession : ### Vorlane no URL in "
                                     "params:\n{\n    sessionID = 7;\n} "));
}

struct StartPoint {
  Dictionary options;
  std::optional<double> seconds;
  std::optional<double> fraction;
  std::optional<platform::Date> date = {};
};

class StartPoints : public URLSessionTest, public testing::WithParamInterface<StartPoint> {};

TEST_P(StartPoints, AreWhereTheLoadBegins) {
  start(videoOptions(7, GetParam().options));
  const auto& load = engine().currentLoad();
  EXPECT_EQ(load.startSeconds, GetParam().seconds);
  EXPECT_EQ(load.startFraction, GetParam().fraction);
  EXPECT_EQ(load.startDate, GetParam().date);
  box.run();
  EXPECT_EQ(completions.count(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    All, StartPoints,
    testing::Values(StartPoint{{}, {}, {}},
                    StartPoint{{{"Start-Position-Seconds", 12}, {"Start-Position", 0.5}}, 12.0, {}},
                    StartPoint{{{"Start-Position", 0.5}}, {}, 0.5},
                    StartPoint{{{"Start-Position", 1e9}}, {}, 1.0},
                    StartPoint{{{"Start-Position", kNaN}}, {}, {}},
                    StartPoint{{{"Start-Position-Seconds", kInfinity}}, {}, {}},
                    StartPoint{{{"Start-Estimated-Date", platform::Date{500}}}, {}, {}},
                    StartPoint{{{"Start-Date", platform::Date{400}}}, {}, {}, platform::Date{400}},
                    StartPoint{{{"Start-Date", platform::Date{400}},
                                {"Start-Estimated-Date", platform::Date{500}}},
                               {},
                               {},
                               platform::Date{400}},
                    StartPoint{{{"Start-Date", platform::Date{kNaN}}}, {}, {}}));

struct StartRate {
  Value rate;
  double used;
  Texts events;
};

class StartRates : public URLSessionTest, public testing::WithParamInterface<StartRate> {};

TEST_P(StartRates, AreAppliedOnceTheSessionIsShown) {
  start(videoOptions(7, {{"rate", GetParam().rate}}));
  EXPECT_EQ(player().rateUsedForPlayback(), 1);
  box.advance(500ms);
  ASSERT_EQ(completions.count(), 1u);
  EXPECT_FALSE(completions.errors[0]);
  EXPECT_EQ(player().rateUsedForPlayback(), GetParam().used);
  EXPECT_EQ(delegate->take(), GetParam().events);
}

INSTANTIATE_TEST_SUITE_P(All, StartRates,
                         testing::Values(StartRate{{}, 1, {"loading", "playing"}},
                                         StartRate{2, 2, {"loading", "playing"}},
                                         StartRate{0, 1, {"loading", "paused"}},
                                         StartRate{false, 1, {"loading", "paused"}},
                                         StartRate{1e9, 64, {"loading", "playing"}},
                                         StartRate{1e-300, 1e-300, {"loading", "playing"}},
                                         StartRate{kNaN, 1, {"loading", "playing"}},
                                         StartRate{kInfinity, 1, {"loading", "playing"}}));

struct Kind {
  Dictionary options;
  std::int64_t sessionType;
  const char* mediaType;
  bool publishesByItself;
};

class Kinds : public URLSessionTest, public testing::WithParamInterface<Kind> {};

TEST_P(Kinds, DependOnWhatTheSenderSaysOfTheSound) {
  start(videoOptions(7, GetParam().options));
  box.advance(1s);
  EXPECT_EQ(completions.count(), 1u);
  EXPECT_EQ(session->sessionType(), GetParam().sessionType);
  EXPECT_EQ(player().currentMediaItem()->metadata(platform::kMediaItemMediaType),
            Value(GetParam().mediaType));
  EXPECT_EQ(player().updatesNowPlayingInfoAutomatically(), GetParam().publishesByItself);
  EXPECT_EQ(box.viewServiceHost().isPresenting(), GetParam().sessionType == 2);
  EXPECT_THAT(delegate->take(), ElementsAre("loading", "playing"));
  // What is inserted later is of the same kind.
  EXPECT_TRUE(insert(kNextURL, "U2"));
  const auto inserted = session->playlist()->trackList().back();
  EXPECT_EQ(inserted->metadata(platform::kMediaItemMediaType),
            Value(session->audioOnly() ? "music" : "video"));
}

INSTANTIATE_TEST_SUITE_P(
    All, Kinds,
    testing::Values(Kind{{}, 2, "video", false}, Kind{{{"audioOnly", false}}, 2, "video", true},
                    Kind{{{"audioOnly", true}}, 3, "music", false},
                    Kind{{{"purchasedMediaKind", "music"}}, 3, "video", false},
                    Kind{{{"purchasedMediaKind", "music"}, {"audioOnly", false}}, 3, "video", true},
                    Kind{{{"purchasedMediaKind", "movie"}}, 2, "video", false}));

TEST_F(URLSessionTest, SoundIsSetBeforeTheLoad) {
  start(videoOptions(7, {{"muted", true}, {"volume", 0.25}}));
  EXPECT_TRUE(engine().currentLoad().muted);
  EXPECT_EQ(engine().currentLoad().volume, 0.25F);
}

// What happens to the player.

TEST_F(URLSessionTest, EndOfTheOnlyItem) {
  startPlaying();
  box.advance(2min);
  EXPECT_THAT(delegate->take(), ElementsAre("itemPlayedToEnd {uuid=U1}", "ended",
                                            "stopped {sessionID=7, reason=ended}"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Vorlane-Playlist HIT END : U1", "Vorlane-Playlist ended"));
  // It stays registered until the sender stops it.
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));
}

TEST_F(URLSessionTest, ChangeToTheNextItem) {
  startPlaying();
  EXPECT_TRUE(insert(kNextURL, "U2"));
  box.advance(100s);
  EXPECT_THAT(delegate->take(), ElementsAre("itemPlayedToEnd {uuid=U1}", "itemRemoved {uuid=U1}",
                                            "currentItemChanged {uuid=U2}", "loading", "playing"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Vorlane-Playlist HIT END : U1", "Vorlane-Playlist ITEM REMOVED : U1",
                          "Vorlane-Playlist ITEM CHANGED : U2"));
  const auto item = player().currentMediaItem();
  EXPECT_EQ(item->metadata(platform::kMediaItemTrackNumber), Value(0));
  EXPECT_EQ(item->metadata(platform::kMediaItemTotalTrackCount), Value(0));
}

TEST_F(URLSessionTest, ItemsWithoutIdentifierAreOnlyLogged) {
  startPlaying({{"Content-Location", kVideoURL}, {"sessionID", 7}});
  perform("playlistInsert", Dictionary{{"item", Dictionary{{"Content-Location", kNextURL}}}});
  box.advance(100s);
  EXPECT_THAT(delegate->take(), ElementsAre("currentItemChanged", "loading", "playing"));
  EXPECT_FALSE(player().currentMediaItem() == nullptr);
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("!!!Vorlane-Playlist HIT END (no UUID)!!!",
                          "!!!Vorlane-Playlist ITEM REMOVED (no UUID)!!!",
                          "Vorlane-Playlist ITEM CHANGED : (null)"));
}

TEST_F(URLSessionTest, FailureEndsAsStoppedAndTellsWhy) {
  start(videoOptions(7, {{"Content-Location", "http://sender/missing.mp4"}}));
  box.advance(1s);
  ASSERT_EQ(completions.count(), 1u);
  EXPECT_FALSE(completions.errors[0]);
  EXPECT_THAT(delegate->take(), ElementsAre("loading", "stopped {sessionID=7, reason=ended}"));
  const auto info = *get("playbackInfo").asDictionary();
  EXPECT_EQ(info.get("readyToPlay"), Value(0));
  EXPECT_EQ(info.get("code"), Value(-1100));
  EXPECT_EQ(info.get("domain"), Value(platform::kURLErrorDomain));
  EXPECT_EQ(info.get("uuid"), Value("U1"));
  EXPECT_EQ(get("playbackErrorLog").asArray()->size(), 1u);
}

TEST_F(URLSessionTest, StallIsLoadingAndPlayingAgain) {
  box.mediaLibrary().add(kVideoURL, {.stalls = {{10, 3}}});
  startPlaying();
  box.advance(20s);
  EXPECT_THAT(delegate->take(), ElementsAre("loading", "playing"));
}

TEST_F(URLSessionTest, ScanningPublishesThePosition) {
  startPlaying();
  const auto given = box.nowPlaying().given().size();
  box.advance(2s);
  EXPECT_EQ(box.nowPlaying().given().size(), given);
  player().scanAtRate(8);
  box.run();
  EXPECT_THAT(delegate->take(), ElementsAre("playing"));
  box.advance(500ms);
  EXPECT_EQ(box.logCount("#Notice #TVVLSession : Scanning: Setting Elapsed time to "), 2u);
  ASSERT_EQ(box.nowPlaying().given().size(), given + 2);
  EXPECT_EQ(box.nowPlaying().info().get(platform::kNowPlayingElapsedTime),
            Value(player().elapsedTime()));
  EXPECT_EQ(box.nowPlaying().info().get(platform::kNowPlayingPlaybackRate), Value(8));
}

TEST_F(URLSessionTest, SelectionOfSoundAndSubtitlesIsReported) {
  box.mediaLibrary().add(
      kVideoURL,
      {.selectionGroups = {{"audible", {{"a1", "English", "en"}, {"a2", "German", "de"}}, 0, false},
                           {"legible", {{"s1", "English", "en"}}, std::nullopt, true}}});
  startPlaying();
  for (const char* characteristic : {"audible", "legible"}) {
    const Dictionary option{{std::string(platform::kMediaSelectionCharacteristic), characteristic},
                            {std::string(platform::kMediaSelectionIdentifier),
                             characteristic == std::string("audible") ? "a2" : "s1"}};
    EXPECT_TRUE(set("selectedMediaArray", platform::Array{option}));
    box.run();
    EXPECT_THAT(delegate->take(), ElementsAre("selectedMediaArrayChanged")) << characteristic;
  }
}

TEST_F(URLSessionTest, ChangeOfMediaByTheRemoteIsOnlyReported) {
  startPlaying();
  insert(kNextURL, "U2");
  player().changeMediaInDirection(TVSMediaDirection::Next);
  player().changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_FALSE(session->playerShouldChangeMediaInDirection(player(), 2));
  EXPECT_THAT(delegate->take(), ElementsAre("userNext", "userPrevious"));
  EXPECT_THAT(engine().calls(), IsEmpty());
  EXPECT_EQ(player().currentMediaItem()->url(), kVideoURL);
}

// Stops.

TEST_F(URLSessionTest, StopByTheUserIsReportedAndDeregistersLater) {
  startPlaying();
  session->userStop();
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=1}",
                                            "stopped {sessionID=7, userExit=1}"));
  EXPECT_TRUE(session->stoppedDueToUser());
  EXPECT_TRUE(session->deactivated());
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));

  const std::weak_ptr weak = session;
  session = nullptr;
  box.advance(4999ms);
  EXPECT_EQ(manager().activeSessions().size(), 1u);
  box.advance(1ms);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_THAT(delegate->take(), IsEmpty());
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(box.nowPlaying().isEligible());
}

TEST_F(URLSessionTest, InterruptionOfTheSoundIsAStopByTheUser) {
  startPlaying();
  box.audioSession().interrupt(false);
  EXPECT_THAT(delegate->take(), IsEmpty());
  box.audioSession().interrupt(true);
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=1}",
                                            "stopped {sessionID=7, userExit=1}"));
  EXPECT_THAT(logTexts(box, "TVSSystemLog"), Contains("Vorlane stopping due to interruption"));
}

TEST_F(URLSessionTest, StopByTheSenderLetsEverythingGo) {
  startPlaying();
  const auto oldPlayer = session->player();
  std::optional<platform::Error> failure;
  EXPECT_FALSE(session->stopWithOptions(Dictionary{{"uuid", 5}}, &failure));
  EXPECT_EQ(failure, platform::Error::status(kTVVorlaneStatusWrongType));
  EXPECT_EQ(box.log().size(), 1u);
  EXPECT_EQ(oldPlayer->state(), TVSPlaybackState::Playing);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));

  failure.reset();
  EXPECT_TRUE(session->stopWithOptions(Dictionary{{"sessionID", 7}}, &failure));
  EXPECT_FALSE(failure);
  EXPECT_EQ(oldPlayer->state(), TVSPlaybackState::Stopped);
  EXPECT_FALSE(oldPlayer->hasQueuePlayer());
  EXPECT_EQ(session->player(), nullptr);
  EXPECT_EQ(session->playlist(), nullptr);
  EXPECT_FALSE(session->initialRequest());
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_FALSE(box.nowPlaying().isEligible());
  // Whoever stops it knows.
  box.audioSession().interrupt(true);
  box.advance(1s);
  EXPECT_THAT(delegate->take(), IsEmpty());
  EXPECT_FALSE(box.screen().isOpen());

  EXPECT_TRUE(session->stopWithOptions({}, nullptr));
  const std::weak_ptr weak = session;
  session = nullptr;
  box.run();
  EXPECT_TRUE(weak.expired());
}

TEST_F(URLSessionTest, ReplacedPlayerIsStoppedUnheard) {
  startPlaying();
  const auto oldPlayer = session->player();
  session->setPlayer(oldPlayer);
  EXPECT_TRUE(oldPlayer->hasQueuePlayer());
  const auto newPlayer = std::make_shared<TVSPlayer>("another");
  session->setPlayer(newPlayer);
  EXPECT_FALSE(oldPlayer->hasQueuePlayer());
  EXPECT_THAT(delegate->take(), IsEmpty());
  newPlayer->setPlaylist(std::make_shared<TVSPlaylist>(
      std::vector{TVVorlaneURLSession::_mediaItemForParameters(videoOptions(7))}, 0, false));
  box.advance(1s);
  EXPECT_THAT(delegate->take(), ElementsAre("loading", "playing"));
}

TEST_F(URLSessionTest, DiesWithItsObserversAndWithoutADelegate) {
  startPlaying();
  const auto player = session->player();
  delegate = nullptr;
  session->userStop();
  session = nullptr;
  box.advance(10s);
  box.audioSession().interrupt(true);
  EXPECT_EQ(player->state(), TVSPlaybackState::Stopped);
}

}  // namespace
