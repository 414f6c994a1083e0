// What a player tells of the item it plays.

#include <cmath>

#include <gmock/gmock.h>

#include "sim/AssertionsThrow.h"
#include "tests/platform/media/PlayerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, ElapsedTimeIsToldOnlyWhileItMovesAndSomebodyListens) {
  beginAndPlay({"a"});
  std::vector<std::pair<double, bool>> told;
  auto token = player->addElapsedTimeObserver(
      [&](double elapsed, const auto&, double duration, bool scanning) {
        EXPECT_EQ(duration, 10);
        told.emplace_back(elapsed, scanning);
      });
  box.advance(2.5);
  EXPECT_THAT(told, ElementsAre(std::pair(1.0, false), std::pair(2.0, false)));
  told.clear();
  player->scanAtRate(-4);
  box.advance(0.5);
  EXPECT_THAT(told, ElementsAre(std::pair(1.5, true), std::pair(0.5, true)));
  told.clear();
  player->pause();
  box.advance(10);
  EXPECT_THAT(told, IsEmpty());
  EXPECT_FALSE(box.mainQueue().nextDeadline());
  player->play();
  box.advance(1);
  EXPECT_EQ(told.size(), 1U);
  token.reset();
  EXPECT_EQ(*box.mainQueue().nextDeadline() - box.clock().now(), platform::durationFromSeconds(8.5))
      << "only the end of the item is awaited";
  told.clear();
  token = player->addElapsedTimeObserver([&](auto...) { token.reset(); });
  box.advance(5);
  EXPECT_THAT(told, IsEmpty());
}

TEST_F(TVSPlayerTest, SelectionAndTracks) {
  using platform::PlayerItem;
  const platform::MediaSelectionGroup audio{
      "audible", {{"1", "English", "en"}, {"2", "Deutsch", "de"}}, 0, false};
  const platform::MediaSelectionGroup text{"legible", {{"7", "Deutsch", "de"}}, {}, true};
  box.media().add("a", {.loadDelay = 0.5,
                        .tracks = {{1, "video", "h264", true}, {2, "audio", "aac", true}},
                        .selectionGroups = {audio, text}});
  int audioChanges = 0;
  int subtitleChanges = 0;
  const auto audioToken =
      player->addPropertyObserver("selectedAudioOption", [&] { ++audioChanges; });
  const auto textToken =
      player->addPropertyObserver("selectedSubtitleOption", [&] { ++subtitleChanges; });
  begin({"a"});
  auto& item = *player->currentPlayerItem();
  EXPECT_THAT(item.selectionGroups(), IsEmpty());
  box.advance(0.5);
  EXPECT_EQ(player->selectedAudioOption(),
            platform::Value(PlayerItem::propertyList(audio, audio.options[0])));
  EXPECT_EQ(player->selectedSubtitleOption(), platform::Value());

  item.selectPropertyList(PlayerItem::propertyList(audio, audio.options[1]));
  item.selectPropertyList(PlayerItem::propertyList(text, text.options[0]));
  box.run();
  EXPECT_EQ(player->selectedAudioOption(),
            platform::Value(PlayerItem::propertyList(audio, audio.options[1])));
  EXPECT_EQ(player->selectedSubtitleOption(),
            platform::Value(PlayerItem::propertyList(text, text.options[0])));
  EXPECT_EQ(audioChanges, 1);
  EXPECT_EQ(subtitleChanges, 1);

  // Described by another item, whose identifiers mean nothing here.
  item.selectPropertyList(PlayerItem::propertyList(audio, {"other", "Englisch", "en"}));
  EXPECT_EQ(item.selectionGroups()[0].selected, 0U);
  // None of the group, where that is allowed.
  for (const auto* characteristic : {"audible", "legible", "unknown"}) {
    item.selectPropertyList(platform::Dictionary{
        {std::string(platform::kMediaSelectionCharacteristic), characteristic}});
  }
  EXPECT_EQ(item.selectionGroups()[0].selected, 0U);
  EXPECT_EQ(item.selectionGroups()[1].selected, std::nullopt);
  // No description at all.
  for (const platform::Value& value :
       {platform::Value(), platform::Value("audible"), platform::Value(platform::Dictionary{})}) {
    item.selectPropertyList(value);
  }

  item.setTrackEnabled(2, false);
  item.setTrackEnabled(9, false);
  EXPECT_TRUE(item.tracks()[0].enabled);
  EXPECT_FALSE(item.tracks()[1].enabled);
  box.run();
  EXPECT_EQ(audioChanges, 2);
  EXPECT_EQ(subtitleChanges, 2);

  const sim::AssertionsThrow assertionsThrow;
  EXPECT_THROW((void)player->addPropertyObserver("rate", [] {}), sim::AssertionError);
}

TEST_F(TVSPlayerTest, PublishesWhatPlaysUnlessToldNotTo) {
  box.media().add("a", {.loadDelay = 0.5, .duration = 10, .title = "From the media"});
  auto& nowPlaying = box.nowPlaying();
  beginAndPlay({"a", "b"});
  EXPECT_EQ(nowPlaying.info().string(platform::kNowPlayingTitle), "From the media");
  EXPECT_EQ(nowPlaying.info().number(platform::kNowPlayingDuration), platform::Number(10));
  EXPECT_EQ(nowPlaying.info().number(platform::kNowPlayingPlaybackRate), platform::Number(1));
  EXPECT_EQ(nowPlaying.playbackState(), platform::NowPlayingPlaybackState::Playing);
  player->setElapsedTime(4);
  box.run();
  EXPECT_EQ(nowPlaying.info().number(platform::kNowPlayingElapsedTime), platform::Number(4));
  player->pause();
  box.run();
  EXPECT_EQ(nowPlaying.playbackState(), platform::NowPlayingPlaybackState::Paused);
  playlist->trackList()[1]->setMetadata(platform::kMediaItemTitle, "From the sender");
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_EQ(nowPlaying.info().string(platform::kNowPlayingTitle), "From the sender");
  EXPECT_EQ(nowPlaying.info().number(platform::kNowPlayingDuration), platform::Number(0));
  box.advance(0.5);
  EXPECT_EQ(nowPlaying.info().number(platform::kNowPlayingDuration), platform::Number(10));

  player->setUpdatesNowPlayingInfoAutomatically(false);
  const auto before = nowPlaying.given().size();
  player->play();
  box.advance(1);
  player->stop();
  EXPECT_EQ(nowPlaying.given().size(), before);
}

/// Notes what it is asked, and forbids it.
struct Forbidding final : TVSPlayerPlaybackDelegate {
  bool note(std::string question) {
    asked.push_back(std::move(question));
    return false;
  }
  bool playerShouldSeekToTime(TVSPlayer&, double seconds,
                              const std::optional<platform::Date>&) override {
    return note("seek " + std::to_string(std::lround(seconds)));
  }
  bool playerShouldPlay(TVSPlayer&, double) override { return note("play"); }
  bool playerShouldPause(TVSPlayer&) override { return note("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double) override { return note("scan"); }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int direction) override {
    return note("change " + std::to_string(direction));
  }
  std::vector<std::string> asked;
};

TEST_F(TVSPlayerTest, RemoteCommandsAskTheDelegateAsTheRemoteDoes) {
  using Kind = platform::RemoteCommand::Kind;
  using Remote = platform::RemotePlayback::State;
  auto& nowPlaying = box.nowPlaying();
  EXPECT_FALSE(nowPlaying.send({Kind::Play})) << "there is nothing to play";
  begin({"a", "b"});
  EXPECT_EQ(nowPlaying.playback()->state, Remote::Waiting);
  box.advance(0.5);
  player->setElapsedTime(4);
  box.run();
  const auto delegate = std::make_shared<Forbidding>();
  player->setPlaybackDelegate(delegate);
  const struct {
    platform::RemoteCommand command;
    const char* asks;
  } cases[] = {
      {{Kind::Play}, "play"},
      {{Kind::Pause}, "pause"},
      {{Kind::TogglePlayPause}, "pause"},
      {{Kind::Next}, "change 0"},
      {{Kind::Previous}, "change 1"},
      {{Kind::SeekTo, 7}, "seek 7"},
      {{Kind::SkipBy, 2}, "seek 6"},
      {{Kind::SkipBy, -9}, "seek 0"},
      {{Kind::SkipBy, 9}, "change 0"},
  };
  for (const auto& one : cases) {
    delegate->asked.clear();
    EXPECT_TRUE(nowPlaying.send(one.command));
    EXPECT_EQ(delegate->asked, Texts{one.asks}) << static_cast<int>(one.command.kind);
  }
  player->setPlaybackDelegate({});
  nowPlaying.send({Kind::SetRate, 2});
  nowPlaying.send({Kind::SetVolume, 0.5});
  box.run();
  auto playback = *nowPlaying.playback();
  EXPECT_EQ(playback.state, Remote::Playing);
  EXPECT_EQ(playback.rate, 2);
  EXPECT_EQ(playback.volume, 0.5);
  EXPECT_EQ(playback.elapsed, 4);
  EXPECT_EQ(playback.duration, 10);
  EXPECT_TRUE(playback.canSeek);
  const int told = nowPlaying.playbackChanges();
  nowPlaying.send({Kind::TogglePlayPause});
  box.run();
  EXPECT_EQ(nowPlaying.playback()->state, Remote::Paused);
  EXPECT_GT(nowPlaying.playbackChanges(), told);
  // The newer of two players has the remote, until it is gone.
  auto other = std::make_shared<TVSPlayer>("other");
  other->setPlaylist(playlistOf({"c"}));
  EXPECT_EQ(nowPlaying.playback()->state, Remote::Waiting);
  other->invalidate();
  EXPECT_EQ(nowPlaying.playback()->state, Remote::Paused);
  nowPlaying.send({Kind::Stop});
  EXPECT_EQ(player->state(), State::Stopped);
  player->setUpdatesNowPlayingInfoAutomatically(false);
  EXPECT_FALSE(nowPlaying.send({Kind::Play}));
  player->setHandlesRemoteCommandsWithoutNowPlayingInfo(true);
  EXPECT_TRUE(nowPlaying.send({Kind::Play}));
}

TEST_F(TVSPlayerTest, LiveStreams) {
  box.media().add("live", {.loadDelay = 0.5, .liveWindow = 60});
  beginAndPlay({"live"});
  EXPECT_EQ(player->duration(), TVSDurationIndefinite);
  ASSERT_THAT(player->cachedSeekableTimeRanges(), testing::SizeIs(1));
  EXPECT_EQ(player->cachedSeekableTimeRanges()[0], (platform::TimeRange{0.5, 60}));
  player->setElapsedTime(5000);
  EXPECT_EQ(player->elapsedTime(), 60.5) << "the newest point";
  box.advance(1000);
  EXPECT_EQ(player->state(), State::Playing);
  EXPECT_EQ(player->elapsedTime(), 1060.5);
}

TEST_F(TVSPlayerTest, ItemFactsAreEmptyUntilReadyAndAfterwards) {
  platform::TimedMetadataItem chapter;
  chapter.value = "chapter";
  box.media().add("a", {.loadDelay = 1,
                        .duration = 10,
                        .timedMetadata = {{.position = 2, .items = {chapter}}},
                        .buffering = {{0.25, 20}, {0.5, 60}}});
  begin({"a"});
  EXPECT_EQ(player->bufferingPercent(), std::nullopt);
  box.advance(0.5);
  EXPECT_EQ(player->bufferingPercent(), 60);
  EXPECT_FALSE(player->currentPlayerItem()->isPlaybackLikelyToKeepUp());
  EXPECT_TRUE(player->currentPlayerItem()->isPlaybackBufferEmpty());
  EXPECT_THAT(player->cachedLoadedTimeRanges(), IsEmpty());
  box.advance(1);
  EXPECT_EQ(player->bufferingPercent(), std::nullopt);
  EXPECT_TRUE(player->currentPlayerItem()->isPlaybackLikelyToKeepUp());
  EXPECT_THAT(player->currentPlayerItem()->timedMetadata(), IsEmpty());
  EXPECT_EQ(player->accessLog()->size(), 1U);
  box.advance(2);
  ASSERT_THAT(player->currentPlayerItem()->timedMetadata(), testing::SizeIs(1));
  EXPECT_EQ(player->currentPlayerItem()->timedMetadata()[0].value, platform::Value("chapter"));
}

}  // namespace
