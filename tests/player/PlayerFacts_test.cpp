// The properties of items, observers and the now-playing information.

#include "sim/AssertionsThrow.h"
#include "tests/player/PlayerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, ElapsedTimeTimerRunsOnlyDuringPlaybackWithObservers) {
  beginAndPlay({"long"});
  std::vector<double> calls;
  std::optional<bool> scans;
  auto token = player->addElapsedTimeObserver(
      [&](double elapsed, const auto&, double duration, bool scanning) {
        EXPECT_THAT(duration, near(20));
        calls.push_back(elapsed);
        scans = scanning;
      });
  ASSERT_TRUE(until([&] { return calls.size() == 2; }));
  EXPECT_EQ(scans, false);
  EXPECT_GT(calls[1] - calls[0], 0.9);
  player->scanAtRate(4);
  ASSERT_TRUE(untilEvent("scanning"));
  calls.clear();
  ASSERT_TRUE(until([&] { return calls.size() == 2; }));
  EXPECT_EQ(scans, true);
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  const auto& queue = platform::Platform::current().mainQueue();
  // An engine in another process may still have to acknowledge the pause.
  EXPECT_TRUE(until([&] { return !queue.nextDeadline(); }));
  calls.clear();
  player->play();
  ASSERT_TRUE(until([&] { return calls.size() == 1; }));
  EXPECT_EQ(scans, false);
  token.reset();
  EXPECT_FALSE(queue.nextDeadline() && calls.size() > 1);
  token = player->addElapsedTimeObserver([&](auto...) { token.reset(); });
  ASSERT_TRUE(until([&] { return !token; }));
  EXPECT_EQ(calls.size(), 1U);
}

TEST_F(TVSPlayerTest, SelectsAudioAndSubtitleOptions) {
  using platform::PlayerItem;
  int audioChanges = 0;
  int textChanges = 0;
  const auto audioToken =
      player->addPropertyObserver("selectedAudioOption", [&] { ++audioChanges; });
  const auto textToken =
      player->addPropertyObserver("selectedSubtitleOption", [&] { ++textChanges; });
  player->pause();
  begin({"tracks"});
  auto& item = *player->currentPlayerItem();
  EXPECT_THAT(item.selectionGroups(), IsEmpty());
  // The language of a stream may become known after its first frame.
  ASSERT_TRUE(until([&] {
    const auto& groups = item.selectionGroups();
    return groups.size() == 2 && groups[0].options.size() == 2 && groups[1].options.size() == 2 &&
           groups[0].options[1].languageTag == "fr" && groups[1].options[1].languageTag == "fr";
  }));
  const auto audio = item.selectionGroups()[0];
  const auto text = item.selectionGroups()[1];
  EXPECT_EQ(audio.characteristic, "audible");
  EXPECT_EQ(text.characteristic, "legible");
  const auto selected = [&](std::size_t group) { return item.selectionGroups()[group].selected; };
  EXPECT_EQ(player->selectedAudioOption(),
            platform::Value(PlayerItem::propertyList(audio, audio.options[0])));
  EXPECT_EQ(player->selectedSubtitleOption(), platform::Value());

  item.selectPropertyList(PlayerItem::propertyList(audio, audio.options[1]));
  item.selectPropertyList(PlayerItem::propertyList(text, text.options[0]));
  ASSERT_TRUE(until([&] { return audioChanges == 1 && textChanges == 1; }));
  EXPECT_EQ(player->selectedAudioOption(),
            platform::Value(PlayerItem::propertyList(audio, audio.options[1])));
  EXPECT_EQ(player->selectedSubtitleOption(),
            platform::Value(PlayerItem::propertyList(text, text.options[0])));

  // A property list of another item, with an unknown identifier.
  item.selectPropertyList(PlayerItem::propertyList(audio, {"other", "Englisch", "en"}));
  ASSERT_TRUE(until([&] { return audioChanges == 2; }));
  EXPECT_EQ(selected(0), 0U);
  // Invalid property lists, and an option that does not exist.
  for (const platform::Value& value :
       {platform::Value(), platform::Value("audible"), platform::Value(platform::Dictionary{}),
        platform::Value(PlayerItem::propertyList(audio, {"other", "Welsh", "cy"}))}) {
    item.selectPropertyList(value);
  }
  // Property lists without an option.
  for (const auto* characteristic : {"unknown", "legible"}) {
    item.selectPropertyList(platform::Dictionary{
        {std::string(platform::kMediaSelectionCharacteristic), characteristic}});
  }
  ASSERT_TRUE(until([&] { return textChanges == 2; }));
  EXPECT_EQ(selected(0), 0U);
  EXPECT_EQ(selected(1), std::nullopt);
  EXPECT_EQ(audioChanges, 2);

  const sim::AssertionsThrow assertionsThrow;
  EXPECT_THROW((void)player->addPropertyObserver("rate", [] {}), sim::AssertionError);
}

TEST_F(TVSPlayerTest, EnablesAndDisablesTracks) {
  player->pause();
  begin({"tracks"});
  auto& item = *player->currentPlayerItem();
  item.setTrackEnabled(1, false);
  ASSERT_TRUE(until([&] { return item.tracks().size() == 5; }));
  // A subtitle track is enabled while it is selected.
  const auto subtitle = item.tracks()[3];
  ASSERT_EQ(subtitle.mediaType, "text");
  EXPECT_FALSE(subtitle.enabled);
  item.setTrackEnabled(subtitle.trackID, true);
  ASSERT_TRUE(until([&] { return item.tracks()[3].enabled; }));
  item.setTrackEnabled(subtitle.trackID, false);
  ASSERT_TRUE(until([&] { return !item.tracks()[3].enabled; }));
  EXPECT_EQ(item.tracks()[1].mediaType, "audio");
  EXPECT_TRUE(item.tracks()[1].enabled);
  item.setTrackEnabled(item.tracks()[1].trackID, false);
  item.setTrackEnabled(999, false);
  ASSERT_TRUE(until([&] { return !item.tracks()[1].enabled; }));
  EXPECT_TRUE(item.tracks()[0].enabled);
  player->play();
  EXPECT_TRUE(untilEvent("end tracks")) << "plays without audio";
}

TEST_F(TVSPlayerTest, PublishesNowPlayingInfoUnlessDisabled) {
  auto& nowPlaying = bench->nowPlaying();
  const auto shows = [&](std::string_view key, double value) {
    const auto number = nowPlaying.info().number(key);
    return number && std::abs(number->doubleValue() - value) < 0.1;
  };
  beginAndPlay({"clip", "b"});
  EXPECT_TRUE(shows(platform::kNowPlayingPlaybackRate, 1));
  EXPECT_EQ(nowPlaying.playbackState(), platform::NowPlayingPlaybackState::Playing);
  EXPECT_TRUE(until([&] { return nowPlaying.info().string(platform::kNowPlayingTitle) == "Clip"; }))
      << "from the media";
  EXPECT_TRUE(shows(platform::kNowPlayingDuration, 3));
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_EQ(nowPlaying.playbackState(), platform::NowPlayingPlaybackState::Paused);
  ASSERT_TRUE(seek(2));
  EXPECT_TRUE(shows(platform::kNowPlayingElapsedTime, 2));
  playlist->trackList()[1]->setMetadata(platform::kMediaItemTitle, "From the sender");
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_EQ(nowPlaying.info().string(platform::kNowPlayingTitle), "From the sender");
  EXPECT_TRUE(shows(platform::kNowPlayingDuration, 0));
  EXPECT_TRUE(until([&] { return shows(platform::kNowPlayingDuration, 1); }));

  player->setUpdatesNowPlayingInfoAutomatically(false);
  const auto before = nowPlaying.publishedInfos().size();
  events.take();
  player->play();
  ASSERT_TRUE(untilEvent("stopped"));
  EXPECT_EQ(nowPlaying.publishedInfos().size(), before);
}

TEST_F(TVSPlayerTest, RemoteCommandsAskTheDelegate) {
  using Kind = platform::RemoteCommand::Kind;
  using Remote = platform::RemotePlayback::State;
  auto& nowPlaying = bench->nowPlaying();
  EXPECT_FALSE(nowPlaying.send({Kind::Play})) << "the player has no playlist";
  begin({"long", "b"});
  EXPECT_EQ(nowPlaying.playback()->state, Remote::Waiting);
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  ASSERT_TRUE(seek(4));
  const auto delegate = std::make_shared<RejectingDelegate>();
  player->setPlaybackDelegate(delegate);
  const struct {
    platform::RemoteCommand command;
    const char* asks;
  } cases[] = {
      {{Kind::Play}, "play 4"},
      {{Kind::Pause}, "pause"},
      {{Kind::TogglePlayPause}, "play 4"},
      {{Kind::Next}, "change 0"},
      {{Kind::Previous}, "change 1"},
      {{Kind::SeekTo, 7}, "seek 7"},
      {{Kind::SkipBy, 2}, "seek 6"},
      {{Kind::SkipBy, -9}, "seek 0"},
      {{Kind::SkipBy, 19}, "change 0"},
  };
  for (const auto& one : cases) {
    delegate->requests.clear();
    EXPECT_TRUE(nowPlaying.send(one.command));
    EXPECT_EQ(delegate->requests, Texts{one.asks}) << static_cast<int>(one.command.kind);
  }
  player->setPlaybackDelegate({});
  nowPlaying.send({Kind::SetRate, 2});
  nowPlaying.send({Kind::SetVolume, 0.5});
  nowPlaying.send({Kind::TogglePlayPause});
  ASSERT_TRUE(until([&] { return nowPlaying.playback()->state == Remote::Playing; }));
  const auto playback = *nowPlaying.playback();
  EXPECT_EQ(playback.rate, 2);
  EXPECT_EQ(playback.volume, 0.5);
  EXPECT_GE(playback.elapsed, 3.9);
  EXPECT_THAT(playback.duration, testing::Optional(near(20)));
  EXPECT_TRUE(playback.canSeek);
  const int changes = nowPlaying.playbackChanges();
  nowPlaying.send({Kind::TogglePlayPause});
  ASSERT_TRUE(until([&] { return nowPlaying.playback()->state == Remote::Paused; }));
  EXPECT_GT(nowPlaying.playbackChanges(), changes);
  // The newest player receives the commands until it is invalidated.
  auto other = std::make_shared<TVSPlayer>("other");
  other->setPlaylist(playlistOf({bench->url("c")}));
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
  beginAndPlay({"live"});
  EXPECT_EQ(player->duration(), TVSDurationIndefinite);
  EXPECT_TRUE(player->currentPlayerItem()->isLive());
  const auto window = [&] {
    const auto& ranges = player->cachedSeekableTimeRanges();
    return ranges.empty() ? platform::TimeRange{} : ranges.front();
  };
  ASSERT_TRUE(until([&] { return window().duration > 0; }));
  const auto first = window();
  ASSERT_TRUE(until([&] { return window().start > first.start; })) << "the window moves";
  const auto newest = [&] { return window().start + window().duration; };
  player->setElapsedTime(5000);
  const double to = player->elapsedTime();
  EXPECT_THAT(to, near(newest())) << "clamped to the live edge";
  ASSERT_TRUE(untilPosition([&](double at) { return at > to + 0.3; })) << "playback continues";
  const double middle = window().start + window().duration / 2;
  ASSERT_TRUE(seek(middle));
  EXPECT_LT(player->elapsedTime(), newest());
  EXPECT_TRUE(untilPosition([&](double at) { return at > middle + 0.2; }));
}

TEST_F(TVSPlayerTest, ALiveStreamIgnoresAStartFraction) {
  player->setStartPosition(0);
  beginAndPlay({"live"});
  ASSERT_TRUE(until([&] { return !player->cachedSeekableTimeRanges().empty(); }));
  const auto window = player->cachedSeekableTimeRanges().front();
  EXPECT_GT(player->elapsedTime(), window.start + window.duration / 2);
}

TEST_F(TVSPlayerTest, ItemFactsAreEmptyUntilReady) {
  begin({"clip"});
  const auto& item = *player->currentPlayerItem();
  EXPECT_FALSE(item.isPlaybackLikelyToKeepUp());
  EXPECT_TRUE(item.isPlaybackBufferEmpty());
  EXPECT_THAT(item.tracks(), IsEmpty());
  EXPECT_THAT(player->cachedLoadedTimeRanges(), IsEmpty());
  EXPECT_THAT(player->cachedSeekableTimeRanges(), IsEmpty());
  ASSERT_TRUE(untilEvent("playing"));
  ASSERT_THAT(item.tracks(), testing::SizeIs(2));
  EXPECT_EQ(item.tracks()[0].mediaType, "video");
  EXPECT_EQ(item.tracks()[1].mediaType, "audio");
  EXPECT_TRUE(item.tracks()[0].enabled && item.tracks()[1].enabled);
  EXPECT_TRUE(until([&] { return item.isPlaybackLikelyToKeepUp(); }));
  EXPECT_EQ(player->bufferingPercent(), std::nullopt);
  EXPECT_FALSE(item.isPlaybackBufferEmpty());
  ASSERT_THAT(player->cachedSeekableTimeRanges(), testing::SizeIs(1));
  EXPECT_THAT(player->cachedSeekableTimeRanges()[0].duration, near(3));
  EXPECT_TRUE(until([&] { return !player->cachedLoadedTimeRanges().empty(); }));
  ASSERT_TRUE(player->accessLog());
  EXPECT_EQ(player->accessLog()->size(), 1U);
}

}  // namespace
