#include "media/engine/WarmUp.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/support/GstRef.h"

namespace media {
namespace {

bool isLoaded(const std::string& library) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(library) != std::string::npos) return true;
  return false;
}

bool hasElement(const char* name) {
  const GstRef<GstObject> found(
      GST_OBJECT_CAST(gst_registry_lookup_feature(gst_registry_get(), name)));
  return found != nullptr;
}

TEST(WarmUp, LoadsTheDecodersWithoutTheFilters) {
  const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (!std::filesystem::exists(programs / "vorlane-no-filters.so"))
    GTEST_SKIP() << "gst-libav was not there when this was built";
  warmUpMedia();
  EXPECT_TRUE(isLoaded("/libgstlibav.so"));
  EXPECT_TRUE(hasElement("avdec_h264"));
  EXPECT_TRUE(isLoaded("/vorlane-no-filters.so"));
  EXPECT_FALSE(isLoaded("/libavfilter.so"));
  EXPECT_FALSE(hasElement("avdeinterlace")) << "it would call libavfilter";
}

}  // namespace
}  // namespace media
