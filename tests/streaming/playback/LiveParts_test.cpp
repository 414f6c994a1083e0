#include <gtest/gtest.h>

#include "streaming/playback/TransferLog.h"
#include "streaming/playback/loading/ReloadTimer.h"
#include "streaming/playback/loading/ServerClock.h"
#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {
namespace {

/// A ReloadTimer, with the times of its requests.
struct Reloads {
  ScriptedTransfers network;
  std::vector<double> times;
  ReloadTimer timer{network, [this] {
                      times.push_back(network.seconds());
                      timer.requested();
                    }};
  void begin(double interval, std::optional<std::uint64_t> awaited = {}) {
    ReloadRule rule;
    rule.interval = interval;
    rule.awaitedNumber = awaited;
    timer.requested();
    timer.loaded(rule, true);
  }
  std::optional<ReloadRule> rule() const { return timer.rule(); }
};

TEST(ReloadTimer, ReloadsOnlyOnRequest) {
  Reloads reloads;
  reloads.begin(4);
  reloads.network.advance(20);
  EXPECT_TRUE(reloads.times.empty());
  EXPECT_EQ(reloads.network.timerCount(), 0u);
  EXPECT_TRUE(reloads.timer.isDue());
  reloads.timer.requestReload();
  reloads.network.run();
  ASSERT_EQ(reloads.times.size(), 1u);
  reloads.timer.loaded(reloads.rule(), true);
  reloads.timer.requestReload();
  reloads.timer.requestReload();
  reloads.network.advance(3.9);
  EXPECT_EQ(reloads.times.size(), 1u);
  reloads.network.advance(0.2);
  EXPECT_EQ(reloads.times.size(), 2u);
}

TEST(ReloadTimer, ReloadsSoonerAfterAnUnchangedVersion) {
  Reloads reloads;
  reloads.begin(4);
  reloads.timer.loaded(reloads.rule(), false);
  reloads.timer.requestReload();
  reloads.network.advance(1.9);
  EXPECT_TRUE(reloads.times.empty());
  reloads.network.advance(0.2);
  EXPECT_EQ(reloads.times.size(), 1u);
}

TEST(ReloadTimer, BlockingReloadsFollowAtOnceUnlessNothingChanged) {
  Reloads reloads;
  reloads.begin(4, 17);
  EXPECT_FALSE(reloads.timer.isDue()) << "it has just come";
  reloads.timer.requestReload();
  reloads.network.run();
  EXPECT_EQ(reloads.times.size(), 1u);
  reloads.timer.loaded(reloads.rule(), false);
  reloads.timer.requestReload();
  reloads.network.advance(1.5);
  EXPECT_EQ(reloads.times.size(), 1u);
  reloads.network.advance(1);
  EXPECT_EQ(reloads.times.size(), 2u);
}

TEST(ReloadTimer, RetriesFailuresAndGivesUpEventually) {
  Reloads reloads;
  reloads.begin(2);
  reloads.timer.requestReload();
  while (!reloads.timer.hasGivenUp() && reloads.network.seconds() < 100) {
    const std::size_t before = reloads.times.size();
    reloads.network.advance(0.5);
    if (reloads.times.size() > before) reloads.timer.failed();
  }
  EXPECT_NEAR(reloads.network.seconds(), 22, 2);
  EXPECT_GT(reloads.times.size(), 8u);
  EXPECT_LT(reloads.times.size(), 25u);
  reloads.timer.loaded(reloads.rule(), true);
  EXPECT_FALSE(reloads.timer.hasGivenUp());
}

TEST(ReloadTimer, LimitsTheRateForAZeroInterval) {
  Reloads reloads;
  reloads.begin(0);
  for (int i = 0; i < 100; ++i) {
    reloads.timer.requestReload();
    reloads.network.advance(0.01);
    if (reloads.timer.isRequesting()) reloads.timer.loaded(reloads.rule(), true);
  }
  EXPECT_LE(reloads.times.size(), 6u);
}

TEST(ServerClock, ParsesDates) {
  struct Case {
    const char* text;
    std::optional<double> http, iso;
  };
  const std::vector<Case> cases = {
      {"Sun, 06 Nov 1994 08:49:37 GMT", 784111777, {}},
      {"1994-11-06T08:49:37Z", {}, 784111777},
      {"1994-11-06T08:49:37.5Z\n", {}, 784111777.5},
      {" 1994-11-06T10:49:37+02:00", {}, 784111777},
      {"1994-11-06T08:49:37", {}, 784111777},
      {"1994-13-06T08:49:37Z", {}, {}},
      {"Sun, 06 Foo 1994 08:49:37 GMT", {}, {}},
      {"Sun, 06 Nov 1994", {}, {}},
      {"", {}, {}},
      {"<html>", {}, {}},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.text);
    EXPECT_EQ(secondsOfHTTPDate(each.text), each.http);
    EXPECT_EQ(secondsOfDateTime(each.text), each.iso);
  }
}

TEST(ServerClock, UsesTheFirstClockThatResponds) {
  const double epoch = ScriptedTransfers::kEpoch;  // 2027-01-15T08:00:00Z
  struct Case {
    const char* name;
    std::vector<std::pair<std::string, std::string>> clocks;
    double offset;
    double within;
  };
  const std::string prefix = "urn:mpeg:dash:utc:";
  const std::vector<Case> cases = {
      {"none", {}, 0, 0},
      {"direct", {{prefix + "direct:2014", "2027-01-15T09:00:00Z"}}, 3600, 0},
      {"a response body", {{prefix + "http-iso:2014", "time"}}, 3600, 0.1},
      {"the second server", {{prefix + "http-xsdate:2014", "gone time"}}, 3600, 0.1},
      {"the Date field", {{prefix + "http-head:2014", "head"}}, 7200, 0.1},
      {"unknown and invalid clocks",
       {{prefix + "ntp:2014", "host"}, {"urn:other", "time"}, {prefix + "http-iso:2014", "bad"}},
       0,
       0},
      {"no response", {{prefix + "http-iso:2014", "silent"}}, 0, 0},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    ScriptedTransfers network;
    network.add("time", "2027-01-15T09:00:00Z");
    network.add("bad", "later");
    ScriptedTransfers::Resource head;
    head.date = "Fri, 15 Jan 2027 10:00:00 GMT";
    network.add("head", head);
    ScriptedTransfers::Resource silent;
    silent.hangs = true;
    network.add("silent", silent);
    ServerClock clock(network);
    int ready = 0;
    clock.synchronize(each.clocks, [&] { ++ready; });
    network.advance(5);
    EXPECT_EQ(ready, 1);
    EXPECT_NEAR(clock.now().secondsSince1970, epoch + 5 + each.offset, each.within + 1e-3);
  }
}

TEST(ServerClock, UsesADateFieldThatDiffersClearly) {
  ScriptedTransfers network;
  ServerClock clock(network);
  ResponseHead head;
  head.fields = {{"Date", "Fri, 15 Jan 2027 08:00:01 GMT"}};
  clock.noteResponse(head, network.civilTime());
  EXPECT_EQ(clock.offset(), 0);
  head.fields = {{"Date", "Fri, 15 Jan 2027 08:01:00 GMT"}};
  clock.noteResponse(head, network.civilTime());
  EXPECT_EQ(clock.offset(), 60);
}

TEST(TransferLog, StartsAnEntryWhenServerOrRepresentationChanges) {
  TransferStatistics now;
  TransferLog record([&] { return now; });
  EXPECT_EQ(record.accessLog({}).size(), 1u);
  const auto came = [&](const char* server, const char* name, double seconds) {
    now.requestCount += 1;
    now.bytesTransferred += 1000;
    now.serverAddress = server;
    return record.mediaReceived(MonotonicTime(std::chrono::seconds(10)), name, 1e6, seconds);
  };
  EXPECT_FALSE(came("a", "low", 4));
  EXPECT_FALSE(came("a", "low", 4));
  EXPECT_TRUE(came("b", "low", 4));
  EXPECT_TRUE(came("b", "high", 4));
  const auto accessLogEntries = record.accessLog(MonotonicTime(std::chrono::seconds(15)));
  ASSERT_EQ(accessLogEntries.size(), 3u);
  EXPECT_EQ(accessLogEntries[0].mediaSeconds, 8);
  EXPECT_EQ(accessLogEntries[0].statistics.serverAddress, "a");
  EXPECT_FALSE(accessLogEntries[1].isSwitch);
  EXPECT_TRUE(accessLogEntries[2].isSwitch);
  EXPECT_EQ(accessLogEntries[2].age, 5);
  std::uint64_t requests = 0;
  for (const auto& leg : accessLogEntries) requests += leg.statistics.requestCount;
  EXPECT_EQ(requests, 4u);
  EXPECT_EQ(accessLogEntries[2].statistics.requestCount, 1u);
  for (int i = 0; i < 200; ++i) came(i % 2 ? "a" : "b", "low", 4);
  EXPECT_EQ(record.accessLog({}).size(), StreamedItem::kMaxAccessLogEntries);
}

TEST(TransferLog, KeepsTheFirstFailureUntilMediaIsReceived) {
  TransferLog record([] { return TransferStatistics(); });
  record.addError({1}, "a", statusError(404));
  record.addError({2}, "b", statusError(500));
  ASSERT_TRUE(record.failure());
  EXPECT_EQ(record.failure()->code, 404);
  record.noteRecovery();
  EXPECT_FALSE(record.failure());
  for (int i = 0; i < 200; ++i) record.addError({3}, "c", statusError(500));
  EXPECT_EQ(record.errorLog().size(), 100u);
  record.addError({4}, std::string(1'000'000, 'u'), statusError(500));
  EXPECT_LT(record.errorLog().back().url.size(), 200'000u);
}

}  // namespace
}  // namespace streaming::test
