// Texts of all formats, in a container and at URLs of their own.

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "media/output/SubtitleStyles.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaItemKeys.h"
#include "tests/media/MediaTracksFixture.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

std::string box(const std::string& type, const std::string& content) {
  const auto size = static_cast<char>(content.size() + 8);
  return std::string(3, '\0') + size + type + content;
}

void replaceIn(const std::string& path, const std::string& old, std::size_t before,
               const std::string& text) {
  std::ifstream input(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(input), {}};
  if (const auto at = content.find(old); at != std::string::npos)
    content.replace(at - before, old.size() + before, text);
  std::ofstream(path, std::ios::binary) << content;
}

/// Replaces `padding` at the end of a block by a block addition of the same size: the settings of a
/// cue.
void addCueSettings(const std::string& path, const std::string& text, const std::string& padding) {
  std::ifstream input(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(input), {}};
  const std::string addition = "\x75\xA1\x8A\xA6\x88\xA5\x86line:0";
  ASSERT_EQ(addition.size(), padding.size());
  const auto at = content.find(text + padding);
  if (at == std::string::npos) return;  // a kept file that was changed already
  content.replace(at + text.size(), padding.size(), addition);
  // The size of the block, before the track, the time and the flags.
  content[at - 5] = static_cast<char>(content[at - 5] - static_cast<char>(padding.size()));
  std::ofstream(path, std::ios::binary) << content;
}

/// Creates `name` with three timed text samples of one second each.
void makeTexts(const std::string& name, const std::string& options, const std::string& type,
               const std::vector<std::string>& samples) {
  const TestMedia& media = TestMedia::shared();
  std::ofstream script(media.path("samples.srt"));
  for (std::size_t index = 0; index < samples.size(); ++index)
    script << index + 1 << "\n00:00:0" << index << ",000 --> 00:00:0" << index + 1 << ",000\n"
           << std::string(samples[index].size() - 2, static_cast<char>('X' + index)) << "\n\n";
  script.close();
  media.url(name, "-i " + media.path("samples.srt") +
                      " -map 0 -map 3 -c:v libx264 -pix_fmt yuv420p -g 25 -c:s mov_text"
                      " -metadata:s:s:0 language=deu " +
                      options);
  for (const auto& each : std::filesystem::directory_iterator(media.path(""))) {
    if (!each.path().filename().string().starts_with(name.substr(0, name.find('.')))) continue;
    for (std::size_t index = 0; index < samples.size(); ++index)
      replaceIn(each.path(), std::string(samples[index].size() - 2, static_cast<char>('X' + index)),
                2, samples[index]);
    replaceIn(each.path(), "tx3g", 0, type);
    replaceIn(each.path(), "audio/mp4\" codecs=\"", 0, "application/mp4\" codecs=\"" + type);
    replaceIn(each.path(), "contentType=\"audio\"", 0, "contentType=\"text\"");
  }
}

TEST_F(MediaTracksTest, UnsupportedTextsDoNoHarm) {
  const TestMedia& media = TestMedia::shared();
  media.url("english.srt");
  media.url("unknown.mkv", "-i " + media.path("english.srt") +
                               " -map 0 -map 1 -map 3 -t 3 -c:v libx264 -c:a aac -c:s srt");
  replaceIn(media.path("unknown.mkv"), "S_TEXT/UTF8", 0, "S_TEXT/ELSE");
  for (const auto& [name, isOption] : {std::pair("pictured.mkv", true), {"unknown.mkv", false}}) {
    SCOPED_TRACE(name);
    EngineHarness harness;
    harness.load(media.fileURL(name));
    ASSERT_TRUE(harness.waitForEvent("play 1"));
    const auto* const texts = group(harness, "legible");
    ASSERT_EQ(texts != nullptr, isOption);
    if (texts) select(harness, "legible", texts->options.at(0).identifier);
    ASSERT_TRUE(harness.waitForEvent("end"));
    EXPECT_EQ(harness.count("fail"), 0);
  }
}

TEST_F(MediaTracksTest, ExternalTextsAreOptions) {
  const TestMedia& media = TestMedia::shared();
  EngineHarness harness(true, {"en"});
  TVSMediaItem* playing = nullptr;
  harness.load(media.fileURL("tracks.mkv"), pausedLoad(), [&](TVSMediaItem& item) {
    playing = &item;
    item.setMetadata(platform::kMediaItemAlternateTracks,
                     platform::Array{"nonsense", platform::Dictionary{{"src", "nothing"}},
                                     platform::Dictionary{{"src", media.fileURL("german.vtt")},
                                                          {"language", "deu"},
                                                          {"name", "Deutsch"}},
                                     platform::Dictionary{{"src", media.fileURL("missing.vtt")}}});
  });
  ASSERT_TRUE(harness.waitForEvent("pause"));
  const auto options = group(harness, "legible")->options;
  ASSERT_EQ(options.size(), 4u);
  EXPECT_EQ(options[2].displayName, "Deutsch");
  select(harness, "legible", options[0].identifier);
  EXPECT_TRUE(untilText(harness, "One & only\nsecond line"));
  select(harness, "legible", options[2].identifier);
  EXPECT_EQ(selected(harness, "legible"), "de");
  EXPECT_TRUE(untilText(harness, "Guten Tag"));
  const auto isTextEnabled = [&] {
    const auto& tracks = harness.engine().facts().tracks;
    return std::any_of(tracks.begin(), tracks.end(),
                       [](const auto& each) { return each.mediaType == "text" && each.enabled; });
  };
  EXPECT_FALSE(isTextEnabled());
  harness.call([](platform::MediaEngine& engine) { engine.setTrackEnabled(4, true); });
  EXPECT_TRUE(untilText(harness, "One & only\nsecond line")) << "the track replaces the text";
  EXPECT_TRUE(harness.waitUntil(isTextEnabled)) << "the facts follow the text";
  EXPECT_EQ(selected(harness, "legible"), "en");
  select(harness, "legible", options[2].identifier);
  EXPECT_TRUE(untilText(harness, "Guten Tag"));
  std::atomic<bool> isDrawnAgain = false;
  harness.frames().setWakeup([&] { isDrawnAgain = true; });
  playing->setMetadata(platform::kMediaItemSubtitleStyles,
                       platform::Array{"::cue(b) {color: red}"});
  EXPECT_TRUE(isDrawnAgain) << "the current cue has the new styles";
  media::SubtitleCue cue = *harness.frame()->subtitles->at(0).at(0);
  ASSERT_TRUE(harness.frame()->subtitles->styles());
  harness.frame()->subtitles->styles()->applyTo(cue);
  EXPECT_EQ(cue.spans.back().look.color, (platform::Color{1, 0, 0, 1}));
  seek(harness, 2.5);
  EXPECT_TRUE(untilText(harness, "Ende"));
  select(harness, "legible", options[3].identifier);
  EXPECT_TRUE(untilText(harness, "")) << "a missing text is empty and causes no failure";
  select(harness, "legible", options[0].identifier);
  seek(harness, 0.2);
  EXPECT_TRUE(untilText(harness, "One & only\nsecond line"));
  EXPECT_EQ(harness.count("fail"), 0);
}

TEST_F(MediaTracksTest, TextsOfEveryFormatAreShown) {
  const TestMedia& media = TestMedia::shared();
  media.url("dated.m3u8");
  media.url("mapped.vtt");
  media.url("german.m3u8");
  const struct {
    const char* name;
    const char* beside;  // an external text
    bool isAbove;        // the cue has a layout of its own
  } cases[] = {{"clip.mp4", "german.vtt", true},   {"clip.mp4", "german.srt", false},
               {"clip.mp4", "german.ttml", false}, {"ttml.mp4", nullptr, false},
               {"texts.m3u8", nullptr, true},      {"webvtt.mkv", nullptr, true},
               {"webvtt.webm", nullptr, true},     {"wvtt.mp4", nullptr, true},
               {"wvtt.mpd", nullptr, true},        {"stpp.mpd", nullptr, false},
               {"texts.mpd", nullptr, true},       {"settings.mkv", nullptr, true}};
  for (const char* made : {"german.vtt", "german.srt", "fragmented_silent.mp4"}) media.url(made);
  const auto withText = [&](const char* script, const std::string& codecs) {
    return "-i " + media.path(script) + " -map 0 -map 3 -metadata:s:s:0 language=deu " + codecs;
  };
  media.url("webvtt.mkv", withText("german.vtt", "-c:v libx264 -c:s copy"));
  media.url("webvtt.webm", withText("german.vtt", "-c:v libvpx -c:s copy"));
  const std::string padding(13, 'X');
  std::ofstream(media.path("padded.srt"))
      << "1\n00:00:00,000 --> 00:00:01,000\nGuten Tag" << padding
      << "\n\n2\n00:00:02,000 --> 00:00:02,900\nEnde\n";
  media.url("settings.mkv", withText("padded.srt", "-c:v libx264 -c:s srt"));
  using std::string_literals::operator""s;
  // Replaces two fields of the track entry.
  replaceIn(media.path("settings.mkv"), "\x88\x81\0\x86\x8bS_TEXT/UTF8"s, 0,
            "\x86\x8eS_TEXT/WEBVTT\0"s);
  addCueSettings(media.path("settings.mkv"), "Guten Tag", padding);
  const std::string dash = "-f dash -seg_duration 1 -init_seg_name ";
  const auto named = [](const std::string& name) {
    return "'" + name + "$RepresentationID$.mp4' -media_seg_name '" + name +
           "$RepresentationID$-$Number$.m4s'";
  };
  const std::vector<std::string> vtt{box("vttc", box("sttg", "line:0") + box("payl", "Guten Tag")),
                                     box("vtte", ""), box("vttc", box("payl", "Ende"))};
  const auto ttml = [](const std::string& cue) {
    return "<tt xmlns='http://www.w3.org/ns/ttml'><body><div>" + cue + "</div></body></tt>";
  };
  makeTexts("wvtt.mp4", "", "wvtt", vtt);
  makeTexts("wvtt.mpd", dash + named("wvtt"), "wvtt", vtt);
  makeTexts("stpp.mpd", dash + named("stpp"), "stpp",
            {ttml("<p begin='0s' end='1s'>Guten Tag</p>"), ttml(""),
             ttml("<p begin='2s' end='2.9s'>Ende</p>")});
  for (const auto& the : cases) {
    SCOPED_TRACE(std::string(the.name) + (the.beside ? the.beside : ""));
    EngineHarness harness;
    harness.load(media.url(the.name), pausedLoad(), [&](TVSMediaItem& item) {
      if (the.beside)
        item.setMetadata(
            platform::kMediaItemAlternateTracks,
            platform::Array{platform::Dictionary{
                {"src", media.url(the.beside)}, {"language", "de"}, {"name", "Deutsch"}}});
    });
    ASSERT_TRUE(harness.waitForEvent("pause"));
    ASSERT_TRUE(group(harness, "legible"));
    const auto options = group(harness, "legible")->options;
    ASSERT_EQ(options.size(), 1u);
    const bool isNamed = the.beside || std::string(the.name).starts_with("texts");
    EXPECT_EQ(options[0].displayName, isNamed ? "Deutsch" : "German");
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
