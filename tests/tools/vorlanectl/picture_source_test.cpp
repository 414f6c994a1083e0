#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/vorlanectl/Arguments.h"
#include "tools/vorlanectl/Connection.h"
#include "tools/vorlanectl/PictureSource.h"

namespace {

using vorlanectl::CallError;
using vorlanectl::makeTestPattern;
using vorlanectl::openY4m;

/// A buffer in memory whose strides are larger than the rows.
struct Memory {
  Memory(std::uint32_t width, std::uint32_t height, std::uint32_t planeCount) {
    buffer.plane_count = planeCount;
    for (std::uint32_t plane = 0; plane < planeCount; ++plane) {
      buffer.rows[plane] = plane == 0 ? height : (height + 1) / 2;
      buffer.strides[plane] = width + 16;
      planes[plane].assign(std::size_t{buffer.strides[plane]} * buffer.rows[plane], 1);
      buffer.planes[plane] = planes[plane].data();
    }
  }
  vorlane_frames_buffer buffer{};
  std::array<std::vector<std::uint8_t>, 3> planes;
};

/// A temporary file.
class File {
 public:
  explicit File(const std::string& content) { std::ofstream(name(), std::ios::binary) << content; }
  std::string name() const { return _folder / "pictures.y4m"; }

 private:
  const testing_support::TemporaryFolder _folder;
};

TEST(TestPattern, MovesAndStaysInsideTheBuffer) {
  for (const auto& [width, height] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 1}, {63, 35}, {640, 360}}) {
    const auto pattern = makeTestPattern(width, height, 60);
    Memory first(width, height, 2);
    Memory second(width, height, 2);
    // Several periods of the pattern. A sanitizer detects writes beyond the buffer.
    for (int count = 0; count < 500; ++count) ASSERT_TRUE(pattern->fill(first.buffer));
    ASSERT_TRUE(pattern->fill(second.buffer));
    EXPECT_EQ(first.planes[0] != second.planes[0], width > 8);
    for (std::uint32_t row = 0; row < height; ++row) {
      EXPECT_EQ(first.planes[0][row * first.buffer.strides[0] + width], 1)
          << "padding is unchanged";
    }
  }
  EXPECT_THROW(makeTestPattern(0, 4, 60), vorlanectl::UsageError);
  EXPECT_THROW(makeTestPattern(4, 8193, 60), vorlanectl::UsageError);
}

TEST(Y4m, ReadsPictures) {
  const File file(
      "YUV4MPEG2 W3 H2 F30000:1001 Ip A1:1 C420jpeg XCOLORRANGE=FULL\n"
      "FRAME\nabcdefUuVv"
      "FRAME Ixyz\nABCDEFPpQq"
      "FRAME\nghijklMmNn"
      "FRAME\ntoo");
  const auto source = openY4m(file.name());
  EXPECT_EQ(source->width, 3U);
  EXPECT_EQ(source->height, 2U);
  EXPECT_NEAR(source->rate, 29.97, 0.001);
  EXPECT_EQ(source->flags, VORLANE_FRAMES_FULL_RANGE | VORLANE_FRAMES_BT601);
  EXPECT_EQ(source->format, static_cast<std::uint32_t>(VORLANE_FRAMES_I420));
  Memory memory(3, 2, 3);
  ASSERT_TRUE(source->fill(memory.buffer));
  EXPECT_EQ(std::string(memory.planes[0].begin(), memory.planes[0].begin() + 3), "abc");
  EXPECT_EQ(std::string(memory.planes[0].begin() + 19, memory.planes[0].begin() + 22), "def");
  EXPECT_EQ(std::string(memory.planes[1].begin(), memory.planes[1].begin() + 2), "Uu");
  EXPECT_EQ(std::string(memory.planes[2].begin(), memory.planes[2].begin() + 2), "Vv");
  ASSERT_TRUE(source->skip());
  ASSERT_TRUE(source->fill(memory.buffer));
  EXPECT_EQ(memory.planes[0][0], 'g');
  EXPECT_FALSE(source->fill(memory.buffer)) << "the last picture is incomplete";
}

TEST(Y4m, RejectsOtherFormats) {
  for (const char* header :
       {"", "YUV4MPEG2", "YUV4MPEG2 \n", "RIFF W2 H2\n", "YUV4MPEG2 W2\n", "YUV4MPEG2 W-2 H2\n",
        "YUV4MPEG2 W2 H2 C444\n", "YUV4MPEG2 W2 H2 C420p10\n", "YUV4MPEG2 W2 H2 F0:1\n",
        "YUV4MPEG2 W2 H2 F25\n", "YUV4MPEG2 W99999999999 H2\n"}) {
    const File file(header);
    EXPECT_THROW(openY4m(file.name()), CallError) << header;
  }
  EXPECT_THROW(openY4m("/tmp/there/is/none.y4m"), CallError);
}

}  // namespace
