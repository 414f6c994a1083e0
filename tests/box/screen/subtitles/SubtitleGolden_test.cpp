// Pictures of subtitles: each text is parsed and drawn over a video. The reference images are in
// docs/look/subtitles; scripts/update-pictures creates them.

#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "media/texts/TextFormats.h"
#include "media/texts/ass/AssRenderer.h"
#include "tests/box/screen/Pictures.h"
#include "tests/box/screen/ReferenceImages.h"
#include "tests/box/screen/subtitles/SubtitleGallery.h"

namespace box::test {
namespace {

constexpr int kDrawnWidth = 1280;
constexpr int kDrawnHeight = 720;

Scene sceneOfSubtitles(const std::shared_ptr<const media::SubtitleCues>& cues, double time,
                       int width = 320, int height = 180) {
  const auto frame = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, width, height,
                                                   MemoryFrame::Yuv{90, 140, 110},
                                                   MemoryFrame::Yuv{170, 120, 130});
  frame->time = time;
  frame->subtitles = cues;
  return sceneOf({VideoElement{videoOf(frame)}});
}

std::shared_ptr<media::SubtitleCues> cuesOfExample(const SubtitleExample& example) {
  auto cues = std::make_shared<media::SubtitleCues>();
  cues->show(media::SubtitleCues::Source::External);
  cues->setExternal(media::cuesOfText(example.text).value_or(std::vector<media::SubtitleCue>()));
  return cues;
}

/// Noto Serif with another family name, which no installed font has.
media::AttachedFont attachedFont() {
  std::ifstream file("/usr/share/fonts/truetype/noto/NotoSerif-Bold.ttf", std::ios::binary);
  media::AttachedFont font{"zoto.ttf", {std::istreambuf_iterator<char>(file), {}}};
  const auto wide = [](std::string_view text) {
    std::string result;
    for (const char each : text) (result += '\0') += each;
    return result;
  };
  const std::string name = wide("Noto");
  for (std::size_t at = 0; (at = font.bytes.find(name, at)) != std::string::npos; at += name.size())
    font.bytes.replace(at, name.size(), wide("Zoto"));
  return font;
}

std::shared_ptr<media::SubtitleCues> renderingOfExample(const SubtitleExample& example) {
  media::AssRenderer renderer;
  renderer.readDocument(example.text);
  renderer.addFont(attachedFont());
  renderer.setPicture({.width = kDrawnWidth, .height = kDrawnHeight, .aspect = 16.0 / 9});
  media::SubtitleCue cue;
  cue.duration = 10;
  cue.images = renderer.render(example.time, true).images;
  auto cues = std::make_shared<media::SubtitleCues>();
  cues->show(media::SubtitleCues::Source::External);
  cues->addRendering(media::SubtitleCues::Source::External, std::move(cue));
  return cues;
}

template <typename Example, typename MakeScene>
void expectSheet(const std::vector<Example>& examples, const std::string& name,
                 const MakeScene& sceneOfExample) {
  const auto draw = [&](int index) {
    return Picture(sceneOfExample(examples[static_cast<std::size_t>(index)]), kDrawnWidth,
                   kDrawnHeight);
  };
  expectReference(drawContactSheet(static_cast<int>(examples.size()), draw).get(),
                  "docs/look/subtitles/" + name + ".png");
}

TEST(SubtitleGolden, WebVTT) {
  expectSheet(webVTTExamples(), "webvtt", [](const SubtitleExample& each) {
    return sceneOfSubtitles(cuesOfExample(each), each.time);
  });
}

TEST(SubtitleGolden, TTML) {
  expectSheet(ttmlExamples(), "ttml", [](const SubtitleExample& each) {
    return sceneOfSubtitles(cuesOfExample(each), each.time);
  });
}

TEST(SubtitleGolden, ASS) {
  expectSheet(assExamples(), "ass", [](const SubtitleExample& each) {
    return sceneOfSubtitles(renderingOfExample(each), each.time);
  });
}

TEST(SubtitleGolden, Bitmaps) {
  expectSheet(bitmapExamples(), "bitmaps", [](const BitmapExample& each) {
    const auto cues = std::make_shared<media::SubtitleCues>();
    cues->show(media::SubtitleCues::Source::External);
    cues->setExternal({each.cue});
    return sceneOfSubtitles(cues, 1, each.pictureWidth, each.pictureHeight);
  });
}

}  // namespace
}  // namespace box::test
