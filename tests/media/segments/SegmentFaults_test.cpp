#include <cstdint>
#include <random>
#include <thread>

#include <gmock/gmock.h>

#include "media/encryption/ContentKeys.h"
#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using media::TrackDemuxer;
using platform::MediaErrorCode;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing_media::TestMedia;
using testing_segments::clipBytes;
using testing_segments::completeBytes;
using testing_segments::cut;
using testing_segments::CutMovie;
using testing_segments::demuxed;
using testing_segments::DemuxerOutput;
using testing_segments::FakeTrack;
using testing_segments::fileContent;

const CutMovie& clearMovie() {
  static const CutMovie movie = cut(clipBytes("fragmented.mp4"));
  return movie;
}
std::string second(int index) {
  static_cast<void>(TestMedia::shared().url("dated.m3u8"));
  return fileContent(TestMedia::shared().path("dated" + std::to_string(index) + ".ts"));
}

/// Answers with one key, or never.
class FixedKeys final : public media::ContentKeys {
 public:
  explicit FixedKeys(std::optional<platform::Bytes> key) : _key(std::move(key)) {}
  void requestKey(const platform::Bytes& keyID, Reply reply) override {
    requestedKeys.push_back(keyID);
    reply(_key);
  }
  std::vector<platform::Bytes> requestedKeys;

 private:
  const std::optional<platform::Bytes> _key;
};

platform::Bytes keyBytes(std::initializer_list<int> values) {
  platform::Bytes bytes;
  for (const int each : values) bytes.push_back(static_cast<std::byte>(each));
  return bytes;
}

DemuxerOutput demuxedEncrypted(const std::shared_ptr<media::ContentKeys>& keys) {
  const CutMovie movie = cut(clipBytes("encrypted.mp4"));
  const auto track = std::make_shared<FakeTrack>();
  for (const std::string& fragment : movie.fragments) track->add(movie.initialization, fragment, 1);
  TrackDemuxer::Setup setup;
  setup.keys = keys;
  return demuxed(track, std::move(setup));
}

TEST(SegmentEncryption, DecryptsSamples) {
  const auto track = std::make_shared<FakeTrack>();
  for (const std::string& fragment : clearMovie().fragments)
    track->add(clearMovie().initialization, fragment, 1);
  const DemuxerOutput clear = demuxed(track);
  const auto keys =
      std::make_shared<FixedKeys>(keyBytes({0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99,
                                            0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}));
  const DemuxerOutput output = demuxedEncrypted(keys);
  EXPECT_TRUE(output.hasEnded);
  EXPECT_THAT(keys->requestedKeys,
              ElementsAre(keyBytes({1, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 1, 0x23, 0x45,
                                    0x67, 0x89, 0xab, 0xcd, 0xef})));
  EXPECT_EQ(output.videoCaps, clear.videoCaps);
  EXPECT_EQ(output.audioCaps, clear.audioCaps);
  const auto bytesOf = [](const auto& packets) {
    std::vector<std::string> bytes;
    for (const auto& each : packets) bytes.push_back(each.bytes);
    return bytes;
  };
  EXPECT_TRUE(bytesOf(output.video) == bytesOf(clear.video));
  EXPECT_TRUE(bytesOf(output.audio) == bytesOf(clear.audio));
}

TEST(SegmentEncryption, FailsWithoutAKey) {
  const std::shared_ptr<media::ContentKeys> refusals[] = {
      nullptr, std::make_shared<FixedKeys>(std::nullopt),
      std::make_shared<FixedKeys>(platform::Bytes{})};
  for (const auto& keys : refusals) {
    const DemuxerOutput output = demuxedEncrypted(keys);
    ASSERT_TRUE(output.failure);
    EXPECT_EQ(output.failure->code,
              static_cast<std::int64_t>(MediaErrorCode::ContentNotAuthorized));
    EXPECT_THAT(output.video, IsEmpty());
    EXPECT_THAT(output.audio, IsEmpty());
  }
}

TEST(SegmentFaults, ReplacesAnUnreadablePieceByAGap) {
  const std::string transport = second(0);
  const std::string_view fragment = clearMovie().fragments[1];
  const std::string_view header = clearMovie().initialization;
  struct Case {
    const char* name;
    std::string bytes;
    std::string initialization;
  };
  const Case cases[] = {
      {"empty", "", ""},
      {"an HTML page", "<!DOCTYPE html><html><body>Not found</body></html>", ""},
      {"zeros", std::string(5000, '\0'), ""},
      {"packets of another kind", std::string(transport.size(), 'G'), ""},
      {"no moof", std::string(fragment.substr(fragment.find("mdat") - 4)), std::string(header)},
      {"half a fragment's index", std::string(fragment.substr(0, 100)), std::string(header)},
      {"no initialization segment", std::string(fragment), ""},
      {"a broken initialization segment", std::string(fragment),
       std::string(header.substr(0, 200))},
      {"HTML instead of an initialization segment", std::string(fragment), "<html>"},
  };
  const auto addTo = [](FakeTrack& track, const Case& each) {
    if (each.initialization.empty())
      track.add(each.bytes, 1);
    else
      track.add(each.initialization, each.bytes, 1);
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const auto track = std::make_shared<FakeTrack>();
    track->add(transport, 1);
    addTo(*track, each);
    track->add(second(2), 1);
    const DemuxerOutput output = demuxed(track);
    EXPECT_TRUE(output.hasEnded);
    EXPECT_THAT(output.gaps, ElementsAre(Pair(1, 2)));
    EXPECT_EQ(output.video.size(), 50U);
    EXPECT_NEAR(output.video.back().pts, 2.96, 1e-6);

    for (const std::size_t pieces : {1, 3}) {
      const auto nothing = std::make_shared<FakeTrack>();
      while (nothing->pieces.size() < pieces) addTo(*nothing, each);
      const DemuxerOutput failed = demuxed(nothing);
      ASSERT_TRUE(failed.failure);
      EXPECT_TRUE(failed.failure->code == static_cast<std::int64_t>(MediaErrorCode::DecodeFailed) ||
                  failed.failure->code ==
                      static_cast<std::int64_t>(MediaErrorCode::FormatNotRecognized));
      EXPECT_EQ(nothing->pieces.size(), pieces == 1 ? 0U : 1U);
    }
  }
}

TEST(SegmentFaults, OutputsTheBeginningOfAFailedTransfer) {
  const auto track = std::make_shared<FakeTrack>();
  track->add(clearMovie().initialization, clearMovie().fragments[0], 1);
  const auto bytes = std::make_shared<streaming::SegmentBytes>();
  const std::string& fragment = clearMovie().fragments[1];
  bytes->append(std::string_view(fragment).substr(0, fragment.size() / 2));
  bytes->fail({});
  track->add(clearMovie().initialization, "", 1).media = bytes;
  const DemuxerOutput output = demuxed(track);
  EXPECT_GT(output.video.size(), 27U);
  EXPECT_LT(output.video.size(), 50U);
  ASSERT_EQ(output.gaps.size(), 1U);
  EXPECT_NEAR(output.gaps[0].first, output.video.back().pts, 0.2);
  EXPECT_EQ(output.gaps[0].second, 2);
}

TEST(SegmentFaults, ContinuesAfterDamagedData) {
  struct Source {
    const char* name;
    std::string initialization;
    std::string media;
  };
  const Source sources[] = {
      {"transport", "", second(1)},
      {"mp4", clearMovie().initialization, clearMovie().fragments[0]},
      {"webm", "", clipBytes("damage.webm", "-map 0 -t 1 -c:v libvpx -deadline realtime")},
      {"aac", "", clipBytes("damage.aac", "-map 1 -t 1 -c:a aac")},
      {"whole", "", clipBytes("damage.mp4", "-map 0 -t 1 -c:v libx264 -preset ultrafast")},
  };
  for (const Source& source : sources) {
    SCOPED_TRACE(source.name);
    for (unsigned seed = 0; seed < 60; ++seed) {
      std::mt19937 random(seed);
      const auto damaged = [&](std::string bytes) {
        if (bytes.empty()) return bytes;
        const auto below = [&](std::size_t limit) {
          return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
        };
        // Damage in the headers has the largest effect.
        for (std::size_t count = below(12); count > 0; --count)
          bytes[below(count % 2 == 0 ? bytes.size() : std::min<std::size_t>(bytes.size(), 1500))] =
              static_cast<char>(below(256));
        if (seed % 3 == 0) bytes.resize(below(bytes.size()));
        return bytes;
      };
      const auto track = std::make_shared<FakeTrack>();
      for (int count = 0; count < 2; ++count) {
        if (source.initialization.empty())
          track->add(damaged(source.media), 1);
        else
          track->add(damaged(source.initialization), damaged(source.media), 1);
      }
      const DemuxerOutput output = demuxed(track);
      EXPECT_TRUE(output.hasEnded || output.failure);
      for (const auto* const packets : {&output.video, &output.audio})
        for (const DemuxerOutput::Packet& packet : *packets) EXPECT_LE(packet.pts, 80);
    }
  }
}

/// The first `count` bytes of a piece are enough for packets.
void expectPacketsOf(std::string_view initialization, std::string_view media, std::size_t count) {
  gst_init(nullptr, nullptr);
  const auto track = std::make_shared<FakeTrack>();
  auto& piece = initialization.empty() ? track->add("", 1) : track->add(initialization, "", 1);
  const auto bytes = std::make_shared<streaming::SegmentBytes>();
  bytes->append(media.substr(0, count));
  piece.media = bytes;
  const auto demuxer = TrackDemuxer::make({.reader = track,
                                           .offsets = std::make_shared<media::TimestampOffsets>(),
                                           .keys = nullptr,
                                           .foundID3 = {},
                                           .foundEvent = {}});
  streaming::ReadGate gate;
  bool hasPacket = false;
  while (!hasPacket) {
    const auto item = demuxer->next(gate);
    ASSERT_TRUE(item);
    ASSERT_FALSE(std::holds_alternative<media::ElementaryGap>(*item));
    hasPacket = std::holds_alternative<media::ElementaryBuffer>(*item);
  }
  std::thread closer([&] { gate.setClosed(true); });
  while (demuxer->next(gate)) {
  }
  closer.join();
  // The same after a seek to the beginning.
  gate.setClosed(false);
  demuxer->reset();
  track->add(initialization, media, 1);
  if (initialization.empty()) track->pieces.back().initialization = nullptr;
  const auto format = demuxer->next(gate);
  ASSERT_TRUE(format);
  EXPECT_TRUE(std::holds_alternative<media::ElementaryFormat>(*format));
}

TEST(SegmentArrival, OutputsPacketsBeforeTheSegmentIsComplete) {
  const std::string transport = second(0);
  expectPacketsOf("", transport, transport.size() / 2);
  const std::string& fragment = clearMovie().fragments[0];
  // The index of the fragment and its first sample.
  expectPacketsOf(clearMovie().initialization, fragment, fragment.find("mdat") + 6000);
  expectPacketsOf("", clipBytes("damage.aac", "-map 1 -t 1 -c:a aac"), 3000);
}

}  // namespace
