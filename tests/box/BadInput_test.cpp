// What no sender should say, told to the built program.

#include <cstring>
#include <functional>
#include <limits>
#include <string>

#include "tests/box/SystemFixture.h"

namespace {

using platform::Dictionary;
using platform::Value;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

using BadInput = SystemTest;

TEST_F(BadInput, OfAWrongTypeChangesNothing) {
  launch();
  expectToPlay(1);
  const auto refused = [&](const std::function<std::int32_t()>& call, const char* line) {
    SCOPED_TRACE(line);
    settle();
    const std::size_t before = mark();
    EXPECT_EQ(call(), -6756);
    settle();
    EXPECT_EQ(logCount(line, before), 1U);
    EXPECT_EQ(logCount("#Error", before), 0U);
    EXPECT_EQ(logCount("PostEvent", before), 0U);
  };
  const auto start = [&](Dictionary params) {
    refused([&] { return startVideo(clip(), 2, params).status; }, "### Vorlane bad value for '");
  };
  start({{"rate", "fast"}});
  start({{"uuid", 5}});
  start({{"Start-Position", Dictionary()}});
  start({{"Start-Date", 0}});
  start({{"audioOnly", "yes"}});
  start({{"tlsPSK", "secret"}});
  start({{"metaData", platform::Array()}});
  refused(
      [&] {
        return peer->callWith("StopVideo", {{"rate", "fast"}}).status;
      },
      "### Vorlane bad value for 'rate' in params:");
  refused(
      [&] {
        return peer->perform("playlistInsert", {{"item", "clip"}}).status;
      },
      "### Vorlane bad value for 'item' in params:");
  refused(
      [&] {
        return peer->perform("playlistInsert", {{"item", Dictionary{{"uuid", 5}}}}).status;
      },
      "### Vorlane bad value for 'uuid' in params:");
  for (const char* property : {"volume", "muted", "actionAtItemEnd", "forwardEndTime", "date"}) {
    refused([&] { return set(property, "s", "text"); }, "### Vorlane bad value for '");
  }
  for (const char* property : {"rate", "position"}) {
    refused([&] { return set(property, "s", "text"); },
            property == std::string("rate") ? "### Vorlane bad value for 'rate'"
                                            : "Error setting property:  position, error:");
  }
  const Dictionary info = playbackInfo();
  EXPECT_EQ(info.get("uuid"), Value("1"));
  EXPECT_EQ(info.get("rate"), Value(1.0));
  EXPECT_EQ(peer->callBox("Status").out.get("sessions").asArray()->size(), 1U);
}

TEST_F(BadInput, OfOtherFormsIsRefusedAtTheDoor) {
  launch();
  const auto start = [&](const std::function<void(sd_bus_message*)>& appendExtra) {
    return peer->call("StartVideo", [&](sd_bus_message* m) {
      sd_bus_message_open_container(m, 'a', "{sv}");
      sd_bus_message_append(m, "{sv}", "Content-Location", "s", clip().c_str());
      sd_bus_message_append(m, "{sv}", "sessionID", "u", 1);
      sd_bus_message_open_container(m, 'e', "sv");
      sd_bus_message_append(m, "s", "extra");
      appendExtra(m);
      sd_bus_message_close_container(m);
      sd_bus_message_close_container(m);
    });
  };
  const auto nested = [](int depth) {
    return [depth](sd_bus_message* m) {
      // The parameters are the first container.
      for (int level = 1; level < depth; ++level) {
        sd_bus_message_open_container(m, 'v', "av");
        sd_bus_message_open_container(m, 'a', "v");
      }
      sd_bus_message_append(m, "v", "i", 1);
      for (int level = 1; level < depth; ++level) {
        sd_bus_message_close_container(m);
        sd_bus_message_close_container(m);
      }
    };
  };
  const auto notUTF8 = [](sd_bus_message* m) {
    char* text = nullptr;
    sd_bus_message_open_container(m, 'v', "s");
    sd_bus_message_append_string_space(m, 2, &text);
    std::memcpy(text, "\xC3\x28", 3);
    sd_bus_message_close_container(m);
  };
  EXPECT_EQ(start(nested(33)).status, -6756);
  EXPECT_EQ(start(notUTF8).status, -6756);
  settle();
  EXPECT_EQ(logCount("StartVideo is refused: values nested too deep", 0), 1U);
  EXPECT_EQ(logCount("StartVideo is refused: a text that is not UTF-8", 0), 1U);
  EXPECT_EQ(logCount("vorlaneUIStartVideo", 0), 0U);
  EXPECT_EQ(start(nested(32)).status, 0);
  EXPECT_TRUE(nextEvent("playing"));
}

TEST_F(BadInput, OfNumbersBeyondAllMeasureIsBounded) {
  launch();
  for (const double number : {kNotANumber, kInfinity, -kInfinity, 1e9, -1e300}) {
    SCOPED_TRACE(number);
    const Dictionary params{{"Start-Position", number},
                            {"volume", number},
                            {"muted", number},
                            {"Start-Position-Seconds", number}};
    EXPECT_EQ(startVideo(clip(), 1, params).status, 0);
    // Whether it plays from somewhere or has come to its end at once, it tells so.
    EXPECT_TRUE(nextEvent("loading"));
    for (const char* property : {"position", "volume", "rate", "muted", "actionAtItemEnd"}) {
      EXPECT_EQ(set(property, "d", number), 0) << property;
    }
    EXPECT_EQ(stopVideo(1), 0);
    EXPECT_EQ(startVideo(clip(), 2, {{"rate", number}}).status, 0);
    EXPECT_EQ(stopVideo(2), 0);
  }
  // A position that is no number leaves it where it is.
  ASSERT_EQ(startVideo(clip(), 3, {{"rate", 0}}).status, 0);
  ASSERT_TRUE(nextEvent("paused"));
  EXPECT_EQ(set("position", "d", 1.0), 0);
  EXPECT_EQ(set("position", "d", kNotANumber), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 1, 0.1);
  // One beyond the end is the end.
  EXPECT_EQ(set("position", "d", 1e9), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 3, 0.1);
  EXPECT_EQ(stopVideo(3), 0);
  expectToPlay(4);
}

}  // namespace
