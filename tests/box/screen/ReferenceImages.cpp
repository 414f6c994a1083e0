#include "tests/box/screen/ReferenceImages.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <pango/pangocairo.h>

namespace box::test {
namespace {

constexpr int kColumns = 3;
constexpr int kCellWidth = 480;
constexpr int kCellHeight = 270;
constexpr int kCellGap = 8;

constexpr const char* kSystemFile = "docs/look/drawn-with.txt";

struct Comparison {
  int block;         ///< side of the compared blocks, in pixels of the sheet
  double tolerance;  ///< of the blocks' mean colours, in CIELAB
};
/// 2.3 is the just noticeable difference.
constexpr Comparison kStrict{6, 2.3};
constexpr Comparison kOfOtherSystems{18, 2.3};

/// Identifies everything that influences glyph rendering.
std::string thisSystem() {
  gchar* const name = g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME);
  const std::string system = std::string(name ? name : "unknown") + ", Pango " +
                             pango_version_string() + ", cairo " + cairo_version_string();
  g_free(name);
  return system;
}

std::string systemOfThePictures() {
  std::string line;
  std::getline(std::ifstream(kSystemFile), line);
  return line;
}

/// Returns the mean colour of a block in CIELAB.
std::array<double, 3> blockColor(cairo_surface_t* surface, int left, int top, int block) {
  std::array<double, 3> rgb{};
  const unsigned char* data = cairo_image_surface_get_data(surface);
  for (int y = top; y < top + block; ++y) {
    const unsigned char* row = data + y * cairo_image_surface_get_stride(surface) + 4 * left;
    for (int i = 0; i < 4 * block; ++i)
      if (i % 4 != 3) rgb[static_cast<std::size_t>(2 - i % 4)] += row[i];
  }
  for (double& channel : rgb) {
    const double value = channel / (block * block * 255);
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

}  // namespace

CairoSurfacePtr drawContactSheet(int pictures, const std::function<Picture(int)>& picture) {
  const int rows = (pictures + kColumns - 1) / kColumns;
  CairoSurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                     kColumns * (kCellWidth + kCellGap) - kCellGap,
                                                     rows * (kCellHeight + kCellGap) - kCellGap));
  const CairoPtr cairo(cairo_create(surface.get()));
  for (int index = 0; index < pictures; ++index) {
    const Picture original = picture(index);
    const CairoSurfacePtr full = original.cairoSurface();
    const double scale =
        static_cast<double>(kCellWidth) / cairo_image_surface_get_width(full.get());
    cairo_save(cairo.get());
    cairo_translate(cairo.get(), index % kColumns * (kCellWidth + kCellGap),
                    index / kColumns * (kCellHeight + kCellGap));
    cairo_rectangle(cairo.get(), 0, 0, kCellWidth, kCellHeight);
    cairo_clip(cairo.get());
    cairo_scale(cairo.get(), scale, scale);
    cairo_set_source_surface(cairo.get(), full.get(), 0, 0);
    cairo_paint(cairo.get());
    cairo_restore(cairo.get());
  }
  cairo_surface_flush(surface.get());
  return surface;
}

void expectReference(cairo_surface_t* drawn, const std::string& file) {
  if (std::getenv("VORLANE_UPDATE_PICTURES")) {
    ASSERT_EQ(cairo_surface_write_to_png(drawn, file.c_str()), CAIRO_STATUS_SUCCESS) << file;
    std::ofstream(kSystemFile) << thisSystem() << "\n";
  }
  const CairoSurfacePtr reference(cairo_image_surface_create_from_png(file.c_str()));
  ASSERT_EQ(cairo_surface_status(reference.get()), CAIRO_STATUS_SUCCESS) << file;
  const int width = cairo_image_surface_get_width(drawn);
  const int height = cairo_image_surface_get_height(drawn);
  ASSERT_EQ(width, cairo_image_surface_get_width(reference.get()));
  ASSERT_EQ(height, cairo_image_surface_get_height(reference.get()));
  const std::string system = systemOfThePictures();
  const auto [block, tolerance] = system == thisSystem() ? kStrict : kOfOtherSystems;
  double worst = 0;
  std::string where;
  for (int y = 0; y + block <= height; y += block) {
    for (int x = 0; x + block <= width; x += block) {
      const auto is = blockColor(drawn, x, y, block);
      const auto was = blockColor(reference.get(), x, y, block);
      const double difference = std::hypot(is[0] - was[0], is[1] - was[1], is[2] - was[2]);
      if (difference <= worst) continue;
      worst = difference;
      where = std::to_string(x) + ", " + std::to_string(y);
    }
  }
  testing::Test::RecordProperty("difference", std::to_string(worst));
  if (worst <= tolerance) return;
  const std::string now = testing::TempDir() + std::filesystem::path(file).filename().string();
  cairo_surface_write_to_png(drawn, now.c_str());
  ADD_FAILURE() << file << " differs by " << worst << " at " << where << "; saved as " << now
                << "; this system: " << thisSystem() << ", reference: " << system;
}

}  // namespace box::test
