// Tracks, options and texts of real media.

#include <algorithm>

#include <gtest/gtest.h>

#include "platform/media/MediaItemKeys.h"
#include "platform/media/MediaLogKeys.h"
#include "tests/box/media/EngineHarness.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::MediaLoad;
using platform::MediaSelectionGroup;

MediaLoad paused() {
  MediaLoad load;
  load.playing = false;
  return load;
}

class MediaTracksTest : public ::testing::Test {
 protected:
  static const MediaSelectionGroup* group(EngineHarness& harness, std::string_view name) {
    const auto& groups = harness.engine().facts().selectionGroups;
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [&](const auto& each) { return each.characteristic == name; });
    return found == groups.end() ? nullptr : &*found;
  }
  static std::string selected(EngineHarness& harness, std::string_view name) {
    const auto* found = group(harness, name);
    return found && found->selected ? found->options[*found->selected].languageTag : "none";
  }
  static void select(EngineHarness& harness, const std::string& name,
                     const std::optional<std::string>& identifier) {
    const int before = harness.count("select " + name);
    harness.call([&](box::MediaEngine& engine) { engine.selectOption(name, identifier); });
    ASSERT_TRUE(harness.untilTold("select " + name, before));
  }
  static void seek(EngineHarness& harness, double seconds) {
    const int before = harness.count("seek");
    harness.call([&](box::MediaEngine& engine) { engine.seek(seconds); });
    ASSERT_TRUE(harness.untilTold("seek", before));
  }
  /// What stands over the picture that is shown.
  static std::string textShown(EngineHarness& harness) {
    const auto frame = harness.frame();
    return frame && frame->subtitles ? frame->subtitles->textAt(frame->time) : "";
  }
  static bool untilText(EngineHarness& harness, const std::string& text) {
    return harness.until([&] { return textShown(harness) == text; });
  }
};

TEST_F(MediaTracksTest, NumbersAndOptionsAreThoseOfTheContainer) {
  for (const char* name : {"tracks.mkv", "tracks.mp4"}) {
    SCOPED_TRACE(name);
    EngineHarness harness;
    harness.load(TestMedia::shared().fileURL(name), paused());
    ASSERT_TRUE(harness.untilTold("pause"));
    const auto& facts = harness.engine().facts();
    std::string tracks;
    for (const auto& each : facts.tracks)
      tracks += std::to_string(each.trackID) + each.mediaType + " ";
    EXPECT_EQ(tracks, "1video 2audio 3audio 4text 5text ");
    EXPECT_EQ(group(harness, "visual"), nullptr) << "one picture is no choice";
    ASSERT_NE(group(harness, "legible"), nullptr);
    const auto texts = group(harness, "legible")->options;
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0].languageTag, "en");
    EXPECT_EQ(texts[0].displayName, "English");
    EXPECT_FALSE(texts[0].forced);
    EXPECT_EQ(texts[1].languageTag, "fr");
    EXPECT_EQ(selected(harness, "legible"), std::string(name) == "tracks.mkv" ? "fr" : "none")
        << "forced, as the sound's language is";
  }
}

TEST_F(MediaTracksTest, LanguagesChooseAtTheStart) {
  const struct {
    const char* name;
    std::vector<std::string> languages;
    std::string sound;
    std::string text;
  } cases[] = {
      {"tracks.mkv", {}, "fr", "fr"},  // the author's choice, and the text that is forced there
      {"tracks.mkv", {"en-GB"}, "en", "none"}, {"tracks.mkv", {"de", "fr-CA", "en"}, "fr", "fr"},
      {"tracks.mp4", {"en"}, "en", "none"},    {"languages.mp4", {"xx"}, "en", "none"},
  };
  for (const auto& the : cases) {
    SCOPED_TRACE(std::string(the.name) + " " + (the.languages.empty() ? "" : the.languages[0]));
    EngineHarness harness(true, the.languages);
    harness.load(TestMedia::shared().fileURL(the.name), paused());
    ASSERT_TRUE(harness.untilTold("pause"));
    EXPECT_EQ(harness.told(), (std::vector<std::string>{"ready", "pause"}));
    EXPECT_EQ(selected(harness, "audible"), the.sound);
    EXPECT_EQ(selected(harness, "legible"), the.text);
    seek(harness, 2.5);
    harness.call([](box::MediaEngine& engine) { engine.play(1); });
    ASSERT_TRUE(harness.untilTold("end")) << "plays on";
  }
}

TEST_F(MediaTracksTest, TextIsShownByTheTimeOfThePicture) {
  for (const char* name : {"tracks.mkv", "tracks.mp4"}) {
    SCOPED_TRACE(name);
    EngineHarness harness(true, {"en"});
    harness.load(TestMedia::shared().fileURL(name), paused());
    ASSERT_TRUE(harness.untilTold("pause"));
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

TEST_F(MediaTracksTest, SwitchingTextAndSoundNeverStops) {
  EngineHarness harness(true, {"en"});
  harness.load(TestMedia::shared().fileURL("tracks.mkv"), MediaLoad{});
  ASSERT_TRUE(harness.untilTold("play 1"));
  const auto texts = group(harness, "legible")->options;
  const auto sounds = group(harness, "audible")->options;
  for (int round = 0; round < 8; ++round) {
    SCOPED_TRACE(round);
    seek(harness, 0);
    select(harness, "legible", texts[static_cast<std::size_t>(round) % 2].identifier);
    select(harness, "audible", sounds[static_cast<std::size_t>(round + 1) % 2].identifier);
    select(harness, "legible", std::nullopt);
    const double at = harness.engine().position();
    ASSERT_TRUE(harness.until([&] { return harness.engine().position() > at + 0.1; }));
  }
  EXPECT_EQ(harness.count("fail"), 0);
  EXPECT_EQ(harness.misplaced(), 0);
}

TEST_F(MediaTracksTest, PlaylistsSayWhatStreamsAre) {
  const TestMedia& media = TestMedia::shared();
  media.url("dated.m3u8");
  media.url("mapped.vtt");
  media.url("german.m3u8");
  EngineHarness harness;
  harness.load(media.url("offers.m3u8"), MediaLoad{});
  ASSERT_TRUE(harness.untilTold("end"));
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
  EXPECT_EQ(selected(harness, "legible"), "de") << "as the sound is";
  const platform::Array log = harness.engine().accessLog();
  const auto* const entry = log[0].asDictionary();
  EXPECT_EQ(entry->get(platform::kAccessLogIndicatedBitrate), platform::Value(500000.0));
  EXPECT_GT(entry->number(platform::kAccessLogDownloadedDuration)->doubleValue(), 2.9);
  ASSERT_EQ(harness.engine().facts().loaded.size(), 1u);
  EXPECT_NEAR(harness.engine().facts().loaded[0].duration, 3, 0.1);
}

TEST_F(MediaTracksTest, ForcedTextsFollowTheSoundUnlessOneIsChosen) {
  EngineHarness harness;
  const TestMedia& media = TestMedia::shared();
  media.url("chapters.txt");
  media.url("tracks.mkv");
  media.url("chapters.mkv", "-i " + media.path("tracks.mkv") + " -i " + media.path("chapters.txt") +
                                " -map 3 -map_metadata 3 -map_chapters 4 -c copy");
  harness.load(media.fileURL("chapters.mkv"), paused());
  ASSERT_TRUE(harness.untilTold("pause"));
  EXPECT_EQ(harness.engine().facts().chapters,
            (std::vector<platform::MediaChapter>{{0, "One"}, {1, "Chapter 2"}}));
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

TEST_F(MediaTracksTest, BrokenPicturesOfTextDoNoHarm) {
  EngineHarness harness;
  harness.load(TestMedia::shared().fileURL("pictured.mkv"));
  ASSERT_TRUE(harness.untilTold("play 1"));
  EXPECT_EQ(harness.engine().facts().tracks.size(), 3u);
  select(harness, "legible", group(harness, "legible")->options.at(0).identifier);
  ASSERT_TRUE(harness.untilTold("end"));
  EXPECT_EQ(harness.count("fail"), 0);
}

TEST_F(MediaTracksTest, TextsBesideTheMediaAreOptionsToo) {
  const TestMedia& media = TestMedia::shared();
  EngineHarness harness(true, {"en"});
  harness.load(media.fileURL("tracks.mkv"), paused(), [&](TVSMediaItem& item) {
    item.setMetadata(platform::kMediaItemAlternateTracks,
                     platform::Array{"nonsense", platform::Dictionary{{"src", "nothing"}},
                                     platform::Dictionary{{"src", media.fileURL("german.vtt")},
                                                          {"language", "deu"},
                                                          {"name", "Deutsch"}},
                                     platform::Dictionary{{"src", media.fileURL("missing.vtt")}}});
  });
  ASSERT_TRUE(harness.untilTold("pause"));
  const auto options = group(harness, "legible")->options;
  ASSERT_EQ(options.size(), 4u);
  EXPECT_EQ(options[2].displayName, "Deutsch");
  select(harness, "legible", options[0].identifier);
  EXPECT_TRUE(untilText(harness, "One & only\nsecond line"));
  select(harness, "legible", options[2].identifier);
  EXPECT_EQ(selected(harness, "legible"), "de");
  EXPECT_TRUE(untilText(harness, "Guten Tag"));
  seek(harness, 2.5);
  EXPECT_TRUE(untilText(harness, "Ende"));
  select(harness, "legible", options[3].identifier);
  EXPECT_TRUE(untilText(harness, "")) << "what is not there shows nothing, and fails nothing";
  select(harness, "legible", options[0].identifier);
  seek(harness, 0.2);
  EXPECT_TRUE(untilText(harness, "One & only\nsecond line"));
  EXPECT_EQ(harness.count("fail"), 0);
}

TEST_F(MediaTracksTest, TextsOfEveryFormComeThroughTheRelay) {
  const TestMedia& media = TestMedia::shared();
  media.url("dated.m3u8");
  media.url("mapped.vtt");
  media.url("german.m3u8");
  const struct {
    const char* name;
    const char* beside;  // the text has a URL of its own
    bool isAbove;        // and a place of its own
  } cases[] = {{"clip.mp4", "german.vtt", true},
               {"clip.mp4", "german.srt", false},
               {"clip.mp4", "german.ttml", false},
               {"ttml.mp4", nullptr, false},
               {"texts.m3u8", nullptr, true}};
  for (const auto& the : cases) {
    SCOPED_TRACE(std::string(the.name) + (the.beside ? the.beside : ""));
    EngineHarness harness;
    harness.load(media.url(the.name), paused(), [&](TVSMediaItem& item) {
      if (the.beside)
        item.setMetadata(
            platform::kMediaItemAlternateTracks,
            platform::Array{platform::Dictionary{
                {"src", media.url(the.beside)}, {"language", "de"}, {"name", "Deutsch"}}});
    });
    ASSERT_TRUE(harness.untilTold("pause"));
    ASSERT_TRUE(group(harness, "legible"));
    const auto options = group(harness, "legible")->options;
    ASSERT_EQ(options.size(), 1u);
    EXPECT_EQ(options[0].displayName == "Deutsch", std::string(the.name) != "ttml.mp4");
    EXPECT_EQ(options[0].languageTag, "de");
    EXPECT_EQ(textShown(harness), "");
    select(harness, "legible", options[0].identifier);
    seek(harness, 0.4);
    ASSERT_TRUE(untilText(harness, "Guten Tag")) << textShown(harness);
    EXPECT_EQ(harness.frame()->subtitles->at(0.4).at(0)->layout.line == 0, the.isAbove);
    seek(harness, 2.5);
    EXPECT_TRUE(untilText(harness, "Ende")) << textShown(harness);
    select(harness, "legible", std::nullopt);
    EXPECT_TRUE(untilText(harness, ""));
  }
}

}  // namespace
}  // namespace testing_media
