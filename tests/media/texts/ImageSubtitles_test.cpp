// Bitmap subtitles: as packets, and in containers.

#include "media/texts/ImageSubtitles.h"

#include <fstream>
#include <memory>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

std::string bytes(std::size_t value, int count) {
  std::string result;
  while (count-- > 0) result += static_cast<char>(value >> (8 * count));
  return result;
}

/// A white box of 16x8 pixels from 0.5 to 2 seconds in PGS. `isFile` adds the headers that segments
/// have in a file.
std::string boxOfGraphics(bool isFile) {
  std::string made;
  double time = 0;
  const auto add = [&](int type, const std::string& body) {
    const std::string pts = bytes(static_cast<std::size_t>(90000 * time), 4);
    if (isFile) made += "PG" + pts + pts;
    made += bytes(static_cast<std::size_t>(type), 1) + bytes(body.size(), 2) + body;
  };
  const std::string place = bytes(100, 2) + bytes(400, 2);
  const std::string window = std::string("\1\0", 2) + place + bytes(16, 2) + bytes(8, 2);
  const std::string canvas = bytes(720, 2) + bytes(480, 2) + "\x10";
  std::string pixels;
  for (int row = 0; row < 8; ++row) pixels += std::string("\0\x90\1\0\0", 5);  // 16 of colour 1
  for (const double begin : {0.0, 0.5, 2.0}) {
    const bool isShown = begin == 0.5;
    time = begin;
    add(0x16, canvas + bytes(1, 2) +
                  (isShown ? std::string("\x80\0\0\1\0\0\0\0", 8) + place : std::string(4, '\0')));
    add(0x17, window);
    if (isShown) {
      add(0x14, std::string("\0\0\1", 3) + "\xeb\x80\x80\xff");
      add(0x15, std::string("\0\0\0\xc0", 4) + bytes(pixels.size() + 4, 3) + bytes(16, 2) +
                    bytes(8, 2) + pixels);
    }
    add(0x80, "");
  }
  return made;
}

/// The same box as a DVD subpicture, without an end time.
const std::string kDisc(
    "\0\x32\0\x14\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10"
    "\0\0\0\x2c\3\0\x70\4\0\xf0\5\6\x40\x73\x19\1\x97\6\0\4\0\x0c\1\xff\xff\xff\0\x2c\2\xff",
    50);

void expectBox(const media::SubtitleCue& cue) {
  ASSERT_EQ(cue.images.size(), 1u);
  const media::CueImage& image = cue.images[0];
  EXPECT_EQ(std::pair(image.canvasWidth, image.canvasHeight), std::pair(720, 480));
  EXPECT_EQ(std::tuple(image.x, image.y, image.width, image.height), std::tuple(100, 400, 16, 8));
  EXPECT_GT(image.pixels[20], 0xFFF0F0F0U);
}

constexpr double kUntilNext = media::SubtitleCue::kUntilNext;

std::string segmentOfGraphics(std::size_t type, const std::string& body) {
  return bytes(type, 1) + bytes(body.size(), 2) + body;
}

std::string segmentOfBroadcast(std::size_t type, const std::string& body) {
  return "\x0f" + bytes(type, 1) + bytes(1, 2) + bytes(body.size(), 2) + body;
}

/// A PGS display set: square objects, and places that show them in turn. Each object announces
/// `announced` compressed bytes, or as many as it has if that is 0.
std::string graphics(std::size_t side, std::size_t objects, std::size_t places,
                     std::size_t announced = 0) {
  std::string composition = bytes(side, 2) + bytes(side, 2) + "\x10" + bytes(1, 2) + "\x80" +
                            bytes(0, 2) + bytes(places, 1);
  for (std::size_t index = 0; index < places; ++index)
    composition += bytes(index % objects, 2) + bytes(0, 6);
  std::string packet = segmentOfGraphics(0x16, composition) +
                       segmentOfGraphics(0x14, bytes(0, 2) + "\1\xeb\x80\x80\xff");
  std::string pixels;
  for (std::size_t row = 0; row < side; ++row)
    pixels += bytes(0, 1) + bytes(0xC000 | side, 2) + "\1" + bytes(0, 2);
  const std::size_t size = announced ? announced : pixels.size();
  for (std::size_t index = 0; index < objects; ++index)
    packet += segmentOfGraphics(0x15, bytes(index, 2) + bytes(0xC0, 2) + bytes(size + 4, 3) +
                                          bytes(side, 2) + bytes(side, 2) + pixels);
  return packet + segmentOfGraphics(0x80, "");
}

/// A DVB page of regions that are filled with a visible colour.
std::string broadcast(std::size_t width, std::size_t height, std::size_t regions,
                      std::size_t timeout = 5, bool hasEnd = true) {
  std::string page = bytes(timeout, 1) + "\x08";
  for (std::size_t index = 0; index < regions; ++index) page += bytes(index, 1) + bytes(0, 5);
  std::string packet =
      segmentOfBroadcast(0x10, page) +
      segmentOfBroadcast(0x12, bytes(0x0f, 2) + "\1\xe1\xeb\x80\x80" + bytes(0, 1));
  for (std::size_t index = 0; index < regions; ++index)
    packet += segmentOfBroadcast(0x11, bytes(index, 1) + "\x08" + bytes(width, 2) +
                                           bytes(height, 2) + "\x0c" + bytes(0, 1) +
                                           bytes(0x100, 2) + bytes(7, 2) + bytes(0, 4));
  const std::string pixel = "\x12\1" + bytes(0, 2) + "\xf0\xf0";
  packet += segmentOfBroadcast(
      0x13, bytes(7, 2) + bytes(0, 1) + bytes(pixel.size(), 2) + bytes(0, 2) + pixel);
  return hasEnd ? packet + segmentOfBroadcast(0x80, "") : packet;
}

/// A DVD subpicture that each of the control sequences draws.
std::string disc(std::size_t width, std::size_t height, std::size_t sequences) {
  std::string rows;
  for (std::size_t row = 0; row < height / 2 + 1; ++row) rows += std::string("\0\3", 2);
  const std::size_t control = 4 + rows.size();
  const std::string commands = "\4\xff\xff\3\xff\xff\5" + bytes(width - 1, 3) +
                               bytes(height - 1, 3) + "\6" + bytes(4, 2) + bytes(4, 2) + "\1\xff";
  std::string lists;
  for (std::size_t index = 1; index <= sequences; ++index) {
    const std::size_t at = control + lists.size();
    lists += bytes(0, 2) + bytes(index < sequences ? at + 4 + commands.size() : at, 2) + commands;
  }
  return bytes(control + lists.size(), 2) + bytes(control, 2) + rows + lists;
}

struct Decoder {
  explicit Decoder(const char* type)
      : images(media::ImageSubtitles::make(
            type, [this](media::SubtitleCue cue) { shown.push_back(std::move(cue)); })) {
    images->setDescription("size: 720x480\npalette: 0,0,0,0,0,0,0, ffffff,0,0,0,0,0,0,0,ffffff\n");
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  std::vector<media::SubtitleCue> shown;
  std::unique_ptr<media::ImageSubtitles> images;
};

TEST(ImageSubtitles, DecodesPacketsAndSurvivesBrokenOnes) {
  const struct {
    const char* type;
    std::string packet;
    std::size_t cues;
    double duration;
  } cases[] = {{"subpicture/x-pgs", boxOfGraphics(false), 3, kUntilNext},
               {"subpicture/x-dvd", kDisc, 1, 1.5}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.type);
    Decoder decoder(testCase.type);
    decoder.images->feed(0.5, 1.5, testCase.packet);
    ASSERT_EQ(decoder.shown.size(), testCase.cues);
    const media::SubtitleCue& cue = decoder.shown[testCase.cues / 2];
    expectBox(cue);
    EXPECT_EQ(cue.start, 0.5);
    EXPECT_EQ(cue.duration, testCase.duration);
  }
  EXPECT_FALSE(media::ImageSubtitles::make("subpicture/x-other", {}));

  for (const auto& [type, packet] : {std::pair("subpicture/x-pgs", boxOfGraphics(false)),
                                     {"subpicture/x-dvd", kDisc},
                                     {"subpicture/x-dvb", broadcast(16, 8, 2)}}) {
    SCOPED_TRACE(type);
    Decoder decoder(type);
    for (std::size_t size = 0; size < packet.size(); ++size) {
      std::string damaged = packet;
      damaged[size] = static_cast<char>(damaged[size] ^ static_cast<char>(size * 41 + 1));
      decoder.images->feed(1, 1, packet.substr(0, size));
      decoder.images->feed(1, 1, damaged);
    }
    for (const media::SubtitleCue& cue : decoder.shown)
      for (const media::CueImage& each : cue.images)
        ASSERT_EQ(each.pixels.size(), static_cast<std::size_t>(each.width * each.height));
    EXPECT_GT(decoder.shown.size(), 5u);
    decoder.shown.clear();
    decoder.images->feed(2, 1, packet);
    ASSERT_FALSE(decoder.shown.empty()) << "after the broken ones";
  }
}

TEST(ImageSubtitles, SizesAreLimited) {
  const struct {
    const char* name;
    const char* type;
    std::string packet;
    std::vector<int> widths;  // of the images
  } cases[] = {
      {"PGS: two objects", "subpicture/x-pgs", graphics(1000, 2, 2), {1000, 1000}},
      {"PGS: a canvas that is too large", "subpicture/x-pgs", graphics(4095, 1, 2), {}},
      {"PGS: more than a cue may have", "subpicture/x-pgs", graphics(2047, 1, 2), {2047}},
      {"PGS: an object in 255 places", "subpicture/x-pgs", graphics(1000, 1, 255), {1000, 1000}},
      {"PGS: objects that announce 16 MiB",
       "subpicture/x-pgs",
       graphics(100, 64, 2, 0xFFFF00),
       {100}},
      {"DVB: a region of half a canvas", "subpicture/x-dvb", broadcast(1280, 720, 1), {1280}},
      {"DVB: a region that is too large", "subpicture/x-dvb", broadcast(65535, 65535, 1), {}},
      {"DVB: regions of 16 MiB", "subpicture/x-dvb", broadcast(1024, 1024, 16),
       std::vector<int>(4, 1024)},
      {"DVB: 256 regions", "subpicture/x-dvb", broadcast(1280, 1020, 256), {1280, 1280, 1280}},
      {"DVD: a full picture", "subpicture/x-dvd", disc(720, 480, 2), {720}},
      {"DVD: a picture that is too large", "subpicture/x-dvd", disc(4095, 4095, 2), {}},
      {"DVD: a picture drawn 65 times", "subpicture/x-dvd", disc(720, 480, 65), {}},
      {"DVD: a picture that continues in another packet",
       "subpicture/x-dvd",
       disc(720, 480, 1).substr(0, 300),
       {}},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    Decoder decoder(testCase.type);
    // Twice: the decoder still has the pictures of the first packet.
    for (int repeats = 0; repeats < 2; ++repeats) {
      decoder.shown.clear();
      decoder.images->feed(repeats, kUntilNext, testCase.packet);
      std::vector<int> widths;
      for (const media::SubtitleCue& cue : decoder.shown) {
        for (const media::CueImage& each : cue.images) widths.push_back(each.width);
        EXPECT_LE(imageBytesOf(cue), media::SubtitleCue::kImageByteLimit);
      }
      EXPECT_EQ(widths, testCase.widths);
    }
  }
}

TEST(SubtitlePackets, LeaveOutWhatTheDecoderWouldAllocate) {
  media::SubtitlePackets discs(media::ImageSubtitleFormat::PGS);
  const std::string set = graphics(100, 64, 2, std::size_t{1} << 22);
  auto parts = discs.split(set);
  ASSERT_EQ(parts.size(), 1u);
  const std::size_t object = (set.size() - graphics(100, 1, 2).size()) / 63;
  EXPECT_EQ(parts[0].bytes.size(), set.size() - 61 * object) << "three objects of 4 MiB";
  EXPECT_TRUE(parts[0].startsAnew);

  media::SubtitlePackets broadcasts(media::ImageSubtitleFormat::DVB);
  const std::string page = broadcast(1024, 1024, 3);
  EXPECT_EQ(broadcasts.split(page).at(0).bytes, page);
  // Regions of a page that keeps those of the pages before.
  std::string more = broadcast(1024, 1024, 3);
  more.replace(6, 2, bytes(0, 2));
  for (std::size_t at = more.find("\x0f\x11"); at != std::string::npos;
       at = more.find("\x0f\x11", at + 1))
    more[at + 6] = static_cast<char>(more[at + 6] + 3);
  parts = broadcasts.split(more);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_FALSE(parts[0].startsAnew);
  EXPECT_EQ(parts[0].bytes.size(), more.size() - std::size_t{2} * (6 + 16));
  broadcasts.reset();
  EXPECT_EQ(broadcasts.split(more).at(0).bytes, more);

  // The decoder frees the regions of a page only when its state is discarded.
  const std::string open = broadcast(1024, 1024, 3, 5, false);
  parts = broadcasts.split(open + open);
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_TRUE(parts[0].startsAnew);
  EXPECT_TRUE(parts[1].startsAnew);

  std::string many;
  for (std::size_t count = 0; count < 2 * media::SubtitlePackets::kPartLimit; ++count)
    many += graphics(16, 1, 1);
  EXPECT_EQ(discs.split(many).size(), media::SubtitlePackets::kPartLimit);
}

TEST(ImageSubtitles, MemoryOfAllCuesIsLimited) {
  media::SubtitleCue cue;
  const media::CueImage image{
      2048, 2048, 0, 0, 2048, 1024, std::vector<std::uint32_t>(2048 * 1024)};
  cue.images = {image, image, image};
  media::SubtitleCues cues;
  cues.show(media::SubtitleCues::Source::Media);
  for (; cue.start < 8; ++cue.start) cues.add(cue);
  std::size_t bytes = 0;
  for (double seconds = 0; seconds < 8; ++seconds)
    for (const auto& each : cues.at(seconds)) {
      EXPECT_EQ(each->images.size(), 2u);
      bytes += imageBytesOf(*each);
    }
  EXPECT_LE(bytes, media::SubtitleCues::kByteLimit);
  EXPECT_FALSE(cues.at(7).empty());
}

TEST(ImageSubtitles, PagesOfBroadcastsEndAtTheirTimeOutOrTheNextPage) {
  Decoder decoder("subpicture/x-dvb");
  const std::string hd = segmentOfBroadcast(0x14, bytes(0, 1) + bytes(1919, 2) + bytes(1079, 2));
  const std::string prefix("\x20\0", 2);
  decoder.images->feed(1, kUntilNext, prefix + broadcast(16, 8, 1));
  decoder.images->feed(4, kUntilNext, prefix + hd + broadcast(24, 8, 1, 5, false));
  decoder.images->feed(20, kUntilNext, prefix + broadcast(32, 8, 2));
  decoder.images->feed(22, kUntilNext, prefix + segmentOfBroadcast(0x10, "\5\x08"));
  media::SubtitleCues cues;
  cues.show(media::SubtitleCues::Source::Media);
  for (media::SubtitleCue& each : decoder.shown) cues.add(std::move(each));
  const struct {
    double seconds;
    int width;
    int canvas;
  } expected[] = {{0.9, 0, 0}, {1, 16, 720},   {3.9, 16, 720},   {4, 24, 1920}, {8.9, 24, 1920},
                  {9.1, 0, 0}, {20, 32, 1920}, {21.9, 32, 1920}, {22, 0, 0}};
  for (const auto& [seconds, width, canvas] : expected) {
    SCOPED_TRACE(seconds);
    const auto shown = cues.at(seconds);
    ASSERT_EQ(shown.size(), width ? 1u : 0u);
    if (!width) continue;
    EXPECT_EQ(shown[0]->images[0].width, width);
    EXPECT_EQ(shown[0]->images[0].canvasWidth, canvas);
  }
}

TEST(ImageSubtitles, AreShownAtTheirTimes) {
  const TestMedia& media = TestMedia::shared();
  std::ofstream(media.path("box.sup"), std::ios::binary) << boxOfGraphics(true);
  const std::string options = "-i " + media.path("box.sup") +
                              " -map 0 -map 1 -map 3 -c:v libx264 -c:a aac -s:s 720x480 -c:s ";
  for (const auto& [name, form] :
       {std::pair("graphics.mkv", "copy"), {"graphics.m2ts", "copy"}, {"broadcast.ts", "dvbsub"}}) {
    SCOPED_TRACE(name);
    EngineHarness harness;
    platform::MediaLoad load;
    load.playing = false;
    harness.load(media.url(name, options + form), load);
    ASSERT_TRUE(harness.waitForEvent("pause"));
    const auto& groups = harness.engine().facts().selectionGroups;
    ASSERT_FALSE(groups.empty());
    harness.call([id = groups.back().options.at(0).identifier](platform::MediaEngine& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), id);
      engine.play(1);
    });
    ASSERT_TRUE(harness.waitForEvent("end"));
    const auto subtitles = harness.frame()->subtitles;
    EXPECT_TRUE(subtitles->at(0.3).empty());
    // In the DVB stream that ffmpeg makes, the page without regions precedes the other one, so its
    // time-out ends it.
    EXPECT_EQ(subtitles->at(2.1).empty(), std::string(name) != "broadcast.ts");
    EXPECT_TRUE(subtitles->at(32).empty());
    const auto cues = subtitles->at(1.7);
    ASSERT_EQ(cues.size(), 1u);
    expectBox(*cues[0]);
    // A seek behind the last text neither fails nor waits for one.
    for (const double seconds : {2.9, 0.2, 2.97}) {
      const int before = harness.count("seek");
      harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
      ASSERT_TRUE(
          harness.waitUntil([&] { return harness.count("seek") > before || harness.error(); }));
      ASSERT_FALSE(harness.error()) << harness.error()->description();
    }
  }
}

}  // namespace
}  // namespace testing_media
