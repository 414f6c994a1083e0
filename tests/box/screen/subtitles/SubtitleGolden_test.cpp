// Pictures of subtitles: each text is parsed and drawn over a video. The reference images are in
// docs/look/subtitles; scripts/update-pictures creates them.

#include <algorithm>

#include <gtest/gtest.h>

#include "media/texts/TextFormats.h"
#include "tests/box/screen/Pictures.h"
#include "tests/box/screen/ReferenceImages.h"
#include "tests/box/screen/subtitles/SubtitleGallery.h"

namespace box::test {
namespace {

constexpr int kSheetColumns = 3;
constexpr int kSheetCellWidth = 480;
constexpr int kSheetCellHeight = 270;
constexpr int kSheetGap = 8;
constexpr int kDrawnWidth = 1280;
constexpr int kDrawnHeight = 720;

Scene sceneOfTexts(const std::string& text, double time) {
  const auto frame = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 320, 180,
                                                   MemoryFrame::Yuv{90, 140, 110},
                                                   MemoryFrame::Yuv{170, 120, 130});
  const auto cues = std::make_shared<media::SubtitleCues>();
  cues->setExternal(media::cuesOfText(text).value_or(std::vector<media::SubtitleCue>()));
  cues->show(media::SubtitleCues::Source::External);
  frame->time = time;
  frame->subtitles = cues;
  return sceneOf({VideoElement{videoOf(frame)}});
}

CairoSurfacePtr drawSubtitleSheet(const std::vector<SubtitleExample>& examples) {
  const int rows = (static_cast<int>(examples.size()) + kSheetColumns - 1) / kSheetColumns;
  CairoSurfacePtr surface(cairo_image_surface_create(
      CAIRO_FORMAT_RGB24, kSheetColumns * (kSheetCellWidth + kSheetGap) - kSheetGap,
      rows * (kSheetCellHeight + kSheetGap) - kSheetGap));
  const CairoPtr cairo(cairo_create(surface.get()));
  int index = 0;
  for (const SubtitleExample& example : examples) {
    const Picture picture(sceneOfTexts(example.text, example.time), kDrawnWidth, kDrawnHeight);
    const CairoSurfacePtr full = picture.cairoSurface();
    const double scale = static_cast<double>(kSheetCellWidth) / kDrawnWidth;
    cairo_save(cairo.get());
    cairo_translate(cairo.get(), index % kSheetColumns * (kSheetCellWidth + kSheetGap),
                    index / kSheetColumns * (kSheetCellHeight + kSheetGap));
    cairo_rectangle(cairo.get(), 0, 0, kSheetCellWidth, kSheetCellHeight);
    cairo_clip(cairo.get());
    cairo_scale(cairo.get(), scale, scale);
    cairo_set_source_surface(cairo.get(), full.get(), 0, 0);
    cairo_paint(cairo.get());
    cairo_restore(cairo.get());
    ++index;
  }
  cairo_surface_flush(surface.get());
  return surface;
}

class SubtitleGolden : public testing::TestWithParam<const char*> {};

TEST_P(SubtitleGolden, MatchesTheReferenceImage) {
  const std::string format = GetParam();
  const auto examples = format == "webvtt" ? webVTTExamples() : ttmlExamples();
  expectReference(drawSubtitleSheet(examples).get(), "docs/look/subtitles/" + format + ".png");
}
INSTANTIATE_TEST_SUITE_P(Look, SubtitleGolden, testing::Values("webvtt", "ttml"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
}  // namespace box::test
