#include <atomic>
#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "box/screen/video/JudderMeter.h"
#include "box/screen/window/ScreenThread.h"
#include "sim/VirtualClock.h"
#include "tests/box/screen/Pictures.h"

namespace box::test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr platform::Duration kRefresh = std::chrono::nanoseconds(std::chrono::seconds(1)) / 60;

/// A headless screen in virtual time.
class Pacing : public testing::Test {
 protected:
  Pacing() {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    ScreenThread::Events events;
    events.opened = [this](std::uint64_t, const std::optional<std::string>&) {
      const std::lock_guard lock(_mutex);
      ++_opened;
      _changed.notify_one();
    };
    _thread = std::make_unique<ScreenThread>(
        clock, ScreenOptions{false, platform::Size{64, 36}, "Test"}, std::move(events));
    EXPECT_TRUE(_thread->start());
    settle();
  }

  /// Waits until the thread has drawn everything that is due. Each iteration of the thread ends
  /// with drawing, and the second reply comes from a later iteration than the first.
  void settle() {
    for (int round = 0; round < 2; ++round) {
      std::unique_lock lock(_mutex);
      const int before = _opened;
      _thread->open(1);
      _changed.wait(lock, [&] { return _opened > before; });
    }
  }
  std::uint64_t frames() const { return _thread->statistics().frames; }
  void show(float level) {
    _thread->setScene(
        std::make_shared<platform::Scene>(sceneOf({FillElement{Color{level, level, level, 1}}})));
  }

  sim::VirtualClock clock;

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  int _opened = 0;

 protected:
  std::unique_ptr<ScreenThread> _thread;
};

TEST_F(Pacing, DrawsAtMostOncePerRefresh) {
  constexpr auto kStep = milliseconds(1);
  for (int phase = 0; phase < 17; ++phase) {
    SCOPED_TRACE(phase);
    clock.advance(3 * kRefresh);
    settle();
    clock.advance(milliseconds(phase));
    const auto before = frames();
    const auto first = clock.now();
    show(0.5F);
    settle();
    EXPECT_EQ(frames(), before + 1) << "drawn immediately after an idle refresh";
    // Further changes within the refresh are drawn together in the next one.
    show(0.6F);
    settle();
    show(0.7F);
    settle();
    EXPECT_EQ(frames(), before + 1);
    while (frames() == before + 1 && clock.now() < first + 3 * kRefresh) {
      clock.advance(kStep);
      settle();
    }
    EXPECT_GT(clock.now() - first, kRefresh * 7 / 10);
    EXPECT_LE(clock.now() - first, kRefresh);
    clock.advance(10 * kRefresh);
    settle();
    EXPECT_EQ(frames(), before + 2) << "no more changes";
  }
}

TEST(JudderMeter, ComparesActualWithNominalIntervals) {
  const struct {
    const char* name;
    double step;                // nominal interval in milliseconds
    std::vector<double> shown;  // actual intervals in milliseconds
    std::uint64_t missed;       // before each picture
    JudderStatistics expected;
  } cases[]{
      {"even", 20, {20, 20, 20, 20}, 0, {5, 0, 0, 0, 0}},
      {"uneven", 20, {22, 18, 22, 18}, 0, {5, 0, 0, 2, 2}},
      {"film", 1000 / 24.0, {2000 / 60.0, 3000 / 60.0}, 0, {3, 0, 0, 8.333, 8.333}},
      {"every second one dropped", 40, {40, 40}, 1, {3, 2, 0, 0, 0}},
      {"one repeated", 50 / 3.0, {50 / 3.0, 100 / 3.0}, 0, {3, 0, 1, 8.333, 0}},
      {"pause", 20, {20, 3000, 20}, 0, {4, 0, 0, 0, 0}},
      {"seek", 9000, {20, 20}, 1, {3, 0, 0, 0, 0}},
      {"backwards", -20, {20, 20}, 0, {3, 0, 0, 0, 0}},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    JudderMeter meter;
    platform::TimePoint at{};
    double due = 100;
    meter.record({&meter, due, 7}, at, kRefresh);
    for (const double step : testCase.shown) {
      at += platform::durationFromSeconds(step / 1000);
      due += testCase.step / 1000;
      meter.record({&meter, due, testCase.missed}, at, kRefresh);
    }
    const JudderStatistics result = meter.statistics();
    EXPECT_EQ(result.pictures, testCase.expected.pictures);
    EXPECT_EQ(result.dropped, testCase.expected.dropped);
    EXPECT_EQ(result.repeated, testCase.expected.repeated);
    EXPECT_NEAR(result.averageMilliseconds, testCase.expected.averageMilliseconds, 0.01);
    EXPECT_NEAR(result.percentile99Milliseconds, testCase.expected.percentile99Milliseconds, 0.01);
  }
}

}  // namespace
}  // namespace box::test
