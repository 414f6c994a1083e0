#include "streaming/manifest/TimeText.h"

#include <gtest/gtest.h>

namespace streaming {
namespace {

struct TimeCase {
  const char* text;
  std::optional<double> seconds;
};

TEST(TimeText, ParsesDates) {
  for (const TimeCase& each : {
           TimeCase{"1970-01-02T00:00:01Z", 86401},
           TimeCase{"2026-11-25T01:30:00.250+01:00", 1795566600.25},
           TimeCase{"2026-11-24T19:00:00-0530", 1795566600},
           TimeCase{"2026-11-25T00:30:00", 1795566600},
           TimeCase{"2026-02-30T00:00:00Z", {}},
           TimeCase{"2026-11-25T00:61:00Z", {}},
           TimeCase{"2026-11-25T00:30:00Q", {}},
           TimeCase{"2026-11-25", {}},
           TimeCase{"-026-11-25T00:30:00Z", {}},
       }) {
    const auto date = dateFrom(each.text);
    ASSERT_EQ(date.has_value(), each.seconds.has_value()) << each.text;
    EXPECT_DOUBLE_EQ(date.value_or(platform::Date{}).secondsSince1970, each.seconds.value_or(0))
        << each.text;
  }
}

TEST(TimeText, ParsesDurationsAndNumbers) {
  for (const TimeCase& each :
       {TimeCase{"PT1H2M3.5S", 3723.5}, TimeCase{"P1DT2S", 86402}, TimeCase{"-PT1M", -60},
        TimeCase{"PT1X", {}}, TimeCase{"1H", {}}, TimeCase{"PTS", {}}})
    EXPECT_EQ(durationFrom(each.text), each.seconds) << each.text;
  for (const TimeCase& each :
       {TimeCase{"4.25", 4.25}, TimeCase{"", {}}, TimeCase{"nan", {}}, TimeCase{"inf", {}},
        TimeCase{"1e9", {}}, TimeCase{"4 ", {}}, TimeCase{"4x", {}}})
    EXPECT_EQ(numberFrom(each.text), each.seconds) << each.text;
}

}  // namespace
}  // namespace streaming
