#include "media/engine/TimelineFacts.h"

#include <gtest/gtest.h>

namespace media {
namespace {

using platform::TimeRange;

TEST(TimelineFacts, ByteRangesAreConvertedToTimeRanges) {
  using Loaded = std::vector<streaming::ByteSpan>;
  const struct {
    Loaded loaded;
    std::vector<TimeRange> times;
  } cases[] = {
      {{}, {}},
      {{{0, 250}}, {{0, 25}}},
      {{{0, 100}, {500, std::nullopt}}, {{0, 10}, {50, 50}}},
      // Beyond the end, which may happen after the resource has changed on the server.
      {{{900, 200}, {2000, 5}}, {{90, 10}}},
  };
  for (const auto& each : cases) EXPECT_EQ(timeRangesOf(each.loaded, 1000, 100), each.times);
}

TEST(TimelineFacts, TimeUntilPlaybackIsLikelyToKeepUp) {
  const struct {
    std::vector<TimeRange> loaded;
    double position;
    std::optional<double> end;
    std::optional<double> media;
    std::optional<double> observed;
    std::optional<double> expected;
  } cases[] = {
      {{{0, 12}}, 1, 100, 1e6, 2e6, 0},                     // ten seconds are loaded
      {{{0, 6}}, 1, 100, 1e6, 2e6, 2.5},                    // five are missing
      {{{0, 6}}, 1, 100, 1e6, std::nullopt, std::nullopt},  // the observed bitrate is unknown
      {{{0, 6}}, 1, 100, std::nullopt, 2e6, std::nullopt},  // the bitrate of the media is unknown
      {{{0, 6}}, 1, 6, 1e6, std::nullopt, 0},               // loaded up to the end
      {{{0, 2}, {5, 20}}, 1, 100, 1e6, 1e6, 9},             // ranges after a gap do not count
      {{}, 3, std::nullopt, 1e6, 4e6, 2.5},                 // a live stream has no end
  };
  for (const auto& each : cases) {
    const auto time =
        secondsUntilLikelyToKeepUp(each.loaded, each.position, each.end, each.media, each.observed);
    ASSERT_EQ(time.has_value(), each.expected.has_value());
    if (time) {
      EXPECT_NEAR(*time, *each.expected, 1e-9);
    }
  }
}

}  // namespace
}  // namespace media
