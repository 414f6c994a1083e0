#include "platform/ui/controllers/ButtonRepeater.h"

#include <gtest/gtest.h>

#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

TEST(ButtonRepeater, RepeatsWhileTheButtonIsDown) {
  sim::Box box;
  std::string trace;  // 'l' and 'r': presses; 'L' and 'R': repeats
  std::optional<ButtonRepeater> repeater;
  repeater.emplace(box.mainQueue(), [&](const InputEvent& event) {
    const bool left = std::get<PressType>(event.what) == PressType::Left;
    trace += event.repeated ? (left ? 'L' : 'R') : (left ? 'l' : 'r');
    if (trace == "rRR") repeater.reset();
  });
  const struct {
    const char* name;
    std::function<void()> act;
    int milliseconds;
    const char* trace;
  } cases[] = {
      {"press", [&] { repeater->down(PressType::Left); }, 399, "l"},
      {"first repeat after 400 ms", [] {}, 1, "L"},
      {"then a repeat every 100 ms", [] {}, 300, "LLL"},
      {"release of another button", [&] { repeater->up(PressType::Right); }, 100, "L"},
      {"press of another button", [&] { repeater->down(PressType::Right); }, 400, "rR"},
      {"release of the replaced button", [&] { repeater->up(PressType::Left); }, 100, "R"},
      {"release", [&] { repeater->up(PressType::Right); }, 9000, ""},
      {"hold", [&] { repeater->hold(PressType::Left, milliseconds(650)); }, 9000, "lLLL"},
      {"hold without a repeat", [&] { repeater->hold(PressType::Left, {}); }, 9000, "l"},
      {"release()", [&] { repeater->down(PressType::Left), repeater->release(); }, 9000, "l"},
      {"destroyed by the sink", [&] { repeater->hold(PressType::Right, seconds(5)); }, 9000, "rRR"},
  };
  for (const auto& test : cases) {
    test.act();
    box.advance(milliseconds(test.milliseconds));
    EXPECT_EQ(std::exchange(trace, ""), test.trace) << test.name;
  }
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

}  // namespace
}  // namespace platform
