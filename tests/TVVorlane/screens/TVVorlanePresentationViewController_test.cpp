#include "TVVorlane/screens/TVVorlanePresentationViewController.h"

#include "TVVorlane/TVVorlanePresentationSession.h"
#include "tests/TVVorlane/Support.h"

using platform::InputEvent;
using platform::SwipeDirection;

namespace {

class TVVorlanePresentationViewTest : public SessionTest {
 protected:
  std::shared_ptr<TVVorlanePresentationView> view =
      std::make_shared<TVVorlanePresentationView>(platform::Rect{0, 0, 1001, 601});
};

TEST_F(TVVorlanePresentationViewTest, ProgressHidesThePicture) {
  ASSERT_EQ(box.layers().made().size(), 1U);
  EXPECT_EQ(view->contentView()->sceneNode({}).elements,
            (std::vector<platform::SceneElement>{platform::LayerElement{box.layers().made()[0]}}));
  EXPECT_EQ(view->subviews().size(), 1U);
  for (int i = 0; i < 2; ++i) {
    view->setShowProgress(true);
    EXPECT_TRUE(view->showProgress());
    EXPECT_TRUE(view->contentView()->hidden());
    EXPECT_TRUE(view->spinnerView()->isAnimating());
    ASSERT_EQ(view->subviews().size(), 3U);
    EXPECT_EQ(view->subviews()[1], view->coverView());
    EXPECT_EQ(view->subviews()[2], view->spinnerView());
  }
  view->setFrame({10, 20, 801, 401});
  view->layoutIfNeeded();
  EXPECT_EQ(view->contentView()->frame(), (platform::Rect{0, 0, 801, 401}));
  EXPECT_EQ(view->coverView()->frame(), (platform::Rect{0, 0, 801, 401}));
  // The spinner has 120 points and integral coordinates.
  EXPECT_EQ(view->spinnerView()->frame(), (platform::Rect{340, 140, 120, 120}));
  view->setShowProgress(false);
  EXPECT_FALSE(view->showProgress());
  EXPECT_FALSE(view->contentView()->hidden());
  EXPECT_FALSE(view->spinnerView()->isAnimating());
  EXPECT_EQ(view->subviews().size(), 1U);
}

class TVVorlanePresentationViewControllerTest : public SessionTest {
 protected:
  void show(std::uint32_t id) {
    session = startSession<TVVorlanePresentationSession>({{"sessionID", id}});
    // Waits for the end of the fade-in, when the view gets the focus.
    box.advance(std::chrono::milliseconds(300));
  }
  /// Events that the session posts for a remote input.
  Texts send(const InputEvent& event) {
    EXPECT_TRUE(box.screen().send(event));
    box.run();
    return delegate->take();
  }

  std::shared_ptr<TVVorlanePresentationSession> session;
};

TEST_F(TVVorlanePresentationViewControllerTest, ShowsTheSessionsView) {
  show(5);
  const auto controller = rootController()->presentationViewController();
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(controller->session(), session);
  EXPECT_EQ(controller->presentationView(), session->presentationView());
  EXPECT_EQ(controller->preferredFocusedView(), session->presentationView());
  EXPECT_EQ(controller->view()->subviews().back(), session->presentationView());
  EXPECT_EQ(box.viewServiceHost().window()->focusedView(), session->presentationView());
  EXPECT_EQ(controller->presentationLayer(), session->presentationView()->presentationLayer());
  controller->showProgress();
  EXPECT_TRUE(session->presentationView()->showProgress());
  controller->hideProgress();
  EXPECT_FALSE(session->presentationView()->showProgress());
  EXPECT_EQ(controller->stopCount(), 0U);
}

TEST_F(TVVorlanePresentationViewControllerTest, RemoteInputsBecomeEvents) {
  show(5);
  // The sixth recognizer handles play/pause, the seventh has the default press types.
  const auto& recognizers = session->presentationView()->gestureRecognizers();
  const auto presses = [&](std::size_t index) {
    return std::dynamic_pointer_cast<platform::TapRecognizer>(recognizers.at(index))
        ->allowedPressTypes();
  };
  EXPECT_EQ(presses(9), std::vector{PressType::PlayPause});
  EXPECT_EQ(presses(10), platform::TapRecognizer(nullptr).allowedPressTypes());
  const std::pair<InputEvent, const char*> cases[] = {
      {{SwipeDirection::Right}, "userPrevious"},
      {{SwipeDirection::Left}, "userNext"},
      {{SwipeDirection::Up}, "userUp"},
      {{SwipeDirection::Down}, "userDown"},
      {{PressType::Up}, "userUp {sessionID=5}"},
      {{PressType::Down}, "userDown {sessionID=5}"},
      {{PressType::Left}, "userPrevious {sessionID=5}"},
      {{PressType::Right}, "userNext {sessionID=5}"},
      {{PressType::Select}, "userSelect {sessionID=5}"},
      {{PressType::PlayPause}, "userPlayPause {sessionID=5}"},
  };
  for (const auto& [event, text] : cases) EXPECT_EQ(send(event), Texts{text});
  EXPECT_FALSE(session->deactivated());
  EXPECT_EQ(delegate->lastInfo()->number("sessionID")->kind(), platform::Number::Kind::UInt32);

  EXPECT_EQ(send({PressType::Menu}), Texts{"userStop {sessionID=5, userExit=true}"});
  EXPECT_TRUE(session->deactivated());
}

TEST_F(TVVorlanePresentationViewControllerTest, ViewShownAgainPostsEachEventOnce) {
  show(5);
  const auto first = session;
  const std::weak_ptr old = rootController()->presentationViewController();
  show(6);
  EXPECT_EQ(send({PressType::Select}), Texts{"userSelect {sessionID=6}"});
  box.advance(std::chrono::seconds(1));
  EXPECT_TRUE(old.expired());

  session->stopWithOptions({}, nullptr);
  box.advance(std::chrono::seconds(1));
  ASSERT_EQ(rootController()->presentationSession(), first);
  EXPECT_EQ(send({PressType::Select}), Texts{"userSelect {sessionID=5}"});
  EXPECT_EQ(send({SwipeDirection::Left}), Texts{"userNext"});
  EXPECT_EQ(first->presentationView()->gestureRecognizers().size(), 11U);
}

}  // namespace
