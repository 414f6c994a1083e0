// Concurrent sessions.

#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/ReceiverDelegateFixture.h"

using testing::IsSupersetOf;

namespace {

using ConcurrentSessionsTest = ReceiverDelegateTest;

TEST_F(ConcurrentSessionsTest, TwoVideosAtOnce) {
  EXPECT_EQ(startVideo(videoOptions(7)), 0);
  EXPECT_EQ(startVideo(videoOptions(8, {{"Content-Location", kNextURL}, {"uuid", "U2"}})), 0);
  box.advance(1s);
  EXPECT_THAT(manager().activeSessions(), SizeIs(2));
  // The newer session is on screen and receives the properties. Stops use the session ID.
  EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(8));
  EXPECT_EQ(get("playbackInfo", nullptr).asDictionary()->get("uuid"), Value("U2"));
  EXPECT_EQ(stopVideo({{"sessionID", 8}}), 0);
  box.advance(1s);
  EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(7));
  EXPECT_EQ(stopVideo({{"sessionID", 7}}), 0);
  box.advance(1s);
  EXPECT_FALSE(box.screen().isOpen());
  EXPECT_EQ(manager().stateMachine().currentState(), "Background");
}

TEST_F(ConcurrentSessionsTest, StopOfAnUnknownSessionLeavesTheOthers) {
  startVideo(videoOptions(7));
  for (const Value& identifier : {Value(9), Value("7"), Value::null()}) {
    takeLog();
    EXPECT_EQ(stopVideo({{"sessionID", identifier}}), 0) << compact(identifier);
    EXPECT_EQ(takeLog().back(), "No active session for vorlaneUIStopVideo:");
  }
  EXPECT_THAT(manager().activeSessions(), SizeIs(1));
  // Without a session ID, the current session is stopped.
  EXPECT_EQ(stopVideo({}), 0);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
}

}  // namespace
