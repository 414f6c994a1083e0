#include <gtest/gtest.h>

#include "tests/streaming/manifest/DASHTexts.h"

namespace streaming {
namespace {

std::string bigEndian(std::uint64_t value, int size) {
  std::string bytes;
  for (int at = size - 1; at >= 0; --at) bytes += static_cast<char>(value >> 8 * at & 0xff);
  return bytes;
}

TEST(FileIndex, IsReadWhereverItLies) {
  const std::string sidx = bigEndian(56, 4) + "sidx" + bigEndian(0, 4) + bigEndian(1, 4) +
                           bigEndian(10, 4) + bigEndian(50, 4) + bigEndian(4, 4) + bigEndian(0, 2) +
                           bigEndian(2, 2) + bigEndian(100, 4) + bigEndian(20, 4) +
                           bigEndian(0, 4) + bigEndian(200, 4) + bigEndian(30, 4) + bigEndian(0, 4);
  IndexedFile file;
  file.file.urls = {"http://host/dir/file.mp4"};
  file.periodStart = 3;
  file.timeOffset = 3 - 5;
  const std::string before = bigEndian(20, 4) + "ftyp" + std::string(12, 'x');
  const auto indexOf = [&](std::uint64_t offset, std::string_view head) {
    const auto result = readFileIndex(file, offset, head);
    const auto* index = std::get_if<std::shared_ptr<const SegmentIndex>>(&result);
    return index ? segmentTextOf(**index) : "more";
  };
  EXPECT_EQ(indexOf(0, before + sidx), "3+2 file.mp4@80\n5+3 file.mp4@180\n");
  EXPECT_EQ(indexOf(1000, sidx), "3+2 file.mp4@1060\n5+3 file.mp4@1160\n");
  EXPECT_EQ(indexOf(0, (before + sidx).substr(0, 50)), "more");
  file.periodEnd = 9;
  EXPECT_EQ(indexOf(0, before + bigEndian(8, 4) + "moof"), "3+6 file.mp4\n");
  EXPECT_EQ(indexOf(0, "<html>a page of the web</html>"), "3+6 file.mp4\n");
  EXPECT_EQ(indexOf(0, ""), "3+6 file.mp4\n");
}

}  // namespace
}  // namespace streaming
