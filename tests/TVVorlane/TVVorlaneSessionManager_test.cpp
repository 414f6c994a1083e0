#include "TVVorlane/TVVorlaneSessionManager.h"

#include <algorithm>
#include <chrono>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/Support.h"

using namespace std::chrono_literals;
using Opening = sim::Screen::Opening;
using platform::Dictionary;

namespace {

class TVVorlaneSessionManagerTest : public SessionTest {
 protected:
  template <typename Session>
  std::shared_ptr<Session> start(const Dictionary& options) {
    auto session = std::make_shared<Session>();
    session->setDelegate(delegate);
    session->startWithOptions(options, completions.recorder());
    return session;
  }
  std::shared_ptr<TVVorlaneStreamingAudioSession> startAudio(std::uint32_t id = 1) {
    return start<TVVorlaneStreamingAudioSession>({{"sessionID", id}});
  }
  std::shared_ptr<TVVorlanePresentationSession> startPresentation(std::uint32_t id = 2) {
    return start<TVVorlanePresentationSession>({{"sessionID", id}});
  }
  std::shared_ptr<TVVorlaneURLSession> startVideo(std::uint32_t id = 3) {
    return start<TVVorlaneURLSession>(videoOptions(id));
  }
  std::shared_ptr<TVVorlaneURLSession> startAudioOnly(std::uint32_t id = 4) {
    return start<TVVorlaneURLSession>(videoOptions(id, {{"audioOnly", true}}));
  }
  std::shared_ptr<TVVorlaneInfoSession> startPin() {
    return start<TVVorlaneInfoSession>(
        {{TVVorlaneInfoSessionCommand.data(), "showPIN"}, {"pin", "1234"}});
  }
  std::shared_ptr<TVVorlaneInfoSession> startDialog() {
    return start<TVVorlaneInfoSession>(
        {{TVVorlaneInfoSessionCommand.data(), "incompatibleSender"}});
  }

  const std::string& state() { return manager().stateMachine().currentState(); }
  std::size_t requests() { return box.logCount("Request presentation for media view controller"); }
  /// The codes that the start completions were given since the last time; 0 is success.
  std::vector<std::int64_t> takeCodes() {
    std::vector<std::int64_t> codes;
    for (const auto& error : completions.errors) codes.push_back(error ? error->code : 0);
    completions.errors.clear();
    return codes;
  }
  using Codes = std::vector<std::int64_t>;

  std::shared_ptr<RecordingSessionDelegate> delegate = std::make_shared<RecordingSessionDelegate>();
  Completions completions;
};

TEST_F(TVVorlaneSessionManagerTest, IsOneAndBeginsEmptyInTheBackground) {
  EXPECT_EQ(TVVorlaneSessionManager::sharedInstance(), TVVorlaneSessionManager::sharedInstance());
  EXPECT_EQ(state(), "Background");
  EXPECT_EQ(manager().stateMachine().name(), "TVVorlaneSessionManager");
  EXPECT_TRUE(manager().activeSessions().empty());
  EXPECT_EQ(manager().mediaViewController(), nullptr);
  EXPECT_EQ(manager().infoSessionWithID({}), nullptr);
}

TEST_F(TVVorlaneSessionManagerTest, SoundAloneNeedsNoScreen) {
  const auto audio = startAudio();
  const auto audioOnly = startAudioOnly();
  EXPECT_EQ(completions.count(), 0U);
  box.run();
  EXPECT_EQ(takeCodes(), (Codes{0, 0}));
  EXPECT_EQ(state(), "Background");
  EXPECT_EQ(requests(), 0U);
  EXPECT_EQ(box.screen().timesOpened(), 0);
}

TEST_F(TVVorlaneSessionManagerTest, OneTurnsChangesAreOneUpdate) {
  const auto pin = startPin();
  const auto gone = startDialog();
  const auto video = startVideo();
  gone->stopWithOptions({}, nullptr);
  box.run();
  EXPECT_EQ(requests(), 1U);
  EXPECT_EQ(state(), "Foreground");
  ASSERT_NE(rootController(), nullptr);
  EXPECT_EQ(manager().mediaViewController(), rootController());
  EXPECT_EQ(rootController()->pinInfoSession(), pin);
  EXPECT_EQ(rootController()->videoPlaybackSession(), video);
  EXPECT_EQ(rootController()->dialogInfoSession(), nullptr);
  // The pending completion of a session that is gone is called with the others.
  EXPECT_EQ(takeCodes(), (Codes{0, 0, 0}));
  // No event came in a state that has no handler for it.
  EXPECT_EQ(box.logCount("has no handler"), 0U);
}

TEST_F(TVVorlaneSessionManagerTest, LifeOnScreenInTheLog) {
  const auto session = startPresentation();
  box.run();
  const auto controller = rootController();
  session->userStop();
  box.advance(10s);
  const std::string name = session->description();
  const std::string root = controller->description();
  EXPECT_EQ(logTexts(box, "TVVLSessionManager"),
            (Texts{"Register session " + name, "Request presentation for media view controller",
                   "Complete presentation for media view controller with result (success: 1 error: "
                   "(null))",
                   "mediaViewControllerDidBecomeReady:  " + root,
                   "Deregister session " + name + " immediately 0",
                   "mediaViewControllerDidDismiss:  " + root,
                   "Timed out, manually deregistering session: " + name,
                   "Deregister session " + name + " immediately 1"}));
  EXPECT_EQ(box.logCount("#T:[Main] #Notice #TVVLSessionManager : Register session " + name + " "),
            1U);
}

TEST_F(TVVorlaneSessionManagerTest, EverySlotTakesTheLastActiveOfItsKind) {
  const auto pins = {startPin(), startPin()};
  const auto dialogs = {startDialog(), startDialog()};
  const auto presentations = {startPresentation(1), startPresentation(2)};
  const auto videos = {startVideo(3), startVideo(4)};
  startAudioOnly(5);
  box.run();
  const auto root = rootController();
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->pinInfoSession(), pins.end()[-1]);
  EXPECT_EQ(root->dialogInfoSession(), dialogs.end()[-1]);
  EXPECT_EQ(root->presentationSession(), presentations.end()[-1]);
  EXPECT_EQ(root->videoPlaybackSession(), videos.end()[-1]);

  // Deactivated ones stay registered, and are found, but not shown.
  videos.end()[-1]->userStop();
  presentations.end()[-1]->userStop();
  manager().deregisterSession(pins.end()[-1], false);
  box.run();
  EXPECT_EQ(root->pinInfoSession(), pins.begin()[0]);
  EXPECT_EQ(root->presentationSession(), presentations.begin()[0]);
  EXPECT_EQ(root->videoPlaybackSession(), videos.begin()[0]);
  EXPECT_EQ(manager().urlSessionWithID(4), videos.end()[-1]);
  EXPECT_EQ(manager().presentationSessionWithID({}), presentations.end()[-1]);
  EXPECT_TRUE(videos.end()[-1]->deactivated());
  EXPECT_EQ(manager().activeSessions().size(), 9U);
}

TEST_F(TVVorlaneSessionManagerTest, Lookups) {
  const auto audio = startAudio(7);
  const auto later = startAudio(7);
  const auto presentation = startPresentation(7);
  const auto video = startVideo(7);
  const auto audioOnly = startAudioOnly(7);
  const auto otherAudioOnly = startAudioOnly(8);
  const auto dialog = startDialog();
  const auto pin = startPin();
  EXPECT_EQ(manager().streamingSessionWithID(7), later);
  EXPECT_EQ(manager().streamingSessionWithID({}), later);
  EXPECT_EQ(manager().streamingSessionWithID(std::int64_t{7}), later);
  EXPECT_EQ(manager().streamingSessionWithID(8), nullptr);
  EXPECT_EQ(manager().streamingSessionWithID("7"), nullptr);
  EXPECT_EQ(manager().presentationSessionWithID(7), presentation);
  EXPECT_EQ(manager().presentationSessionWithID(1), nullptr);
  // A video comes before an audio-only one that was registered later, whatever was asked for.
  EXPECT_EQ(manager().urlSessionWithID(7), video);
  EXPECT_EQ(manager().urlSessionWithID({}), video);
  EXPECT_EQ(manager().urlSessionWithID(8), otherAudioOnly);
  // And a dialog before a PIN.
  EXPECT_EQ(manager().infoSessionWithID({}), dialog);
  EXPECT_EQ(manager().infoSessionWithID(pin->sessionID()), pin);
  EXPECT_EQ(manager().infoSessionWithID(dialog->sessionID()), dialog);
  EXPECT_EQ(manager().infoSessionWithID(7), nullptr);

  later->stopWithOptions({}, nullptr);
  EXPECT_EQ(manager().streamingSessionWithID(7), audio);
}

TEST_F(TVVorlaneSessionManagerTest, ChangesOfTheRegistryAreAnnounced) {
  int announced = 0;
  const auto token = box.notificationCenter().addObserver(
      "TVVorlaneSessionManagerActiveSessionsDidChangeNotification", nullptr,
      [&](const platform::Notification& notification) {
        EXPECT_EQ(notification.sender, nullptr);
        EXPECT_TRUE(notification.userInfo.empty());
        ++announced;
      });
  const auto audio = startAudio();
  EXPECT_EQ(announced, 1);
  manager().deregisterSession(audio, false);
  EXPECT_EQ(announced, 1);
  manager().deregisterSession(audio, true);
  EXPECT_EQ(announced, 2);
  // Not registered any more: announced all the same.
  manager().deregisterSession(audio, true);
  EXPECT_EQ(announced, 3);
}

TEST_F(TVVorlaneSessionManagerTest, TheSameSessionTwice) {
  const auto audio = std::make_shared<TVVorlaneStreamingAudioSession>();
  int first = 0;
  int second = 0;
  manager().registerSession(audio, [&](const auto&) { ++first; });
  manager().registerSession(audio, [&](const auto&) { ++second; });
  EXPECT_EQ(manager().activeSessions().size(), 2U);
  box.run();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
  manager().deregisterSession(audio, true);
  EXPECT_TRUE(manager().activeSessions().empty());
}

TEST_F(TVVorlaneSessionManagerTest, WhatACompletionRegistersWaitsForTheNextUpdate) {
  int nested = 0;
  const auto inner = std::make_shared<TVVorlaneStreamingAudioSession>();
  manager().registerSession(std::make_shared<TVVorlaneStreamingAudioSession>(), [&](const auto&) {
    manager().registerSession(inner, [&](const auto&) { ++nested; });
    EXPECT_EQ(nested, 0);
  });
  box.run();
  EXPECT_EQ(nested, 1);
}

TEST_F(TVVorlaneSessionManagerTest, TheLastOneOffTheScreenDismisses) {
  const auto video = startVideo();
  const auto dialog = startDialog();
  box.run();
  takeCodes();
  const auto root = rootController();
  video->stopWithOptions({}, nullptr);
  box.run();
  EXPECT_EQ(state(), "Foreground");
  dialog->stopWithOptions({}, nullptr);
  EXPECT_EQ(state(), "Foreground");
  box.run();
  EXPECT_EQ(state(), "Moving to Background");
  EXPECT_TRUE(root->dismissing());
  EXPECT_EQ(root->pinInfoSession(), nullptr);
  EXPECT_EQ(root->dialogInfoSession(), nullptr);
  EXPECT_EQ(root->presentationSession(), nullptr);
  EXPECT_EQ(root->videoPlaybackSession(), nullptr);

  // What comes now waits until the screen is free, and gets one of its own.
  startPin();
  startAudio();
  box.run();
  EXPECT_TRUE(takeCodes().empty());
  box.advance(1s);
  EXPECT_EQ(state(), "Foreground");
  EXPECT_NE(rootController(), root);
  EXPECT_EQ(takeCodes(), (Codes{0, 0}));
  EXPECT_EQ(requests(), 2U);
}

TEST_F(TVVorlaneSessionManagerTest, DismissedAndDone) {
  const auto video = startVideo();
  box.run();
  video->stopWithOptions({}, nullptr);
  box.advance(300ms);
  EXPECT_EQ(state(), "Background");
  EXPECT_EQ(manager().mediaViewController(), nullptr);
  EXPECT_FALSE(box.viewServiceHost().isPresenting());
  EXPECT_FALSE(box.screen().isOpen());
}

TEST_F(TVVorlaneSessionManagerTest, ARefusedPresentationReachesEveryCompletion) {
  box.screen().setOpening(Opening::Refuses, 1s);
  const auto audio = startAudio();
  const auto pin = startPin();
  const auto dialog = startDialog();
  const auto presentation = startPresentation();
  const auto video = startVideo();
  box.run();
  EXPECT_EQ(state(), "Moving to Foreground");
  startAudio(9);
  box.run();
  EXPECT_TRUE(takeCodes().empty());

  box.screen().setOpening(Opening::Succeeds);
  box.advance(1s);
  // Info sessions report success; the audio that only waited gets the error too.
  auto codes = takeCodes();
  std::sort(codes.begin(), codes.end());
  EXPECT_EQ(codes, (Codes{-6700, -6700, -6700, -6700, 0, 0}));
  EXPECT_EQ(box.logCount("Cleaning up:  Error Domain=TVSStatusCodeErrorDomain Code=-6700"), 1U);
  EXPECT_EQ(box.logCount("with result (success: 0 error: Error Domain="), 1U);
  EXPECT_EQ(box.logCount("User dismissed info dialog session " + dialog->description()), 1U);
  // The presentation before the video; the dialog posts nothing.
  Texts stops;
  for (auto& event : delegate->take()) {
    if (event.starts_with("userStop")) stops.push_back(std::move(event));
  }
  EXPECT_EQ(stops,
            (Texts{"userStop {sessionID=2, userExit=1}", "userStop {sessionID=3, userExit=1}"}));

  // The PIN was left alone, and has the screen requested again.
  EXPECT_FALSE(pin->deactivated());
  EXPECT_EQ(state(), "Foreground");
  EXPECT_EQ(rootController()->pinInfoSession(), pin);
  EXPECT_EQ(rootController()->videoPlaybackSession(), nullptr);
  EXPECT_EQ(requests(), 2U);
}

TEST_F(TVVorlaneSessionManagerTest, AnOnlyPinThatCannotBeShownIsNotRequestedForEver) {
  box.screen().setOpening(Opening::Refuses);
  startPin();
  box.advance(60s);
  // Once at the start. Its end needs no screen.
  EXPECT_EQ(requests(), 1U);
  EXPECT_EQ(state(), "Background");
}

TEST_F(TVVorlaneSessionManagerTest, AHostThatDoesNotAnswerIsGivenUp) {
  box.screen().setOpening(Opening::NeverAnswers);
  startVideo();
  box.advance(4'999ms);
  EXPECT_EQ(state(), "Moving to Foreground");
  EXPECT_TRUE(takeCodes().empty());
  box.advance(1ms);
  EXPECT_EQ(state(), "Background");
  EXPECT_EQ(takeCodes(), (Codes{-6700}));
}

TEST_F(TVVorlaneSessionManagerTest, NobodyLeftWhenTheScreenComes) {
  box.screen().setOpening(Opening::Succeeds, 1s);
  const auto video = startVideo();
  box.run();
  video->stopWithOptions({}, nullptr);
  box.advance(1s);
  EXPECT_EQ(state(), "Moving to Background");
  EXPECT_EQ(takeCodes(), (Codes{0}));
  box.advance(1s);
  EXPECT_EQ(state(), "Background");
  EXPECT_FALSE(box.screen().isOpen());
}

TEST_F(TVVorlaneSessionManagerTest, DelayedDeregistrationStopsWhatStillExists) {
  const auto kept = startPresentation(1);
  std::weak_ptr<TVVorlanePresentationSession> stopped = startPresentation(2);
  box.run();
  kept->userStop();
  stopped.lock()->userStop();
  stopped.lock()->stopWithOptions({}, nullptr);
  box.advance(1s);
  EXPECT_TRUE(stopped.expired());
  EXPECT_EQ(manager().activeSessions().size(), 1U);
  box.advance(3'999ms);
  EXPECT_EQ(box.logCount("Timed out"), 0U);
  box.advance(1ms);
  EXPECT_EQ(box.logCount("Timed out, manually deregistering session: " + kept->description()), 1U);
  EXPECT_EQ(box.logCount("Timed out"), 1U);
  EXPECT_TRUE(manager().activeSessions().empty());
}

TEST_F(TVVorlaneSessionManagerTest, DelayedDeregistrationStopsAgainWhatWasStopped) {
  const auto session = startPresentation();
  box.run();
  session->userStop();
  session->stopWithOptions({}, nullptr);
  box.advance(5s);
  EXPECT_EQ(box.logCount("Timed out"), 1U);
  EXPECT_EQ(box.logCount("Deregister session " + session->description() + " immediately 1"), 2U);
}

TEST_F(TVVorlaneSessionManagerTest, HomeStopsWhatIsShown) {
  const auto video = startVideo();
  const auto pin = startPin();
  box.run();
  delegate->take();
  box.screen().send({platform::PressType::Home});
  box.run();
  EXPECT_EQ(delegate->take().front(), "userStop {sessionID=3, userExit=1}");
  EXPECT_TRUE(video->deactivated());
  EXPECT_EQ(state(), "Moving to Background");
  box.advance(300ms);
  EXPECT_EQ(state(), "Background");
  box.advance(5s);
  EXPECT_TRUE(manager().activeSessions().empty());
}

TEST_F(TVVorlaneSessionManagerTest, HomeWithMoreThanWasShownHasTheRestPresentedAnew) {
  const auto hidden = startVideo(3);
  startVideo(4);
  box.run();
  takeCodes();
  const auto root = rootController();
  box.screen().send({platform::PressType::Home});
  box.run();
  const auto late = startPresentation();
  box.run();
  EXPECT_EQ(state(), "Moving to Background");
  EXPECT_EQ(root->videoPlaybackSession(), nullptr);
  EXPECT_TRUE(takeCodes().empty());
  box.advance(1s);
  EXPECT_EQ(state(), "Foreground");
  ASSERT_NE(rootController(), nullptr);
  EXPECT_NE(rootController(), root);
  EXPECT_EQ(rootController()->videoPlaybackSession(), hidden);
  EXPECT_EQ(rootController()->presentationSession(), late);
  EXPECT_EQ(takeCodes(), (Codes{0}));
}

TEST_F(TVVorlaneSessionManagerTest, EventsWithoutAHandlerChangeNothing) {
  manager().mediaViewControllerDidDismiss(nullptr);
  manager().mediaViewControllerDidBecomeReady(std::make_shared<TVVorlaneMediaViewController>());
  EXPECT_EQ(state(), "Background");
  EXPECT_EQ(manager().mediaViewController(), nullptr);

  box.screen().setOpening(Opening::Succeeds, 1s);
  startVideo();
  box.run();
  manager().mediaViewControllerDidDismiss(nullptr);
  startAudio();
  box.run();
  EXPECT_EQ(state(), "Moving to Foreground");
  EXPECT_TRUE(takeCodes().empty());

  box.advance(1s);
  const auto root = rootController();
  manager().mediaViewControllerDidDismiss(root);
  manager().mediaViewControllerDidBecomeReady(std::make_shared<TVVorlaneMediaViewController>());
  EXPECT_EQ(state(), "Foreground");
  EXPECT_EQ(manager().mediaViewController(), root);
}

TEST_F(TVVorlaneSessionManagerTest, ReadyWithoutAControllerIsAProgrammingError) {
  box.screen().setOpening(Opening::NeverAnswers);
  startVideo();
  box.run();
  const sim::AssertionsThrow assertionsThrow;
  try {
    manager().mediaViewControllerDidBecomeReady(nullptr);
    FAIL() << "no assertion";
  } catch (const sim::AssertionError& thrown) {
    EXPECT_EQ(thrown.failure().condition, "_mediaViewController != nil");
    EXPECT_TRUE(thrown.failure().source.ends_with("TVVorlane/TVVorlaneSessionManager"));
  }
}

}  // namespace
