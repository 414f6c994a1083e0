#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "box/screen/drawing/CairoTexture.h"
#include "tests/box/screen/Pictures.h"
#include "tests/box/screen/ReferenceImages.h"
#include "tests/box/screen/elements/Gallery.h"

// The reference images are in docs/look; scripts/update-pictures creates them.

namespace box::test {
namespace {

constexpr int kColumns = 3;
constexpr int kCellWidth = 480;
constexpr int kCellHeight = 270;
constexpr int kCellGap = 8;
struct Sheet {
  const char* language;
  int width;
  double textSize;
  std::string file() const {
    return std::string("docs/look/") + language + "-" + std::to_string(width) +
           (textSize > 1 ? "-large" : "") + ".png";
  }
};

CairoSurfacePtr drawSheet(const Sheet& sheet) {
  const std::vector<Scene> scenes = gallery(sheet.language);
  const int rows = (static_cast<int>(scenes.size()) + kColumns - 1) / kColumns;
  CairoSurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                     kColumns * (kCellWidth + kCellGap) - kCellGap,
                                                     rows * (kCellHeight + kCellGap) - kCellGap));
  const CairoPtr cairo(cairo_create(surface.get()));
  int index = 0;
  for (const Scene& scene : scenes) {
    const Picture picture(scene, sheet.width, sheet.width * 9 / 16, {}, {sheet.textSize},
                          sheet.language);
    const CairoSurfacePtr full = picture.cairoSurface();
    const double scale = static_cast<double>(kCellWidth) / sheet.width;
    cairo_save(cairo.get());
    cairo_translate(cairo.get(), index % kColumns * (kCellWidth + kCellGap),
                    index / kColumns * (kCellHeight + kCellGap));
    cairo_rectangle(cairo.get(), 0, 0, kCellWidth, kCellHeight);
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

class Golden : public testing::TestWithParam<Sheet> {};

TEST_P(Golden, MatchesTheReferenceImage) {
  expectReference(drawSheet(GetParam()).get(), GetParam().file());
}

std::vector<Sheet> sheets() {
  std::vector<Sheet> all;
  for (const char* language : kGalleryLanguages) {
    for (const int width : {1280, 1920, 3840}) all.push_back({language, width, 1});
    all.push_back({language, 1920, 1.5});
  }
  return all;
}
INSTANTIATE_TEST_SUITE_P(Look, Golden, testing::ValuesIn(sheets()), [](const auto& each) {
  const std::string file = std::filesystem::path(each.param.file()).stem().string();
  std::string name;
  for (const char letter : file) name += letter == '-' ? '_' : letter;
  return name;
});

}  // namespace
}  // namespace box::test
