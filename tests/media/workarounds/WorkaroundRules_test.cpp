#include "media/workarounds/WorkaroundRules.h"

#include <gtest/gtest.h>

namespace media {
namespace {

TEST(WorkaroundRules, VersionsAndTheSettingDecideWhatIsActive) {
  const std::vector<WorkaroundRule> rules = {
      {"Exact", "player", {{{1, 22, 0}, {1, 22, 0}}, {{1, 26, 2}, {1, 26, 2}}}},
      {"Range", "player", {{{1, 22, 0}, {1, 26, 2}}}},
      {"Other", "client", {{{3, 2, 0}, {3, 2, 9}}}},
  };
  const struct {
    const char* player;
    const char* client;
    const char* setting;
    std::vector<bool> isOn;
    std::size_t unknownWords;
  } cases[] = {
      {"1.22.0", "3.2.3", "", {true, true, true}, 0},
      {"1.22.12", "3.2.9.1", "", {false, true, true}, 0},
      {"1.26.2", "3.6.5", "", {true, true, false}, 0},
      {"1.26.3", "3.2.10", "", {false, false, false}, 0},
      {"1.21.90", "2.99.0", "", {false, false, false}, 0},
      {"", "3.2.0", "", {false, false, true}, 0},
      {"1.22.0", "3.2.3", "-Exact", {false, true, true}, 0},
      {"1.22.0", "3.2.3", "none,+Exact", {true, false, false}, 0},
      {"1.20.0", "3.6.5", "all,-Other", {true, true, false}, 0},
      {"1.22.0", "3.2.3", "+Exact,none", {false, false, false}, 0},
      {"1.22.0", "3.2.3", ",-Range,,", {true, false, true}, 0},
      {"1.22.0", "3.2.3", "Exact,-None,-,+Range ", {true, true, true}, 4},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.player) + " " + each.client + " " + each.setting);
    std::map<std::string, LibraryVersion> running;
    if (const auto version = libraryVersionOf(each.player)) running["player"] = *version;
    if (const auto version = libraryVersionOf(each.client)) running["client"] = *version;
    const WorkaroundChoice choice = chooseWorkarounds(rules, running, each.setting);
    EXPECT_EQ(choice.isOn, each.isOn);
    EXPECT_EQ(choice.unknownWords.size(), each.unknownWords);
  }
  for (const char* text : {"", "1", "1.22", "1.22.", "a.b.c", "1.22.0x", "-1.22.0"})
    EXPECT_FALSE(libraryVersionOf(text)) << text;
}

}  // namespace
}  // namespace media
