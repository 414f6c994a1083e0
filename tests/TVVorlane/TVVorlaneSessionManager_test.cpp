// Cases that the sequence tests do not cover: lookups, notifications, errors and the log.

#include "TVVorlane/TVVorlaneSessionManager.h"

#include <thread>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/Support.h"

using Opening = sim::Screen::Opening;

namespace {

class TVVorlaneSessionManagerTest : public SessionTest {
 protected:
  std::shared_ptr<TVVorlaneStreamingAudioSession> startAudio(std::uint32_t id = 1) {
    return startSession<TVVorlaneStreamingAudioSession>({{"sessionID", id}});
  }
  std::shared_ptr<TVVorlanePresentationSession> startPresentation(std::uint32_t id = 2) {
    return startSession<TVVorlanePresentationSession>({{"sessionID", id}});
  }
  std::shared_ptr<TVVorlaneURLSession> startVideo(std::uint32_t id = 3) {
    return startSession<TVVorlaneURLSession>(videoOptions(id));
  }
  std::shared_ptr<TVVorlaneURLSession> startAudioOnly(std::uint32_t id = 4) {
    return startSession<TVVorlaneURLSession>(videoOptions(id, {{"audioOnly", true}}));
  }
  std::shared_ptr<TVVorlaneInfoSession> startPin() {
    return startSession<TVVorlaneInfoSession>(
        {{TVVorlaneInfoSessionCommand.data(), "showPIN"}, {"pin", "1234"}});
  }
  std::shared_ptr<TVVorlaneInfoSession> startDialog() {
    return startSession<TVVorlaneInfoSession>(
        {{TVVorlaneInfoSessionCommand.data(), "incompatibleSender"}});
  }

  const std::string& state() { return manager().stateMachine().currentState(); }
};

TEST_F(TVVorlaneSessionManagerTest, LogsThePresentationLifeCycle) {
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
  // A video is found before an audio-only session, even if it was registered earlier.
  EXPECT_EQ(manager().urlSessionWithID(7), video);
  EXPECT_EQ(manager().urlSessionWithID({}), video);
  EXPECT_EQ(manager().urlSessionWithID(8), otherAudioOnly);
  // A dialog is found before a PIN.
  EXPECT_EQ(manager().infoSessionWithID({}), dialog);
  EXPECT_EQ(manager().infoSessionWithID(pin->sessionID()), pin);
  EXPECT_EQ(manager().infoSessionWithID(dialog->sessionID()), dialog);
  EXPECT_EQ(manager().infoSessionWithID(7), nullptr);

  later->stopWithOptions({}, nullptr);
  EXPECT_EQ(manager().streamingSessionWithID(7), audio);

  // Session IDs are 32 bits and wrap.
  const auto minusOne = startSession<TVVorlaneStreamingAudioSession>({{"sessionID", -1}});
  startSession<TVVorlaneStreamingAudioSession>({{"sessionID", -2}});
  EXPECT_EQ(minusOne->sessionID(), 0xFFFFFFFFU);
  EXPECT_EQ(manager().streamingSessionWithID(-1), minusOne);
  EXPECT_EQ(manager().streamingSessionWithID(0xFFFFFFFFU), minusOne);
}

TEST_F(TVVorlaneSessionManagerTest, RegistryChangesPostANotification) {
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
  // Posted even if the session is not registered.
  manager().deregisterSession(audio, true);
  EXPECT_EQ(announced, 3);
}

TEST_F(TVVorlaneSessionManagerTest, RegisteringTwiceAddsASecondEntry) {
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

TEST_F(TVVorlaneSessionManagerTest, StopsTheOldestInvisibleSessionAboveTheLimit) {
  const auto ids = [&] {
    std::vector<std::uint32_t> result;
    for (const auto& session : manager().activeSessions()) result.push_back(session->sessionID());
    return result;
  };
  startPresentation(100);
  for (std::uint32_t id = 1; id <= 20; ++id) startAudio(id);
  box.run();
  // The oldest session stays, because it is on screen.
  EXPECT_THAT(ids(), ElementsAre(100, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20));
  EXPECT_EQ(box.logCount("There are 17 sessions, stop the oldest: "), 1U);
  startPresentation(101);
  box.run();
  EXPECT_THAT(ids(), ElementsAre(6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 101));
  startVideo(102);
  box.run();
  EXPECT_THAT(ids(), ElementsAre(7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 101, 102));
}

TEST_F(TVVorlaneSessionManagerTest, SessionsRegisteredByACompletionWaitForTheNextUpdate) {
  int nested = 0;
  const auto inner = std::make_shared<TVVorlaneStreamingAudioSession>();
  manager().registerSession(std::make_shared<TVVorlaneStreamingAudioSession>(), [&](const auto&) {
    manager().registerSession(inner, [&](const auto&) { ++nested; });
    EXPECT_EQ(nested, 0);
  });
  box.run();
  EXPECT_EQ(nested, 1);
}

TEST_F(TVVorlaneSessionManagerTest, UnhandledEventsAreIgnored) {
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
  EXPECT_EQ(completions.count(), 0u);

  box.advance(1s);
  const auto root = rootController();
  manager().mediaViewControllerDidDismiss(root);
  manager().mediaViewControllerDidBecomeReady(std::make_shared<TVVorlaneMediaViewController>());
  EXPECT_EQ(state(), "Foreground");
  EXPECT_EQ(manager().mediaViewController(), root);
}

TEST_F(TVVorlaneSessionManagerTest, ReadyWithoutAControllerFailsAnAssertion) {
  box.screen().setOpening(Opening::NeverAnswers);
  startVideo();
  box.run();
  EXPECT_EQ(assertionText([&] { manager().mediaViewControllerDidBecomeReady(nullptr); }),
            "_handleMovedToForeground (TVVorlane/TVVorlaneSessionManager): "
            "_mediaViewController != nil");
}

/// Records the slots when the host is asked to end the presentation.
class SlotsAtDismissal final : public platform::ViewServiceHostProxy {
 public:
  explicit SlotsAtDismissal(TVVorlaneMediaViewController& controller) : _controller(controller) {}
  void dismissWithResult(const Value&) override {
    wereEmpty = !_controller.pinInfoSession() && !_controller.videoPlaybackSession();
  }
  std::optional<bool> wereEmpty;

 private:
  TVVorlaneMediaViewController& _controller;
};

TEST_F(TVVorlaneSessionManagerTest, SlotsAreClearedBeforeTheDismissal) {
  const auto video = startVideo();
  const auto pin = startPin();
  box.run();
  const auto proxy = std::make_shared<SlotsAtDismissal>(*rootController());
  rootController()->setHostProxy(proxy);
  video->stopWithOptions({}, nullptr);
  pin->stopWithOptions({}, nullptr);
  box.run();
  EXPECT_EQ(proxy->wereEmpty, true);
}

TEST_F(TVVorlaneSessionManagerTest, ChangesInOneTurnAreCoalesced) {
  box.screen().setOpening(Opening::NeverAnswers);
  startVideo();
  box.run();
  box.clearLog();
  startAudio();
  startPin();
  manager().deregisterSession(startDialog(), true);
  box.run();
  // Events without a handler are logged.
  EXPECT_EQ(box.logCount("no handler for event Sessions Updated in state Moving to Foreground"),
            1U);
}

/// A host whose answers the test provides.
class AnsweringHost final : public platform::ViewServiceHost {
 public:
  using ViewServiceHost::ViewServiceHost;
  void requestPresentation(Completion completion) override { answer = std::move(completion); }
  Completion answer;
};

class AnsweringBox final : public sim::Box {
 public:
  AnsweringHost& viewServiceHost() override { return _host; }

 private:
  AnsweringHost _host{mainQueue(), screen()};
};

TEST(TVVorlaneSessionManagerFailureTest, HostErrorsReachEveryCompletion) {
  const platform::Error own{"host", 7, "description", {}, {}};
  const auto unknown = platform::Error::status(-6700);
  const struct {
    bool success;
    std::optional<platform::Error> error;
    std::optional<platform::Error> expected;  // none: waits for the view controller
  } cases[] = {{true, {}, {}}, {true, own, own}, {false, own, own}, {false, {}, unknown}};
  for (const auto& one : cases) {
    AnsweringBox box;
    const auto manager = TVVorlaneSessionManager::sharedInstance();
    Completions completions;
    const auto video = std::make_shared<TVVorlaneURLSession>();
    video->startWithOptions(videoOptions(3), completions.recorder());
    const auto audio = std::make_shared<TVVorlaneStreamingAudioSession>();
    audio->startWithOptions({}, completions.recorder());
    box.run();
    ASSERT_TRUE(box.viewServiceHost().answer);
    // The host may answer on any thread.
    std::thread([&] { box.viewServiceHost().answer(one.success, one.error); }).join();
    box.run();
    const std::size_t count = one.expected ? 2 : 0;
    EXPECT_EQ(completions.errors, std::vector(count, one.expected));
    EXPECT_EQ(manager->stateMachine().currentState(),
              one.expected ? "Background" : "Moving to Foreground");
  }
}

TEST(TVVorlaneSessionManagerFailureTest, CleansUpAfterTheCompletionsInOrder) {
  AnsweringBox box;
  const auto manager = TVVorlaneSessionManager::sharedInstance();
  Texts story;
  const auto delegate = std::make_shared<RecordingSessionDelegate>();
  delegate->heard = [&](TVVorlaneSession& session, const std::string& event) {
    story.push_back(event + " " + std::to_string(session.sessionType()));
  };
  const auto start = [&](std::shared_ptr<TVVorlaneSession> session, const Dictionary& options) {
    session->setDelegate(delegate);
    session->startWithOptions(options,
                              [&](const auto&, const auto&) { story.emplace_back("completed"); });
  };
  start(std::make_shared<TVVorlaneURLSession>(), videoOptions(3));
  start(std::make_shared<TVVorlanePresentationSession>(), {});
  start(std::make_shared<TVVorlaneInfoSession>(),
        {{TVVorlaneInfoSessionCommand.data(), "incompatibleSender"}});
  start(std::make_shared<TVVorlaneInfoSession>(),
        {{TVVorlaneInfoSessionCommand.data(), "showPIN"}});
  box.run();
  story.clear();
  // A dialog posts no event, but is deregistered.
  const auto token = box.notificationCenter().addObserver(
      TVVorlaneSessionManagerActiveSessionsDidChangeNotification, nullptr,
      [&](const auto&) { story.emplace_back("deregistered"); });
  box.viewServiceHost().answer(false, std::nullopt);
  EXPECT_EQ(story, (Texts{"completed", "completed", "completed", "completed", "deregistered",
                          "userStop 1", "userStop 2"}));
  // The PIN session stays registered.
  EXPECT_EQ(manager->infoSessionWithID({})->sessionType(), TVVorlaneSessionType::kPin);
}

}  // namespace
