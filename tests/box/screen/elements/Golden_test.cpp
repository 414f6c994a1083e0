#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/box/screen/Pictures.h"
#include "tests/box/screen/ReferenceImages.h"
#include "tests/box/screen/elements/Gallery.h"

// The reference images are in docs/look; scripts/update-pictures creates them.

namespace box::test {
namespace {

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
  return drawContactSheet(static_cast<int>(scenes.size()), [&](int index) {
    return Picture(scenes[static_cast<std::size_t>(index)], sheet.width, sheet.width * 9 / 16, {},
                   {sheet.textSize}, sheet.language);
  });
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
