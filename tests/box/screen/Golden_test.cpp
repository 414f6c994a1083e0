#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <pango/pangocairo.h>

#include "box/screen/CairoTexture.h"
#include "tests/box/screen/Gallery.h"
#include "tests/box/screen/Pictures.h"

// The pictures that everything is compared with are in docs/look, where people see them too. They
// are made anew with scripts/update-pictures.

namespace box::test {
namespace {

constexpr int kColumns = 3;
constexpr int kCellWidth = 480;
constexpr int kCellHeight = 270;
constexpr int kCellGap = 8;
/// Side of the blocks whose mean colours are compared, in pixels of the sheet.
constexpr int kBlock = 6;
/// The largest difference that nobody sees, in CIELAB.
constexpr double kTolerance = 2.3;

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
    const Picture picture(scene, sheet.width, sheet.width * 9 / 16, {}, {sheet.textSize});
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

/// The mean colour of a block, in CIELAB.
std::array<double, 3> blockColor(cairo_surface_t* surface, int left, int top) {
  std::array<double, 3> rgb{};
  const unsigned char* data = cairo_image_surface_get_data(surface);
  for (int y = top; y < top + kBlock; ++y) {
    const unsigned char* row = data + y * cairo_image_surface_get_stride(surface) + 4 * left;
    for (int i = 0; i < 4 * kBlock; ++i)
      if (i % 4 != 3) rgb[static_cast<std::size_t>(2 - i % 4)] += row[i];
  }
  for (double& channel : rgb) {
    const double value = channel / (kBlock * kBlock * 255);
    channel = value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  }
  const auto lab = [&](double r, double g, double b) {
    const double t = r * rgb[0] + g * rgb[1] + b * rgb[2];
    return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116;
  };
  const double x = lab(0.4339, 0.3762, 0.1899);
  const double y = lab(0.2126, 0.7152, 0.0722);
  const double z = lab(0.0178, 0.1095, 0.8727);
  return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

class Golden : public testing::TestWithParam<Sheet> {};

TEST_P(Golden, LooksAsItDid) {
  std::set<std::string> families;
  PangoFontFamily** fonts = nullptr;
  int count = 0;
  pango_font_map_list_families(pango_cairo_font_map_get_default(), &fonts, &count);
  for (int i = 0; i < count; ++i) families.insert(pango_font_family_get_name(fonts[i]));
  g_free(fonts);
  for (const char* family : {"Noto Sans", "Noto Sans Arabic", "Noto Sans CJK JP"})
    ASSERT_TRUE(families.count(family)) << family << " is not installed: run scripts/setup";

  const std::string file = GetParam().file();
  const CairoSurfacePtr drawn = drawSheet(GetParam());
  if (std::getenv("VORLANE_UPDATE_PICTURES")) {
    ASSERT_EQ(cairo_surface_write_to_png(drawn.get(), file.c_str()), CAIRO_STATUS_SUCCESS) << file;
  }
  const CairoSurfacePtr reference(cairo_image_surface_create_from_png(file.c_str()));
  ASSERT_EQ(cairo_surface_status(reference.get()), CAIRO_STATUS_SUCCESS) << file;
  const int width = cairo_image_surface_get_width(drawn.get());
  const int height = cairo_image_surface_get_height(drawn.get());
  ASSERT_EQ(width, cairo_image_surface_get_width(reference.get()));
  ASSERT_EQ(height, cairo_image_surface_get_height(reference.get()));
  double worst = 0;
  std::string where;
  for (int y = 0; y + kBlock <= height; y += kBlock) {
    for (int x = 0; x + kBlock <= width; x += kBlock) {
      const auto is = blockColor(drawn.get(), x, y);
      const auto was = blockColor(reference.get(), x, y);
      const double difference = std::hypot(is[0] - was[0], is[1] - was[1], is[2] - was[2]);
      if (difference <= worst) continue;
      worst = difference;
      where = std::to_string(x) + ", " + std::to_string(y);
    }
  }
  if (worst <= kTolerance) return;
  const std::string now = testing::TempDir() + std::filesystem::path(file).filename().string();
  cairo_surface_write_to_png(drawn.get(), now.c_str());
  ADD_FAILURE() << file << " differs by " << worst << " at " << where << "; now it is " << now;
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
