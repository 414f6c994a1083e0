// Bitmap subtitles of each format for the golden pictures.

#include <utility>

#include "media/texts/ImageSubtitles.h"
#include "tests/box/screen/subtitles/BitmapSubtitles.h"
#include "tests/box/screen/subtitles/SubtitleGallery.h"

namespace box::test {
namespace {

/// Returns the first cue with an image.
media::SubtitleCue decodedBitmaps(const char* type, const std::string& packet,
                                  const std::string& description = "") {
  media::SubtitleCue shown;
  const auto decoder = media::ImageSubtitles::make(type, [&](media::SubtitleCue cue) {
    if (shown.images.empty()) shown = std::move(cue);
  });
  decoder->setDescription(description);
  decoder->feed(0, 10, packet);
  shown.start = 0;
  shown.duration = 10;
  return shown;
}

PlacedBitmap atBottom(const std::string& text, double size, int canvasWidth, int canvasHeight) {
  PlacedBitmap placed{textBitmap(text, size), 0, 0};
  placed.x = (canvasWidth - placed.bitmap.width) / 2;
  placed.y = canvasHeight - canvasHeight / 14 - placed.bitmap.height;
  return placed;
}

std::string descriptionOfDVD(int width, int height) {
  std::string text = "size: " + std::to_string(width) + "x" + std::to_string(height) +
                     "\npalette: 000000, 000000, 808080, ffffff";
  for (int color = 4; color < 16; ++color) text += ", 000000";
  return text + "\n";
}

}  // namespace

std::vector<BitmapExample> bitmapExamples() {
  const std::string text = "Well, here we are\nagain.";
  const auto pgs = [](const std::vector<PlacedBitmap>& bitmaps, int width, int height) {
    return decodedBitmaps("subpicture/x-pgs", pgsPacket(bitmaps, width, height));
  };
  const auto dvb = [](const std::vector<PlacedBitmap>& bitmaps, int width, int height) {
    return decodedBitmaps("subpicture/x-dvb", dvbPacket(bitmaps, width, height));
  };
  const auto dvd = [](const PlacedBitmap& bitmap, int width, int height) {
    return decodedBitmaps("subpicture/x-dvd", dvdPacket(bitmap), descriptionOfDVD(width, height));
  };
  const PlacedBitmap sign{textBitmap("A SIGN", 70), 200, 90};
  return {
      {"PGS", pgs({atBottom(text, 54, 1920, 1080)}, 1920, 1080)},
      {"PGS with two objects", pgs({sign, atBottom(text, 54, 1920, 1080)}, 1920, 1080)},
      {"PGS of a wide picture: on the bar below it",
       pgs({atBottom(text, 54, 1920, 1080)}, 1920, 1080), 320, 134},
      {"DVB of 720x576", dvb({atBottom(text, 32, 720, 576)}, 720, 576)},
      {"DVB of 1920x1080 with two regions",
       dvb({sign, atBottom("Well, here we are again.", 54, 1920, 1080)}, 1920, 1080)},
      {"DVB of 720x576 and a picture of 4:3", dvb({atBottom(text, 32, 720, 576)}, 720, 576), 240,
       180},
      {"DVD of 720x480", dvd(atBottom(text, 28, 720, 480), 720, 480)},
      {"DVD of 720x576", dvd(atBottom(text, 32, 720, 576), 720, 576)},
      {"DVD of 720x576 and a picture of 4:3", dvd(atBottom(text, 32, 720, 576), 720, 576), 240,
       180},
  };
}

}  // namespace box::test
