#include "media/elements/libav/LibavInput.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

/// A file that goes on with the same bytes without end.
class EndlessFile {
 public:
  EndlessFile(std::string head, std::string repeated)
      : _head(std::move(head)), _repeated(std::move(repeated)) {}

  std::optional<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> into) {
    const bool isHead = offset < _head.size();
    const std::string& part = isHead ? _head : _repeated;
    const std::uint64_t at = isHead ? offset : (offset - _head.size()) % part.size();
    const std::size_t count = std::min(into.size(), part.size() - static_cast<std::size_t>(at));
    std::copy_n(part.begin() + static_cast<std::ptrdiff_t>(at), count, into.begin());
    bytesRead += count;
    return count;
  }

  std::uint64_t bytesRead = 0;

 private:
  const std::string _head;
  const std::string _repeated;
};

std::string contentOf(const char* name, const char* options) {
  TestMedia::shared().url(name, options);
  std::ifstream in(TestMedia::shared().path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// Video of which the frames are not in order, followed by small packets of audio only: the last
/// frame never gets a time.
EndlessFile endlessAudio() {
  std::string avi =
      contentOf("reordered.avi", "-map 0 -map 1 -t 0.4 -c:v mpeg4 -bf 2 -c:a pcm_s16le");
  std::size_t end = avi.find("movi");
  // The list of packets has no end, so that no index is searched.
  avi.replace(end - 4, 4, "\xff\xff\xff\x7f");
  for (int frame = 0; frame < 3; ++frame) end = avi.find("00dc", end + 1);
  return {avi.substr(0, avi.find("01wb", end)), std::string("01wb\x08\0\0\0aabbccdd", 16)};
}

/// A frame without an end.
EndlessFile endlessFrame() {
  return {contentOf("frames.m1v", "-map 0 -t 0.4 -c:v mpeg1video"), std::string(4096, '\xaa')};
}

struct Hostile {
  const char* name;
  EndlessFile (*make)();
};
void PrintTo(const Hostile& hostile, std::ostream* out) { *out << hostile.name; }

class LibavInput : public testing::TestWithParam<Hostile> {};

TEST_P(LibavInput, KeepsALimitedNumberOfBytes) {
  EndlessFile file = GetParam().make();
  const auto input =
      media::LibavInput::open({[&file](std::uint64_t offset, std::span<std::uint8_t> into) {
                                 return file.read(offset, into);
                               },
                               200 * kMiB});
  ASSERT_TRUE(input);
  file.bytesRead = 0;
  std::uint64_t beforePacket = 0;
  std::uint64_t most = 0;
  int packets = 0;
  while (packets < 500 && input->read() == media::LibavInput::Result::Packet) {
    most = std::max(most, file.bytesRead - std::exchange(beforePacket, file.bytesRead));
    ++packets;
  }
  EXPECT_GE(packets, 5);
  EXPECT_LT(most, 100 * kMiB);
}

INSTANTIATE_TEST_SUITE_P(All, LibavInput,
                         testing::Values(Hostile{"audio", endlessAudio},
                                         Hostile{"frame", endlessFrame}),
                         [](const testing::TestParamInfo<Hostile>& hostile) {
                           return std::string(hostile.param.name);
                         });

}  // namespace
}  // namespace testing_media
