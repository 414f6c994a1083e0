#include "TVVorlane/screens/TVVorlanePINViewController.h"

#include "tests/TVVorlane/Support.h"

namespace {

class TVVorlanePINViewControllerTest : public testing::Test {
 protected:
  /// Passes the press to the recognizers of the view, like the window.
  bool press(PressType type) {
    for (const auto& recognizer : controller->view()->gestureRecognizers()) {
      if (recognizer->handle({type})) return true;
    }
    return false;
  }
  std::string shownTitle() { return controller->digitViewController()->titleLabel()->text(); }
  std::string shownCode() { return controller->digitViewController()->digitGroupView()->text(); }

  sim::Box box;
  std::shared_ptr<TVVorlanePINViewController> controller =
      std::make_shared<TVVorlanePINViewController>();
};

TEST_F(TVVorlanePINViewControllerTest, BuildsTheScreen) {
  controller->view()->setFrame({0, 0, 640, 360});
  controller->view()->layoutIfNeeded();
  const auto& digits = controller->digitViewController();
  EXPECT_FALSE(digits->isMovingToParent());
  ASSERT_EQ(controller->view()->subviews().size(), 2U);
  EXPECT_EQ(controller->view()->subviews()[0], controller->backgroundView());
  EXPECT_EQ(controller->view()->subviews()[1], digits->view());
  EXPECT_EQ(controller->backgroundView()->frame(), (platform::Rect{0, 0, 640, 360}));
  EXPECT_EQ(digits->view()->frame(), (platform::Rect{0, 0, 640, 360}));
  EXPECT_EQ(controller->children(),
            (std::vector<std::shared_ptr<platform::ViewController>>{digits}));
}

TEST_F(TVVorlanePINViewControllerTest, TitleAndCodeBeforeAndAfterLoading) {
  controller->setTitle("first");
  controller->setPinCode("1234");
  EXPECT_FALSE(controller->isViewLoaded());
  controller->view();
  EXPECT_EQ(shownTitle(), "first");
  EXPECT_EQ(shownCode(), "1234");
  controller->setTitle("second");
  controller->setPinCode("98765");
  EXPECT_EQ(shownTitle(), "second");
  EXPECT_EQ(shownCode(), "98765");
  EXPECT_EQ(controller->digitViewController()->digits(), 4);
}

TEST_F(TVVorlanePINViewControllerTest, MenuDismissesOnce) {
  // Without a handler the press is consumed and does not count as dismissal.
  EXPECT_TRUE(press(PressType::Menu));
  int dismissed = 0;
  controller->setDismissHandler([&] { ++dismissed; });
  EXPECT_EQ(dismissed, 0);
  for (const auto other : {PressType::Up, PressType::Down, PressType::Left, PressType::Right,
                           PressType::Select, PressType::PlayPause}) {
    EXPECT_FALSE(press(other));
  }
  EXPECT_EQ(dismissed, 0);
  press(PressType::Menu);
  EXPECT_EQ(dismissed, 1);
  controller->setDismissHandler([&] { dismissed += 10; });
  press(PressType::Menu);
  EXPECT_EQ(dismissed, 1);
}

TEST_F(TVVorlanePINViewControllerTest, HandlerMayReplaceItselfAndReleaseTheController) {
  const std::weak_ptr weak = controller;
  const auto view = controller->view();
  std::string seen;
  controller->setDismissHandler([this, &seen, text = std::string("kept for the whole call")] {
    controller->setDismissHandler(nullptr);
    controller = nullptr;
    seen = text;
  });
  view->gestureRecognizers()[0]->handle({PressType::Menu});
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(seen, "kept for the whole call");
}

}  // namespace
