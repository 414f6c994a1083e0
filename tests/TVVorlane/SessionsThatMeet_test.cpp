// Several sessions, and sessions that come and go while the screen does.

#include <chrono>

#include <gmock/gmock.h>

#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/ReceiverDelegateFixture.h"

using namespace std::chrono_literals;
using platform::Value;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::SizeIs;

namespace {

using SessionsThatMeet = ReceiverDelegateTest;

TEST_F(SessionsThatMeet, TwoVideosAtOnce) {
  EXPECT_EQ(startVideo(videoOptions(7)), 0);
  EXPECT_EQ(startVideo(videoOptions(8, {{"Content-Location", kNextURL}, {"uuid", "U2"}})), 0);
  box.advance(1s);
  EXPECT_THAT(manager().activeSessions(), SizeIs(2));
  // The later one is shown and addressed by properties, each by its own number.
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

TEST_F(SessionsThatMeet, StopOfAnUnknownSessionLeavesTheOthers) {
  startVideo(videoOptions(7));
  for (const Value& identifier : {Value(9), Value("7"), Value::null()}) {
    takeLog();
    EXPECT_EQ(stopVideo({{"sessionID", identifier}}), 0) << compact(identifier);
    EXPECT_EQ(takeLog().back(), "No active session for vorlaneUIStopVideo:");
  }
  EXPECT_THAT(manager().activeSessions(), SizeIs(1));
  // Without a number it is the current one.
  EXPECT_EQ(stopVideo({}), 0);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
}

TEST_F(SessionsThatMeet, StartWhileThePresentationOpens) {
  box.screen().setOpening(sim::Screen::Opening::Succeeds, 2s);
  const auto first = beginStartVideo(videoOptions(7));
  box.advance(1s);
  // The receiver queue serves one call at a time.
  const auto second = beginStartVideo(videoOptions(8));
  EXPECT_EQ(box.finish(first), 0);
  EXPECT_EQ(box.finish(second), 0);
  EXPECT_EQ(box.screen().timesOpened(), 1);
  EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(8));
}

TEST_F(SessionsThatMeet, StartWhileThePresentationClosesOrTheUserLeaves) {
  for (const bool byTheUser : {false, true}) {
    for (const auto delay : {0ms, 100ms, 299ms, 300ms, 301ms}) {
      SCOPED_TRACE(delay.count());
      EXPECT_EQ(startVideo(videoOptions(7)), 0);
      box.advance(1s);
      if (byTheUser) {
        box.viewServiceHost().endPresentation();
      } else {
        EXPECT_EQ(stopVideo({{"sessionID", 7}}), 0);
      }
      if (delay > 0ms) box.advance(delay);
      EXPECT_EQ(startVideo(videoOptions(8)), 0);
      box.advance(1s);
      if (!byTheUser) {
        ASSERT_TRUE(rootController());
        EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(8));
      }
      box.advance(5s);
      EXPECT_EQ(manager().urlSessionWithID(7), nullptr);
      stopVideo({{"sessionID", 8}});
      box.advance(6s);
      EXPECT_FALSE(box.screen().isOpen());
      EXPECT_EQ(manager().stateMachine().currentState(), "Background");
    }
  }
}

}  // namespace
