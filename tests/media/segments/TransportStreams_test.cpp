#include <cstdint>
#include <string>

#include <gmock/gmock.h>

#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing_media::TestMedia;
using testing_segments::demuxed;
using testing_segments::FakeTrack;
using testing_segments::fileContent;

constexpr std::size_t kPacketSize = 188;
constexpr unsigned kProgramPID = 0x1000;
constexpr unsigned kTagPID = 0x1f0;
constexpr std::size_t kTable = 5;  // after the packet header and the pointer field

unsigned octetAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}
void setOctet(std::string& bytes, std::size_t at, unsigned value) {
  bytes[at] = static_cast<char>(value & 0xff);
}
std::size_t tableEnd(const std::string& packet) {
  return kTable + 3 + ((octetAt(packet, kTable + 1) & 0xf) << 8 | octetAt(packet, kTable + 2)) - 4;
}

/// Updates the CRC of the table in a modified packet.
void sign(std::string& packet) {
  const std::size_t end = tableEnd(packet);
  std::uint32_t sum = 0xffffffff;
  for (std::size_t at = kTable; at < end; ++at) {
    sum ^= static_cast<std::uint32_t>(octetAt(packet, at)) << 24;
    for (int bit = 0; bit < 8; ++bit)
      sum = (sum & 0x80000000U) != 0 ? sum << 1 ^ 0x04c11db7U : sum << 1;
  }
  for (std::size_t each = 0; each < 4; ++each) setOctet(packet, end + each, sum >> (24 - 8 * each));
}

/// Modifies every program table of `stream` and inserts `extra` after the twentieth packet.
template <typename Change>
std::string withProgram(const std::string& stream, const std::string& extra, const Change& change) {
  std::string result;
  for (std::size_t at = 0; at + kPacketSize <= stream.size(); at += kPacketSize) {
    std::string packet = stream.substr(at, kPacketSize);
    if (((octetAt(packet, 1) & 0x1f) << 8 | octetAt(packet, 2)) == kProgramPID) {
      change(packet);
      sign(packet);
    }
    result += packet;
    if (at == 20 * kPacketSize) result += extra;
  }
  return result;
}

/// Returns a packet with one ID3 tag.
std::string tagPacket(const std::string& tag, std::uint64_t time) {
  std::string pes("\0\0\1\xbd\0\0\x84\x80\5", 9);
  setOctet(pes, 5, static_cast<unsigned>(8 + tag.size()));
  for (const std::uint64_t part : {0x21 | (time >> 29 & 0xe), time >> 22, 1 | (time >> 14 & 0xfe),
                                   time >> 7, 1 | (time << 1 & 0xfe)})
    pes.push_back(static_cast<char>(part & 0xff));
  pes += tag;
  std::string packet{0x47, static_cast<char>(0x40 | kTagPID >> 8),
                     static_cast<char>(kTagPID & 0xff), 0x30};
  const std::size_t stuffing = kPacketSize - 5 - pes.size();
  packet.push_back(static_cast<char>(stuffing));
  packet.push_back(0);
  packet.append(stuffing - 1, '\xff');
  return packet + pes;
}

std::string firstSecond() {
  static_cast<void>(TestMedia::shared().url("dated.m3u8"));
  return fileContent(TestMedia::shared().path("dated0.ts"));
}

TEST(TransportStreams, FindsID3TagsAtTheirTimes) {
  const std::string tag("ID3\4\0\0\0\0\0\5x\0\0\0\0", 15);
  // ffmpeg lets the video begin at 126000 or a little later.
  const std::string stream =
      withProgram(firstSecond(), tagPacket(tag, 171000), [](std::string& packet) {
        const std::size_t end = tableEnd(packet);
        const std::string entry =
            std::string{0x15, static_cast<char>(0xe0 | kTagPID >> 8),
                        static_cast<char>(kTagPID & 0xff), static_cast<char>(0xf0), 15} +
            std::string("\x26\x0d\xff\xffID3 \xffID3 \0\x0f", 15);
        packet.replace(end, entry.size(), entry);
        setOctet(packet, kTable + 2,
                 octetAt(packet, kTable + 2) + static_cast<unsigned>(entry.size()));
      });
  const auto track = std::make_shared<FakeTrack>();
  track->representation->timeOffset = 10 - 1.4;
  track->end = 10;
  track->add(stream, 1);
  const auto output = demuxed(track);
  EXPECT_EQ(output.video.size(), 25U);
  EXPECT_THAT(output.tags, ElementsAre(Pair(testing::DoubleNear(10.5, 1e-9), tag)));
}

TEST(TransportStreams, RecognisesStreamTypesOfSampleAES) {
  const std::string stream = withProgram(firstSecond(), "", [](std::string& packet) {
    const std::size_t end = tableEnd(packet);
    std::size_t at =
        kTable + 12 + ((octetAt(packet, kTable + 10) & 0xf) << 8) + octetAt(packet, kTable + 11);
    while (at + 5 <= end) {
      if (octetAt(packet, at) == 0x1b) setOctet(packet, at, 0xdb);
      if (octetAt(packet, at) == 0x0f) setOctet(packet, at, 0xcf);
      at += 5 + ((octetAt(packet, at + 3) & 0xf) << 8) + octetAt(packet, at + 4);
    }
  });
  const auto track = std::make_shared<FakeTrack>();
  track->add(firstSecond(), 1);
  const auto clear = demuxed(track);
  track->end = 0;
  track->add(stream, 1).isDiscontinuous = true;
  const auto output = demuxed(track);
  EXPECT_EQ(output.videoCaps, clear.videoCaps);
  EXPECT_EQ(output.audioCaps, clear.audioCaps);
  EXPECT_EQ(output.video.size(), clear.video.size());
  EXPECT_EQ(output.audio.size(), clear.audio.size());
}

}  // namespace
