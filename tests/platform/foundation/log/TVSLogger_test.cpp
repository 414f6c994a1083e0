#include "platform/foundation/log/TVSLogger.h"

#include <cstdint>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "platform/foundation/Value.h"
#include "tests/platform/foundation/Support.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

enum class Colour { Red = 3 };

TEST(LogFormat, FillsPlaceholdersByKind) {
  const std::size_t size = 5;
  const std::optional<std::string> none;
  const auto thing = std::make_shared<TestObject>();
  EXPECT_EQ(formatLog("plain 100%%"), "plain 100%");
  EXPECT_EQ(formatLog("<...> %lu bytes", size), "<...> 5 bytes");
  EXPECT_EQ(formatLog("%@ %@ %@ %@", "a", std::string("b"), std::string_view("c"), none),
            "a b c (null)");
  EXPECT_EQ(formatLog("%@|%@|%@", Value(), Dictionary{{"k", 1}}, Error::status(4)),
            "(null)|{\n    k = 1;\n}|Error Domain=TVSStatusCodeErrorDomain Code=4 \"(null)\"");
  EXPECT_EQ(formatLog("%@", thing), thing->description());
  EXPECT_EQ(formatLog("%@", thing.get()), thing->description());
  EXPECT_EQ(formatLog("%@", std::shared_ptr<TestObject>()), "(null)");
  EXPECT_EQ(formatLog("%@ %@", 3, true), "3 1");
  EXPECT_EQ(formatLog("%d %d %d %d", -1, true, Colour::Red, std::int64_t{1} << 40),
            "-1 1 3 1099511627776");
  EXPECT_EQ(formatLog("%u %x %x", -1, -1, std::uint64_t{0xabc}), "4294967295 ffffffff abc");
  EXPECT_EQ(formatLog("%f %f %f", 0.5, 1e20, 1.0f / 3),
            "0.500000 100000000000000000000.000000 0.333333");
  EXPECT_EQ(formatLog("%@ ", "%d"), "%d");
}

TEST(TVSLogger, WritesPrefixTextAndTrailingBlank) {
  const LogCapture log;
  EXPECT_EQ(TVSLogger::domain(), "quorin.test");
  TVSLogger::setMainThread();
  TVSLogNotice(TVSSystemLog, "Register session %@", 7);
  TVSLogWarning(TVSSystemLog, "with blank ");
  TVSLogError("Other", "empty %@", "");
  std::thread([] { TVSLogNotice(TVSSystemLog, "elsewhere"); }).join();
  EXPECT_THAT(log.lines(),
              ElementsAre("#T:[Main] #Notice #TVSSystemLog : Register session 7 ",
                          "#T:[Main] #Warning #TVSSystemLog : with blank ",
                          "#T:[Main] #Error #Other : empty  ",
                          MatchesRegex("#T:\\[0x[0-9a-f]+\\] #Notice #TVSSystemLog : elsewhere ")));
  EXPECT_EQ(TVSLogger::recentLines(), log.lines());
}

TEST(TVSLogger, EvaluatesArgumentsOnlyForEnabledLevels) {
  const LogCapture log;
  int evaluated = 0;
  const auto argument = [&] { return ++evaluated; };
  const auto written = [&](std::string_view component) {
    std::string levels;
    const int before = evaluated;
    TVSLogError(component, "%d", argument());
    levels += evaluated > before ? "E" : "";
    TVSLogWarning(component, "%d", argument());
    levels += evaluated > before + 1 ? "W" : "";
    TVSLogNotice(component, "%d", argument());
    levels += evaluated > before + 2 ? "N" : "";
    return levels;
  };
  EXPECT_EQ(written(TVSSystemLog), "EWN");
  EXPECT_EQ(written("Other"), "E");
  TVSLogger::setLevel("Other", 4);
  EXPECT_EQ(written("Other"), "EW");
  TVSLogger::setLevel(0);
  EXPECT_EQ(written(TVSSystemLog), "");
  EXPECT_EQ(written("Other"), "EW");
  TVSLogger::setMinimumLevel(5);
  EXPECT_EQ(written(TVSSystemLog), "EWN");
  EXPECT_EQ(written("Other"), "EWN");
  TVSLogger::setMinimumLevel(0);
  EXPECT_EQ(written("Other"), "EW");
  EXPECT_EQ(evaluated, 3 + 1 + 2 + 0 + 2 + 3 + 3 + 2);
  EXPECT_EQ(log.lines().size(), static_cast<std::size_t>(evaluated));
}

TEST(TVSLogger, KeepsTheNewestLines) {
  const LogCapture log;
  for (int i = 0; i < 1500; ++i) TVSLogNotice(TVSSystemLog, "line %d", i);
  auto recent = TVSLogger::recentLines();
  ASSERT_EQ(recent.size(), 1000u);
  EXPECT_THAT(recent.front(), testing::EndsWith(": line 500 "));
  EXPECT_THAT(recent.back(), testing::EndsWith(": line 1499 "));
  const std::string long100K(100 * 1024, 'x');
  for (int i = 0; i < 3; ++i) TVSLogNotice(TVSSystemLog, "%@", long100K);
  EXPECT_EQ(TVSLogger::recentLines().size(), 2u);
  TVSLogNotice(TVSSystemLog, "%@", std::string(1 << 20, 'y'));
  recent = TVSLogger::recentLines();
  ASSERT_EQ(recent.size(), 1u);
  EXPECT_GT(recent[0].size(), 255u * 1024);
}

TEST(TVSLogger, DumpWritesTheRecentLines) {
  static std::string dumped;
  const LogCapture log;
  // Different lengths, so that lines wrap around the end of the ring buffer at different positions.
  for (std::size_t i = 0; i < 3000; ++i)
    TVSLogNotice(TVSSystemLog, "%@", std::string(i * 7 % 1500, 'x'));
  std::string expected;
  for (const auto& line : TVSLogger::recentLines()) expected += line + "\n";
  TVSLogger::dumpRecentLines([](const char* text, std::size_t size) { dumped.append(text, size); });
  EXPECT_GT(dumped.size(), 200u * 1024);
  EXPECT_TRUE(dumped == expected);
}

TEST(TVSLogger, SinksMayLogAndAreNotCalledAfterRemoval) {
  struct Sink : LogSink {
    void write(const LogLine& line) override {
      ++count;
      TVSLogError(line.component, "from the sink");
    }
    int count = 0;
  };
  const LogCapture log;
  const auto sink = std::make_shared<Sink>();
  TVSLogger::addSink(sink);
  TVSLogError("A", "once");
  EXPECT_EQ(TVSLogger::recentLines().size(), 2u);
  TVSLogger::removeSink(sink);
  TVSLogError("A", "twice");
  EXPECT_EQ(sink->count, 1);
  EXPECT_EQ(sink.use_count(), 1);
  EXPECT_EQ(log.lines().size(), 2u);
}

TEST(Assertion, ReportsOperationSourceAndCondition) {
  const LogCapture log;
  const sim::AssertionsThrow assertions;
  const auto text = [](auto fail) {
    try {
      fail();
    } catch (const sim::AssertionError& failure) {
      return std::string(failure.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(text([] { TVS_ASSERT(1 + 1 == 2); }), "none");
  EXPECT_THAT(text([] { TVS_ASSERT(1 + 1 == 3); }),
              "operator() (tests/platform/foundation/log/TVSLogger_test): 1 + 1 == 3");
  EXPECT_THAT(text([] { assertionFailed("_op", "a.b/c", "x != nil"); }), "_op (a.b/c): x != nil");
  EXPECT_THAT(
      log.lines().back(),
      testing::EndsWith(" #Error #TVSSystemLog : Assertion failed in _op (a.b/c): x != nil "));
}

TEST(AssertionDeathTest, AbortsAndWritesTheRecentLines) {
  const LogCapture log;
  TVSLogNotice(TVSSystemLog, "an earlier line");
  EXPECT_DEATH(TVS_ASSERT_MESSAGE(false, "the condition"), "the condition\n(.|\n)*an earlier line");
}

}  // namespace
}  // namespace platform
