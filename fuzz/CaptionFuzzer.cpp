// Captions and bitmap subtitles in packets.

#include <memory>

#include "fuzz/support/FuzzTarget.h"
#include "media/captions/PictureCaptions.h"
#include "media/output/SubtitleCues.h"
#include "media/support/LibavLog.h"
#include "media/texts/ImageSubtitles.h"
#include "platform/foundation/Utf8.h"

namespace fuzz {
namespace {

void readCaptions(Bytes input) {
  auto subtitles = std::make_shared<media::SubtitleCues>();
  subtitles->show(media::SubtitleCues::Source::Captions);
  media::PictureCaptions captions(
      subtitles, [](media::PictureCaptions::Channel) {}, [] {});
  captions.show(takeByte(input) % media::PictureCaptions::kNames.size());
  double time = 0;
  while (input.size() >= 3) {
    const std::uint8_t type = takeByte(input);
    if (type == 0xff) captions.restart();
    const std::uint8_t first = takeByte(input);
    captions.feed(time += 0.03, type & 3, first, takeByte(input));
  }
  for (double at = 0; at < time; at += time / 10)
    require(platform::isValidText(subtitles->textAt(at)), "the text of captions is UTF-8");
}

void readBitmapSubtitles(Bytes input) {
  media::silenceLibav();
  constexpr media::ImageSubtitleFormat kFormats[] = {media::ImageSubtitleFormat::DVB,
                                                     media::ImageSubtitleFormat::DVD,
                                                     media::ImageSubtitleFormat::PGS};
  media::ImageSubtitles subtitles(
      kFormats[takeByte(input) % 3U], [](const media::SubtitleCue& cue) {
        require(media::imageBytesOf(cue) <= media::SubtitleCue::kImageByteLimit,
                "the images of a cue are limited");
      });
  double time = 0;
  while (!input.empty()) {
    const std::size_t size = takeSize(input);
    const Bytes packet = takeBytes(input, size);
    if (size % 17 == 16)
      subtitles.setDescription(textOf(packet));
    else
      subtitles.feed(time += 1, media::SubtitleCue::kUntilNext, textOf(packet));
  }
}

const Registration captions({"Captions",
                             &readCaptions,
                             {.heap = {std::size_t{4} << 20, 2000}, .steps = {2'000'000, 4000}}});
// Decoders allocate canvases and objects of several megabytes, and a cue is limited to 16 MiB.
const Registration bitmaps({"BitmapSubtitles",
                            &readBitmapSubtitles,
                            {.heap = {std::size_t{160} << 20, 2000}, .steps = {60'000'000, 4000}}});

}  // namespace
}  // namespace fuzz
