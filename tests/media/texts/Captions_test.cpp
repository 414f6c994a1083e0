// CEA-608 captions as byte pairs, and captions that are embedded in a clip.

#include <bit>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string_view>

#include <gtest/gtest.h>

#include "media/captions/Cea608Decoder.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using Pairs = std::vector<std::pair<int, int>>;

std::uint8_t withParity(int byte) {
  const auto bits = static_cast<std::uint8_t>(byte);
  return std::popcount(bits) % 2 == 0 ? static_cast<std::uint8_t>(bits | 0x80) : bits;
}

void command(Pairs& pairs, int first, int second) { pairs.insert(pairs.end(), 2, {first, second}); }

/// "{14 20}" is a control code, which is sent twice. The rest are characters, sent in pairs.
Pairs pairsOf(const std::string& script) {
  Pairs pairs;
  for (std::size_t at = 0; at < script.size();) {
    if (script[at] == '{') {
      command(pairs, std::stoi(script.substr(at + 1, 2), nullptr, 16),
              std::stoi(script.substr(at + 4, 2), nullptr, 16));
      at += 7;
    } else {
      const bool isPair = at + 1 < script.size() && script[at + 1] != '{';
      pairs.emplace_back(script[at], isPair ? script[at + 1] : 0);
      at += isPair ? 2 : 1;
    }
  }
  return pairs;
}

TEST(Cea608Decoder, DecodesControlCodesAndCharacters) {
  using Decoder = media::Cea608Decoder;
  const struct {
    const char* what;
    std::string script;
    std::string shown;  // at each change, separated by bars
    Decoder::Channel channel = Decoder::Channel::First;
  } cases[] = {
      {"pop-on with two rows, then erased", "{14 20}{14 2e}{14 40}Hello{14 70}you{14 2f}{14 2c}",
       "Hello\nyou|"},
      {"no output before a page is displayed", "lost{14 20}Hello", ""},
      {"several pages", "{14 20}{14 2e}One{14 2f}{14 20}{14 2e}Two{14 2f}", "One|Two"},
      {"paint-on", "{14 29}{14 70}ABCD{14 21}E", "AB|ABCD|ABC|ABCE"},
      {"roll-up, two rows", "{14 25}{14 2d}ab{14 2d}cd{14 2d}ef", "ab|ab\ncd|cd|cd\nef"},
      {"roll-up that moves up", "{14 25}{14 2d}ab{14 2d}cd{11 40}", "ab|ab\ncd"},
      {"indents and tabs", "{14 29}{14 54}ab{17 22}cd", "ab|ab  cd"},
      {"delete to end of row", "{14 29}{14 70}abcd{14 70}{14 24}", "ab|abcd|"},
      {"basic characters", "{14 20}*'\\^_`{14 2f}", "\u00e1\u2019\u00e9\u00ed\u00f3\u00fa"},
      {"special characters and mid-row codes", "{14 20}{11 37}{11 2e}a{14 2f}", "\u266a a"},
      {"extended characters replace standard ones", "{14 20}aE{12 21}u{13 34}{14 2f}",
       "a\u00c9\u00df"},
      {"parity errors", std::string("{14 29}") + "\x01\x01", ""},
      {"ignores the other channel", "{14 29}ab{1c 29}xy{14 29}cd", "ab|abcd"},
      {"decodes the second channel", "{14 29}ab{1c 29}xy{14 29}cd", "xy", Decoder::Channel::Second},
      {"ignores text mode", "{14 2a}ab{14 29}cd", "cd"},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    std::string shown;
    double last = -1;
    bool isFirst = true;
    Decoder decoder(
        [&](media::SubtitleCue cue) {
          shown += (isFirst ? "" : "|") + cue.text;
          isFirst = false;
          EXPECT_GT(cue.start, last);
          last = cue.start;
        },
        testCase.channel);
    double seconds = 0;
    for (const auto& [first, second] : pairsOf(testCase.script))
      decoder.feed(seconds += 0.04, withParity(first), withParity(second));
    EXPECT_EQ(shown, testCase.shown);
  }
}

TEST(Cea608Decoder, SurvivesEveryBytePair) {
  std::size_t longest = 0;
  media::Cea608Decoder decoder(
      [&](media::SubtitleCue cue) { longest = std::max(longest, cue.text.size()); });
  for (const int begin : {0x20, 0x25, 0x27, 0x29})
    for (int pair = 0; pair < 0x10000; pair += 3) {
      if (pair % 0x80 < 3) decoder.feed(0, withParity(0x14), withParity(begin));
      decoder.feed(0, static_cast<std::uint8_t>(pair >> 8), static_cast<std::uint8_t>(pair));
    }
  EXPECT_GT(longest, 0u);
  EXPECT_LE(longest, 15u * (32u * 3u + 1u));
}

/// How pictures of a codec carry captions.
struct CaptionedCodec {
  const char* demuxer;
  const char* encoder;  // options of ffmpeg
  const char* clip;     // the file name
  std::string begin;    // before the size of the captions
  bool (*isFirstSlice)(std::string_view unit);
};

int byteAt(std::string_view bytes, std::size_t at) {
  return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

const std::string kCaptionMark("\xb5\0\x31GA94\3", 8);
const CaptionedCodec kCaptionedH264{"h264", "libx264 -bf 0 -g 25 -pix_fmt yuv420p", "captioned.mp4",
                                    std::string("\0\0\0\1\6\4", 6), [](std::string_view unit) {
                                      const int type = byteAt(unit, 0) & 31;
                                      return (type == 1 || type == 5) && byteAt(unit, 1) >= 0x80;
                                    }};
const CaptionedCodec kCaptionedHEVC{
    "hevc", "libx265 -x265-params log-level=error:bframes=0:keyint=25 -pix_fmt yuv420p",
    "captioned_hevc.mp4", std::string("\0\0\0\1\x4e\1\4", 7), [](std::string_view unit) {
      return (byteAt(unit, 0) >> 1 & 63) < 32 && byteAt(unit, 2) >= 0x80;
    }};
const CaptionedCodec kCaptionedMPEG2{"mpegvideo", "mpeg2video -bf 0 -g 25", "captioned.ts",
                                     std::string("\0\0\1\xb2", 4),
                                     [](std::string_view unit) { return byteAt(unit, 0) == 1; }};

/// Inserts bytes so that `payload` has no start code.
std::string escaped(std::string_view payload) {
  std::string result;
  for (const char each : payload) {
    if (each >= 0 && each <= 3 && result.ends_with(std::string_view("\0\0", 2))) result += '\3';
    result += each;
  }
  return result;
}

/// Returns what carries the byte pairs of a picture, each of them with its type before it.
std::string captionUnit(const CaptionedCodec& codec, const std::string& pairs) {
  std::string data = kCaptionMark + static_cast<char>(0x40 | (pairs.size() / 3)) + '\xff' + pairs;
  data += '\xff';
  if (codec.demuxer == std::string_view("mpegvideo")) return codec.begin + data.substr(3);
  return codec.begin + escaped(static_cast<char>(data.size()) + data) + '\x80';
}

/// A clip whose pictures carry byte pairs. `pairsOfPicture` returns those of a picture.
std::string captionedClip(const CaptionedCodec& codec, const std::string& clip,
                          const std::function<std::string(std::size_t)>& pairsOfPicture) {
  const TestMedia& media = TestMedia::shared();
  const std::string demuxer = codec.demuxer;
  const std::string bareName = "bare." + demuxer;
  media.url(bareName, std::string("-map 0 -c:v ") + codec.encoder + " -f " +
                          (demuxer == "mpegvideo" ? "mpeg2video" : demuxer));
  std::ifstream input(media.path(bareName), std::ios::binary);
  const std::string bare{std::istreambuf_iterator<char>(input), {}};
  const std::string startCode("\0\0\1", 3);
  std::string made;
  std::size_t picture = 0;
  for (std::size_t at = 0; at < bare.size();) {
    const std::size_t end = std::min(bare.find(startCode, at + 1), bare.size());
    const std::string_view unit = std::string_view(bare).substr(at, end - at);
    at = end;
    if (unit.size() > startCode.size() && codec.isFirstSlice(unit.substr(startCode.size())))
      made += captionUnit(codec, pairsOfPicture(picture++));
    made += unit;
  }
  const std::string captioned = media.path(clip + "." + demuxer);
  std::ofstream(captioned, std::ios::binary) << made;
  return media.url(clip, "-fflags +genpts -r 25 -f " + demuxer + " -i " + captioned +
                             " -map 3 -map 1 -c:v copy -c:a aac");
}

/// A clip whose pictures carry a byte pair for each field.
std::string captionedClip(const CaptionedCodec& codec, const Pairs& first, const Pairs& second) {
  return captionedClip(codec, codec.clip, [&](std::size_t picture) {
    std::string pairs;
    for (const Pairs* field : {&first, &second}) {
      const auto pair = picture < field->size() ? (*field)[picture] : std::pair(0, 0);
      pairs += field == &first ? '\xfc' : '\xfd';
      pairs += static_cast<char>(withParity(pair.first));
      pairs += static_cast<char>(withParity(pair.second));
    }
    return pairs;
  });
}

const platform::MediaSelectionGroup* legibleGroup(EngineHarness& harness) {
  for (const auto& each : harness.engine().facts().selectionGroups)
    if (each.characteristic == platform::kMediaCharacteristicLegible) return &each;
  return nullptr;
}

TEST(Captions, InMPEG2AndHEVCAreLegibleOptions) {
  for (const CaptionedCodec& codec : {kCaptionedMPEG2, kCaptionedHEVC}) {
    SCOPED_TRACE(codec.clip);
    EngineHarness harness;
    harness.load(captionedClip(codec, pairsOf("{14 20}{14 2e}{14 70}Hello{14 2f}"), {}));
    ASSERT_TRUE(harness.waitUntil([&] { return legibleGroup(harness) != nullptr; }));
    harness.call([id = legibleGroup(harness)->options.at(0).identifier](auto& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), id);
    });
    EXPECT_TRUE(harness.waitUntil([&] {
      const auto frame = harness.frame();
      return frame && frame->subtitles && frame->subtitles->textAt(2) == "Hello";
    }));
  }
}

TEST(Captions, OfCea708AreShownWithoutCea608) {
  // A window that is defined, written, and shown by the second packet.
  const std::string window = "\x98" + std::string("\0\x4a\x69\x71\x1f\x09", 6) + "Hello ";
  const std::string packets[] = {"\x08" + std::string(1, static_cast<char>(0x20 | window.size())) +
                                     window + std::string(1, '\0'),
                                 std::string("\x45\x27", 2) + "world" + "\x89\x01" + '\0'};
  const std::string url = captionedClip(kCaptionedH264, "serviced.mp4", [&](std::size_t picture) {
    std::string pairs = "\xfc\x80\x80";
    const std::string packet = picture < 2 ? packets[picture] : std::string();
    for (std::size_t at = 0; at + 1 < packet.size(); at += 2)
      pairs += (at == 0 ? '\xff' : '\xfe') + packet.substr(at, 2);
    return pairs;
  });
  EngineHarness harness;
  harness.load(url);
  ASSERT_TRUE(harness.waitUntil([&] { return legibleGroup(harness) != nullptr; }));
  ASSERT_EQ(legibleGroup(harness)->options.size(), 1u);
  EXPECT_EQ(legibleGroup(harness)->options[0].displayName, "SERVICE1");
  harness.call([id = legibleGroup(harness)->options[0].identifier](auto& engine) {
    engine.selectOption(std::string(platform::kMediaCharacteristicLegible), id);
  });
  EXPECT_TRUE(harness.waitUntil([&] {
    const auto frame = harness.frame();
    return frame && frame->subtitles && frame->subtitles->textAt(2) == "Hello world";
  }));
}

TEST(Captions, EmbeddedInPicturesAreLegibleOptions) {
  Pairs pairs = pairsOf("{14 20}{14 2e}{14 70}Hello{14 2f}{1c 20}{1c 2e}{1c 70}Zwei{1c 2f}");
  Pairs others = pairsOf("{15 20}{15 2e}{15 70}Drei{15 2f}");
  others.insert(others.begin() + 7, {{1, 3}, {'N', 'o'}, {0x0f, 0x1d}, {0x15, 0x20}});
  pairs.resize(50);
  command(pairs, 0x14, 0x2c);
  EngineHarness harness;
  harness.load(captionedClip(kCaptionedH264, pairs, others));
  const auto legible = [&] { return legibleGroup(harness); };
  const auto showsText = [&](const std::string& text) {
    return harness.waitUntil(
        [&] {
          const auto frame = harness.frame();
          return frame && frame->subtitles && frame->subtitles->textAt(frame->time) == text;
        },
        std::chrono::seconds(5));
  };
  ASSERT_TRUE(harness.waitUntil([&] { return legible() && legible()->options.size() == 3; }));
  EXPECT_EQ(legible()->options[2].displayName, "CC3");
  EXPECT_EQ(legible()->options[0].displayName, "CC1");
  EXPECT_EQ(legible()->options[0].characteristics,
            (std::vector<std::string>{std::string(platform::kMediaOptionTranscribes)}));
  EXPECT_FALSE(legible()->selected) << "off by default";
  ASSERT_TRUE(harness.waitForEvent("end"));
  EXPECT_TRUE(showsText(""));

  const std::string identifier = legible()->options[0].identifier;
  harness.call([&](platform::MediaEngine& engine) {
    engine.selectOption(std::string(platform::kMediaCharacteristicLegible), identifier);
    engine.seek(0);
    engine.play(1);
  });
  ASSERT_TRUE(harness.waitForEvent("select legible"));
  EXPECT_EQ(legible()->selected, 0u);
  EXPECT_TRUE(showsText("Hello"));
  const auto frame = harness.frame();
  EXPECT_EQ(frame->subtitles->textAt(0.1), "") << "not before the last code of the page";
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 1; }));
  EXPECT_EQ(frame->subtitles->textAt(1.5), "Hello");
  EXPECT_EQ(frame->subtitles->textAt(2.5), "");
  const std::pair<std::optional<std::string>, const char*> choices[] = {
      {"CC2", "Zwei"}, {"CC3", "Drei"}, {std::nullopt, ""}};
  for (const auto& [option, text] : choices) {
    const int before = harness.count("select legible");
    harness.call([&, wanted = option](platform::MediaEngine& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), wanted);
    });
    ASSERT_TRUE(harness.waitForEvent("select legible", before));
    EXPECT_EQ(frame->subtitles->textAt(1.5), text);
  }
}

}  // namespace
}  // namespace testing_media
