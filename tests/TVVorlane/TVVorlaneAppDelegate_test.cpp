#include "TVVorlane/TVVorlaneAppDelegate.h"

#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "tests/TVVorlane/Support.h"

using platform::AudioRoute;

namespace {

constexpr std::string_view kCloud = "quorin.vorlane.cloudConnectivity";
const AudioRoute kSpeaker{"speaker", 3, true, false};
const AudioRoute kDefault{"hdmi", 1, false, true};

class AppDelegateTest : public SessionTest {
 protected:
  bool launch() { return box.launch(applicationOf(app)); }
  void launchQuietly() {
    ASSERT_TRUE(launch());
    box.journal().clear();
    box.clearLog();
  }
  void startVideo(std::uint32_t sessionID = 7) {
    ASSERT_EQ(box.call([&] {
      return app->receiverDelegate()->vorlaneUIStartVideo(videoOptions(sessionID), nullptr);
    }),
              0);
  }
  void stopVideo(std::uint32_t sessionID = 7) {
    ASSERT_EQ(box.call([&] {
      return app->receiverDelegate()->vorlaneUIStopVideo({{"sessionID", sessionID}});
    }),
              0);
    box.run();
  }
  std::string selectedRoute() {
    for (const auto& route : box.audioRouting().routes())
      if (route.selected) return route.identifier.value_or("nameless");
    return "none";
  }

  std::shared_ptr<TVVorlaneAppDelegate> app = std::make_shared<TVVorlaneAppDelegate>();
};

TEST_F(AppDelegateTest, LaunchConfiguresTheServicesInOrder) {
  EXPECT_TRUE(launch());
  EXPECT_THAT(box.journal().entries(),
              ElementsAre("cloudData.connect()", "audioSession.setCategory(Playback)",
                          "processAssertions.acquire(quorin.tvvorlane, 12, 1, Zumo Vorlane)",
                          "nowPlaying.setEligible(YES)", "receiverServiceClient.setDelegate()"));
  EXPECT_EQ(box.processAssertions().held(), 1);
  EXPECT_THAT(box.log(),
              ElementsAre("#T:[Main] #Notice #TVSSystemLog : Acquiring process assertion: " +
                              app->procAssert()->description() + " ",
                          "#T:[Main] #Notice #TVVLCommunication : *Vorlane Receiver Configured* "));
  EXPECT_EQ(app->cloudAvailabilityNotifyToken(), -1);
  EXPECT_FALSE(app->playbackActive());
  EXPECT_EQ(box.receiverServiceClient().delegate(), app->receiverDelegate());
  box.audioSession().simulateServiceRestart();
  EXPECT_EQ(box.journal().count("audioSession.setCategory(Playback)"), 2u);
}

TEST_F(AppDelegateTest, LaunchIgnoresAFailingAudioSession) {
  box.audioSession().setCategoryFails(true);
  EXPECT_TRUE(launch());
  EXPECT_TRUE(app->receiverDelegate());
}

TEST_F(AppDelegateTest, PlaybackIsActiveWhileSessionsAreRegistered) {
  launchQuietly();
  startVideo(7);
  startVideo(8);
  EXPECT_TRUE(app->playbackActive());
  stopVideo(7);
  EXPECT_TRUE(app->playbackActive());
  stopVideo(8);
  EXPECT_FALSE(app->playbackActive());
  Texts activity;
  for (const auto& entry : box.journal().entries())
    if (entry.starts_with("systemService.") || entry.starts_with("audioRouting.make"))
      activity.push_back(entry);
  EXPECT_THAT(
      activity,
      ElementsAre("systemService.wakeSystem(0)", "systemService.setVorlaneSessionActive(YES)",
                  "audioRouting.makeController(2)", "systemService.setVorlaneSessionActive(NO)"));
  EXPECT_THAT(logTexts(box, "TVSSystemLog"), ElementsAre("Waking device for Vorlane playback"));
  EXPECT_EQ(box.processAssertions().held(), 1);
  EXPECT_EQ(box.audioRouting().controllers(), 0);
}

struct Routes {
  const char* name;
  std::vector<AudioRoute> routes;
  const char* whilePlaying;
  std::optional<std::string> remembered;
  const char* afterwards;
};

TEST_F(AppDelegateTest, RoutesAudioAwayFromAVorlaneSpeakerDuringPlayback) {
  const AudioRoute plain{"usb", 2, true, false};
  const AudioRoute nameless{std::nullopt, 3, true, false};
  const AudioRoute other{"other", 3, false, false};
  const Routes cases[] = {
      {"a speaker", {kDefault, kSpeaker}, "hdmi", "speaker", "speaker"},
      {"another kind", {kDefault, plain}, "usb", std::nullopt, "usb"},
      {"a speaker that is not selected", {other, plain, kDefault}, "usb", std::nullopt, "usb"},
      {"a selected speaker behind another selected route",
       {plain, kSpeaker, kDefault},
       "usb",
       std::nullopt,
       "usb"},
      {"a speaker without identifier", {kDefault, nameless}, "nameless", std::nullopt, "nameless"},
      {"none selected", {other, kDefault}, "none", std::nullopt, "none"},
      {"no routes", {}, "none", std::nullopt, "none"}};
  launchQuietly();
  for (const auto& [name, routes, whilePlaying, remembered, afterwards] : cases) {
    box.audioRouting().setRoutes(routes);
    startVideo();
    EXPECT_EQ(selectedRoute(), whilePlaying) << name;
    EXPECT_EQ(app->previousAudioRouteUID(), remembered) << name;
    stopVideo();
    EXPECT_EQ(selectedRoute(), afterwards) << name;
    EXPECT_FALSE(app->previousAudioRouteUID()) << name;
    EXPECT_EQ(box.audioRouting().controllers(), 0) << name;
  }
}

TEST_F(AppDelegateTest, SpeakerIsStoredBeforeTheRouteChanges) {
  launchQuietly();
  box.audioRouting().setRoutes({kDefault, kSpeaker});
  std::optional<std::string> remembered;
  box.audioRouting().setSelectionHandler([&] { remembered = app->previousAudioRouteUID(); });
  startVideo();
  box.run();
  EXPECT_EQ(remembered, "speaker");
}

TEST_F(AppDelegateTest, MissingSpeakerIsForgotten) {
  launchQuietly();
  box.audioRouting().setRoutes({kDefault, kSpeaker});
  startVideo();
  box.audioRouting().setRoutes({kDefault});
  stopVideo();
  EXPECT_FALSE(app->previousAudioRouteUID());
  EXPECT_EQ(box.journal().count("audioRouting.selectRoute("), 0u);
}

TEST_F(AppDelegateTest, PlaybackEndDuringTheFetchRestoresNothing) {
  launchQuietly();
  box.audioRouting().setRoutes({kDefault, kSpeaker});
  box.audioRouting().setFetchDelay(10s);
  startVideo();
  stopVideo();
  EXPECT_EQ(box.journal().count("audioRouting.makeController(2)"), 1u);
  box.advance(10s);
  EXPECT_EQ(box.journal().count("audioRouting.selectRoute("), 0u);
  EXPECT_EQ(box.audioRouting().controllers(), 0);
}

TEST_F(AppDelegateTest, IgnoresRoutesFetchedForAPreviousPlayback) {
  launchQuietly();
  box.audioRouting().setRoutes({kDefault, kSpeaker});
  startVideo();
  box.run();
  ASSERT_EQ(app->previousAudioRouteUID(), "speaker");
  box.audioRouting().setFetchDelay(10s);
  stopVideo();
  // A new playback starts with another speaker before the fetch has finished.
  AudioRoute another{"another", 3, true, false};
  AudioRoute old = kSpeaker;
  old.selected = false;
  box.audioRouting().setRoutes({kDefault, another, old});
  box.audioRouting().setFetchDelay(1s);
  startVideo();
  box.advance(1s);
  ASSERT_EQ(app->previousAudioRouteUID(), "another");
  box.advance(10s);
  EXPECT_EQ(app->previousAudioRouteUID(), "another");
  EXPECT_EQ(selectedRoute(), "hdmi");
}

TEST_F(AppDelegateTest, CloudStateFollowsTheInternet) {
  launchQuietly();
  EXPECT_FALSE(box.systemNotifications().state(kCloud));
  box.network().setInternetAvailable(false);
  EXPECT_EQ(box.systemNotifications().state(kCloud), 0u);
  box.network().setInternetAvailable(true);
  EXPECT_EQ(box.systemNotifications().state(kCloud), 1u);
  EXPECT_EQ(box.network().queries(), 4) << "the log line queries the state again";
  const std::string name(kCloud);
  EXPECT_THAT(box.journal().entries(),
              ElementsAre("systemNotifications.registerStateToken(" + name + ")",
                          "systemNotifications.setState(" + name + ", 0)",
                          "systemNotifications.post(" + name + ")",
                          "systemNotifications.setState(" + name + ", 1)",
                          "systemNotifications.post(" + name + ")"));
  EXPECT_THAT(box.log(),
              ElementsAre("#T:[Main] #Warning #TVSSystemLog : Vorlane set should use cloud:  NO  "
                          "(internet:  NO) ",
                          "#T:[Main] #Warning #TVSSystemLog : Vorlane set should use cloud:  YES  "
                          "(internet:  YES) "));
  EXPECT_GE(app->cloudAvailabilityNotifyToken(), 0);
}

TEST_F(AppDelegateTest, RetriesTheCloudStateToken) {
  launchQuietly();
  box.systemNotifications().setRegistrationFails(true);
  box.network().setInternetAvailable(false);
  EXPECT_EQ(app->cloudAvailabilityNotifyToken(), -1);
  EXPECT_THAT(box.log(), ElementsAre("#T:[Main] #Error #TVSSystemLog : Vorlane could not get "
                                     "internet connectivity token "));
  EXPECT_EQ(box.journal().count("systemNotifications.post"), 0u);
  box.systemNotifications().setRegistrationFails(false);
  box.network().setInternetAvailable(true);
  EXPECT_EQ(box.systemNotifications().state(kCloud), 1u);
}

TEST_F(AppDelegateTest, TerminationOnlyReleasesTheProcessAssertion) {
  launchQuietly();
  startVideo();
  box.advance(1s);
  box.receiverServiceClient().takeEvents();
  box.journal().clear();
  box.clearLog();
  box.terminate();
  EXPECT_EQ(box.processAssertions().held(), 0);
  EXPECT_THAT(manager().activeSessions(), SizeIs(1));
  EXPECT_THAT(takeEventTexts(box), IsEmpty());
  EXPECT_THAT(box.journal().entries(), IsEmpty());
  EXPECT_THAT(box.log(), IsEmpty());
}

TEST_F(AppDelegateTest, DestroyedDelegateReceivesNoNotifications) {
  ASSERT_TRUE(app->applicationDidFinishLaunching({}));
  app = nullptr;
  box.journal().clear();
  box.network().setInternetAvailable(false);
  startSession<TVVorlaneStreamingAudioSession>({{"sessionID", 1}});
  box.run();
  EXPECT_THAT(box.journal().entries(), IsEmpty());
}

}  // namespace
