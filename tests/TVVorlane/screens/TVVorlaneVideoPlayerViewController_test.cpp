#include "TVVorlane/screens/TVVorlaneVideoPlayerViewController.h"

#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

using VideoPlayerTest = URLSessionTest;

TEST_F(VideoPlayerTest, MenuStopsTheSessionOnce) {
  startPlaying();
  const auto controller = rootController()->videoPlayerViewController();
  box.screen().send({PressType::Menu});
  EXPECT_TRUE(controller->wasDismissed());
  // The controller stays until its session is removed.
  EXPECT_EQ(controller->parent(), rootController().get());
  box.screen().send({PressType::Menu});
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=true}",
                                            "stopped {sessionID=7, userExit=true}"));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Video view controller dismissed due to menu, sending stop"));
  EXPECT_EQ(rootController()->videoPlayerViewController(), controller);
  box.advance(1s);
  EXPECT_FALSE(rootController());
  EXPECT_THAT(delegate->take(), IsEmpty());
}

TEST_F(VideoPlayerTest, MenuAfterTheEndLogsAndASecondPressLeaves) {
  startPlaying();
  box.advance(2min);
  delegate->take();
  box.clearLog();
  box.screen().send({PressType::Menu});
  box.advance(1s);
  EXPECT_THAT(delegate->take(), IsEmpty());
  EXPECT_THAT(logTexts(box, "TVVLSession"), ElementsAre("Video view controller dismissed"));
  EXPECT_TRUE(rootController());

  box.screen().send({PressType::Menu});
  box.advance(1s);
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=7, userExit=true}"));
  EXPECT_FALSE(rootController());
}

}  // namespace
