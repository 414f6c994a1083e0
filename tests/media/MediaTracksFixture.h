#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"

namespace testing_media {

inline platform::MediaLoad pausedLoad() {
  platform::MediaLoad load;
  load.playing = false;
  return load;
}

/// Selects tracks and observes the texts that are shown.
class MediaTracksTest : public ::testing::Test {
 protected:
  static const platform::MediaSelectionGroup* group(EngineHarness& harness, std::string_view name) {
    const auto& groups = harness.engine().facts().selectionGroups;
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [&](const auto& each) { return each.characteristic == name; });
    return found == groups.end() ? nullptr : &*found;
  }
  static std::string selected(EngineHarness& harness, std::string_view name) {
    const auto* found = group(harness, name);
    return found && found->selected ? found->options[*found->selected].languageTag : "none";
  }
  static void select(EngineHarness& harness, const std::string& name,
                     const std::optional<std::string>& identifier) {
    const int before = harness.count("select " + name);
    harness.call([&](platform::MediaEngine& engine) { engine.selectOption(name, identifier); });
    ASSERT_TRUE(harness.waitForEvent("select " + name, before));
  }
  static void seek(EngineHarness& harness, double seconds) {
    const int before = harness.count("seek");
    harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
    ASSERT_TRUE(harness.waitForEvent("seek", before));
  }
  /// The subtitles of the current picture.
  static std::string textShown(EngineHarness& harness) {
    const auto frame = harness.frame();
    return frame && frame->subtitles ? frame->subtitles->textAt(frame->time) : "";
  }
  static bool untilText(EngineHarness& harness, const std::string& text) {
    return harness.waitUntil([&] { return textShown(harness) == text; });
  }
};

}  // namespace testing_media
