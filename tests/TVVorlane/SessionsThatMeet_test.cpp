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

TEST_F(SessionsThatMeet, StartWhileThePresentationCloses) {
  for (const auto delay : {0ms, 100ms, 299ms, 300ms, 301ms}) {
    EXPECT_EQ(startVideo(videoOptions(7)), 0);
    box.advance(1s);
    EXPECT_EQ(stopVideo({{"sessionID", 7}}), 0);
    box.advance(delay);
    EXPECT_EQ(startVideo(videoOptions(8)), 0) << delay.count();
    box.advance(1s);
    ASSERT_TRUE(rootController()) << delay.count();
    EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(8));
    EXPECT_EQ(manager().stateMachine().currentState(), "Foreground");
    EXPECT_EQ(stopVideo({{"sessionID", 8}}), 0);
    box.advance(1s);
    EXPECT_FALSE(box.screen().isOpen()) << delay.count();
  }
}

TEST_F(SessionsThatMeet, StartWhileTheUserLeaves) {
  for (const auto delay : {0ms, 100ms, 299ms, 300ms, 301ms}) {
    EXPECT_EQ(startVideo(videoOptions(7)), 0);
    box.advance(1s);
    box.viewServiceHost().endPresentation();
    if (delay > 0ms) box.advance(delay);
    EXPECT_EQ(startVideo(videoOptions(8)), 0) << delay.count();
    box.advance(6s);
    EXPECT_EQ(manager().urlSessionWithID(7), nullptr);
    stopVideo({{"sessionID", 8}});
    box.advance(6s);
    EXPECT_FALSE(box.screen().isOpen()) << delay.count();
    EXPECT_EQ(manager().stateMachine().currentState(), "Background") << delay.count();
  }
}

TEST_F(SessionsThatMeet, StartInTheTurnInWhichTheUserLeaves) {
  EXPECT_EQ(startVideo(videoOptions(7)), 0);
  box.advance(1s);
  // Behind the end of the presentation, before the manager has looked at what it ended.
  box.viewServiceHost().endPresentation();
  const auto session = std::make_shared<TVVorlaneURLSession>();
  Completions completions;
  box.mainQueue().async(
      [&] { session->startWithOptions(videoOptions(8), completions.recorder()); });
  box.advance(1s);
  EXPECT_EQ(completions.count(), 1u);
  session->stopWithOptions({}, nullptr);
  box.advance(6s);
  EXPECT_EQ(manager().stateMachine().currentState(), "Background");
  EXPECT_EQ(startVideo(videoOptions(9)), 0);
  ASSERT_TRUE(rootController());
  EXPECT_EQ(rootController()->videoPlaybackSession(), manager().urlSessionWithID(9));
}

TEST_F(SessionsThatMeet, ScreenThatDoesNotOpenFailsTheStart) {
  for (const auto opening : {sim::Screen::Opening::Refuses, sim::Screen::Opening::NeverAnswers}) {
    box.screen().setOpening(opening);
    EXPECT_NE(startVideo(videoOptions(7)), 0);
    EXPECT_TRUE(out.contains("domain"));
    box.advance(5s);
    EXPECT_THAT(manager().activeSessions(), IsEmpty());
    EXPECT_THAT(takeEventTexts(box), IsSupersetOf({"userStop {sessionID=7, userExit=1}",
                                                   "stopped {sessionID=7, userExit=1}"}));
  }
  // The door stays open: the screen has still to answer the last request, so only another answers.
  EXPECT_EQ(perform("hidePIN", {}), 0);
}

TEST_F(SessionsThatMeet, AudioNeedsNoScreenAndDoesNotWaitForOne) {
  EXPECT_EQ(startVideo(videoOptions(7, {{"audioOnly", true}})), 0);
  EXPECT_EQ(box.screen().timesOpened(), 0);
  EXPECT_EQ(box.call([&] {
    return delegate->vorlaneUIStartAudio({{"sessionID", 4}}, nullptr);
  }),
            0);
  EXPECT_EQ(box.screen().timesOpened(), 0);
}

}  // namespace
