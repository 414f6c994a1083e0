#include "TVVorlane/TVVorlaneMetadataMonitor.h"

#include "tests/TVVorlane/Support.h"

using platform::NowPlayingPlaybackState;

namespace {

Dictionary fields(const std::vector<std::pair<std::string_view, Value>>& entries) {
  Dictionary dictionary;
  for (const auto& [key, value] : entries) dictionary.set(key, value);
  return dictionary;
}

TEST(TVVorlaneMetadataMonitorTest, KeyMap) {
  EXPECT_EQ(TVVorlaneMetadataMonitor::keyMap(),
            (Dictionary{{"album", platform::kNowPlayingAlbum},
                        {"artist", platform::kNowPlayingArtist},
                        {"artworkData", platform::kNowPlayingArtworkData},
                        {"artworkMIMEType", platform::kNowPlayingArtworkMIMEType},
                        {"duration", platform::kNowPlayingDuration},
                        {"elapsedTime", platform::kNowPlayingElapsedTime},
                        {"rate", platform::kNowPlayingPlaybackRate},
                        {"title", platform::kNowPlayingTitle},
                        {"totalTracks", platform::kNowPlayingTotalTrackCount},
                        {"trackNumber", platform::kNowPlayingTrackNumber},
                        {"uniqueID", platform::kNowPlayingUniqueIdentifier}}));
}

TEST(TVVorlaneMetadataMonitorTest, PublishesMappedParameters) {
  struct Case {
    Dictionary parameters;
    Dictionary published;
    NowPlayingPlaybackState state;
  };
  constexpr auto kPlaying = NowPlayingPlaybackState::Playing;
  constexpr auto kPaused = NowPlayingPlaybackState::Paused;
  const auto rate = platform::kNowPlayingPlaybackRate;
  const std::pair<std::string_view, Value> music{platform::kNowPlayingMediaType,
                                                 platform::kNowPlayingMediaTypeMusic};
  const Case cases[] = {
      {{}, {}, kPaused},
      {{{"title", "T"}, {"genre", "G"}}, fields({{platform::kNowPlayingTitle, "T"}}), kPaused},
      {{{"rate", 1}, {"uniqueID", 7}},
       fields({{rate, 1}, {platform::kNowPlayingUniqueIdentifier, 7}, music}),
       kPlaying},
      {{{"artist", Value::null()}, {"album", "A"}},
       fields({{platform::kNowPlayingAlbum, "A"}}),
       kPaused},
      {{{"uniqueID", Value::null()}}, fields({music}), kPaused},
      {{{"rate", 0.5}}, fields({{rate, 0.5}}), kPaused},
      {{{"rate", 0.99F}}, fields({{rate, 0.99F}}), kPaused},
      {{{"rate", -1.5}}, fields({{rate, -1.5}}), kPlaying},
      {{{"rate", 2.0}}, fields({{rate, 2.0}}), kPlaying},
      {{{"rate", 0}}, fields({{rate, 0}}), kPaused},
      {{{"rate", "1"}}, fields({{rate, "1"}}), kPaused},
      // Values of any type are published unchanged.
      {{{"duration", "long"}, {"trackNumber", Dictionary{{"a", 1}}}},
       fields({{platform::kNowPlayingDuration, "long"},
               {platform::kNowPlayingTrackNumber, Dictionary{{"a", 1}}}}),
       kPaused},
  };
  for (const auto& expected : cases) {
    sim::Box box;
    TVVorlaneMetadataMonitor::updateWithParameters(expected.parameters);
    const auto text = expected.parameters.description();
    ASSERT_EQ(box.nowPlaying().publishedInfos().size(), 1U) << text;
    EXPECT_EQ(box.nowPlaying().publishedInfos()[0], expected.published) << text;
    EXPECT_EQ(box.nowPlaying().playbackState(), expected.state) << text;
    EXPECT_EQ(box.journal().count("nowPlaying.setNowPlayingInfo(0)"), 1U) << text;
    EXPECT_EQ(
        logTexts(box, "TVVLMetadata"),
        (Texts{"Set New Now Playing Info:\n" + expected.published.description(),
               expected.state == kPlaying ? "Set Playback State: 1" : "Set Playback State: 2"}));
  }
}

/// Records what was published when a line was logged.
class PublishedSink final : public platform::LogSink {
 public:
  explicit PublishedSink(sim::Box& box) : _box(box) {}
  void write(const platform::LogLine&) override {
    const auto& service = _box.nowPlaying();
    text += service.publishedInfos().empty() ? "-" : "i";
    text += service.playbackState() ? "s " : "- ";
  }
  std::string text;

 private:
  sim::Box& _box;
};

TEST(TVVorlaneMetadataMonitorTest, LogsBeforeAndAfterPublishing) {
  sim::Box box;
  const auto sink = std::make_shared<PublishedSink>(box);
  TVSLogger::addSink(sink);
  TVVorlaneMetadataMonitor::updateWithParameters({{"title", "T"}});
  TVSLogger::removeSink(sink);
  EXPECT_EQ(sink->text, "-- is ") << "logs the info before and the state after publishing";
}

TEST(TVVorlaneMetadataMonitorTest, ArtworkIsPublishedInFullAndLoggedAsItsLength) {
  sim::Box box;
  TVVorlaneMetadataMonitor::updateWithParameters({{"artworkData", platform::Bytes(2000)}});
  EXPECT_EQ(box.nowPlaying().info().data(platform::kNowPlayingArtworkData)->size(), 2000U);
  EXPECT_EQ(box.logCount("\"<...> 2000 bytes\""), 1U);
  EXPECT_EQ(box.logCount("#T:[Main] #Notice #TVVLMetadata : Set New Now Playing Info:\n"), 1U);
}

TEST(TVVorlaneMetadataMonitorTest, ElapsedTimeKeepsTheOtherFields) {
  sim::Box box;
  TVVorlaneMetadataMonitor::updateWithParameters({{"title", "T"}, {"rate", 1}});
  box.clearLog();
  TVVorlaneMetadataMonitor::updateWithElapsedTime(12.25, 0.1F);
  const Dictionary& given = box.nowPlaying().publishedInfos().back();
  EXPECT_EQ(given, fields({{platform::kNowPlayingElapsedTime, 12.25},
                           {platform::kNowPlayingPlaybackRate, 0.1F}}));
  EXPECT_EQ(given.number(platform::kNowPlayingElapsedTime)->kind(), platform::Number::Kind::Double);
  EXPECT_EQ(given.number(platform::kNowPlayingPlaybackRate)->kind(), platform::Number::Kind::Float);
  EXPECT_EQ(box.nowPlaying().info().string(platform::kNowPlayingTitle), "T");
  EXPECT_EQ(box.nowPlaying().playbackState(), NowPlayingPlaybackState::Playing);
  EXPECT_EQ(box.journal().count("nowPlaying.setPlaybackState"), 1U);
  EXPECT_TRUE(box.log().empty());
}

}  // namespace
