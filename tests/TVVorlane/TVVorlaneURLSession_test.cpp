#include "TVVorlane/TVVorlaneURLSession.h"

#include <cmath>
#include <limits>

#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

TEST_F(URLSessionTest, StartsShowsAndPlays) {
  start();
  EXPECT_EQ(completions.count(), 0u);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));
  EXPECT_EQ(session->initialRequest(), videoOptions(7));
  EXPECT_TRUE(box.nowPlaying().isEligible());
  EXPECT_EQ(engine().calls().back(), "load " + kVideoURL);
  EXPECT_TRUE(session->playlist()->isWindowed());
  EXPECT_FALSE(session->playlist()->isCollection());
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

TEST_F(URLSessionTest, InvalidStartHasNoEffect) {
  const std::pair<std::string, Value> bad[] = {
      {"Content-Location", 5}, {"Content-Location", Value::null()}, {"rate", "1"}, {"uuid", 1}};
  for (const auto& [key, value] : bad) {
    startAnew(videoOptions(7, {{key, value}}));
    box.run();
    ASSERT_EQ(completions.count(), 1u);
    EXPECT_EQ(completions.errors[0], platform::Error::status(kTVVorlaneStatusWrongType));
    EXPECT_FALSE(completions.outInfos[0]);
    EXPECT_THAT(manager().activeSessions(), IsEmpty());
    EXPECT_THAT(box.mediaLibrary().engines(), IsEmpty());
    EXPECT_FALSE(session->initialRequest());
    EXPECT_FALSE(box.nowPlaying().isEligible());
    EXPECT_EQ(box.log().size(), 1u);
    EXPECT_EQ(box.logCount("### Vorlane bad value for '" + key + "' in params:\n{"), 1u);
  }
}

TEST_F(URLSessionTest, StartWithoutAURLIsNeverCompleted) {
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

TEST_F(URLSessionTest, StartPositionIsPassedToTheLoad) {
  const platform::Date early{400};
  const platform::Date late{500};
  const struct {
    Dictionary options;
    std::optional<double> seconds = {};
    std::optional<double> fraction = {};
    std::optional<platform::Date> date = {};
  } cases[] = {{{}},
               {{{"Start-Position-Seconds", 12}, {"Start-Position", 0.5}}, 12.0},
               {{{"Start-Position", 0.5}}, {}, 0.5},
               {{{"Start-Position", 1e9}}, {}, 1.0},
               {{{"Start-Position", kNaN}}},
               {{{"Start-Position-Seconds", kInfinity}}},
               {{{"Start-Estimated-Date", late}}},
               {{{"Start-Date", early}}, {}, {}, early},
               {{{"Start-Date", early}, {"Start-Position-Seconds", 12}}, 12.0, {}, early},
               {{{"Start-Date", early}, {"Start-Position", 0.5}}, {}, 0.5, early},
               {{{"Start-Date", early}, {"Start-Estimated-Date", late}}, {}, {}, early},
               {{{"Start-Date", platform::Date{kNaN}}}}};
  for (const auto& [options, seconds, fraction, date] : cases) {
    SCOPED_TRACE(compact(options));
    startAnew(videoOptions(7, options));
    const auto& load = engine().currentLoad();
    EXPECT_EQ(load.startSeconds, seconds);
    EXPECT_EQ(load.startFraction, fraction);
    EXPECT_EQ(load.startDate, date);
  }
}

TEST_F(URLSessionTest, StartRateIsAppliedWhenTheSessionIsShown) {
  const struct {
    Value rate;
    double used;
    const char* state = "playing";
  } cases[] = {{{}, 1},   {2, 2},           {0, 1, "paused"}, {false, 1, "paused"},
               {1e9, 64}, {1e-300, 1e-300}, {kNaN, 1},        {kInfinity, 1}};
  for (const auto& [rate, used, state] : cases) {
    SCOPED_TRACE(compact(rate));
    startAnew(videoOptions(7, {{"rate", rate}}));
    EXPECT_EQ(player().rateUsedForPlayback(), 1);
    box.advance(500ms);
    ASSERT_EQ(completions.count(), 1u);
    EXPECT_FALSE(completions.errors[0]);
    EXPECT_EQ(player().rateUsedForPlayback(), used);
    EXPECT_THAT(delegate->take(), ElementsAre("loading", state));
  }
}

TEST_F(URLSessionTest, StartRateIsAppliedEvenIfThePresentationFails) {
  box.screen().setOpening(sim::Screen::Opening::Refuses);
  start(videoOptions(7, {{"rate", 2}}));
  box.run();
  ASSERT_EQ(completions.count(), 1u);
  EXPECT_TRUE(completions.errors[0]);
  EXPECT_EQ(player().rateUsedForPlayback(), 2);
}

TEST_F(URLSessionTest, SessionTypeDependsOnTheAudioOnlyParameters) {
  const struct {
    Dictionary options;
    std::int64_t sessionType;
    const char* mediaType;
    bool publishesByItself = false;
  } cases[] = {{{}, 2, "video"},
               {{{"audioOnly", false}}, 2, "video", true},
               {{{"audioOnly", true}}, 3, "music"},
               {{{"purchasedMediaKind", "music"}}, 3, "video"},
               {{{"purchasedMediaKind", "music"}, {"audioOnly", false}}, 3, "video", true},
               {{{"purchasedMediaKind", "movie"}}, 2, "video"}};
  for (const auto& [options, sessionType, mediaType, publishesByItself] : cases) {
    SCOPED_TRACE(compact(options));
    startAnew(videoOptions(7, options));
    box.advance(1s);
    EXPECT_EQ(completions.count(), 1u);
    EXPECT_EQ(session->sessionType(), sessionType);
    EXPECT_EQ(player().currentMediaItem()->metadata(platform::kMediaItemMediaType),
              Value(mediaType));
    EXPECT_EQ(player().updatesNowPlayingInfoAutomatically(), publishesByItself);
    EXPECT_EQ(box.viewServiceHost().isPresenting(), sessionType == 2);
    EXPECT_THAT(delegate->take(), ElementsAre("loading", "playing"));
    // An inserted item has the same media type.
    EXPECT_TRUE(insert(kNextURL, "U2"));
    const auto inserted = session->playlist()->trackList().back();
    EXPECT_EQ(inserted->metadata(platform::kMediaItemMediaType),
              Value(session->audioOnly() ? "music" : "video"));
  }
}

TEST_F(URLSessionTest, VolumeAndMutedAreSetBeforeTheLoad) {
  start(videoOptions(7, {{"muted", true}, {"volume", 0.25}}));
  EXPECT_TRUE(engine().currentLoad().muted);
  EXPECT_EQ(engine().currentLoad().volume, 0.25F);
}

// Player events.

TEST_F(URLSessionTest, EndOfTheOnlyItem) {
  startPlaying();
  box.advance(2min);
  EXPECT_THAT(delegate->take(), ElementsAre("itemPlayedToEnd {uuid=U1}", "ended",
                                            "stopped {sessionID=7, reason=ended}"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Vorlane-Playlist HIT END : U1", "Vorlane-Playlist ended"));
  // The session stays registered until the sender stops it.
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));
}

TEST_F(URLSessionTest, ChangeToTheNextItem) {
  startPlaying();
  EXPECT_TRUE(insert(kNextURL, "U2"));
  delegate->heard = [&](auto&, const std::string& event) {
    if (event != "currentItemChanged") return;
    EXPECT_TRUE(player().currentMediaItem()->metadata(platform::kMediaItemTrackNumber).isNone());
  };
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

TEST_F(URLSessionTest, ScanningPublishesThePosition) {
  startPlaying();
  const auto given = box.nowPlaying().publishedInfos().size();
  box.advance(2s);
  EXPECT_EQ(box.nowPlaying().publishedInfos().size(), given);
  player().scanAtRate(8);
  box.run();
  EXPECT_THAT(delegate->take(), ElementsAre("playing"));
  box.advance(500ms);
  EXPECT_EQ(box.logCount("#Notice #TVVLSession : Scanning: Setting Elapsed time to "), 2u);
  ASSERT_EQ(box.nowPlaying().publishedInfos().size(), given + 2);
  EXPECT_EQ(box.nowPlaying().info().get(platform::kNowPlayingElapsedTime),
            Value(player().elapsedTime()));
  EXPECT_EQ(box.nowPlaying().info().get(platform::kNowPlayingPlaybackRate), Value(8));
}

TEST_F(URLSessionTest, AudioAndSubtitleSelectionIsReported) {
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
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=true}",
                                            "stopped {sessionID=7, userExit=true}"));
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

TEST_F(URLSessionTest, AudioInterruptionIsAUserStop) {
  startPlaying();
  box.audioSession().interrupt(false);
  EXPECT_THAT(delegate->take(), IsEmpty());
  box.audioSession().interrupt(true);
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=true}",
                                            "stopped {sessionID=7, userExit=true}"));
  EXPECT_THAT(logTexts(box, "TVSSystemLog"), Contains("Vorlane stopping due to interruption"));
}

TEST_F(URLSessionTest, StopReleasesEverything) {
  startPlaying();
  const auto oldPlayer = session->player();
  std::optional<platform::Error> failure;
  EXPECT_FALSE(session->stopWithOptions(Dictionary{{"uuid", 5}}, &failure));
  EXPECT_EQ(failure, platform::Error::status(kTVVorlaneStatusWrongType));
  EXPECT_EQ(box.log().size(), 1u);
  EXPECT_EQ(oldPlayer->state(), TVSPlaybackState::Playing);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(session));

  failure.reset();
  std::optional<bool> eligible;
  const auto token = box.notificationCenter().addObserver(
      TVVorlaneSessionManagerActiveSessionsDidChangeNotification, nullptr,
      [&](const auto&) { eligible = box.nowPlaying().isEligible(); });
  EXPECT_TRUE(session->stopWithOptions(Dictionary{{"sessionID", 7}}, &failure));
  EXPECT_FALSE(failure);
  EXPECT_EQ(eligible, true) << "eligible until the deregistration";
  EXPECT_EQ(oldPlayer->state(), TVSPlaybackState::Stopped);
  EXPECT_FALSE(oldPlayer->hasQueuePlayer());
  EXPECT_EQ(session->player(), nullptr);
  EXPECT_EQ(session->playlist(), nullptr);
  EXPECT_FALSE(session->initialRequest());
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_FALSE(box.nowPlaying().isEligible());
  // An interruption after the stop is not reported.
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

TEST_F(URLSessionTest, ReplacedPlayerPostsNoEvents) {
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

TEST_F(URLSessionTest, DestructionRemovesTheObservers) {
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
