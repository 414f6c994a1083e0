#include <limits>

#include "TVVorlane/TVSPlayer+Vorlane.h"
#include "TVVorlane/TVVorlaneMediaItem.h"
#include "platform/media/TimedMetadataItem.h"
#include "tests/TVVorlane/Support.h"

namespace {

class PlayerExtensionTest : public SessionTest {
 protected:
  /// Loads an item and pauses it.
  void load(sim::MediaScript script, const std::string& uuid = "U1") {
    box.mediaLibrary().add(kVideoURL, std::move(script));
    const auto item = std::make_shared<TVVorlaneMediaItem>(kVideoURL, std::vector<std::string>());
    if (!uuid.empty()) item->setMetadata(TVVorlaneMediaItemMetadataUUID, uuid);
    player->pause();
    player->setPlaylist(
        std::make_shared<TVSPlaylist>(std::vector<std::shared_ptr<TVSMediaItem>>{item}, 0, false));
  }
  void loadReady(sim::MediaScript script) {
    load(std::move(script));
    box.advance(1s);
    ASSERT_EQ(player->state(), TVSPlaybackState::Paused);
    box.clearLog();
    engine().clearCalls();
  }
  Dictionary info() { return TVSPlayerVorlane::playbackInfo(*player); }

  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("player");
};

Texts keys(const Dictionary& dictionary) {
  Texts texts;
  for (const auto& [key, value] : dictionary) texts.push_back(key);
  return texts;
}

TEST_F(PlayerExtensionTest, IsEmptyWithoutAnItem) {
  const auto tellsNothing = [&] {
    EXPECT_THAT(info(), IsEmpty());
    EXPECT_TRUE(TVSPlayerVorlane::timedMetadata(*player).isNone());
    EXPECT_FALSE(TVSPlayerVorlane::trackEnabled(*player, 1));
    EXPECT_THAT(TVSPlayerVorlane::selectedMediaArray(*player), IsEmpty());
    EXPECT_TRUE(TVSPlayerVorlane::accessLogArray(*player).isNone());
    // Setters do nothing.
    TVSPlayerVorlane::setTrackEnabled(*player, true, 1);
    TVSPlayerVorlane::setSelectedMediaArray(*player, Array{Dictionary()});
    TVSPlayerVorlane::setPlayerPosition(*player, 5);
    TVSPlayerVorlane::setPlayerRate(*player, 2);
  };
  tellsNothing();
  TVSPlayerVorlane::setForwardPlaybackEndTime(*player, MediaTime::seconds(5));
  EXPECT_EQ(TVSPlayerVorlane::mediaItemForIdentifier(*player, "U1"), nullptr);
  loadReady({});
  player->invalidate();
  tellsNothing();
}

TEST_F(PlayerExtensionTest, InfoOfALoadingItem) {
  load({});
  EXPECT_EQ(info(), (Dictionary{{"readyToPlay", 0}, {"uuid", "U1"}}));
  load({}, "");
  EXPECT_EQ(info(), (Dictionary{{"readyToPlay", 0}}));
}

TEST_F(PlayerExtensionTest, InfoOfAReadyItem) {
  loadReady({.duration = 100, .startDate = platform::Date{1000}});
  player->setElapsedTime(80);
  box.run();
  EXPECT_THAT(
      keys(info()),
      ElementsAre("readyToPlay", "position", "duration", "rate", "date", "seekableTimeRanges",
                  "loadedTimeRanges", "playbackLikelyToKeepUp", "playbackBufferFull",
                  "playbackBufferEmpty", "playbackLikelyToKeepUpTime", "estimatedDate", "uuid"));
  const Dictionary expected{
      {"readyToPlay", 1},
      {"position", 80.0},
      {"duration", 100.0},
      {"rate", 0.0},
      {"date", platform::Date{1080}},
      {"seekableTimeRanges", Array{Dictionary{{"start", 0.0}, {"duration", 100.0}}}},
      {"loadedTimeRanges", Array{Dictionary{{"start", 80.0}, {"duration", 20.0}}}},
      {"playbackLikelyToKeepUp", true},
      {"playbackBufferFull", true},
      {"playbackBufferEmpty", false},
      {"playbackLikelyToKeepUpTime", 0.0},
      {"estimatedDate", platform::Date{1080}},
      {"uuid", "U1"}};
  EXPECT_EQ(info(), expected) << compact(info());
  for (const char* key : {"position", "duration", "rate"})
    EXPECT_EQ(info().number(key)->kind(), platform::Number::Kind::Double) << key;
}

TEST_F(PlayerExtensionTest, InfoOfAStalledItemHasNoLikelyToKeepUpTime) {
  loadReady({.stalls = {{1, 5}}});
  player->play();
  box.advance(2s);
  const auto stalled = info();
  EXPECT_FALSE(stalled.boolean("playbackLikelyToKeepUp"));
  EXPECT_TRUE(stalled.boolean("playbackBufferEmpty"));
  EXPECT_FALSE(stalled.contains("playbackLikelyToKeepUpTime"));
  EXPECT_FALSE(stalled.contains("date"));
  EXPECT_EQ(stalled.get("position"), Value(1));
}

TEST_F(PlayerExtensionTest, InfoOfAFailedItemHasTheErrorAtTopLevel) {
  load({.loadFailure = platform::Error{"D", 5, "description", "reason", "suggestion"}});
  box.advance(1s);
  EXPECT_EQ(info(),
            (Dictionary{{"readyToPlay", 0},
                        {"code", 5},
                        {"domain", "D"},
                        {std::string(platform::kErrorLocalizedDescriptionKey), "description"},
                        {std::string(platform::kErrorLocalizedFailureReasonKey), "reason"},
                        {std::string(platform::kErrorLocalizedRecoverySuggestionKey), "suggestion"},
                        {"uuid", "U1"}}));
}

TEST_F(PlayerExtensionTest, LiveStreamHasNoDurationAndNoPositionLimit) {
  loadReady({.liveWindow = 60});
  EXPECT_EQ(info().get("duration"), Value(0.0));
  TVSPlayerVorlane::setPlayerPosition(*player, 5000);
  EXPECT_THAT(engine().calls(), ElementsAre("seek 5000"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Vorlane set position to 5000.000000 of -1.000000 (5000.000000)"));
}

struct Position {
  double asked;
  const char* call;  // null: none
  const char* log;
};

TEST_F(PlayerExtensionTest, PositionIsClampedAndLogged) {
  loadReady({.duration = 100});
  const Position cases[] = {
      {-3, "seek 0", "Vorlane set position to 0.000000 of 100.000000 (-3.000000)"},
      {250, "seek 100", "Vorlane set position to 100.000000 of 100.000000 (250.000000)"},
      {12.5, "seek 12.5", "Vorlane set position to 12.500000 of 100.000000 (12.500000)"},
      {kInfinity, "seek 100", "Vorlane set position to 100.000000 of 100.000000 (inf)"},
      {kNaN, nullptr, "Vorlane set position to nan of 100.000000 (nan)"}};
  for (const auto& [asked, call, log] : cases) {
    box.clearLog();
    engine().clearCalls();
    TVSPlayerVorlane::setPlayerPosition(*player, asked);
    EXPECT_EQ(engine().calls(), call ? Texts{call} : Texts()) << asked;
    EXPECT_THAT(box.log(),
                ElementsAre("#T:[Main] #Notice #TVVLSession : " + std::string(log) + " "));
  }
}

TEST_F(PlayerExtensionTest, TracksWithTheSameIDAreSwitchedTogether) {
  const std::vector<platform::MediaTrack> tracks{{1, "video", "avc", true},
                                                 {7, "text", "vtt", true},
                                                 {7, "text", "vtt", false},
                                                 {8, "audio", "aac", false}};
  load({.tracks = tracks});
  // The item is still loading.
  EXPECT_FALSE(TVSPlayerVorlane::trackEnabled(*player, 1));
  TVSPlayerVorlane::setTrackEnabled(*player, false, 1);
  box.advance(1s);
  EXPECT_TRUE(TVSPlayerVorlane::trackEnabled(*player, 1));
  EXPECT_TRUE(TVSPlayerVorlane::trackEnabled(*player, 7));
  EXPECT_FALSE(TVSPlayerVorlane::trackEnabled(*player, 8));
  EXPECT_FALSE(TVSPlayerVorlane::trackEnabled(*player, 99));
  for (const bool enabled : {true, false}) {
    TVSPlayerVorlane::setTrackEnabled(*player, enabled, 7);
    const auto& now = player->currentPlayerItem()->tracks();
    EXPECT_EQ(now[1].enabled, enabled);
    EXPECT_EQ(now[2].enabled, enabled);
    EXPECT_TRUE(now[0].enabled);
  }
}

TEST_F(PlayerExtensionTest, SelectedMediaRoundTrip) {
  loadReady(
      {.selectionGroups = {{"audible", {{"a1", "English", "en"}, {"a2", "German", "de"}}, 1, false},
                           {"legible", {{"s1", "English", "en"}}, std::nullopt, true},
                           {"other", {{"o1", "Some", ""}}, 0, true}}});
  const auto selected = TVSPlayerVorlane::selectedMediaArray(*player);
  ASSERT_EQ(selected.size(), 2u);

  const auto entry = [](const char* characteristic, const char* identifier) {
    return Dictionary{{std::string(platform::kMediaSelectionCharacteristic), characteristic},
                      {std::string(platform::kMediaSelectionIdentifier), identifier}};
  };
  // Invalid entries do not affect the others.
  TVSPlayerVorlane::setSelectedMediaArray(
      *player, Array{entry("smell", "x"), 5, entry("audible", "a1"), entry("legible", "s1"),
                     Dictionary{{std::string(platform::kMediaSelectionCharacteristic), "other"}}});
  const auto changed = TVSPlayerVorlane::selectedMediaArray(*player);
  ASSERT_EQ(changed.size(), 2u);
  EXPECT_EQ(changed[0].asDictionary()->get(platform::kMediaSelectionIdentifier), Value("a1"));
  EXPECT_EQ(changed[1].asDictionary()->get(platform::kMediaSelectionIdentifier), Value("s1"));

  TVSPlayerVorlane::setSelectedMediaArray(*player, selected);
  EXPECT_EQ(TVSPlayerVorlane::selectedMediaArray(*player)[0], selected[0]);
}

TEST_F(PlayerExtensionTest, OptionsWithoutALanguageAreFoundByTheirNames) {
  loadReady(
      {.selectionGroups = {{"legible",
                            {{"s1", "English", "en"}, {"s2", "Signs", ""}, {"s3", "Songs", ""}},
                            std::nullopt,
                            true}}});
  const struct {
    const char* identifier;
    const char* name;
    const char* selected;
  } cases[]{{"", "Songs", "s3"},   {nullptr, nullptr, "s2"}, {"other", "Songs", "s3"},
            {"s2", "Songs", "s2"}, {"other", nullptr, "s2"}, {"other", "Unknown", "s2"}};
  for (const auto& testCase : cases) {
    Dictionary entry{{std::string(platform::kMediaSelectionCharacteristic), "legible"},
                     {std::string(platform::kMediaSelectionLanguageTag), ""}};
    if (testCase.identifier) entry.set(platform::kMediaSelectionIdentifier, testCase.identifier);
    if (testCase.name) entry.set(platform::kMediaSelectionDisplayName, testCase.name);
    TVSPlayerVorlane::setSelectedMediaArray(*player, Array{entry});
    const auto selected = TVSPlayerVorlane::selectedMediaArray(*player);
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected[0].asDictionary()->get(platform::kMediaSelectionIdentifier),
              Value(testCase.selected));
  }
}

TEST_F(PlayerExtensionTest, SelectionsDuringTheLoadAreAppliedWhenReady) {
  const auto entry = [](const char* characteristic, const char* language) {
    return Dictionary{{std::string(platform::kMediaSelectionCharacteristic), characteristic},
                      {std::string(platform::kMediaSelectionLanguageTag), language}};
  };
  load(
      {.selectionGroups = {{"audible", {{"a1", "", "en"}, {"a2", "", "de"}}, 0, false},
                           {"legible", {{"s1", "", "en"}, {"s2", "", "de"}}, std::nullopt, true}}});
  TVSPlayerVorlane::setSelectedMediaArray(
      *player, Array{entry("audible", "de"), entry("legible", "en"), entry("smell", "de")});
  // The last selection of a characteristic wins.
  TVSPlayerVorlane::setSelectedMediaArray(*player, Array{entry("legible", "de")});
  box.advance(1s);
  const auto selected = TVSPlayerVorlane::selectedMediaArray(*player);
  ASSERT_EQ(selected.size(), 2u);
  for (const Value& each : selected)
    EXPECT_EQ(each.asDictionary()->string(platform::kMediaSelectionLanguageTag), "de");
}

TEST_F(PlayerExtensionTest, EndTimesAreKeptUntilTheItemIsReady) {
  struct Direction {
    void (*set)(TVSPlayer&, const MediaTime&);
    std::string_view key;
    std::optional<double> platform::MediaLoad::*applied;
  };
  const Direction directions[] = {
      {TVSPlayerVorlane::setForwardPlaybackEndTime, platform::kMediaItemForwardEndTime,
       &platform::MediaLoad::forwardEndSeconds},
      {TVSPlayerVorlane::setReversePlaybackEndTime, platform::kMediaItemReverseEndTime,
       &platform::MediaLoad::reverseEndSeconds}};
  for (const auto& [set, key, applied] : directions) {
    load({});
    set(*player, MediaTime{45, 2, MediaTime::Valid, 0});
    EXPECT_EQ(player->currentMediaItem()->metadata(key), Value(22.5));
    EXPECT_FALSE(engine().currentLoad().*applied);
    box.advance(1s);
    EXPECT_EQ(engine().currentLoad().*applied, 22.5);
    set(*player, MediaTime::seconds(30));
    EXPECT_EQ(player->currentMediaItem()->metadata(key), Value(30.0));
    EXPECT_EQ(engine().currentLoad().*applied, 30);
  }
}

TEST_F(PlayerExtensionTest, TimedMetadataOfAReadyItem) {
  const platform::TimedMetadataItem item{"k", "space", "de", std::nullopt, "v", {{"x", 1}}};
  loadReady({.timedMetadata = {{0, {item}}}});
  const auto metadata = TVSPlayerVorlane::timedMetadata(*player);
  ASSERT_TRUE(metadata.asArray());
  ASSERT_EQ(metadata.asArray()->size(), 1u);
  EXPECT_EQ((*metadata.asArray())[0].asDictionary()->get("value"), Value("v"));
}

}  // namespace
