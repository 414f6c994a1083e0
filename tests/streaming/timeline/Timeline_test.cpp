#include <gtest/gtest.h>

#include "streaming/timeline/Dates.h"
#include "streaming/timeline/PlayableWindow.h"
#include "streaming/timeline/TimeRanges.h"

namespace streaming {
namespace {

using platform::Date;
using platform::TimeRange;
using Ranges = std::vector<TimeRange>;

TEST(TimeRanges, UnionAndIntersection) {
  EXPECT_EQ(unionOf({{8, 4}, {0, 4}, {4.05, 3}, {20, 0}}), (Ranges{{0, 7.05}, {8, 4}}));
  struct Case {
    Ranges a, b, both;
  };
  const std::vector<Case> cases = {
      {{}, {{0, 9}}, {}},
      {{{0, 4}, {8, 4}}, {{2, 8}}, {{2, 2}, {8, 2}}},
      {{{0, 4}}, {{4, 4}}, {}},
      {{{0, 10}}, {{1, 2}, {5, 9}}, {{1, 2}, {5, 5}}},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(intersectionOf(each.a, each.b), each.both);
    EXPECT_EQ(intersectionOf(each.b, each.a), each.both);
  }
}

TEST(Dates, AreExtrapolatedUpToADiscontinuity) {
  const std::vector<DateMark> marks = {
      {10, {1000}, false}, {20, {1010}, false}, {30, {5000}, true}};
  struct Case {
    double position;
    std::optional<double> date;
  };
  for (const Case& each : std::vector<Case>{{10, 1000}, {5, 995}, {25, 1015}, {31, 5001}}) {
    const auto date = dateAt(marks, each.position);
    ASSERT_TRUE(date);
    EXPECT_EQ(date->secondsSince1970, each.date);
    EXPECT_EQ(positionOf(marks, *date), each.position);
  }
  EXPECT_EQ(positionOf(marks, Date{3000}), 30);
  EXPECT_FALSE(dateAt({{10, {1000}, true}}, 5));
  EXPECT_EQ(positionOf({{10, {1000}, true}}, Date{900}), 10);
  EXPECT_FALSE(dateAt({}, 5));
  EXPECT_FALSE(positionOf({}, Date{5}));
}

/// A segment index with segments of four seconds.
struct WindowEnds {
  double start;
  double end;
  bool isComplete;
};

class Window final : public SegmentIndex {
 public:
  explicit Window(const WindowEnds& ends)
      : _start(ends.start), _end(ends.end), _isComplete(ends.isComplete) {}
  std::optional<Segment> at(double) const override { return std::nullopt; }
  std::optional<Segment> after(const Segment&) const override { return std::nullopt; }
  std::optional<Segment> first(Date) const override { return _at(_start); }
  std::optional<Segment> last(Date) const override { return _at(_end - 4); }
  bool isComplete() const override { return _isComplete; }

 private:
  std::optional<Segment> _at(double start) const {
    if (_end <= _start) return std::nullopt;
    Segment segment;
    segment.start = start;
    segment.duration = 4;
    return segment;
  }
  const double _start;
  const double _end;
  const bool _isComplete;
};

struct WindowCase {
  const char* name;
  WindowEnds ends;
  std::optional<MediaPlaylist> playlist;
  Presentation presentation;
  std::optional<TimeRange> range;
  double start;
};

MediaPlaylist livePlaylist(std::optional<double> holdBack = {}) {
  MediaPlaylist playlist;
  playlist.isLive = true;
  playlist.targetDuration = 4;
  playlist.holdBack = holdBack;
  return playlist;
}

Presentation livePresentation(std::optional<double> delay, std::optional<double> depth) {
  Presentation presentation;
  presentation.isLive = true;
  presentation.availabilityStart = Date{1000};
  presentation.suggestedDelay = delay;
  presentation.timeShiftDepth = depth;
  return presentation;
}

Presentation ofDuration(double duration) {
  Presentation presentation;
  presentation.duration = duration;
  return presentation;
}

TEST(PlayableWindow, ComputesRangeAndEdge) {
  // The time is 1100, which is 100 seconds after the availability start.
  const std::vector<WindowCase> cases = {
      {"finished playlist", {0, 40, true}, MediaPlaylist(), {}, TimeRange{0, 40}, 0},
      {"finished playlist without its first segments",
       {8, 40, true},
       MediaPlaylist(),
       {},
       TimeRange{8, 32},
       8},
      {"live playlist", {20, 60, false}, livePlaylist(), {}, TimeRange{20, 28}, 48},
      {"live playlist with HOLD-BACK", {20, 60, false}, livePlaylist(6), {}, TimeRange{20, 34}, 54},
      {"live playlist with two segments", {0, 8, false}, livePlaylist(), {}, TimeRange{0, 0}, 0},
      {"live playlist without segments", {0, 0, false}, livePlaylist(), {}, std::nullopt, 0},
      {"live playlist that has ended", {0, 40, true}, livePlaylist(), {}, TimeRange{0, 40}, 0},
      {"static manifest", {0, 40, true}, std::nullopt, ofDuration(41), TimeRange{0, 41}, 0},
      {"live manifest",
       {0, 100, false},
       std::nullopt,
       livePresentation(10, 60),
       TimeRange{40, 50},
       90},
      {"live manifest without a delay",
       {20, 100, false},
       std::nullopt,
       livePresentation({}, {}),
       TimeRange{20, 68},
       88},
      {"live manifest whose segments are late",
       {0, 84, false},
       std::nullopt,
       livePresentation(10, 60),
       TimeRange{40, 44},
       84},
  };
  for (const WindowCase& each : cases) {
    SCOPED_TRACE(each.name);
    const Window segments(each.ends);
    const auto window = PlayableWindow::of(each.presentation, &segments, &segments,
                                           each.playlist ? &*each.playlist : nullptr, Date{1100});
    EXPECT_EQ(window.range, each.range);
    EXPECT_EQ(defaultStart(window, {}), each.start);
    EXPECT_NE(window.isLive, window.duration.has_value());
  }
}

TEST(PlayableWindow, AppliesTheStartOffsetFromEitherEnd) {
  const Window segments({20, 60, false});
  const MediaPlaylist playlist = livePlaylist();
  const auto window = PlayableWindow::of({}, &segments, &segments, &playlist, Date{0});
  EXPECT_EQ(defaultStart(window, 5), 25);
  EXPECT_EQ(defaultStart(window, -8), 40);
  EXPECT_EQ(defaultStart(window, 500), 48);
  EXPECT_EQ(defaultStart(window, -500), 20);
  EXPECT_EQ(window.clamp(-3), 20);
}

}  // namespace
}  // namespace streaming
