#include "TVVorlane/TVVorlaneStreamingAudioSession.h"

#include "tests/TVVorlane/Support.h"

namespace {

constexpr std::string_view kPrevent = "quorin.vorlane.playbackPrevent";
constexpr std::string_view kAllow = "quorin.vorlane.playbackAllow";

class TVVorlaneStreamingAudioSessionTest : public SessionTest {
 protected:
  std::shared_ptr<TVVorlaneStreamingAudioSession> start(const Dictionary& options) {
    auto session = startSession<TVVorlaneStreamingAudioSession>(options);
    box.run();
    return session;
  }
  void sleep() {
    box.journal().clear();
    box.clearLog();
    box.systemNotifications().deliver(platform::TVSPowerManagerDeviceWillSleepNotification);
    box.run();
  }
  Texts systemLog() { return logTexts(box, "TVSSystemLog"); }
};

TEST_F(TVVorlaneStreamingAudioSessionTest, StartsAndStops) {
  const auto session = start({{"sessionID", 9}, {"rate", 1}});
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.errors[0], std::nullopt);
  EXPECT_EQ(completions.outInfos[0], std::nullopt);
  EXPECT_EQ(session->sessionID(), 9U);
  EXPECT_EQ(session->sessionType(), TVVorlaneSessionType::kStreamingAudio);
  EXPECT_EQ(session->initialOptions(), (Dictionary{{"sessionID", 9}, {"rate", 1}}));
  EXPECT_EQ(manager().streamingSessionWithID(9), session);
  EXPECT_FALSE(box.viewServiceHost().isPresenting());

  session->userStop();
  EXPECT_FALSE(session->deactivated());
  std::optional<platform::Error> error;
  EXPECT_FALSE(session->stopWithOptions(Dictionary{{"rate", "1"}}, &error));
  EXPECT_EQ(error, platform::Error::status(-6756));
  EXPECT_TRUE(session->initialOptions());
  EXPECT_TRUE(session->stopWithOptions(Dictionary(), nullptr));
  EXPECT_EQ(session->initialOptions(), std::nullopt);
  EXPECT_TRUE(manager().activeSessions().empty());
  EXPECT_TRUE(delegate->take().empty());
}

TEST_F(TVVorlaneStreamingAudioSessionTest, ForwardsProgress) {
  const auto session = start({{"sessionID", 9}});
  std::optional<platform::Error> error;
  const Dictionary progress{{"duration", 100.0}, {"elapsed", 2.5}};
  EXPECT_TRUE(session->setProperty("TVVorlaneStreamingAudioTimeDataKey", {}, progress, &error));
  ASSERT_EQ(box.distributedNotifications().posted().size(), 1U);
  EXPECT_EQ(box.distributedNotifications().posted()[0].first, "TVVorlaneTimeNotificationName");
  EXPECT_EQ(box.distributedNotifications().posted()[0].second, progress);

  EXPECT_TRUE(session->setProperty("unknown", {}, 1, &error));
  EXPECT_TRUE(session->setProperty("volume", {}, 0.5, &error));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_FALSE(session->setProperty("volume", {}, "loud", &error));
  EXPECT_EQ(error, platform::Error::status(-6756));
  EXPECT_EQ(box.distributedNotifications().posted().size(), 1U);

  error.reset();
  EXPECT_TRUE(session->getProperty("volume", {}, &error).isNone());
  EXPECT_FALSE(session->performAction("any", {}, nullptr, &error));
  EXPECT_EQ(error, std::nullopt);
}

TEST_F(TVVorlaneStreamingAudioSessionTest, SleepPreventsPlaybackTemporarily) {
  const auto session = start({{"sessionID", 9}});
  delegate->heard = [&](auto&, const std::string& event) { box.journal().add(event); };
  sleep();
  EXPECT_EQ(delegate->take(), (Texts{"stopAudio {sessionID=9, userExit=true}",
                                     "userStop {sessionID=9, userExit=true}"}));
  EXPECT_EQ(box.journal().entries(),
            (Texts{"stopAudio", "userStop", "systemNotifications.post(quorin.vorlane.dacp.stop)",
                   "powerManager.createAssertion()",
                   "systemNotifications.post(quorin.vorlane.playbackPrevent)"}));
  ASSERT_EQ(box.powerManager().held().size(), 1U);
  EXPECT_EQ(box.powerManager().held().begin()->second,
            (Dictionary{{"AssertType", "PreventUserIdleSystemSleep"},
                        {"AssertLevel", 255},
                        {"AssertName", "quorin.tvvorlane.vorlane-prevent-playback"}}));
  EXPECT_EQ(systemLog(), Texts{"Unset vorlane-prevent-playback assertion."});
  EXPECT_EQ(box.logCount("#T:[Main] #Warning #TVSSystemLog : Unset "), 1U);
  // The sender ends the session, not the box.
  EXPECT_EQ(manager().streamingSessionWithID(9), session);
  EXPECT_FALSE(session->deactivated());

  // The timer does not depend on the session.
  session->stopWithOptions({}, nullptr);
  box.journal().clear();
  box.advance(14'999ms);
  EXPECT_TRUE(box.journal().entries().empty());
  box.advance(1ms);
  EXPECT_EQ(box.journal().entries(),
            (Texts{"systemNotifications.post(quorin.vorlane.playbackAllow)",
                   "powerManager.releaseAssertion(1)"}));
  EXPECT_EQ(systemLog().back(), "Set vorlane-prevent-playback assertion.");
  EXPECT_TRUE(box.powerManager().held().empty());
}

TEST(TVVorlaneStreamingAudioSessionSleepTest, Failures) {
  const auto delegate = std::make_shared<RecordingSessionDelegate>();
  struct Case {
    std::string fails;
    Texts journal;  // after the stop notification, for the next 60 s
    Texts log;
    std::size_t held;
  };
  const std::string post = "systemNotifications.post(";
  const std::string prevent = post + std::string(kPrevent) + ")";
  const std::string allow = post + std::string(kAllow) + ")";
  const std::string create = "powerManager.createAssertion()";
  const Case cases[] = {
      {"assertion",
       {create + " failed"},
       {"Failed to create vorlane-prevent-playback assertion: e00002bc"},
       0},
      {"prevent",
       {create, prevent + " failed"},
       {"PM: *** Failed to stop Vorlane activity ***"},
       1},
      {"allow",
       {create, prevent, allow + " failed", "powerManager.releaseAssertion(1)"},
       {"Unset vorlane-prevent-playback assertion.", "Set vorlane-prevent-playback assertion.",
        "PM: *** Failed to re-enable Vorlane ***"},
       0}};
  for (const auto& expected : cases) {
    sim::Box box;
    auto session = std::make_shared<TVVorlaneStreamingAudioSession>();
    session->setDelegate(delegate);
    if (expected.fails == "assertion") box.powerManager().setStatus(0xe00002bc);
    box.systemNotifications().setPostFails(kPrevent, expected.fails == "prevent");
    box.systemNotifications().setPostFails(kAllow, expected.fails == "allow");
    box.systemNotifications().deliver(platform::TVSPowerManagerDeviceWillSleepNotification);
    box.advance(60s);
    Texts journal{"systemNotifications.post(quorin.vorlane.dacp.stop)"};
    journal.insert(journal.end(), expected.journal.begin(), expected.journal.end());
    EXPECT_EQ(box.journal().entries(), journal);
    EXPECT_EQ(logTexts(box, "TVSSystemLog"), expected.log);
    EXPECT_EQ(box.logCount("#T:[Main] #Error #TVSSystemLog : "), 1U);
    EXPECT_EQ(box.powerManager().held().size(), expected.held);
    EXPECT_EQ(delegate->take().size(), 2U);
  }
}

TEST_F(TVVorlaneStreamingAudioSessionTest, EverySessionHandlesTheSleep) {
  const auto first = start({{"sessionID", 1}});
  // A session observes sleep from its creation.
  const auto second = std::make_shared<TVVorlaneStreamingAudioSession>();
  second->setDelegate(delegate);
  { const auto gone = std::make_shared<TVVorlaneStreamingAudioSession>(); }
  sleep();
  EXPECT_EQ(delegate->take().size(), 4U);
  EXPECT_EQ(box.powerManager().held().size(), 2U);
  box.advance(15s);
  EXPECT_EQ(box.journal().count("systemNotifications.post(quorin.vorlane.playbackAllow)"), 2U);
  EXPECT_TRUE(box.powerManager().held().empty());
}

}  // namespace
