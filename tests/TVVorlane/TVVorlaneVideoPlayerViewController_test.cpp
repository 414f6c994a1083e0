#include "TVVorlane/TVVorlaneVideoPlayerViewController.h"

#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

using VideoPlayerTest = URLSessionTest;

TEST_F(VideoPlayerTest, MenuStopsTheSessionOnce) {
  startPlaying();
  const auto controller = rootController()->videoPlayerViewController();
  box.screen().send({PressType::Menu});
  EXPECT_TRUE(controller->wasDismissed());
  // It stays until its session is taken away.
  EXPECT_EQ(controller->parent(), rootController().get());
  box.screen().send({PressType::Menu});
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=1}",
                                            "stopped {sessionID=7, userExit=1}"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Video view controller dismissed due to menu, sending stop"));
  EXPECT_EQ(rootController()->videoPlayerViewController(), controller);
  box.advance(1s);
  EXPECT_FALSE(rootController());
  EXPECT_THAT(delegate->take(), IsEmpty());
}

TEST_F(VideoPlayerTest, MenuAfterTheEndOnlyLogs) {
  startPlaying();
  box.advance(2min);
  delegate->take();
  box.clearLog();
  box.screen().send({PressType::Menu});
  box.screen().send({PressType::Menu});
  EXPECT_THAT(delegate->take(), IsEmpty());
  EXPECT_THAT(logTexts(box, "TVVLSession"), ElementsAre("Video view controller dismissed"));
  box.advance(1s);
  EXPECT_TRUE(rootController());
  // The remote can still leave it, and the sender still stop it.
  EXPECT_TRUE(session->stopWithOptions({}, nullptr));
  box.advance(1s);
  EXPECT_FALSE(rootController());
}

}  // namespace
