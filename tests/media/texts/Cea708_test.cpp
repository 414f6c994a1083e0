// CEA-708 captions: packets, commands and windows.

#include <cmath>
#include <initializer_list>
#include <span>

#include <gtest/gtest.h>

#include "media/captions/Cea708Decoder.h"
#include "media/captions/Cea708Packets.h"
#include "tests/media/texts/CueDescription.h"

namespace media {
namespace {

std::string codes(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) bytes += static_cast<char>(value);
  return bytes;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The command that defines a window of two rows with 32 columns.
std::string window(int number, bool isVisible, int y, int x, int anchor, int styles = 0) {
  return codes({0x98 + number, isVisible ? 0x20 : 0, y, x, anchor << 4 | 1, 31, styles});
}

const std::string kCaption = window(0, false, 74, 105, 7);
const std::string kShow = codes({0x89, 1});
const std::string kHide = codes({0x8a, 1});
const std::string kNewRow = "\r";

/// Returns the cues of blocks that are a second apart.
std::string cuesOf(const std::vector<std::string>& blocks) {
  std::vector<SubtitleCue> cues;
  Cea708Decoder decoder([&](SubtitleCue cue) { cues.push_back(std::move(cue)); });
  for (std::size_t index = 0; index < blocks.size(); ++index)
    decoder.feed(static_cast<double>(index), bytesOf(blocks[index]));
  return described(cues);
}

TEST(Cea708Decoder, DecodesCommands) {
  const struct {
    const char* what;
    std::vector<std::string> blocks;
    std::string texts;  // of the cues, separated by bars
  } cases[]{
      {"pop-on", {kCaption + "Hello" + kNewRow + "you", kShow, kHide}, "1 Hello\nyou|2 "},
      {"paint-on", {window(0, true, 74, 105, 7) + "He", "llo"}, "0 He|1 Hello"},
      {"roll-up",
       {window(0, true, 74, 105, 7) + "a" + kNewRow + "b", kNewRow + "c"},
       "0 a\nb|1 b\nc"},
      {"toggle", {kCaption + "a" + codes({0x8b, 1}), codes({0x8b, 1})}, "0 a|1 "},
      {"clear", {kCaption + "a" + kShow, codes({0x88, 1}), "b"}, "0 a|1 |2 b"},
      {"delete", {kCaption + "a" + kShow, codes({0x8c, 0xff}), kShow}, "0 a|1 "},
      {"reset", {kCaption + "a" + kShow, codes({0x8f}), "b"}, "0 a|1 "},
      {"backspace and form feed",
       {kCaption + "ab\bc" + kShow, "\f" + std::string("d"), "\x0e" + std::string("e")},
       "0 ac|1 d|2 e"},
      {"pen location",
       {kCaption + codes({0x92, 1, 4}) + "b" + codes({0x92, 0, 2}) + "a" + kShow},
       "0 a\n  b"},
      {"two windows, the upper one first",
       {kCaption + "low" + window(1, true, 0, 0, 0) + "high" + kShow},
       "0 high\nlow"},
      {"the current window",
       {kCaption + window(1, false, 0, 0, 0) + codes({0x80}) + "a" + kShow},
       "0 a"},
      {"a window that is defined again keeps its text",
       {kCaption + "a" + kCaption + "b" + kShow},
       "0 ab"},
      {"characters",
       {kCaption + "\x7f\xe9" +
        codes({0x10, 0x34, 0x10, 0x2a, 0x10, 0xa0, 0x18, 0x30, 0x42, 0x18, 0, 0x0a, 0x18, 0xd8,
               0x00}) +
        kShow},
       "0 ♪é”Š_あ__"},
      {"unknown commands are skipped",
       {kCaption + codes({0x10, 0x09, 1, 0x10, 0x82, 1,    2,    3, 4, 0x10, 0x90,
                          2,    1,    2, 0x11, 1,    0x93, 0x97, 0, 0, 0,    0}) +
        "a" + kShow},
       "0 a"},
      {"a command in two blocks", {kCaption.substr(0, 4), kCaption.substr(4) + "a" + kShow}, "1 a"},
      {"a delay", {kCaption + "a" + kShow + codes({0x8d, 15}) + "b", "c", "d"}, "0 a|2 abcd"},
      {"a delay that a reset ends",
       {kCaption + "b" + kShow + codes({0x8d, 99}) + "a", codes({0x8f})},
       "0 b|1 "},
      {"a parameter of a delayed command is no command",
       {kCaption + kShow + "a" + codes({0x8d, 99, 0x91, 0x8e, 0x8f, 0}) + "b"},
       "0 a"},
      {"a delay that is cancelled",
       {kCaption + kShow + codes({0x8d, 99}) + "a", codes({0x8e})},
       "1 a"},
      {"text without a window", {"a" + kShow}, ""},
      {"a text that is longer than the row",
       {kCaption + std::string(33, 'x') + kShow},
       "0 " + std::string(32, 'x') + "\nx"},
  };
  for (const auto& testCase : cases) {
    std::string texts;
    Cea708Decoder decoder([&](const SubtitleCue& cue) {
      texts += (texts.empty() ? "" : "|") + std::to_string(std::lround(cue.start)) + ' ' + cue.text;
      EXPECT_EQ(cue.duration, SubtitleCue::kUntilNext);
    });
    double seconds = 0;
    for (const std::string& block : testCase.blocks) decoder.feed(seconds++, bytesOf(block));
    EXPECT_EQ(texts, testCase.texts) << testCase.what;
  }
}

TEST(Cea708Decoder, DelaysEndWithoutAnotherBlock) {
  std::vector<SubtitleCue> cues;
  Cea708Decoder decoder([&](SubtitleCue cue) { cues.push_back(std::move(cue)); });
  decoder.feed(1, bytesOf(kCaption + "a" + kShow + codes({0x8d, 15}) + "b"));
  decoder.advance(2.4);
  ASSERT_EQ(cues.size(), 1u);
  decoder.advance(2.52);
  ASSERT_EQ(cues.size(), 2u);
  EXPECT_EQ(cues[1].text, "ab");
  EXPECT_EQ(cues[1].start, 2.52);
}

TEST(Cea708Decoder, PlacesWindows) {
  const auto justified = [](int justification) { return codes({0x97, 0, 0, justification, 0}); };
  const struct {
    const char* what;
    std::string commands;
    const char* cue;
  } cases[]{
      {"at the bottom in the middle", kCaption + codes({0x92, 1, 15}) + "ab" + kShow,
       "ab left0.00382775~0.996172 y0.9B rows3"},
      {"its first row", kCaption + codes({0x92, 0, 15}) + "ab" + kShow,
       "ab left0.00382775~0.996172 y0.846667B rows3"},
      {"at the top left", window(0, true, 0, 0, 0) + "ab", "ab left0~0.238095 y0.1T rows3"},
      {"at the right", window(0, true, 37, 209, 5) + justified(1) + "ab",
       "ab left0~0.9 y0.473333M align4"},
      {"centered rows", window(0, true, 74, 105, 7) + justified(2) + codes({0x92, 0, 9}) + "a",
       "a left0.00382775~0.996172 y0.846667B"},
      {"a centered style", window(0, true, 74, 105, 7, 3 << 3) + "a",
       "a left0.00382775~0.996172 y0.846667B"},
      {"in percent", window(0, true, 0x80 | 99, 0, 6) + "a", "a left0~0.219048 y0.846667B rows3"},
      {"beyond the picture", window(0, true, 0x7f, 255, 15) + "a", "a left0~0.6 y0.846667B rows3"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf({testCase.commands}), std::string("0+-1 ") + testCase.cue) << testCase.what;
}

TEST(Cea708Decoder, PensHaveLooks) {
  const auto pen = [](int color, int background) { return codes({0x91, color, background, 0}); };
  const struct {
    const char* what;
    std::string text;
    std::string spans;
  } cases[]{
      {"colors", "a" + pen(0x30, 0) + "b", "ab [b c1,0,0,1 bg0,0,0,1]"},
      {"white on nothing", pen(0x3f, 0xc0) + "a", "a"},
      {"translucent background", pen(0x3f, 0x80) + "a", "a [a bg0,0,0,0.5]"},
      {"transparent letters", "a" + pen(0xc0, 0xc0) + "b" + pen(0x3f, 0xc0) + "c", "a\u00a0c"},
      {"italic, then underlined", codes({0x90, 0, 0x80}) + "a" + codes({0x90, 0, 0x40}) + "b",
       "ab [a italic] [b under]"},
      {"until the window is defined with a style",
       codes({0x90, 0, 0x80}) + "a" + window(0, true, 74, 105, 7, 1) + "b", "ab [a italic]"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(
        cuesOf({window(0, true, 74, 105, 7) + testCase.text}).substr(0, 5 + testCase.spans.size()),
        "0+-1 " + testCase.spans)
        << testCase.what;
}

TEST(Cea708Decoder, SurvivesAnyBytes) {
  std::size_t longest = 0;
  Cea708Decoder decoder([&](const SubtitleCue& cue) {
    longest = std::max(longest, cue.text.size());
    for (const SubtitleSpan& span : cue.spans) ASSERT_LE(span.end, cue.text.size());
  });
  std::uint32_t random = 1;
  std::string block;
  for (int number = 0; number < 200'000; ++number) {
    random = random * 1664525 + 1013904223;
    const auto value = static_cast<char>(random >> 24);
    block += number % 3 == 0 ? static_cast<char>(0x80 | (value & 0x1f)) : value;
    if (block.size() < 31) continue;
    decoder.feed(number / 100.0, bytesOf(block));
    block = number % 5000 < 31 ? kCaption + kShow : std::string();
  }
  EXPECT_GT(longest, 10u);
  EXPECT_LE(longest, 8u * 16 * (64 * 3 + 1));
}

TEST(Cea708Packets, AreSplitIntoBlocks) {
  const struct {
    const char* what;
    std::vector<std::string> packets;  // a plus: the packet begins
    std::string blocks;
  } cases[]{
      {"one block", {"+" + codes({0x02, 0x22}) + "ab"}, "1:ab "},
      {"two services", {"+" + codes({0x03, 0x21}) + "a" + codes({0x42}) + "bc"}, "1:a 2:bc "},
      {"an extended service", {"+" + codes({0x02, 0xe1, 0x0a}) + "a"}, "10:a "},
      {"in two pictures", {"+" + codes({0x03, 0x24}), "abcd"}, "1:abcd "},
      {"a null block ends the packet",
       {"+" + codes({0x03, 0x21}) + "a" + codes({0, 0x21}) + "b"},
       "1:a "},
      {"an incomplete packet",
       {"+" + codes({0x03, 0x22}), "+" + codes({0x02, 0x22}) + "ab"},
       "1:ab "},
      {"no beginning", {"abcd"}, ""},
      {"a block that is too long", {"+" + codes({0x02, 0x25}) + "ab"}, ""},
      {"more than the packet", {"+" + codes({0x02, 0x22}) + "abcd"}, "1:ab "},
  };
  for (const auto& testCase : cases) {
    std::string blocks;
    Cea708Packets packets([&](int service, std::span<const std::uint8_t> block) {
      blocks += std::to_string(service) + ':' + std::string(block.begin(), block.end()) + ' ';
    });
    for (std::string bytes : testCase.packets) {
      const bool begins = bytes[0] == '+';
      if (begins) bytes.erase(0, 1);
      for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        packets.feed(begins && at == 0, static_cast<std::uint8_t>(bytes[at]),
                     static_cast<std::uint8_t>(bytes[at + 1]));
    }
    EXPECT_EQ(blocks, testCase.blocks) << testCase.what;
  }
}

}  // namespace
}  // namespace media
