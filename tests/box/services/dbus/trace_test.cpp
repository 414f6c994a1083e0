#include <string>

#include <gmock/gmock.h>

#include "platform/foundation/Value.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::LogLevel;
using platform::Value;
using testing::EndsWith;

class TraceTest : public testing_dbus::DBusServerFixture {
 protected:
  static testing_dbus::Answer trace(testing_dbus::Client& peer, bool on) {
    return peer.callBox("Trace", [on](auto* m) { sd_bus_message_append(m, "b", on ? 1 : 0); });
  }
  static bool isLogged() { return TVSLogger::isEnabled("Other", LogLevel::Notice); }
};

TEST_F(TraceTest, SendsLogLinesToTracingPeersOnly) {
  openServer();
  const auto peer = client();
  const auto other = client();
  other->ready();
  ASSERT_EQ(trace(*peer, true).error, "");
  TVSLogNotice("Other", "line %d", 1);
  const auto line = peer->nextEvent();
  ASSERT_TRUE(line);
  EXPECT_THAT(line->name, EndsWith(" #Notice #Other : line 1 "));
  EXPECT_EQ(line->info.get("level"), Value(5));
  EXPECT_EQ(line->info.get("component"), Value("Other"));
  EXPECT_TRUE(line->info.date("time"));

  ASSERT_EQ(trace(*peer, false).error, "");
  EXPECT_FALSE(isLogged());
  post("after");
  EXPECT_EQ(peer->nextEvent()->name, "after");
  EXPECT_EQ(other->nextEvent()->name, "after");
}

TEST_F(TraceTest, EndsWithTheConnection) {
  openServer();
  const auto other = client();
  auto peer = client();
  ASSERT_EQ(trace(*peer, true).error, "");
  EXPECT_TRUE(isLogged());
  peer.reset();
  for (int turn = 0; turn < 1000 && isLogged(); ++turn) other->ready();
  EXPECT_FALSE(isLogged());
}

TEST_F(TraceTest, DropsLinesWhileTheServerIsBlocked) {
  openServer();
  const auto peer = client();
  ASSERT_EQ(trace(*peer, true).error, "");
  delegate->whileCalled = [] {
    for (int line = 0; line < 600; ++line) TVSLogNotice("Other", "line %d", line);
  };
  peer->getProperty("rate");
  for (int line = 0; line < 500; ++line) {
    ASSERT_THAT(peer->nextEvent()->name, EndsWith(" line " + std::to_string(line) + " "));
  }
  EXPECT_EQ(peer->nextEvent()->name, "100 log lines were dropped");
}

}  // namespace
