#include "platform/foundation/NotificationCenter.h"

#include <gtest/gtest.h>

#include "platform/foundation/Value.h"
#include "tests/platform/foundation/Support.h"

namespace platform {
namespace {

TEST(NotificationCenter, DeliversByNameAndSenderInOrder) {
  NotificationCenter center;
  const TestObject mine, other;
  std::string trace;
  const auto note = [&](std::string tag) {
    return [&trace, tag](const Notification& n) {
      trace += tag + n.userInfo.get("n").description() + " ";
    };
  };
  const Token any = center.addObserver("A", nullptr, note("any"));
  const Token byMe = center.addObserver("A", &mine, note("mine"));
  const Token otherName = center.addObserver("B", nullptr, note("B"));
  Token dropped = center.addObserver("A", nullptr, note("dropped"));
  dropped.reset();
  center.addObserver("A", nullptr, note("detached")).detach();
  center.post("A", &mine, {{"n", 1}});
  center.post("A", &other);
  center.post("B");
  center.post("C");
  EXPECT_EQ(trace, "any1 mine1 detached1 any(null) detached(null) B(null) ");
}

TEST(NotificationCenter, ObserversMayChangeDuringAPost) {
  Token first, second, third, late;  // destroyed after the center
  NotificationCenter center;
  std::string trace;
  first = center.addObserver("A", nullptr, [&](const Notification&) {
    trace += '1';
    first.reset();
    second.reset();
    late = center.addObserver("A", nullptr, [&](const Notification&) { trace += 'L'; });
  });
  second = center.addObserver("A", nullptr, [&](const Notification&) { trace += '2'; });
  third = center.addObserver("A", nullptr, [&](const Notification& n) {
    trace += '3';
    if (trace.size() < 3) center.post(n.name);
  });
  center.post("A");
  EXPECT_EQ(trace, "133L");  // only the nested post calls the late observer
}

}  // namespace
}  // namespace platform
