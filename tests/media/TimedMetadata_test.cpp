// Metadata in media at their time.

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "media/metadata/Chapters.h"
#include "media/metadata/EventMessages.h"
#include "media/metadata/ID3Tag.h"
#include "media/metadata/TransportMetadata.h"
#include "platform/foundation/Value.h"
#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes contentOf(const std::string& path) {
  std::ifstream input(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

void append(Bytes& to, const std::string& text) { to.insert(to.end(), text.begin(), text.end()); }

Bytes frame(const std::string& name, const std::string& content) {
  Bytes bytes(name.begin(), name.end());
  for (const int shift : {21, 14, 7, 0})
    bytes.push_back(static_cast<std::uint8_t>(content.size() >> shift & 0x7f));
  append(bytes, std::string(2, '\0') + content);
  return bytes;
}

Bytes tagOf(const std::vector<Bytes>& frames) {
  Bytes body;
  for (const Bytes& each : frames) body.insert(body.end(), each.begin(), each.end());
  Bytes tag{'I', 'D', '3', 4, 0, 0, 0, 0};
  tag.push_back(static_cast<std::uint8_t>(body.size() >> 7));
  tag.push_back(static_cast<std::uint8_t>(body.size() & 0x7f));
  tag.insert(tag.end(), body.begin(), body.end());
  return tag;
}

TEST(ID3Tag, FramesAreConvertedToItems) {
  using std::string_literals::operator""s;
  const Bytes tag = tagOf({frame("TIT2", "\x03N\u00e4chste"s), frame("TXXX", "\x03wer\0Anna"s),
                           frame("TPE1",
                                 "\x01\xff\xfe"
                                 "A\0\xe4\0"s),
                           frame("PRIV", "owner\0\1\2"s), frame("WOAR", "http://example.com/"s)});
  const auto items = media::itemsOfID3Tag(tag);
  ASSERT_EQ(items.size(), 5u);
  EXPECT_EQ(items[0].key, platform::Value("TIT2"));
  EXPECT_EQ(items[0].keySpace, media::kKeySpaceID3);
  EXPECT_EQ(items[0].value, platform::Value("N\u00e4chste"));
  EXPECT_EQ(items[1].value, platform::Value("Anna"));
  EXPECT_EQ(items[1].extraAttributes.string("info"), "wer");
  EXPECT_EQ(items[2].value, platform::Value("A\u00e4"));
  EXPECT_EQ(items[3].extraAttributes.string("info"), "owner");
  ASSERT_NE(items[3].value.asData(), nullptr);
  EXPECT_EQ(items[3].value.asData()->size(), 2u);
  EXPECT_EQ(items[4].value, platform::Value("http://example.com/"));

  // Truncated or overwritten tags must not be read beyond their end.
  for (std::size_t length = 0; length < tag.size(); ++length)
    EXPECT_LE(media::itemsOfID3Tag(std::span(tag).first(length)).size(), 5u);
  for (std::size_t at = 0; at < tag.size(); ++at) {
    Bytes damaged = tag;
    damaged[at] = 0xff;
    EXPECT_LE(media::itemsOfID3Tag(damaged).size(), 5u);
  }
}

/// Inserts a metadata stream with one tag for 1 s into a transport stream of ffmpeg.
class TransportWriter {
 public:
  static constexpr std::size_t kPacket = 188;
  static constexpr std::uint16_t kPID = 0x1f0;
  static constexpr int kProgramPID = 0x1000;
  /// Audio and video begin at 1.44 s or a little before.
  static constexpr std::uint64_t kTime = 90000 * 244 / 100;

  static Bytes withMetadata(const Bytes& stream, const Bytes& tag) {
    Bytes result;
    Bytes metadata = _packet(tag, kTime);
    for (std::size_t at = 0; at + kPacket <= stream.size(); at += kPacket) {
      Bytes packet(stream.begin() + static_cast<std::ptrdiff_t>(at),
                   stream.begin() + static_cast<std::ptrdiff_t>(at + kPacket));
      if (((packet[1] & 0x1f) << 8 | packet[2]) == kProgramPID) _addStream(packet);
      result.insert(result.end(), packet.begin(), packet.end());
      if (at < 20 * kPacket) continue;
      result.insert(result.end(), metadata.begin(), metadata.end());
      metadata.clear();
    }
    return result;
  }

 private:
  static void _addStream(Bytes& packet) {
    const std::size_t table = 5;  // after the pointer
    const std::size_t size = (packet[table + 1] & 0x0fu) << 8 | packet[table + 2];
    const std::size_t end = table + 3 + size - 4;
    const Bytes entry{0x15, 0xe0 | (kPID >> 8), kPID & 0xff, 0xf0, 0x00};
    std::copy(entry.begin(), entry.end(), packet.begin() + static_cast<std::ptrdiff_t>(end));
    packet[table + 2] = static_cast<std::uint8_t>(size + entry.size());
    std::uint32_t sum = 0xffffffff;
    for (std::size_t at = table; at < end + entry.size(); ++at) {
      sum ^= static_cast<std::uint32_t>(packet[at]) << 24;
      for (int bit = 0; bit < 8; ++bit) sum = sum & 0x80000000 ? sum << 1 ^ 0x04c11db7 : sum << 1;
    }
    for (std::size_t each = 0; each < 4; ++each)
      packet[end + entry.size() + each] = static_cast<std::uint8_t>(sum >> (24 - 8 * each));
  }

  static Bytes _packet(const Bytes& tag, std::uint64_t time) {
    const std::size_t length = 8 + tag.size();
    Bytes pes{0,
              0,
              1,
              0xbd,
              static_cast<std::uint8_t>(length >> 8),
              static_cast<std::uint8_t>(length),
              0x84,
              0x80,
              5};
    pes.push_back(static_cast<std::uint8_t>(0x21 | (time >> 29 & 0x0e)));
    pes.push_back(static_cast<std::uint8_t>(time >> 22));
    pes.push_back(static_cast<std::uint8_t>(1 | (time >> 14 & 0xfe)));
    pes.push_back(static_cast<std::uint8_t>(time >> 7));
    pes.push_back(static_cast<std::uint8_t>(1 | (time << 1 & 0xfe)));
    pes.insert(pes.end(), tag.begin(), tag.end());
    Bytes packet{0x47, 0x40 | (kPID >> 8), kPID & 0xff, 0x30};
    const std::size_t stuffing = kPacket - 5 - pes.size();
    packet.push_back(static_cast<std::uint8_t>(stuffing));
    packet.push_back(0);
    packet.resize(5 + stuffing, 0xff);
    packet.insert(packet.end(), pes.begin(), pes.end());
    return packet;
  }
};

TEST(TimedMetadata, IsReportedAtItsTimeWithTheTagsOfTheMedia) {
  const Bytes clip = contentOf(TestMedia::shared().fileURL("clip.ts").substr(7));
  const std::string path =
      std::filesystem::path(TestMedia::shared().fileURL("clip.ts").substr(7)).parent_path() /
      "metadata.ts";
  const Bytes made =
      TransportWriter::withMetadata(clip, tagOf({frame("TIT2", std::string("\x03Now", 4))}));
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(made.data()), static_cast<std::streamsize>(made.size()));

  EngineHarness harness;
  for (const std::string& url : {"file://" + path, TestMedia::shared().url("metadata.m3u8")}) {
    SCOPED_TRACE(url);
    harness.load(url, {});
    ASSERT_TRUE(harness.waitForEvent("play 1"));
    EXPECT_TRUE(harness.engine().facts().timedMetadata.empty()) << "not before its time";
    const int changes = harness.factsChanges();
    ASSERT_TRUE(harness.waitUntil([&] {
      return harness.factsChanges() > changes && !harness.engine().facts().timedMetadata.empty();
    }));
    EXPECT_NEAR(harness.engine().position(), 1, 0.3);
    const auto items = harness.engine().facts().timedMetadata;
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].value, platform::Value("Now"));
    EXPECT_NEAR(items[0].time->toSeconds(), 1, 0.05);
    ASSERT_TRUE(harness.waitForEvent("end"));
    EXPECT_EQ(harness.engine().facts().timedMetadata, items);
  }

  platform::MediaLoad paused;
  paused.playing = false;
  harness.load(TestMedia::shared().fileURL("clip.mp4"), paused);
  ASSERT_TRUE(harness.waitForEvent("pause"));
  ASSERT_TRUE(harness.waitUntil([&] { return !harness.engine().facts().timedMetadata.empty(); }));
  const auto& tag = harness.engine().facts().timedMetadata[0];
  EXPECT_EQ(tag.key, platform::Value("title"));
  EXPECT_EQ(tag.value, platform::Value("Clip"));
}

/// An event at 1.5 s, half a second after the start of its segment.
Bytes eventMessage(int version, const std::string& scheme, const Bytes& data) {
  Bytes box{0, 0, 0, 0, 'e', 'm', 's', 'g', static_cast<std::uint8_t>(version), 0, 0, 0};
  const std::string names = scheme + '\0' + "one" + '\0';
  if (version == 0) append(box, names);
  const std::uint8_t time = version == 0 ? 50 : 150;
  box.insert(box.end(), {0, 0, 0, 100});
  if (version == 1) box.insert(box.end(), 4, 0);
  box.insert(box.end(), {0, 0, 0, time, 0, 0, 0, 200, 0, 0, 0, 7});
  if (version == 1) append(box, names);
  box.insert(box.end(), data.begin(), data.end());
  box[3] = static_cast<std::uint8_t>(box.size());
  return box;
}

TEST(TimedMetadata, EventMessagesAreReportedOnceAtTheirTime) {
  const TestMedia& media = TestMedia::shared();
  const std::string coded = "-map 0 -map 1 -c:v libx264 -preset ultrafast -g 25 -c:a aac ";
  const struct {
    std::string name, options;
    std::vector<std::string> segments;
  } cases[] = {
      {"events.m3u8",
       coded + "-hls_time 1 -hls_list_size 0 -hls_segment_type fmp4 -hls_segment_filename " +
           media.path("events%d.m4s"),
       {"events1.m4s"}},
      {"events.mpd",
       coded + "-f dash -seg_duration 1 -init_seg_name 'dash$RepresentationID$.mp4' "
               "-media_seg_name 'dash$RepresentationID$-$Number$.m4s'",
       {"dash0-2.m4s", "dash1-2.m4s"}},
      {"events.mp4",
       coded + "-movflags frag_keyframe+empty_moov+default_base_moof+skip_trailer",
       {"events.mp4"}}};
  EngineHarness harness;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const std::string url = media.url(each.name, each.options);
    for (const std::string& segment : each.segments) {
      Bytes content = contentOf(media.path(segment));
      ASSERT_FALSE(content.empty());
      // Inserted before the fragment that begins at 1 s.
      const std::string moof = "moof";
      auto place = std::search(content.begin(), content.end(), moof.begin(), moof.end());
      if (segment == each.name)
        place = std::search(place + 4, content.end(), moof.begin(), moof.end());
      Bytes messages;
      for (const Bytes& part :
           {eventMessage(0, "urn:test", {1, 2}), eventMessage(1, "urn:test", {1, 2}),
            eventMessage(1, "https://aomedia.org/emsg/ID3", tagOf({frame("TIT2", "\x03Now")}))})
        messages.insert(messages.end(), part.begin(), part.end());
      content.insert(place - 4, messages.begin(), messages.end());
      std::ofstream(media.path(segment), std::ios::binary)
          .write(reinterpret_cast<const char*>(content.data()),
                 static_cast<std::streamsize>(content.size()));
    }
    harness.load(url, {});
    ASSERT_TRUE(
        harness.waitUntil([&] { return harness.engine().facts().timedMetadata.size() > 1; }));
    EXPECT_GE(harness.engine().position(), 1.45);
    const auto items = harness.engine().facts().timedMetadata;
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].key, platform::Value("urn:test one"));
    EXPECT_EQ(items[0].keySpace, streaming::kKeySpaceEvents);
    ASSERT_NE(items[0].value.asData(), nullptr);
    EXPECT_EQ(items[0].value.asData()->size(), 2u);
    EXPECT_EQ(items[0].extraAttributes.get("duration"), platform::Value(2.0));
    EXPECT_NEAR(items[0].time->toSeconds(), 1.5, 0.05);
    EXPECT_EQ(items[1].value, platform::Value("Now"));
    ASSERT_TRUE(harness.waitForEvent("end"));
    const auto loaded = harness.engine().facts().loaded;
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_NEAR(loaded[0].duration, 3, 0.1);
    const auto log = harness.engine().accessLog();
    EXPECT_TRUE(log[0].asDictionary()->contains("observedBitrate"));
    EXPECT_EQ(log[0].asDictionary()->contains("indicatedBitrate"), each.name == "events.mpd");
  }
}

TEST(EventMessages, AreFoundByteByByteAndInDamagedFiles) {
  const TestMedia& media = TestMedia::shared();
  media.url("chapters.txt");
  media.url("whole.mp4", "-i " + media.path("chapters.txt") +
                             " -map 0 -map_chapters 3 -c:v libx264 -preset ultrafast -g 25"
                             " -movflags frag_keyframe+empty_moov");
  Bytes stream = contentOf(media.path("whole.mp4"));
  const std::string name = "moof";
  auto moof = std::search(stream.begin(), stream.end(), name.begin(), name.end());
  ASSERT_NE(moof, stream.end());
  const Bytes message = eventMessage(0, "urn:test", {1});
  stream.insert(moof - 4, message.begin(), message.end());
  std::vector<double> found;
  media::EventMessages events([&](double seconds, const media::EventMessage& event) {
    found.push_back(seconds);
    EXPECT_LE(event.data.size(), stream.size());
  });
  media::MovieBoxes boxes([](std::uint32_t) { return std::uint64_t{100000}; },
                          [&](std::uint32_t type, media::BoxBytes content) {
                            events.takeBox(type, content);
                            EXPECT_LE(media::chaptersOfMovie(content).size(), 1000u);
                          });
  for (const std::uint8_t& each : stream) boxes.feed({&each, 1});
  EXPECT_EQ(found, std::vector<double>{0.5});
  boxes.restart();
  events.restart();
  const auto begin = static_cast<std::size_t>(
      std::search(stream.begin(), stream.end(), name.begin(), name.end()) - stream.begin());
  for (std::size_t at = 0; at < begin + 200; ++at) {
    Bytes damaged(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(begin + 400));
    damaged[at] = static_cast<std::uint8_t>(at % 2 == 0 ? 0xff : 0);
    boxes.feed(damaged);
    boxes.restart();
    events.restart();
  }
  EXPECT_LE(found.size(), 1 + begin + 200);
}

TEST(TimedMetadata, TitlesOfARadioStationFollowItsAudio) {
  const TestMedia& media = TestMedia::shared();
  media.url("song.mp3", "-map 1 -c:a libmp3lame -b:a 64k");
  EngineHarness harness;
  harness.load(media.url("radio/song.mp3"));
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  EXPECT_TRUE(harness.engine().facts().live);
  EXPECT_TRUE(harness.engine().facts().seekable.empty());
  const auto valueOf = [&](std::string_view key) {
    for (const auto& each : harness.engine().facts().timedMetadata)
      if (each.keySpace == "icy" && each.key == platform::Value(std::string(key)))
        return each.value;
    return platform::Value();
  };
  for (const char* title : {"Song 1", "Song 2"})
    EXPECT_TRUE(
        harness.waitUntil([&] { return valueOf("StreamTitle") == platform::Value(title); }));
  EXPECT_EQ(valueOf("icy-name"), platform::Value("Test Radio"));
  EXPECT_GT(harness.engine().position(), 2) << "the first song has ended";
}

}  // namespace
}  // namespace testing_media
