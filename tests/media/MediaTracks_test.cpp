// Tracks, selection options and subtitles of real media.

#include <gtest/gtest.h>

#include "platform/foundation/Value.h"
#include "platform/media/MediaLogKeys.h"
#include "tests/media/MediaTracksFixture.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::MediaLoad;

TEST_F(MediaTracksTest, NumbersAndOptionsAreThoseOfTheContainer) {
  for (const char* name : {"tracks.mkv", "tracks.mp4"}) {
    SCOPED_TRACE(name);
    EngineHarness harness;
    harness.load(TestMedia::shared().fileURL(name), pausedLoad());
    ASSERT_TRUE(harness.waitForEvent("pause"));
    const auto& facts = harness.engine().facts();
    std::string tracks;
    for (const auto& each : facts.tracks)
      tracks += std::to_string(each.trackID) + each.mediaType + " ";
    EXPECT_EQ(tracks, "1video 2audio 3audio 4text 5text ");
    EXPECT_EQ(group(harness, "visual"), nullptr) << "a single video track is not an option";
    ASSERT_NE(group(harness, "legible"), nullptr);
    const auto texts = group(harness, "legible")->options;
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0].languageTag, "en");
    EXPECT_EQ(texts[0].displayName, "English");
    EXPECT_FALSE(texts[0].forced);
    EXPECT_EQ(texts[1].languageTag, "fr");
    EXPECT_EQ(selected(harness, "legible"), std::string(name) == "tracks.mkv" ? "fr" : "none")
        << "the forced text in the language of the audio";
  }
}

TEST_F(MediaTracksTest, PreferredLanguagesAreSelectedInitially) {
  const struct {
    const char* name;
    std::vector<std::string> languages;
    std::string sound;
    std::string text;
  } cases[] = {
      {"tracks.mkv", {}, "fr", "fr"},  // the default track, and the forced text in its language
      {"tracks.mkv", {"en-GB"}, "en", "none"}, {"tracks.mkv", {"de", "fr-CA", "en"}, "fr", "fr"},
      {"tracks.mp4", {"en"}, "en", "none"},    {"languages.mp4", {"xx"}, "en", "none"},
  };
  for (const auto& the : cases) {
    SCOPED_TRACE(std::string(the.name) + " " + (the.languages.empty() ? "" : the.languages[0]));
    EngineHarness harness(true, the.languages);
    harness.load(TestMedia::shared().fileURL(the.name), pausedLoad());
    ASSERT_TRUE(harness.waitForEvent("pause"));
    EXPECT_EQ(harness.events(), (std::vector<std::string>{"ready", "pause"}));
    EXPECT_EQ(selected(harness, "audible"), the.sound);
    EXPECT_EQ(selected(harness, "legible"), the.text);
    seek(harness, 2.5);
    harness.call([](platform::MediaEngine& engine) { engine.play(1); });
    ASSERT_TRUE(harness.waitForEvent("end")) << "playback continues";
  }
}

TEST_F(MediaTracksTest, TextIsShownAtItsTime) {
  // The demuxer of GStreamer does not support ALAC.
  for (const char* name : {"tracks.mkv", "tracks.mp4", "tracks_alac.mkv"}) {
    SCOPED_TRACE(name);
    EngineHarness harness(true, {"en"});
    harness.load(TestMedia::shared().fileURL(name), pausedLoad());
    ASSERT_TRUE(harness.waitForEvent("pause"));
    EXPECT_EQ(textShown(harness), "");
    select(harness, "legible", group(harness, "legible")->options[0].identifier);
    EXPECT_TRUE(untilText(harness, "One & only\nsecond line"));
    seek(harness, 1.2);
    EXPECT_TRUE(untilText(harness, ""));
    seek(harness, 1.6);
    EXPECT_TRUE(untilText(harness, "Two"));
    seek(harness, 0);
    select(harness, "legible", group(harness, "legible")->options[1].identifier);
    EXPECT_TRUE(untilText(harness, "Bonjour"));
    select(harness, "legible", std::nullopt);
    EXPECT_TRUE(untilText(harness, ""));
  }
}

TEST_F(MediaTracksTest, SwitchingTextAndAudioNeverStopsPlayback) {
  EngineHarness harness(true, {"en"});
  harness.load(TestMedia::shared().fileURL("tracks.mkv"), MediaLoad{});
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  const auto texts = group(harness, "legible")->options;
  const auto sounds = group(harness, "audible")->options;
  for (int round = 0; round < 8; ++round) {
    SCOPED_TRACE(round);
    seek(harness, 0);
    select(harness, "legible", texts[static_cast<std::size_t>(round) % 2].identifier);
    select(harness, "audible", sounds[static_cast<std::size_t>(round + 1) % 2].identifier);
    select(harness, "legible", std::nullopt);
    const double at = harness.engine().position();
    ASSERT_TRUE(harness.waitUntil([&] { return harness.engine().position() > at + 0.1; }));
  }
  EXPECT_EQ(harness.count("fail"), 0);
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

TEST_F(MediaTracksTest, OptionsHaveThePropertiesInThePlaylist) {
  const TestMedia& media = TestMedia::shared();
  media.url("dated.m3u8");
  media.url("mapped.vtt");
  media.url("german.m3u8");
  EngineHarness harness;
  harness.load(media.url("offers.m3u8"), MediaLoad{});
  ASSERT_TRUE(harness.waitForEvent("end"));
  ASSERT_TRUE(group(harness, "legible"));
  std::string options;
  for (const auto& each : group(harness, "legible")->options) {
    options += each.displayName + " " + each.languageTag + (each.forced ? " forced" : "");
    for (const std::string& characteristic : each.characteristics) options += " " + characteristic;
    options += "\n";
  }
  EXPECT_EQ(options,
            "English en transcribes-spoken-dialog\nSchilder de forced\n"
            "Captions en transcribes-spoken-dialog\n");
  EXPECT_EQ(selected(harness, "legible"), "de") << "the language of the audio";
  const platform::Array log = harness.engine().accessLog();
  const auto* const entry = log[0].asDictionary();
  EXPECT_EQ(entry->get(platform::kAccessLogIndicatedBitrate), platform::Value(500000.0));
  EXPECT_GT(entry->number(platform::kAccessLogDownloadedDuration)->doubleValue(), 2.9);
  ASSERT_EQ(harness.engine().facts().loaded.size(), 1u);
  EXPECT_NEAR(harness.engine().facts().loaded[0].duration, 3, 0.1);
}

TEST_F(MediaTracksTest, ChaptersAreThoseOfTheContainer) {
  const TestMedia& media = TestMedia::shared();
  media.url("chapters.txt");
  const std::string options =
      "-i " + media.path("chapters.txt") + " -map 0 -map_chapters 3 -c:v libx264 ";
  const std::vector<platform::MediaChapter> named{{0, "One"}, {1, "Chapter 2"}, {2, "Three"}};
  const struct {
    const char* name;
    const char* options;
    std::vector<platform::MediaChapter> chapters;
  } cases[] = {{"chapters.mkv", "", named},
               {"listed.mp4", "", named},
               // Chapters without a title are not in the track.
               {"track.mp4", "-movflags disable_chpl", {{0, "Chapter 1"}, {2, "Chapter 2"}}}};
  for (const auto& the : cases) {
    SCOPED_TRACE(the.name);
    EngineHarness harness;
    harness.load(media.url(the.name, options + the.options), pausedLoad());
    ASSERT_TRUE(harness.waitForEvent("pause"));
    EXPECT_EQ(harness.engine().facts().chapters, the.chapters);
    EXPECT_EQ(harness.engine().facts().tracks.size(), 1u);
  }
}

TEST_F(MediaTracksTest, ForcedTextsFollowTheAudioUnlessTheUserHasSelectedOne) {
  EngineHarness harness;
  harness.load(TestMedia::shared().fileURL("tracks.mkv"), pausedLoad());
  ASSERT_TRUE(harness.waitForEvent("pause"));
  const auto sounds = group(harness, "audible")->options;
  const auto texts = group(harness, "legible")->options;
  EXPECT_EQ(selected(harness, "legible"), "fr");
  select(harness, "audible", sounds[0].identifier);
  EXPECT_EQ(selected(harness, "legible"), "none");
  select(harness, "audible", sounds[1].identifier);
  EXPECT_EQ(selected(harness, "legible"), "fr");
  select(harness, "legible", texts[0].identifier);
  select(harness, "audible", sounds[0].identifier);
  select(harness, "audible", sounds[1].identifier);
  EXPECT_EQ(selected(harness, "legible"), "en");
}

}  // namespace
}  // namespace testing_media
