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
  return drawContactSheet(static_cast<int>(examples.size()), [&](int index) {
    const SubtitleExample& example = examples[static_cast<std::size_t>(index)];
    return Picture(sceneOfTexts(example.text, example.time), kDrawnWidth, kDrawnHeight);
  });
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
