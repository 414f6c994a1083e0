#include "TVVorlane/screens/TVVorlaneMediaViewController.h"

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/screens/TVVorlanePINViewController.h"
#include "TVVorlane/screens/TVVorlanePresentationViewController.h"
#include "TVVorlane/screens/TVVorlaneVideoPlayerViewController.h"
#include "tests/TVVorlane/Support.h"

namespace {

class MediaViewControllerTest : public SessionTest {
 protected:
  template <typename Session>
  std::shared_ptr<Session> started(const Dictionary& options) {
    auto session = startSession<Session>(options);
    box.run();
    return session;
  }
  std::shared_ptr<TVVorlaneInfoSession> startPIN() {
    return started<TVVorlaneInfoSession>(
        {{std::string(TVVorlaneInfoSessionCommand), "showPIN"}, {"pin", "1234"}});
  }
  std::shared_ptr<TVVorlaneInfoSession> startDialog(const char* command = "incompatibleSender") {
    return started<TVVorlaneInfoSession>({{std::string(TVVorlaneInfoSessionCommand), command}});
  }
  std::shared_ptr<TVVorlanePresentationSession> startPresentation() {
    return started<TVVorlanePresentationSession>({{"sessionID", 3}});
  }
  std::shared_ptr<TVVorlaneURLSession> startVideo(std::uint32_t sessionID = 7) {
    return started<TVVorlaneURLSession>(videoOptions(sessionID));
  }
  TVVorlaneMediaViewController& root() { return *rootController(); }
  /// The children on screen, bottom to top.
  Texts stack() {
    Texts texts;
    for (const auto& view : root().view()->subviews()) {
      for (const auto& child : root().children()) {
        if (child->view() != view) continue;
        texts.push_back(child->className() + (view->alpha() == 0 ? " leaving" : ""));
      }
    }
    return texts;
  }

  const std::string kPIN = "TVVorlanePINViewController";
  const std::string kVideo = "_TVVorlaneVideoPlayerViewController";
  const std::string kPresentation = "TVVorlanePresentationViewController";
};

TEST_F(MediaViewControllerTest, StackingOrderIsIndependentOfTheSetOrder) {
  const std::function<void()> starts[] = {[&] { startPIN(); }, [&] { startVideo(); },
                                          [&] { startPresentation(); }};
  int order[] = {0, 1, 2};
  do {
    for (const int index : order) starts[index]();
    EXPECT_THAT(stack(), ElementsAre(kPresentation, kVideo, kPIN));
    for (const auto& view : root().view()->subviews())
      EXPECT_EQ(view->frame(), root().view()->bounds());
    // The focus goes to the first existing child in the order PIN, video, presentation.
    EXPECT_EQ(root().preferredFocusedView(), root().pinViewController()->view());
    for (const auto& session : manager().activeSessions()) session->stopWithOptions({}, nullptr);
    box.advance(1s);
    ASSERT_FALSE(rootController());
  } while (std::next_permutation(std::begin(order), std::end(order)));
}

TEST_F(MediaViewControllerTest, ChildrenFadeInAndOutAtTheSameTime) {
  const auto video = startVideo();
  const auto child = root().videoPlayerViewController();
  EXPECT_EQ(child->player(), video->player());
  EXPECT_EQ(child->videoSession(), video);
  EXPECT_EQ(child->parent(), &root());
  EXPECT_FALSE(child->isMovingToParent()) << "didMoveToParent() was called";
  EXPECT_EQ(child->view()->alpha(), 1);
  const auto player = video->player();

  const auto next = startVideo(8);
  EXPECT_THAT(stack(), ElementsAre(kVideo + " leaving", kVideo));
  EXPECT_NE(root().videoPlayerViewController(), child);
  box.advance(299ms);
  EXPECT_EQ(stack().size(), 2u);
  EXPECT_TRUE(player->hasQueuePlayer());
  box.advance(1ms);
  EXPECT_THAT(stack(), ElementsAre(kVideo));
  EXPECT_EQ(child->parent(), nullptr);
  // The player is invalidated with its controller.
  EXPECT_FALSE(player->hasQueuePlayer());
  EXPECT_TRUE(next->player()->hasQueuePlayer());
}

TEST_F(MediaViewControllerTest, SettingTheSameSessionDoesNothing) {
  const auto video = startVideo();
  const auto child = root().videoPlayerViewController();
  root().setVideoPlaybackSession(video);
  root().setPinInfoSession(nullptr);
  root().setDialogInfoSession(nullptr);
  root().setPresentationSession(nullptr);
  EXPECT_EQ(root().videoPlayerViewController(), child);
  EXPECT_THAT(stack(), ElementsAre(kVideo));
  EXPECT_EQ(box.logCount("Unexpected view controller in hierarchy"), 0u);
}

TEST_F(MediaViewControllerTest, PINTakesTheFocusAndReturnsItToTheVideo) {
  startVideo();
  const auto pin = startPIN();
  EXPECT_EQ(root().pinViewController()->title(), pin->titleString());
  EXPECT_EQ(root().pinViewController()->pinCode(), "1234");
  EXPECT_THAT(stack(), ElementsAre(kVideo, kPIN));
  pin->stopWithOptions({}, nullptr);
  box.advance(1s);
  EXPECT_EQ(root().pinViewController(), nullptr);
  EXPECT_THAT(stack(), ElementsAre(kVideo));
  EXPECT_EQ(root().preferredFocusedView(), root().videoPlayerViewController()->view());
  EXPECT_EQ(box.viewServiceHost().window()->focusedView(),
            root().videoPlayerViewController()->view());
}

TEST_F(MediaViewControllerTest, DialogIsModalAndEndsItsSession) {
  const auto dialog = startDialog();
  const auto alert = root().dialogViewController();
  ASSERT_TRUE(alert);
  EXPECT_EQ(root().presented(), alert);
  EXPECT_EQ(alert->title(), dialog->titleString());
  EXPECT_EQ(alert->message(), dialog->messageString());
  ASSERT_EQ(alert->actions().size(), 1u);
  EXPECT_EQ(alert->actions()[0].title, "OK");
  EXPECT_EQ(alert->actions()[0].style, platform::AlertActionStyle::Cancel);
  EXPECT_THAT(stack(), IsEmpty());

  box.screen().send({PressType::Select});
  box.advance(1s);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
  EXPECT_FALSE(rootController());
}

TEST_F(MediaViewControllerTest, SecondDialogUpdatesTheAlertInPlace) {
  const auto first = startDialog();
  const auto alert = root().dialogViewController();
  const auto second = startDialog("other");
  EXPECT_EQ(root().dialogInfoSession(), second);
  EXPECT_EQ(root().dialogViewController(), alert);
  EXPECT_EQ(root().presented(), alert);
  EXPECT_EQ(alert->title(), "");
  EXPECT_EQ(alert->message(), "");
  // The button still stops the first session.
  ASSERT_EQ(alert->actions().size(), 1u);
  alert->actions()[0].handler();
  EXPECT_THAT(manager().activeSessions(), ElementsAre(second));

  second->stopWithOptions({}, nullptr);
  box.run();
  EXPECT_EQ(root().presented(), nullptr);
  EXPECT_EQ(root().dialogViewController(), nullptr);
}

TEST_F(MediaViewControllerTest, DialogSetWhileThePreviousOneClosesIsShown) {
  startVideo();
  startDialog();
  box.screen().send({PressType::Select});
  const auto second = startDialog();
  EXPECT_EQ(root().dialogInfoSession(), second);
  ASSERT_TRUE(root().presented());
  EXPECT_EQ(root().presented(), root().dialogViewController());
  box.screen().send({PressType::Select});
  EXPECT_THAT(manager().activeSessions(), Not(Contains(second)));
}

TEST_F(MediaViewControllerTest, FocusGoesToTheFirstChild) {
  startDialog();
  EXPECT_EQ(root().preferredFocusedView(), root().view()) << "the alert has no preferred view";
  const auto presentation = startPresentation();
  EXPECT_EQ(root().preferredFocusedView(), presentation->presentationView());
  startVideo();
  EXPECT_EQ(root().preferredFocusedView(), root().videoPlayerViewController()->view());
}

TEST_F(MediaViewControllerTest, BeginAndRequestedEnd) {
  box.clearLog();
  const auto video = startVideo();
  EXPECT_TRUE(box.remoteInputLimiting().isViewServiceActive());
  const auto controller = rootController();
  EXPECT_EQ(logTexts(box, "TVVLSession")[0],
            "Media View Controller ready for display " + controller->description());
  box.clearLog();

  video->stopWithOptions({}, nullptr);
  box.run();
  EXPECT_TRUE(controller->dismissing());
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("No more active sessions, dismiss.",
                          "End presentation for session with options: {\n}"));
  box.advance(299ms);
  EXPECT_TRUE(box.remoteInputLimiting().isViewServiceActive());
  EXPECT_TRUE(rootController());
  box.advance(1ms);
  EXPECT_FALSE(box.remoteInputLimiting().isViewServiceActive());
  EXPECT_EQ(box.logCount("mediaViewControllerDidDismiss:  " + controller->description()), 1u);
  EXPECT_FALSE(box.screen().isOpen());
  EXPECT_THAT(delegate->take(), Not(Contains("userStop {sessionID=7, userExit=true}")));
}

class CountingHost final : public platform::ViewServiceHostProxy {
 public:
  void dismissWithResult(const Value& result) override {
    EXPECT_TRUE(result.isNone());
    ++dismissals;
  }
  int dismissals = 0;
};

class RecordingControllerDelegate final : public TVVorlaneMediaViewControllerDelegate {
 public:
  explicit RecordingControllerDelegate(sim::Journal& journal) : _journal(journal) {}
  void mediaViewControllerDidBecomeReady(
      const std::shared_ptr<TVVorlaneMediaViewController>&) override {}
  void mediaViewControllerDidDismiss(
      const std::shared_ptr<TVVorlaneMediaViewController>&) override {
    _journal.add("dismissed");
  }

 private:
  sim::Journal& _journal;
};

TEST_F(MediaViewControllerTest, IsDismissedOnceAndEndsInOrder) {
  const auto controller = std::make_shared<TVVorlaneMediaViewController>();
  const auto host = std::make_shared<CountingHost>();
  const auto listener = std::make_shared<RecordingControllerDelegate>(box.journal());
  controller->setHostProxy(host);
  controller->setDelegate(listener);
  controller->dismiss();
  controller->dismiss();
  EXPECT_EQ(host->dismissals, 1);
  EXPECT_EQ(box.logCount("No more active sessions, dismiss."), 2u);

  // The delegate is not notified again after the first end.
  const Texts ends[] = {{"remoteInputLimiting.setViewServiceActive(NO)", "completed", "dismissed"},
                        {"remoteInputLimiting.setViewServiceActive(NO)", "completed"}};
  for (const auto& expected : ends) {
    box.journal().clear();
    controller->viewServiceEndPresentationWithOptions({}, [&] { box.journal().add("completed"); });
    box.advance(300ms);
    EXPECT_EQ(box.journal().entries(), expected);
  }
}

TEST_F(MediaViewControllerTest, UserExitStopsEverySession) {
  const auto pin = startPIN();
  const auto dialog = startDialog();
  startPresentation();
  startVideo();
  box.advance(1s);
  delegate->take();
  box.clearLog();
  box.screen().send({PressType::Home});
  EXPECT_THAT(logTexts(box, "TVVLSession"), IsEmpty());
  box.run();
  const auto log = logTexts(box, "TVVLSession");
  EXPECT_EQ(Texts(log.begin(), log.begin() + 4),
            (Texts{"End presentation for session with options: {\n}", "Forced to exit Vorlane",
                   "User dismissed info dialog session " + pin->description(),
                   "User dismissed info dialog session " + dialog->description()}));
  EXPECT_THAT(delegate->take(), ElementsAre("userStop {sessionID=3, userExit=true}",
                                            "userStop {sessionID=7, userExit=true}",
                                            "stopped {sessionID=7, userExit=true}"));
  EXPECT_EQ(box.logCount("mediaViewControllerDidDismiss"), 0u);
  box.advance(300ms);
  EXPECT_EQ(box.logCount("mediaViewControllerDidDismiss"), 1u);
  EXPECT_EQ(manager().stateMachine().currentState(), "Background");
  box.advance(5s);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
}

}  // namespace
