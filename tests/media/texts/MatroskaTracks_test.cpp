#include "media/texts/matroska/MatroskaTracks.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/texts/matroska/MatroskaAdditions.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

TEST(MatroskaTracks, AreReadByteByByteAndFromDamagedFiles) {
  std::ifstream file(TestMedia::shared().fileURL("tracks.mkv").substr(7), std::ios::binary);
  std::vector<std::uint8_t> head(3000);
  file.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
  media::MatroskaTracks tracks;
  for (std::size_t at = 0; at < head.size(); ++at) tracks.feed(at, {&head[at], 1});
  EXPECT_EQ(tracks.tracks().size(), 5u);
  EXPECT_TRUE(tracks.tracks().at(5).forced);
  EXPECT_EQ(tracks.tracks().at(4).codec, "S_TEXT/UTF8");
  for (std::size_t at = 0; at < head.size(); ++at) {
    std::vector<std::uint8_t> damaged = head;
    damaged[at] = static_cast<std::uint8_t>(at % 2 == 0 ? 0xff : 1);
    media::MatroskaTracks others;
    others.feed(0, damaged);
    EXPECT_LE(others.tracks().size(), 256u);
  }
}

using Bytes = std::vector<std::uint8_t>;

/// An element with a size of eight bytes.
Bytes element(std::initializer_list<std::uint8_t> type, const Bytes& content) {
  Bytes bytes(type);
  bytes.push_back(0x01);
  for (int shift = 48; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(content.size() >> static_cast<unsigned>(shift)));
  bytes.insert(bytes.end(), content.begin(), content.end());
  return bytes;
}

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes bytes;
  for (const Bytes& each : parts) bytes.insert(bytes.end(), each.begin(), each.end());
  return bytes;
}

/// A block of track 2, `relative` after its cluster, with an addition.
Bytes blockGroup(std::uint8_t relative, const std::string& addition) {
  const Bytes block = element({0xA1}, {0x82, 0, relative, 0, 'x'});
  const Bytes text(addition.begin(), addition.end());
  const Bytes more = element({0xA6}, element({0xA5}, text));
  return element({0xA0}, joined({block, element({0x75, 0xA1}, more)}));
}

TEST(MatroskaAdditions, AreReadInOrderAndAfterJumps) {
  const Bytes first = element({0x1F, 0x43, 0xB6, 0x75},
                              joined({element({0xE7}, {10}), element({0xA3}, Bytes(5000, 0xA0)),
                                      blockGroup(1, "line:0\nid"), blockGroup(2, "")}));
  const Bytes second = element({0x1F, 0x43, 0xB6, 0x75},
                               joined({element({0xE7}, {20}), blockGroup(0xFF, "line:1")}));
  const Bytes info = element({0x15, 0x49, 0xA9, 0x66}, element({0x2A, 0xD7, 0xB1}, {0x27, 0x10}));
  const Bytes file = element({0x18, 0x53, 0x80, 0x67}, joined({info, first, second}));
  constexpr std::uint64_t kUnit = 10000;
  const auto expect = [](const media::MatroskaAdditions& additions, const char* what) {
    const std::string* text = additions.find(2, 275 * kUnit);
    ASSERT_TRUE(text) << what;
    EXPECT_EQ(*text, "line:1") << what;
  };
  for (const std::size_t part : {std::size_t{1}, std::size_t{7}, std::size_t{1000}, file.size()}) {
    media::MatroskaAdditions additions;
    for (std::size_t at = 0; at < file.size(); at += part)
      additions.feed(at, std::span(file).subspan(at, std::min(part, file.size() - at)));
    expect(additions, "in order");
    const std::string* text = additions.find(2, 11 * kUnit);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "line:0\nid");
    EXPECT_FALSE(additions.find(2, 12 * kUnit)) << "an empty addition";
    EXPECT_FALSE(additions.find(1, 11 * kUnit));
  }
  media::MatroskaAdditions jumping;
  const std::size_t head = file.size() - second.size() - first.size();
  const std::size_t last = file.size() - second.size();
  jumping.feed(0, std::span(file).first(head));
  jumping.feed(last, std::span(file).subspan(last, 20));
  jumping.feed(last + 10, std::span(file).subspan(last + 10));
  expect(jumping, "after a jump, with bytes that overlap");
  for (std::size_t at = 0; at < file.size(); ++at) {
    Bytes damaged = file;
    damaged[at] = static_cast<std::uint8_t>(at % 2 == 0 ? 0xff : 0);
    media::MatroskaAdditions others;
    others.feed(0, damaged);
    EXPECT_FALSE(others.find(3, 0));
  }
}

}  // namespace
}  // namespace testing_media
