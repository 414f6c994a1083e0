#include "platform/ui/controllers/HeldButton.h"

#include <gtest/gtest.h>

#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

TEST(HeldButton, RepeatsOnlyWhileItIsDown) {
  sim::Box box;
  std::string trace;  // 'l' and 'r' for presses, 'L' and 'R' for repeats
  std::optional<HeldButton> held;
  held.emplace(box.mainQueue(), [&](const InputEvent& event) {
    const bool left = std::get<PressType>(event.what) == PressType::Left;
    trace += event.repeated ? (left ? 'L' : 'R') : (left ? 'l' : 'r');
    if (trace == "rRR") held.reset();
  });
  const struct {
    const char* name;
    std::function<void()> act;
    int milliseconds;
    const char* trace;
  } cases[] = {
      {"down", [&] { held->down(PressType::Left); }, 399, "l"},
      {"still down", [] {}, 1, "L"},
      {"at a fixed rate", [] {}, 300, "LLL"},
      {"another one comes up", [&] { held->up(PressType::Right); }, 100, "L"},
      {"another one goes down", [&] { held->down(PressType::Right); }, 400, "rR"},
      {"the first one comes up", [&] { held->up(PressType::Left); }, 100, "R"},
      {"up", [&] { held->up(PressType::Right); }, 9000, ""},
      {"for a time", [&] { held->hold(PressType::Left, milliseconds(650)); }, 9000, "lLLL"},
      {"for less than a repeat", [&] { held->hold(PressType::Left, {}); }, 9000, "l"},
      {"let go", [&] { held->down(PressType::Left), held->letGo(); }, 9000, "l"},
      {"gone from inside", [&] { held->hold(PressType::Right, seconds(5)); }, 9000, "rRR"},
  };
  for (const auto& the : cases) {
    the.act();
    box.advance(milliseconds(the.milliseconds));
    EXPECT_EQ(std::exchange(trace, ""), the.trace) << the.name;
  }
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

}  // namespace
}  // namespace platform
