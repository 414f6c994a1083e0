#include "receivers/upnp/model/LastChange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "receivers/upnp/model/Rendering.h"
#include "receivers/upnp/model/Subscriptions.h"
#include "receivers/upnp/model/Time.h"
#include "tests/receivers/upnp/model/VirtualClock.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class UpnpLastChange : public ::testing::Test {
 protected:
  UpnpLastChange() {
    changes.setPublish([this](const std::string& document) { published.push_back(document); });
  }
  VirtualClock clock;
  std::vector<std::string> published;
  upnp::LastChange changes{clock, "urn:test"};
};

TEST_F(UpnpLastChange, PublishesChangedVariablesOnly) {
  changes.set("A", "1");
  changes.set("B", "x", "Master");
  clock.advance(milliseconds(0));
  changes.set("A", "1");
  changes.set("B", "y", "Master");
  clock.advance(milliseconds(200));
  EXPECT_THAT(published,
              ElementsAre("<Event xmlns=\"urn:test\"><InstanceID val=\"0\"><A val=\"1\"/>"
                          "<B channel=\"Master\" val=\"x\"/></InstanceID></Event>",
                          "<Event xmlns=\"urn:test\"><InstanceID val=\"0\">"
                          "<B channel=\"Master\" val=\"y\"/></InstanceID></Event>"));
  EXPECT_THAT(changes.fullDocument(), HasSubstr("<A val=\"1\"/><B"));
  EXPECT_EQ(clock.pending(), 0U);
}

TEST_F(UpnpLastChange, PublishesFiveTimesASecondAtMostAndTheLastValue) {
  for (int step = 1; step < 1000; ++step) {
    changes.set("A", std::to_string(step));
    clock.advance(milliseconds(1));
  }
  EXPECT_EQ(published.size(), 5U);
  clock.advance(milliseconds(200));
  EXPECT_THAT(published.back(), HasSubstr("\"999\""));
  clock.advance(seconds(1));
  changes.set("A", "soon");
  clock.advance(milliseconds(0));
  EXPECT_THAT(published.back(), HasSubstr("soon")) << "the first change does not wait";
}

TEST_F(UpnpLastChange, MergesChangesWhileItIsHeld) {
  changes.set("A", "1");
  changes.hold(true);
  clock.advance(seconds(1));
  changes.set("B", "1");
  changes.set("A", "2");
  clock.advance(seconds(1));
  EXPECT_THAT(published, ElementsAre());
  changes.hold(false);
  clock.advance(seconds(1));
  EXPECT_THAT(published, ElementsAre(HasSubstr("<A val=\"2\"/><B val=\"1\"/>")));
  changes.hold(true);
  changes.hold(false);
  EXPECT_EQ(clock.pending(), 0U) << "nothing has changed";
}

TEST_F(UpnpLastChange, EscapesValues) {
  changes.set("A", "<a href=\"x\">&'\x01</a>");
  clock.advance(milliseconds(0));
  EXPECT_THAT(published[0], HasSubstr("&lt;a href=&quot;x&quot;&gt;&amp;&apos; &lt;/a&gt;"));
}

TEST(UpnpRendering, ReportsVolumeAndMuteAndRefusesOtherValues) {
  VirtualClock clock;
  upnp::LastChange changes(clock, "urn:test");
  upnp::Rendering rendering(changes);
  int applied = 0;
  rendering.setApply([&] { ++applied; });
  EXPECT_EQ(rendering.setVolume(30), std::nullopt);
  for (const int volume : {-1, 101}) {
    EXPECT_EQ(rendering.setVolume(volume), upnp::Failure(upnp::Error::InvalidArgs));
  }
  rendering.setMuted(true);
  EXPECT_EQ(changes.value("Volume"), "30");
  EXPECT_EQ(changes.value("Mute"), "1");
  rendering.noteGain(0.255);
  EXPECT_EQ(changes.value("Volume"), "26");
  EXPECT_EQ(rendering.selectPreset("Loud"), upnp::Failure(upnp::Error::InvalidName));
  EXPECT_EQ(rendering.selectPreset("FactoryDefaults"), std::nullopt);
  EXPECT_EQ(changes.value("Volume"), "100");
  EXPECT_EQ(changes.value("Mute"), "0");
  EXPECT_EQ(applied, 4) << "not for a change by the box";
}

TEST(UpnpTime, ReadsTimesOfTheStandard) {
  const struct {
    const char* text;
    double seconds;
  } cases[] = {{"0:00:00", 0},
               {"00:01:02", 62},
               {"1:02:03", 3723},
               {"123:00:00", 442800},
               {"0:00:01.500", 1.5},
               {"0:00:01.1/4", 1.25},
               {"", -1},
               {"1:2", -1},
               {"62", -1},
               {"0:60:00", -1},
               {"0:00:60", -1},
               {"-1:00:00", -1},
               {"0:00:0x", -1},
               {"0:00:01.", -1},
               {"0:00:01.4/4", -1},
               {"0:00:01.-5", -1},
               {"99999999999:00:00", -1},
               {"10001:00:00", -1},
               {"0:0:0:0", -1},
               {"NOT_IMPLEMENTED", -1}};
  for (const auto& each : cases) {
    EXPECT_EQ(upnp::parseTime(each.text).value_or(-1), each.seconds) << each.text;
  }
  EXPECT_EQ(upnp::formatTime(3723.9), "1:02:03");
  EXPECT_EQ(upnp::formatTime(-5), "0:00:00");
  EXPECT_EQ(upnp::formatTime(1e300), "10000:00:00");
}

TEST(UpnpSubscriptions, AreBoundedForAHostAndInAllUntilTheyEnd) {
  VirtualClock clock;
  upnp::Subscriptions subscriptions(clock);
  int identifier = 0;
  const auto fill = [&](const std::string& host) {
    int count = 0;
    for (; subscriptions.isAllowed(host); ++count) {
      subscriptions.note(host + std::to_string(++identifier), host, seconds(300));
    }
    return count;
  };
  EXPECT_EQ(fill("a"), 32);
  EXPECT_EQ(fill("b") + fill("c") + fill("d"), 96);
  EXPECT_EQ(fill("e"), 0);
  subscriptions.remove("a1");
  subscriptions.hold(true);
  EXPECT_EQ(fill("e"), 0);
  subscriptions.hold(false);
  EXPECT_EQ(fill("e"), 1);
  clock.advance(seconds(200));
  subscriptions.note("b33", "b", seconds(300));
  clock.advance(seconds(100));
  EXPECT_EQ(fill("b"), 31) << "one was renewed";
}

}  // namespace
