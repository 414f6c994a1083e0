#include "media/texts/MatroskaTracks.h"

#include <cstdint>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace testing_media
