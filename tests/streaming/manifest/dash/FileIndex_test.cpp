#include <bit>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/streaming/manifest/dash/DASHTexts.h"

namespace streaming {
namespace {

std::string bigEndian(std::uint64_t value, int size) {
  std::string bytes;
  for (int at = size - 1; at >= 0; --at) bytes += static_cast<char>(value >> 8 * at & 0xff);
  return bytes;
}

TEST(FileIndex, ReadsAnIndexAtAnyPosition) {
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

std::string sidxOf(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& references,
                   std::uint64_t time, std::uint64_t firstOffset = 0) {
  std::string content = bigEndian(1, 1) + bigEndian(0, 3) + bigEndian(1, 4) + bigEndian(10, 4) +
                        bigEndian(time, 8) + bigEndian(firstOffset, 8) + bigEndian(0, 2) +
                        bigEndian(references.size(), 2);
  for (const auto& [size, duration] : references)
    content += bigEndian(size, 4) + bigEndian(duration, 4) + bigEndian(0, 4);
  return bigEndian(content.size() + 8, 4) + "sidx" + content;
}

/// The segments, "more OFFSET+LENGTH", or "error".
std::string describeIndex(const IndexedFile& file, std::uint64_t offset, std::string_view head) {
  const auto result = readFileIndex(file, offset, head);
  if (const auto* more = std::get_if<ByteSpan>(&result))
    return "more " + std::to_string(more->offset) + "+" + std::to_string(more->length.value_or(0));
  const auto* index = std::get_if<std::shared_ptr<const SegmentIndex>>(&result);
  return index ? segmentTextOf(**index) : "error";
}

IndexedFile plainFile() {
  IndexedFile file;
  file.file.urls = {"http://host/dir/f"};
  file.periodEnd = 100;
  return file;
}

constexpr std::uint32_t kOfIndex = 0x80000000;

TEST(FileIndex, ReadsNestedIndexes) {
  // Adjacent nested indexes, followed by the media.
  const std::string second = sidxOf({{100, 20}, {200, 30}}, 0, 64);
  const std::string third = sidxOf({{50, 40}}, 50, 300);
  const auto size = [](const std::string& box) { return static_cast<std::uint32_t>(box.size()); };
  const std::string beside =
      sidxOf({{kOfIndex | size(second), 50}, {kOfIndex | size(third), 40}}, 0) + second + third;
  const std::size_t endOfSecond = 1000 + beside.size() - third.size();
  EXPECT_EQ(describeIndex(plainFile(), 1000, beside),
            "0+2 f@" + std::to_string(endOfSecond + 64) + "\n2+3 f@" +
                std::to_string(endOfSecond + 164) + "\n5+4 f@" +
                std::to_string(1000 + beside.size() + 300) + "\n");
  EXPECT_EQ(describeIndex(plainFile(), 1000, beside.substr(0, beside.size() - 10)),
            "more 1000+" + std::to_string(beside.size()));
  // Nested indexes spread over the media become one segment each.
  const std::string top = sidxOf({{kOfIndex | 10'000'000, 50}, {kOfIndex | 500, 40}}, 0);
  EXPECT_EQ(describeIndex(plainFile(), 0, top), "0+5 f@64\n5+4 f@10000064\n");
  // Self-references end at the depth limit.
  std::string deep;
  for (int level = 0; level < 20; ++level) deep += sidxOf({{kOfIndex, 1}, {kOfIndex, 1}}, 0);
  EXPECT_NE(describeIndex(plainFile(), 0, deep), "error");
}

std::string ebml(std::uint64_t id, const std::string& content) {
  int size = 1;
  while (id >> 8 * size != 0) ++size;
  return bigEndian(id, size) + bigEndian(std::uint64_t{1} << 28 | content.size(), 4) + content;
}

std::string cuePoint(std::uint64_t time, std::uint64_t position) {
  return ebml(0xBB, ebml(0xB3, bigEndian(time, 2)) +
                        ebml(0xB7, ebml(0xF7, "\1") + ebml(0xF1, bigEndian(position, 4))));
}

TEST(FileIndex, ReadsCuesOfWebM) {
  const std::string header = ebml(0x1A45DFA3, "webm");
  const std::string info =
      ebml(0x1549A966, ebml(0x2AD7B1, bigEndian(1'000'000, 3)) +
                           ebml(0x4489, bigEndian(std::bit_cast<std::uint32_t>(9000.0F), 4)));
  // The second cue of the same cluster is ignored.
  const std::string cues =
      ebml(0x1C53BB6B, cuePoint(0, 1000) + cuePoint(4000, 3000) + cuePoint(4500, 3000));
  const std::string open = bigEndian(0x18538067, 4) + bigEndian(0x01ffffffffffffff, 8);
  const std::string start = header + open;
  const auto at = [&](std::uint64_t position) { return std::to_string(start.size() + position); };
  const std::string expected = "0+4 f@" + at(1000) + "\n4+5 f@" + at(3000) + "\n";
  const std::string front = start + info + cues;
  EXPECT_EQ(describeIndex(plainFile(), 0, front), expected);
  // The Cues do not contain the start of the Segment element.
  EXPECT_EQ(describeIndex(plainFile(), start.size() + info.size(), cues),
            "more 0+" + std::to_string(front.size()));
  EXPECT_EQ(describeIndex(plainFile(), 5'000'000, cues), "0+100 f\n");
  EXPECT_EQ(describeIndex(plainFile(), 0, front.substr(0, front.size() - 5)),
            "more 0+" + std::to_string(front.size()));
  // Cues after the media, located by the SeekHead.
  const auto seekHead = [](std::uint64_t position) {
    return ebml(0x114D9B74, ebml(0x4DBB, ebml(0x53AB, bigEndian(0x1C53BB6B, 4)) +
                                             ebml(0x53AC, bigEndian(position, 4))));
  };
  const std::string cluster = ebml(0x1F43B675, std::string(500, 'm'));
  const std::string before = start + seekHead(0) + info + cluster;
  const std::string behind = start + seekHead(before.size() - start.size()) + info + cluster + cues;
  EXPECT_EQ(describeIndex(plainFile(), 0, behind), expected);
  EXPECT_EQ(describeIndex(plainFile(), 0, behind.substr(0, before.size() - 100)),
            "more 0+" + std::to_string(before.size() + 65536));
  // Presentation time offset and period boundaries.
  IndexedFile file = plainFile();
  file.timeOffset = 10;
  file.periodStart = 14;
  file.periodEnd = 30;
  EXPECT_EQ(describeIndex(file, 0, front), "14+5 f@" + at(3000) + "\n");
}

TEST(FileIndex, SurvivesRandomBytes) {
  const std::string seeds[] = {
      sidxOf({{kOfIndex | 64, 50}, {100, 40}}, 0) + sidxOf({{100, 20}}, 0),
      ebml(0x1A45DFA3, "webm") +
          ebml(0x18538067, ebml(0x1549A966, ebml(0x2AD7B1, bigEndian(1'000'000, 3))) +
                               ebml(0x1C53BB6B, cuePoint(0, 1000) + cuePoint(4000, 3000)))};
  std::mt19937 random(3);
  for (const std::string& seed : seeds)
    for (int round = 0; round < 3000; ++round) {
      std::string head = seed;
      for (int change = 0; change < 3; ++change)
        head[random() % head.size()] = static_cast<char>(random() % 4 == 0 ? 0xff : random());
      head.resize(head.size() - random() % 8);
      const auto result = readFileIndex(plainFile(), random() % 2 * 1000, head);
      if (const auto* more = std::get_if<ByteSpan>(&result)) {
        EXPECT_LE(more->length.value_or(0), std::uint64_t{4} * 1024 * 1024);
      }
    }
}

}  // namespace
}  // namespace streaming
