#include "TVVorlane/TVVorlaneReceiverDelegate.h"

#include <future>
#include <limits>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/ReceiverDelegateFixture.h"

namespace {

std::string statusError(std::int64_t code) { return platform::Error::status(code).description(); }

TEST_F(ReceiverDelegateTest, RegistersItselfWithItsQueue) {
  EXPECT_THAT(box.journal().entries(),
              ElementsAre("nowPlaying.setEligible(YES)", "receiverServiceClient.setDelegate()"));
  EXPECT_EQ(box.receiverServiceClient().delegate(), delegate);
  EXPECT_EQ(box.receiverServiceClient().queue(), delegate->receiverQueue());
  EXPECT_EQ(delegate->receiverQueue()->label(), "quorin.tvvorlane.receiver");
  EXPECT_EQ(delegate->lastElapsedTime(), 0);
  EXPECT_EQ(delegate->lastDuration(), 0);
  EXPECT_THAT(box.log(), ElementsAre("#T:[Main] #Notice #TVVLCommunication : *Vorlane Receiver "
                                     "Configured* "));
}

TEST_F(ReceiverDelegateTest, CallsWithoutASessionFail) {
  struct Case {
    std::function<Status()> call;
    Status status;
    Texts log;
  };
  const std::string none = "(null)";
  const Case cases[] = {
      {[&] {
         Status status = 77;
         EXPECT_TRUE(delegate->vorlaneUIGetProperty("playbackInfo", {}, &status).isNone());
         return status;
       },
       kTVVorlaneStatusNoSession,
       {"vorlaneUIGetProperty: playbackInfo",
        "No active session, could not get property: playbackInfo"}},
      {[&] { return delegate->vorlaneUISetProperty("rate", {}, 1); },
       kTVVorlaneStatusNoSession,
       {"vorlaneUISetProperty (rate): 1", "No active session, could not set property: rate"}},
      {[&] { return delegate->vorlaneUIPerform("dance", {}, nullptr); },
       kTVVorlaneStatusNoSession,
       {"vorlaneUIPerform (dance): {\n}", "No active session, could handleAction: dance"}},
      {[&] { return delegate->vorlaneUIPerform("hidePIN", {}, nullptr); },
       0,
       {"vorlaneUIPerform (hidePIN): {\n}"}},
      {[&] {
         return delegate->vorlaneUIStopPresentation({{"sessionID", 3}});
       },
       0,
       {"vorlaneUIStopPresentation: {\n    sessionID = 3;\n}",
        "No active session for vorlaneUIStopPresentation:"}},
      {[&] { return delegate->vorlaneUIStopAudio({}); },
       0,
       {"vorlaneUIStopAudio: {\n}", "No active session for vorlaneUIStopAudio:"}},
      {[&] { return delegate->vorlaneUIStopVideo({}); },
       0,
       {"vorlaneUIStopVideo: {\n}", "No active session for vorlaneUIStopVideo:"}},
      {[&] { return delegate->vorlaneUIShowProgress(); },
       kTVVorlaneStatusFailed,
       {"vorlaneUIShowProgress", "Failed to show progress with err: " + none}},
      {[&] { return delegate->vorlaneUIHideProgress(); },
       kTVVorlaneStatusFailed,
       {"vorlaneUIHideProgress", "Failed to hide progress with err: " + none}},
      {[&] {
         return delegate->vorlaneUIUpdateAudioMetaData({{"title", "T"}});
       },
       0,
       {}},
      {[&] { return delegate->vorlaneUIUpdateAudioProgress(5, 6); },
       0,
       {"Failed to set progress with err: " + none}},
      {[&] {
         delegate->vorlaneUIActivity();
         return 0;
       },
       0,
       {}}};
  takeLog();
  for (const auto& [call, status, log] : cases) {
    EXPECT_EQ(box.call(call), status) << testing::PrintToString(log);
    EXPECT_EQ(takeLog(), log);
  }
  EXPECT_EQ(box.journal().count("systemService.triggerUserActivity()"), 3u);
}

TEST_F(ReceiverDelegateTest, EntryLinesHaveThreadLevelAndComponent) {
  box.clearLog();
  stopVideo({});
  const auto lines = box.log();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_THAT(lines[0], testing::MatchesRegex("#T:\\[0x[0-9a-f]+\\] #Notice #TVVLCommunication : "
                                              "vorlaneUIStopVideo: \\{\n\\} "));
  EXPECT_EQ(lines[1],
            "#T:[Main] #Notice #TVVLCommunication : No active session for vorlaneUIStopVideo: ");
}

TEST_F(ReceiverDelegateTest, FailuresAreLoggedOnTheMainThread) {
  box.clearLog();
  box.call([&] { return delegate->vorlaneUIShowProgress(); });
  box.call([&] { return delegate->vorlaneUIHideProgress(); });
  EXPECT_EQ(box.logCount("#T:[Main] #Notice #TVVLCommunication : Failed to "), 2u);
}

TEST_F(ReceiverDelegateTest, CallsAfterTheMainQueueWasStoppedFail) {
  box.mainQueue().stop();
  std::promise<Status> status;
  delegate->receiverQueue()->async(
      [&] { status.set_value(delegate->vorlaneUIStartVideo(videoOptions(7), &out)); });
  EXPECT_EQ(status.get_future().get(), kTVVorlaneStatusFailed);
  EXPECT_THAT(out, IsEmpty());
}

TEST_F(ReceiverDelegateTest, DataIsAbbreviatedInEntryLines) {
  takeLog();
  const Dictionary params{{"d", Dictionary{{"x", platform::Bytes(70000)}}}};
  const std::string text = "{\n    d = {\n        x = \"<...> 70000 bytes\";\n    };\n}";
  set("any", params);
  EXPECT_EQ(takeLog()[0], "vorlaneUISetProperty (any): " + text);
  perform("any", params);
  EXPECT_EQ(takeLog()[0], "vorlaneUIPerform (any): " + text);
  using Receiver = TVVorlaneReceiverDelegate;
  const std::pair<const char*, Status (Receiver::*)(const Dictionary&)> stops[] = {
      {"vorlaneUIStopVideo: ", &Receiver::vorlaneUIStopVideo},
      {"vorlaneUIStopAudio: ", &Receiver::vorlaneUIStopAudio},
      {"vorlaneUIStopPresentation: ", &Receiver::vorlaneUIStopPresentation}};
  for (const auto& [name, stop] : stops) {
    box.call([&, call = stop] { return (*delegate.*call)(params); });
    EXPECT_EQ(takeLog()[0], name + text);
  }
  const std::pair<const char*, Status (Receiver::*)(const Dictionary&, Dictionary*)> starts[] = {
      {"vorlaneUIStartVideo: ", &Receiver::vorlaneUIStartVideo},
      {"vorlaneUIStartAudio: ", &Receiver::vorlaneUIStartAudio},
      {"vorlaneUIStartPresentation: ", &Receiver::vorlaneUIStartPresentation}};
  Dictionary options = params;
  options.set("Content-Location", kVideoURL);
  for (const auto& [name, start] : starts) {
    box.call([&, call = start] { return (*delegate.*call)(options, nullptr); });
    const auto line = takeLog()[0];
    EXPECT_TRUE(line.starts_with(name)) << line;
    EXPECT_THAT(line, HasSubstr("<...> 70000 bytes"));
  }
}

// Sessions with results that a sender cannot cause.

class OddSession final : public TVVorlaneURLSession {
 public:
  // Not shown on screen.
  std::int64_t sessionType() const override { return TVVorlaneSessionType::kAudioOnly; }
  Value getProperty(const std::string&, const Value&,
                    std::optional<platform::Error>* error) override {
    *error = platform::Error::status(-1);
    return "value";
  }
  bool setProperty(const std::string&, const Value&, const Value&,
                   std::optional<platform::Error>*) override {
    return false;
  }
  bool performAction(const std::string&, const Value&, std::optional<Dictionary>* outInfo,
                     std::optional<platform::Error>*) override {
    *outInfo = Dictionary{{"a", 1}};
    return false;
  }
};

TEST_F(ReceiverDelegateTest, HandlesValuesWithErrorsAndFailuresWithoutErrors) {
  manager().registerSession(std::make_shared<OddSession>(), [](const auto&) {});
  Status status = 0;
  EXPECT_EQ(get("any", &status), Value("value"));
  EXPECT_EQ(status, -1);
  EXPECT_EQ(set("any", 1), 0);
  EXPECT_EQ(perform("any", {}), 0);
  EXPECT_THAT(out, IsEmpty());
}

TEST_F(ReceiverDelegateTest, StopUsesTheSessionID) {
  for (const std::uint32_t number : {4U, 5U}) {
    box.call([&] { return delegate->vorlaneUIStartAudio({{"sessionID", number}}, nullptr); });
    box.call([&] {
      return delegate->vorlaneUIStartPresentation({{"sessionID", number}}, nullptr);
    });
  }
  const Dictionary four{{"sessionID", 4}};
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIStopAudio(four); }), 0);
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIStopPresentation(four); }), 0);
  EXPECT_FALSE(manager().streamingSessionWithID(4));
  EXPECT_FALSE(manager().presentationSessionWithID(4));
  EXPECT_TRUE(manager().streamingSessionWithID(5));
  EXPECT_TRUE(manager().presentationSessionWithID(5));
}

// Video.

TEST_F(ReceiverDelegateTest, InvalidStartsReturnTheError) {
  takeLog();
  const Dictionary refusal{{"code", kTVVorlaneStatusWrongType},
                           {"domain", platform::kStatusCodeErrorDomain}};
  EXPECT_EQ(startVideo(videoOptions(7, {{"rate", "fast"}})), kTVVorlaneStatusWrongType);
  EXPECT_EQ(out, refusal);
  EXPECT_EQ(takeLog()[1], "Failed to start with err: " + statusError(-6756));

  const Dictionary bad{{"uuid", 1}};
  out = {};
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIStartAudio(bad, &out); }),
            kTVVorlaneStatusWrongType);
  EXPECT_EQ(out, refusal);
  EXPECT_EQ(takeLog(), (Texts{"vorlaneUIStartAudio: {\n    uuid = 1;\n}",
                              "Failed to start with err: " + statusError(-6756)}));

  out = {};
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIStartPresentation(bad, &out); }),
            kTVVorlaneStatusWrongType);
  EXPECT_EQ(out, refusal);
  EXPECT_EQ(takeLog(),
            (Texts{"vorlaneUIStartPresentation: {\n    uuid = 1;\n}",
                   "Failed to start with err: " + statusError(-6756),
                   "vorlaneUIStartPresentation (complete): {\n    code = -6756;\n    domain = "
                   "TVSStatusCodeErrorDomain;\n} err:  -6756"}));
  EXPECT_EQ(perform("showPIN", {{"uuid", 1}}), kTVVorlaneStatusWrongType);
  EXPECT_THAT(out, IsEmpty());
  EXPECT_THAT(manager().activeSessions(), IsEmpty());
}

TEST_F(ReceiverDelegateTest, FailedReadsWritesAndActionsReturnTheError) {
  startVideo(videoOptions(7));
  takeLog();
  Status status = 77;
  EXPECT_FALSE(get("playbackInfo", &status).isNone());
  EXPECT_EQ(status, 77) << "set on failure only";
  takeLog();
  EXPECT_TRUE(get("weather", &status).isNone());
  EXPECT_EQ(status, kTVVorlaneStatusUnsupported);
  EXPECT_TRUE(get("weather", nullptr).isNone());
  EXPECT_EQ(takeLog()[1], "Could not get property: weather error: " + statusError(-6735));
  EXPECT_EQ(set("rate", "fast"), kTVVorlaneStatusWrongType);
  EXPECT_EQ(takeLog()[1], "Could not set property: rate error: " + statusError(-6756));

  EXPECT_EQ(perform("playlistRemove", {{"sessionID", 7}, {"item", Dictionary{{"uuid", "U9"}}}}),
            kTVVorlaneStatusNotFound);
  EXPECT_EQ(out, (Dictionary{{"code", kTVVorlaneStatusNotFound},
                             {"domain", platform::kStatusCodeErrorDomain}}));
  EXPECT_EQ(takeLog()[1], "Could not perform action: playlistRemove error: " + statusError(-6727));

  // An unknown session ID.
  EXPECT_EQ(perform("dance", {{"sessionID", 8}}), kTVVorlaneStatusNoSession);
  EXPECT_EQ(out, (Dictionary{{"code", kTVVorlaneStatusNoSession},
                             {"domain", platform::kStatusCodeErrorDomain}}));

  EXPECT_EQ(stopVideo({{"sessionID", 7}, {"uuid", 5}}), kTVVorlaneStatusWrongType);
  EXPECT_THAT(takeLog(), testing::Contains("Failed to stop with err: " + statusError(-6756)));
  EXPECT_THAT(manager().activeSessions(), SizeIs(1));
}

// Other sessions.

TEST_F(ReceiverDelegateTest, AudioProgressIsForwardedOncePerSecond) {
  EXPECT_EQ(box.call([&] {
    return delegate->vorlaneUIStartAudio({{"sessionID", 4}}, nullptr);
  }),
            0);
  struct Report {
    double elapsed;
    double duration;
    bool passedOn;
    double roundedElapsed;
    double roundedDuration;
  };

  const Report reports[] = {{0.4, 0.2, false, 0, 0},       {10.5, 200, true, 11, 200},
                            {10.6, 200.2, false, 11, 200}, {11.49, 200.49, false, 11, 200},
                            {11.5, 200, true, 12, 200},    {12, 200.5, true, 12, 201},
                            {-0.5, 201, true, -1, 201},    {1e300, 201, true, 1e300, 201}};
  const auto& posted = box.distributedNotifications().posted();
  for (const auto& report : reports) {
    const auto before = posted.size();
    EXPECT_EQ(box.call([&] {
      return delegate->vorlaneUIUpdateAudioProgress(report.elapsed, report.duration);
    }),
              0);
    EXPECT_EQ(posted.size(), before + (report.passedOn ? 1 : 0)) << report.elapsed;
    EXPECT_EQ(delegate->lastElapsedTime(), report.roundedElapsed);
    EXPECT_EQ(delegate->lastDuration(), report.roundedDuration);
    if (!report.passedOn) continue;
    const Dictionary expected{
        {std::string(platform::kNowPlayingDuration), report.roundedDuration},
        {std::string(platform::kNowPlayingElapsedTime), report.roundedElapsed},
        {std::string(platform::kNowPlayingTimestamp), box.clock().date()}};
    EXPECT_EQ(posted.back().second, expected) << compact(posted.back().second);
  }
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIUpdateAudioProgress(kNaN, kNaN); }), 0);
  takeLog();
  EXPECT_EQ(box.call([&] { return delegate->vorlaneUIStopAudio({{"sessionID", 4}}); }), 0);
  EXPECT_EQ(takeLog(), (Texts{"vorlaneUIStopAudio: {\n    sessionID = 4;\n}"}));
  // The progress is stored even without a session.
  box.call([&] { return delegate->vorlaneUIUpdateAudioProgress(50, 60); });
  EXPECT_EQ(takeLog(), (Texts{"Failed to set progress with err: (null)"}));
  box.call([&] { return delegate->vorlaneUIUpdateAudioProgress(50, 60); });
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(ReceiverDelegateTest, ShownPINIsReplacedAndHidden) {
  EXPECT_EQ(perform("showPIN", {{"pin", "1234"}}), 0);
  EXPECT_THAT(out, IsEmpty());
  const auto first = manager().infoSessionWithID({});
  EXPECT_EQ(first->messageString(), "1234");
  EXPECT_EQ(first->sessionType(), TVVorlaneSessionType::kPin);
  // A valid call also stops the visible PIN. An invalid call stops nothing.
  EXPECT_EQ(perform("showPIN", {{"uuid", 1}}), kTVVorlaneStatusWrongType);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(first));
  EXPECT_EQ(perform("showPIN", {{"pin", "5678"}}), 0);
  const auto second = manager().infoSessionWithID({});
  EXPECT_NE(first, second);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(second));
  EXPECT_EQ(rootController()->pinInfoSession(), second);

  EXPECT_EQ(perform("hidePIN", {{"uuid", 5}}), kTVVorlaneStatusWrongType);
  EXPECT_THAT(manager().activeSessions(), ElementsAre(second));
  EXPECT_EQ(perform("hidePIN", {}), 0);
  EXPECT_THAT(manager().activeSessions(), IsEmpty());

  EXPECT_EQ(perform("incompatibleSender", {}), 0);
  EXPECT_EQ(manager().infoSessionWithID({})->sessionType(), TVVorlaneSessionType::kDialog);
  // The sender's own entry overrides the name of the action.
  EXPECT_EQ(perform("incompatibleSender", {{std::string(TVVorlaneInfoSessionCommand), "showPIN"}}),
            0);
  EXPECT_EQ(manager().infoSessionWithID({})->sessionType(), TVVorlaneSessionType::kPin);
  EXPECT_THAT(manager().activeSessions(), SizeIs(1));
}

// Events and threads.

TEST_F(ReceiverDelegateTest, EventsPostedDuringACallArriveAfterItInOrder) {
  box.screen().setOpening(sim::Screen::Opening::Succeeds, 3s);
  takeLog();
  const auto call = beginStartVideo(videoOptions(7));
  box.advance(2s);
  EXPECT_FALSE(call.done());
  EXPECT_EQ(box.logCount("PostEvent: "), 2u);
  EXPECT_THAT(takeEventTexts(box), IsEmpty());
  EXPECT_EQ(box.finish(call), 0);
  box.run();
  EXPECT_THAT(takeEventTexts(box), ElementsAre("loading", "playing"));
}

TEST_F(ReceiverDelegateTest, EventKeepsItsNameAndInfo) {
  TVVorlaneURLSession session;
  const Dictionary info{{"a", platform::Bytes(3)}, {"b", Dictionary{{"c", 1}}}};
  delegate->session(session, "größe", info);
  delegate->session(session, "plain", std::nullopt);
  box.run();
  const auto events = box.receiverServiceClient().takeEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].name, "größe");
  EXPECT_EQ(events[0].info, info);
  EXPECT_THAT(events[1].info, IsEmpty());
}

TEST_F(ReceiverDelegateTest, CallsOnTheWrongThreadFailAnAssertion) {
  const Dictionary none;
  const std::pair<std::string, std::function<void()>> calls[] = {
      {"vorlaneUIGetProperty", [&] { delegate->vorlaneUIGetProperty("p", {}, nullptr); }},
      {"vorlaneUISetProperty", [&] { delegate->vorlaneUISetProperty("p", {}, {}); }},
      {"vorlaneUIPerform", [&] { delegate->vorlaneUIPerform("a", none, nullptr); }},
      {"vorlaneUIStartPresentation", [&] { delegate->vorlaneUIStartPresentation(none, nullptr); }},
      {"vorlaneUIStopPresentation", [&] { delegate->vorlaneUIStopPresentation(none); }},
      {"vorlaneUIShowProgress", [&] { delegate->vorlaneUIShowProgress(); }},
      {"vorlaneUIHideProgress", [&] { delegate->vorlaneUIHideProgress(); }},
      {"vorlaneUIStartAudio", [&] { delegate->vorlaneUIStartAudio(none, nullptr); }},
      {"vorlaneUIStopAudio", [&] { delegate->vorlaneUIStopAudio(none); }},
      {"vorlaneUIUpdateAudioMetaData", [&] { delegate->vorlaneUIUpdateAudioMetaData(none); }},
      {"vorlaneUIUpdateAudioProgress", [&] { delegate->vorlaneUIUpdateAudioProgress(1, 2); }},
      {"vorlaneUIStartVideo", [&] { delegate->vorlaneUIStartVideo(none, nullptr); }},
      {"vorlaneUIStopVideo", [&] { delegate->vorlaneUIStopVideo(none); }}};
  for (const auto& [operation, call] : calls) {
    takeLog();
    EXPECT_EQ(assertionText(call),
              operation + " (TVVorlane/TVVorlaneReceiverDelegate): !isMainThread");
    // Calls that log an entry line have done so before the assertion.
    const bool hasLine = !operation.starts_with("vorlaneUIUpdate");
    EXPECT_EQ(takeLog().size(), hasLine ? 1u : 0u) << operation;
  }
  EXPECT_NO_THROW(delegate->vorlaneUIActivity());
  TVVorlaneURLSession session;
  EXPECT_EQ(
      assertionText([&] { box.call([&] { delegate->session(session, "event", std::nullopt); }); }),
      "session (TVVorlane/TVVorlaneReceiverDelegate): isMainThread");
}

}  // namespace
