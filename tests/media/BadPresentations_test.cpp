// Invalid playlists and manifests, hand-made and random. Many of them crashed a demuxer or made it
// loop.

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

/// How long a live item may neither play nor fail. The time-out for silence is 15 s.
constexpr std::chrono::seconds kOutcomeBound{20};
constexpr std::chrono::seconds kPatience{3};

std::string playlistOf(const std::string& lines) {
  return "#EXTM3U\n#EXT-X-VERSION:9\n#EXT-X-TARGETDURATION:1\n" + lines;
}
std::string closed(const std::string& lines) { return playlistOf(lines) + "#EXT-X-ENDLIST\n"; }

const std::string kTemplate =
    "<SegmentTemplate timescale=\"12800\" duration=\"12800\" startNumber=\"0\""
    " initialization=\"v_init.mp4\" media=\"v_$Number$.m4s\"/>";

std::string periodOf(const std::string& content, const std::string& type = "video/mp4") {
  return "<Period><AdaptationSet mimeType=\"" + type +
         "\"><Representation id=\"v\" bandwidth=\"1\" codecs=\"avc1.42c00d\">" + content +
         "</Representation></AdaptationSet></Period>";
}
std::string manifestOf(const std::string& content,
                       const std::string& attributes = " mediaPresentationDuration=\"PT3S\"") {
  return "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\"" +
         attributes + ">" + content + "</MPD>";
}
std::string templateOf(const std::string& attributes, const std::string& content = "") {
  return manifestOf(periodOf("<SegmentTemplate initialization=\"v_init.mp4\" " + attributes + ">" +
                             content + "</SegmentTemplate>"));
}
std::string timelineOf(const std::string& lines) {
  return templateOf("timescale=\"12800\" media=\"v_0.m4s\"",
                    "<SegmentTimeline>" + lines + "</SegmentTimeline>");
}
std::string repeated(const std::string& text, std::size_t times) {
  std::string result;
  result.reserve(text.size() * times);
  while (times-- > 0) result += text;
  return result;
}

std::string variablesThatGrow() {
  std::string lines = "#EXT-X-DEFINE:NAME=\"v0\",VALUE=\"0123456789\"\n";
  for (int level = 1; level < 40; ++level) {
    const std::string last = "{$v" + std::to_string(level - 1) + "}";
    lines +=
        "#EXT-X-DEFINE:NAME=\"v" + std::to_string(level) + "\",VALUE=\"" + last + last + "\"\n";
  }
  return closed(lines + "#EXTINF:1,\n{$v39}\n");
}

std::string entitiesThatGrow() {
  std::string entities = "<!ENTITY e0 \"0123456789\">";
  for (int level = 1; level < 30; ++level) {
    const std::string last = "&e" + std::to_string(level - 1) + ";";
    entities += "<!ENTITY e" + std::to_string(level) + " \"" + last + last + "\">";
  }
  return "<!DOCTYPE MPD [" + entities + "]><MPD type=\"static\"><BaseURL>&e29;</BaseURL></MPD>";
}

struct BadPresentation {
  const char* name;  ///< file name
  std::string text;
};

std::vector<BadPresentation> badPresentations() {
  const std::string segment = "#EXTINF:1,\nts_0.ts\n";
  const std::string map = "#EXT-X-MAP:URI=\"v_init.mp4\"";
  return {
      {"nothing.m3u8", "#EXTM3U\n"},
      {"no_segment.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n"},
      {"no_segment_closed.m3u8", closed("#EXTINF:1,\n")},
      {"no_duration.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:0\n#EXTINF:\nts_0.ts\n"},
      {"of_zero.m3u8", closed("#EXTINF:0,\nts_0.ts\n#EXTINF:0,\nts_1.ts\n")},
      {"not_a_number.m3u8", closed("#EXTINF:nan,\nts_0.ts\n#EXTINF:inf,\nts_1.ts\n")},
      {"negative.m3u8", closed("#EXTINF:-5,\nts_0.ts\n" + segment)},
      {"huge.m3u8", closed("#EXTINF:1e300,\nts_0.ts\n#EXTINF:1e300,\nts_1.ts\n")},
      {"target_of_2_64.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:18446744073709551616\n" + segment},
      {"last_number.m3u8",
       closed("#EXT-X-MEDIA-SEQUENCE:18446744073709551615\n" + segment + segment)},
      {"ranges.m3u8",
       closed("#EXTINF:1,\n#EXT-X-BYTERANGE:18446744073709551615@18446744073709551615\n"
              "ts_0.ts\n#EXTINF:1,\n#EXT-X-BYTERANGE:0@0\nts_0.ts\n" +
              segment)},
      {"skips_at_once.m3u8", playlistOf("#EXT-X-SKIP:SKIPPED-SEGMENTS=4000000000\n" + segment)},
      {"parts.m3u8", playlistOf("#EXT-X-PART-INF:PART-TARGET=0\n"
                                "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=nan\n"
                                "#EXT-X-PART:DURATION=0,URI=\"ts_0.ts\"\n"
                                "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"none.ts\"\n") +
                         "#EXT-X-ENDLIST\n"},
      {"names_itself.m3u8", closed("#EXTINF:1,\nnames_itself.m3u8\n")},
      {"names_itself_as_sound.m3u8",
       "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"s\",NAME=\"S\",URI=\"names_itself_as_sound."
       "m3u8\"\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"s\"\nmedia_picture.m3u8\n"},
      {"names_a_manifest.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\ndash_timeline.mpd\n"},
      {"variables.m3u8", variablesThatGrow()},
      {"pages.m3u8", closed("#EXTINF:1,\nhls_ts.m3u8\n#EXTINF:1,\npage.ts\n#EXTINF:1,\npage.ts\n")},
      {"empty.m3u8", closed("#EXTINF:1,\nempty.ts\n#EXTINF:1,\nempty.ts\n")},
      {"cut_off.m3u8", closed("#EXTINF:1,\n#EXT-X-BYTERANGE:1000@7\nts_0.ts\n" + segment)},
      {"another_codec.m3u8",
       closed(map + "\n#EXTINF:1,\nv_0.m4s\n#EXTINF:1,\nh_1.m4s\n#EXTINF:1,\nts_2.ts\n")},
      {"no_moof.m3u8", closed(map + "\n#EXTINF:1,\nv_init.mp4\n#EXTINF:1,\nv_init.mp4\n")},
      {"no_map.m3u8", closed("#EXTINF:1,\nv_0.m4s\n#EXTINF:1,\nv_1.m4s\n")},
      {"lost_map.m3u8", closed("#EXT-X-MAP:URI=\"none.mp4\"\n#EXTINF:1,\nv_0.m4s\n")},
      {"short_key.m3u8",
       closed("#EXT-X-KEY:METHOD=AES-128,URI=\"page.ts\"\n#EXTINF:1,\nsecret_0.ts\n")},
      {"lost_key.m3u8",
       closed("#EXT-X-KEY:METHOD=AES-128,URI=\"none.bin\"\n#EXTINF:1,\nsecret_0.ts\n")},
      {"wrong_key.m3u8", closed("#EXT-X-KEY:METHOD=AES-128,URI=\"key.bin\"\n" + segment + segment)},
      {"unknown_key.m3u8", closed("#EXT-X-KEY:METHOD=ROT13,URI=\"key.bin\"\n" + segment)},
      {"discontinuities.m3u8", closed(repeated("#EXT-X-DISCONTINUITY\n", 100000) + segment)},
      {"other_scheme.m3u8",
       closed("#EXTINF:1,\nfile:///etc/passwd\n#EXTINF:1,\n file:///etc/passwd\n")},
      {"redirected.m3u8", closed("#EXTINF:1,\n/redirect?file:///etc/passwd\n#EXTINF:1,\n"
                                 "/redirect?gopher://127.0.0.1/\n")},

      {"nothing.mpd", manifestOf("")},
      {"no_set.mpd", manifestOf("<Period/>")},
      {"no_end.mpd", "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\"><Period"},
      {"no_moof.mpd", templateOf("duration=\"1\" media=\"v_init.mp4\"")},
      {"octet_stream.mpd", manifestOf(periodOf(kTemplate, "application/octet-stream"))},
      {"timescale_0.mpd", templateOf("timescale=\"0\" duration=\"1\" media=\"v_$Number$.m4s\"")},
      {"timescale_nan.mpd",
       templateOf("timescale=\"nan\" duration=\"nan\" media=\"v_$Number$.m4s\"")},
      {"timescale_2_32.mpd",
       templateOf("timescale=\"4294967296\" duration=\"1\" media=\"v_$Number$.m4s\"")},
      {"duration_0.mpd", templateOf("duration=\"0\" media=\"v_$Number$.m4s\"")},
      {"duration_tiny.mpd", templateOf("duration=\"1e-12\" media=\"v_$Number$.m4s\"")},
      {"duration_2_32.mpd", templateOf("duration=\"4294967296\" media=\"v_$Number$.m4s\"")},
      {"width.mpd", templateOf("duration=\"1\" media=\"v_$Number%0999999999d$.m4s\"")},
      {"number.mpd",
       templateOf("duration=\"1\" startNumber=\"18446744073709551615\" media=\"v_$Number$.m4s\"")},
      {"repeats.mpd", timelineOf("<S t=\"0\" d=\"1\" r=\"4294967295\"/>")},
      {"repeats_nothing.mpd",
       timelineOf("<S t=\"0\" d=\"0\" r=\"-1\"/><S d=\"0\" r=\"1000000000\"/>")},
      {"far_times.mpd",
       timelineOf("<S t=\"18446744073709551615\" d=\"18446744073709551615\"/><S d=\"1\"/>")},
      {"backwards.mpd", timelineOf("<S t=\"25600\" d=\"12800\"/><S t=\"0\" d=\"12800\"/>")},
      {"lasts_nothing.mpd", manifestOf(periodOf(kTemplate), " mediaPresentationDuration=\"PT0S\"")},
      {"lasts_nan.mpd", manifestOf(periodOf(kTemplate), " mediaPresentationDuration=\"PTnanS\"")},
      {"lasts_for_ever.mpd",
       manifestOf(periodOf("<SegmentTemplate duration=\"1\" timescale=\"1000000\" initialization="
                           "\"v_init.mp4\" media=\"none_$Number$.m4s\"/>"),
                  " mediaPresentationDuration=\"P9999999999DT1S\"")},
      {"periods.mpd",
       manifestOf(repeated("<Period duration=\"PT0S\"/>", 20000) + periodOf(kTemplate))},
      {"index_beyond.mpd",
       manifestOf(periodOf("<BaseURL>v_indexed.mp4</BaseURL>"
                           "<SegmentBase indexRange=\"99999999-999999999\"/>"))},
      {"index_reversed.mpd", manifestOf(periodOf("<BaseURL>v_indexed.mp4</BaseURL>"
                                                 "<SegmentBase indexRange=\"900-100\"/>"))},
      {"index_of_page.mpd", manifestOf(periodOf("<BaseURL>hls_ts.m3u8</BaseURL>"
                                                "<SegmentBase indexRange=\"0-100\"/>"))},
      {"file_of_page.mpd", manifestOf(periodOf("<BaseURL>page.ts</BaseURL>"))},
      {"entities.mpd", entitiesThatGrow()},
      {"entities_unfinished.mpd", "<MPD><BaseURL>" + repeated("&", 1000000) + "</BaseURL></MPD>"},
      {"deep.mpd", "<MPD>" + repeated("<a>", 300000)},
      {"attributes.mpd", "<MPD " + repeated("a='b' ", 300000) + "/>"},
      {"links.mpd",
       manifestOf("<Period xmlns:xlink=\"http://www.w3.org/1999/xlink\" xlink:href=\"links.mpd\""
                  " xlink:actuate=\"onLoad\"/>")},
      {"inherited.mpd", manifestOf("<Period><SegmentList duration=\"1\">" +
                                   repeated("<SegmentURL media=\"v_0.m4s\"/>", 20000) +
                                   "</SegmentList><AdaptationSet mimeType=\"video/mp4\">" +
                                   repeated("<Representation id=\"v\" bandwidth=\"1\"/>", 20000) +
                                   "</AdaptationSet></Period>")},
      {"smooth.mpd",
       "<SmoothStreamingMedia Duration=\"30000000\"><StreamIndex Type=\"video\" Url=\""
       "v_0.m4s\"><c d=\"30000000\"/></StreamIndex></SmoothStreamingMedia>"},
  };
}

class BadPresentations : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    TestMedia::shared().presentation("");
    write("page.ts", "<!DOCTYPE html><html><body>Please log in</body></html>");
  }
  static void write(const std::string& name, const std::string& text) {
    std::ofstream(TestMedia::shared().path("presentations/" + name)) << text;
  }
  static std::string read(const std::string& name) {
    std::ifstream file(TestMedia::shared().path("presentations/" + name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// Waits until the item plays or has failed. A live item may wait for segments without end: it is
  /// left after `patience`.
  void load(const std::string& url, const std::function<bool()>& isEnough,
            std::optional<std::chrono::seconds> patience = {}) {
    std::printf("[  plays   ] %s\n", url.c_str());  // the last line shows what crashed
    std::fflush(stdout);
    harness.load(url);
    const bool ends = harness.waitUntil([&] { return isEnough() || harness.error(); },
                                        patience.value_or(kOutcomeBound));
    EXPECT_TRUE(ends || patience) << url;
    EXPECT_TRUE(!harness.error() || !harness.error()->domain.empty()) << url;
  }
  bool isReady() const { return harness.count("ready") > 0 || harness.count("end") > 0; }
  void playGoodOne() {
    harness.load(TestMedia::shared().presentation("hls_ts.m3u8"));
    EXPECT_TRUE(harness.waitUntil([&] { return harness.count("play 1") > 0 || harness.error(); },
                                  kOutcomeBound));
    EXPECT_FALSE(harness.error()) << harness.error()->description();
  }

  EngineHarness harness;
};

TEST_F(BadPresentations, DoNoHarm) {
  for (const BadPresentation& each : badPresentations()) {
    const std::string name = std::string("bad_") + each.name;
    write(name, each.text);
    const bool isLive =
        each.text.starts_with("#EXTM3U") && !each.text.ends_with("#EXT-X-ENDLIST\n");
    load(
        TestMedia::shared().presentation(name), [&] { return isReady(); },
        isLive ? std::optional(kPatience) : std::nullopt);
    playGoodOne();
  }
}

TEST_F(BadPresentations, DoNoHarmAfterAReload) {
  for (const char* name :
       {"shrinks.m3u8", "jumps_back.m3u8", "jumps_far.m3u8", "becomes_page.m3u8",
        "becomes_manifest.m3u8", "becomes_master.m3u8", "never_grows.m3u8", "changes_key.m3u8",
        "has_nothing.mpd", "loses_period.mpd", "lasts_nothing.mpd", "is_of_the_future.mpd",
        "is_of_long_ago.mpd", "moves_its_start.mpd", "becomes_playlist.mpd", "names_itself.mpd",
        "is_patched_wrongly.mpd"}) {
    load(
        TestMedia::shared().presentation(name, true),
        [&] {
          return harness.count("end") > 0 || harness.count("stall") > 0 ||
                 harness.engine().position() > 2;
        },
        kPatience);
    playGoodOne();
  }
}

/// Makes one to four changes: replaces a byte or a number; removes, repeats or moves a part.
std::string mutated(std::string text, std::mt19937& chance) {
  const auto below = [&](std::size_t limit) { return chance() % std::max<std::size_t>(1, limit); };
  static const std::string kNumbers[] = {
      "0", "-1", "nan", "1e308", "4294967296", "18446744073709551615", "", "PT0S"};
  for (std::size_t change = 1 + below(4); change > 0 && !text.empty(); --change) {
    const std::size_t at = below(text.size());
    const std::size_t length = std::min(text.size() - at, 1 + below(80));
    const std::string stretch = text.substr(at, length);
    switch (below(6)) {
      case 0:
        text[at] = static_cast<char>(chance() % 256);
        break;
      case 1:
        text.erase(at, length);
        break;
      case 2:
        text.insert(at, repeated(stretch, 1 + below(20)));
        break;
      case 3:
        text.erase(at, length).insert(below(text.size()), stretch);
        break;
      case 4:
        text.resize(at);
        break;
      default: {
        const std::size_t digit = text.find_first_of("0123456789", at);
        if (digit == text.npos) break;
        const std::size_t end = text.find_first_not_of("0123456789.", digit);
        text.replace(digit, end - digit, kNumbers[below(std::size(kNumbers))]);
      }
    }
  }
  return text;
}

TEST_F(BadPresentations, WithRandomChangesDoNoHarm) {
  constexpr int kChanges = 25;  // for each file
  for (const std::string seed :
       {"hls_sounds.m3u8", "hls_aes_numbers.m3u8", "dash_timeline.mpd", "dash_index.mpd"}) {
    std::mt19937 chance(1);
    const std::string good = read(seed);
    for (int number = 0; number < kChanges; ++number) {
      const std::string name = "chance_" + std::to_string(number) + "_" + seed;
      write(name, mutated(good, chance));
      load(TestMedia::shared().presentation(name), [&] { return isReady(); });
    }
    playGoodOne();
  }
}

}  // namespace
}  // namespace testing_media
