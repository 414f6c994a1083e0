#include "frames/FrameMessages.h"

#include <vector>

#include <gtest/gtest.h>

#include "frames/vorlane-frames.h"

namespace {

using frames::AnswerMessage;
using frames::FilmMessage;
using frames::FrameLayout;
using frames::FrameMessage;

FrameMessage exampleFrame() {
  FrameMessage message;
  message.sequence = 0x0102030405060708;
  message.pts = -2;
  message.index = 3;
  message.format = VORLANE_FRAMES_I420;
  message.width = 0x11121314;
  message.height = 0x21222324;
  message.flags = VORLANE_FRAMES_BT601;
  message.layout = {{1, 2, 3}, {4, 5, 6}};
  message.damage = {7, 8, 9, 10};
  return message;
}

TEST(FrameMessages, MatchTheDocumentedLayout) {
  const auto packet = encode(exampleFrame());
  const std::vector<std::uint8_t> begin{'V',  'L',  'F',  'R',  1,    0,    1,    0,    8,    7,
                                        6,    5,    4,    3,    2,    1,    0xfe, 0xff, 0xff, 0xff,
                                        0xff, 0xff, 0xff, 0xff, 3,    0,    0,    0,    2,    0,
                                        0,    0,    0x14, 0x13, 0x12, 0x11, 0x24, 0x23, 0x22, 0x21};
  ASSERT_EQ(packet.size(), 88U);
  EXPECT_EQ(std::vector(packet.begin(), packet.begin() + 40), begin);
  for (std::uint8_t field = 1; field <= 10; ++field) EXPECT_EQ(packet[44 + 4U * field], field);

  AnswerMessage answer;
  answer.sequence = 5;
  answer.shownAt = 6;
  answer.index = 7;
  answer.outcome = 8;
  const auto release = encode(answer);
  ASSERT_EQ(release.size(), 32U);
  EXPECT_EQ(release[6], 2);
  EXPECT_EQ(release[8], 5);
  EXPECT_EQ(release[16], 6);
  EXPECT_EQ(release[24], 7);
  EXPECT_EQ(release[28], 8);
}

TEST(FrameMessages, FilmMessagesRoundTrip) {
  FilmMessage message;
  static_cast<FrameMessage&>(message) = exampleFrame();
  message.aspectNumerator = 64;
  message.aspectDenominator = 45;
  message.rotation = 270;
  message.due = -3;
  message.epoch = 0x0102030405060708;
  message.texts = 5;
  message.gone = 0x8000000000000001;
  for (const auto kind : {FilmMessage::Kind::Picture, FilmMessage::Kind::None}) {
    message.kind = kind;
    const auto packet = encode(message);
    ASSERT_EQ(packet.size(), 136U);
    const auto decoded = frames::decodeFilm(packet);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(encode(*decoded), packet);
    EXPECT_EQ(decoded->epoch, message.epoch);
    EXPECT_EQ(decoded->rotation, 270U);
    EXPECT_FALSE(frames::decodeFrame(packet));
    // Version, kind and reserved fields.
    for (const std::size_t at : {4U, 6U, 44U, 100U}) {
      auto wrong = packet;
      wrong[at] ^= 0x40;
      EXPECT_FALSE(frames::decodeFilm(wrong)) << at;
    }
    EXPECT_FALSE(frames::decodeFilm(std::span(packet).first(135)));
  }
  EXPECT_FALSE(frames::decodeFilm(encode(exampleFrame())));
}

TEST(FrameMessages, ValidateAspectRatioAndRotation) {
  constexpr std::uint32_t kHuge = 0xffffffff;
  const struct {
    std::uint32_t numerator, denominator, rotation;
    bool isDrawable;
  } cases[]{{1, 1, 0, true},   {64, 45, 270, true}, {1, 63, 90, true},  {0, 1, 0, false},
            {1, 0, 0, false},  {1, 64, 0, false},   {640, 9, 0, false}, {kHuge, kHuge, 0, false},
            {1, 1, 45, false}, {1, 1, 360, false}};
  for (const auto& the : cases) {
    FilmMessage message;
    message.aspectNumerator = the.numerator;
    message.aspectDenominator = the.denominator;
    message.rotation = the.rotation;
    EXPECT_EQ(frames::isDrawable(message), the.isDrawable)
        << the.numerator << "/" << the.denominator << " " << the.rotation;
  }
}

TEST(FrameMessages, InvalidPacketsAreRejected) {
  const auto frame = encode(exampleFrame());
  const auto answer = encode(AnswerMessage{});
  // Magic, version, kind and reserved fields.
  for (const std::size_t at : {0u, 3u, 4u, 5u, 6u, 7u, 44u, 47u}) {
    auto wrong = frame;
    wrong[at] ^= 0x40;
    EXPECT_FALSE(frames::decodeFrame(wrong)) << at;
    if (at > 7) continue;
    auto wrongAnswer = answer;
    wrongAnswer[at] ^= 0x40;
    EXPECT_FALSE(frames::decodeAnswer(wrongAnswer)) << at;
  }
  std::vector<std::uint8_t> bytes(frame.begin(), frame.end());
  bytes.push_back(0);
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    EXPECT_EQ(frames::decodeFrame(std::span(bytes).first(size)).has_value(), size == 88) << size;
    EXPECT_FALSE(frames::decodeAnswer(std::span(bytes).first(size))) << size;
  }
  EXPECT_FALSE(frames::decodeFrame(answer));
}

TEST(FrameLayout, ValidatesLayouts) {
  constexpr std::uint32_t kHuge = 0xffffffff;
  const struct {
    const char* name;
    std::uint32_t format, width, height;
    FrameLayout layout;
    std::size_t bytes;
    bool fits;
  } cases[]{
      {"tight", VORLANE_FRAMES_NV12, 4, 4, {{0, 16, 0}, {4, 4, 0}}, 24, true},
      {"one byte short", VORLANE_FRAMES_NV12, 4, 4, {{0, 16, 0}, {4, 4, 0}}, 23, false},
      {"last row without padding", VORLANE_FRAMES_BGRA, 2, 2, {{0, 0, 0}, {100, 0, 0}}, 108, true},
      {"odd size", VORLANE_FRAMES_I420, 3, 3, {{0, 9, 13}, {3, 2, 2}}, 17, true},
      {"odd size, a byte short", VORLANE_FRAMES_I420, 3, 3, {{0, 9, 13}, {3, 2, 2}}, 16, false},
      {"stride under a row", VORLANE_FRAMES_BGRA, 4, 4, {{0, 0, 0}, {15, 0, 0}}, 4096, false},
      {"colour stride under a row", VORLANE_FRAMES_NV12, 5, 4, {{0, 20, 0}, {5, 5, 0}}, 99, false},
      {"offset at the end", VORLANE_FRAMES_BGRA, 1, 1, {{kHuge, 0, 0}, {4, 0, 0}}, 4096, false},
      {"stride that would wrap",
       VORLANE_FRAMES_BGRA,
       1,
       8192,
       {{0, 0, 0}, {kHuge, 0, 0}},
       4096,
       false},
      {"offset and stride that would wrap",
       VORLANE_FRAMES_NV12,
       8192,
       8192,
       {{kHuge, kHuge, 0}, {kHuge, kHuge, 0}},
       64U << 20,
       false},
      {"a plane too many", VORLANE_FRAMES_BGRA, 1, 1, {{0, 1, 0}, {4, 0, 0}}, 4096, false},
  };
  for (const auto& the : cases) {
    const auto shape = frames::shapeOf(the.format, the.width, the.height);
    ASSERT_TRUE(shape) << the.name;
    EXPECT_EQ(frames::fits(*shape, the.layout, the.bytes), the.fits) << the.name;
  }
}

TEST(FrameLayout, OwnLayoutsFitTheirBuffers) {
  for (std::uint32_t format = VORLANE_FRAMES_NV12; format <= VORLANE_FRAMES_BGRA; ++format) {
    for (const auto& [width, height] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {1, 1}, {3, 5}, {1919, 1079}, {1920, 1080}, {3840, 2160}}) {
      const auto shape = frames::shapeOf(format, width, height);
      ASSERT_TRUE(shape);
      std::size_t bytes = 0;
      const auto layout = frames::layoutFor(*shape, &bytes);
      ASSERT_TRUE(layout);
      EXPECT_TRUE(frames::fits(*shape, *layout, bytes)) << format << " " << width;
    }
    EXPECT_FALSE(frames::shapeOf(format, 0, 1));
    EXPECT_FALSE(frames::shapeOf(format, 1, 0));
    EXPECT_FALSE(frames::shapeOf(format, 8193, 1));
    EXPECT_FALSE(frames::shapeOf(format, 1, 0xffffffff));
  }
  EXPECT_FALSE(frames::shapeOf(0, 1, 1));
  EXPECT_FALSE(frames::shapeOf(4, 1, 1));
  std::size_t bytes = 0;
  EXPECT_FALSE(frames::layoutFor(*frames::shapeOf(VORLANE_FRAMES_BGRA, 8192, 8192), &bytes));
}

}  // namespace
