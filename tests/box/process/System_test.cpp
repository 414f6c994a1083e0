// The real program with real media over HTTP and a D-Bus client.

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaLogKeys.h"
#include "tests/box/process/SystemFixture.h"

namespace {

using platform::Dictionary;
using platform::kMediaErrorDomain;
using platform::kURLErrorDomain;
using platform::Value;
using testing::HasSubstr;
using testing::Not;
using testing_media::TestMedia;

struct BadVideo {
  const char* name;
  std::string url;
  std::string_view domain;
  std::int64_t code;
};

class BadVideos : public SystemTest {
 protected:
  void expectToFail(const BadVideo& video, int session) {
    SCOPED_TRACE(video.name);
    EXPECT_EQ(startVideo(video.url, session, {{"uuid", video.name}}).status, 0);
    const auto stopped = nextEvent("stopped");
    ASSERT_TRUE(stopped);
    EXPECT_EQ(*stopped, (Dictionary{{"sessionID", session}, {"reason", "ended"}}));

    const Dictionary info = playbackInfo();
    EXPECT_EQ(info.get("readyToPlay"), Value(0));
    EXPECT_EQ(info.get("code"), Value(video.code));
    EXPECT_EQ(info.get("domain"), Value(video.domain));
    EXPECT_EQ(info.get("uuid"), Value(video.name));

    const Value log = peer->getProperty("playbackErrorLog").value;
    ASSERT_TRUE(log.asArray() && log.asArray()->size() == 1);
    const Dictionary* entry = (*log.asArray())[0].asDictionary();
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->get(platform::kErrorLogStatusCode), Value(video.code));
    EXPECT_EQ(entry->get(platform::kErrorLogDomain), Value(video.domain));
    EXPECT_EQ(entry->get(platform::kErrorLogURI), Value(video.url));
    EXPECT_EQ(stopVideo(session), 0);
  }
};

TEST_F(BadVideos, AreStoppedWithAnErrorAndTheNextOnePlays) {
  const TestMedia& media = TestMedia::shared();
  launch();
  const BadVideo videos[] = {
      {"missing", media.url("none.mp4"), kURLErrorDomain, 404},
      {"refused", TestMedia::refusedURL(), kURLErrorDomain, -1004},
      {"text", media.url("text.mp4"), kMediaErrorDomain, -11828},
      {"truncated", media.url("truncated.mp4"), kMediaErrorDomain, -11821},
      {"file", media.fileURL("clip.mp4"), kURLErrorDomain, -1102},
      {"huge", "http://127.0.0.1/" + std::string(64 * 1024, 'a'), kURLErrorDomain, -1000},
  };
  int session = 0;
  for (const BadVideo& video : videos) {
    expectToFail(video, ++session);
    expectToPlay(++session);
    EXPECT_EQ(stopVideo(session), 0);
  }
}

TEST_F(BadVideos, FileURLsPlayIfAllowed) {
  launch({"--allow-file-urls"});
  EXPECT_EQ(startVideo(TestMedia::shared().fileURL("clip.mp4"), 1).status, 0);
  EXPECT_TRUE(nextEvent("playing"));
}

class Sessions : public SystemTest {
 protected:
  /// The ids of the sessions in Status().
  std::vector<std::int64_t> numbers() {
    std::vector<std::int64_t> result;
    const auto sessions = status().get("sessions");
    for (const Value& each : *sessions.asArray())
      result.push_back(each.asDictionary()->number("sessionID")->int64Value());
    return result;
  }
  Dictionary status() { return peer->callBox("Status").out; }
};

TEST_F(Sessions, AreNotStoppedWhenTheProcessEnds) {
  launch();
  expectToPlay(1);
  EXPECT_EQ(peer->perform("showPIN", {{"pin", "0417"}}).status, 0);
  const std::size_t before = mark();
  end();
  const std::string log = process->output().substr(before);
  for (const char* text :
       {"PostEvent", "dismissed", "Forced to exit", "Deregister", "did not finish"})
    EXPECT_EQ(log.find(text), std::string::npos) << text << " in\n" << log;
  EXPECT_FALSE(std::filesystem::exists(process->socketPath()));
}

TEST_F(Sessions, AreLimitedAndSurviveALackOfThreads) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have another user's tasks limited";
  constexpr unsigned kTasks = 40;  // too few for two media processes
  constexpr int kSessions = 24;
  launch({}, kTasks);
  for (int session = 1; session <= kSessions; ++session)
    EXPECT_EQ(startVideo(clip(), session).status, 0) << session;
  EXPECT_TRUE(process->waitForLine("There are 17 sessions, stop the oldest: "));
  // The newest session is not stopped.
  EXPECT_EQ(stopVideo(kSessions), 0);
}

TEST_F(Sessions, CanStartWhileAPresentationOpensOrCloses) {
  launch();
  // Queued at the server without waiting for the replies.
  const auto send = [&](const char* method, int session) {
    peer->send(method, [&](sd_bus_message* m) {
      box::ValueWriter(m).appendDictionary({{"Content-Location", clip()}, {"sessionID", session}});
    });
  };
  send("StartVideo", 1);
  send("StopVideo", 1);
  send("StartVideo", 2);
  expectToPlay(3);
  EXPECT_EQ(numbers(), (std::vector<std::int64_t>{2, 3}));
  EXPECT_EQ(stopVideo(2), 0);

  // Start at each stage of the dismissal after the last stop.
  int session = 3;
  for (const char* stage :
       {"", "No more active sessions, dismiss.", "End presentation for session with options",
        "mediaViewControllerDidDismiss:"}) {
    SCOPED_TRACE(stage);
    const std::size_t stopped = mark();
    EXPECT_EQ(stopVideo(session), 0);
    ASSERT_TRUE(process->waitForLine(stage, stopped));
    expectToPlay(++session);
    EXPECT_EQ(numbers(), (std::vector<std::int64_t>{session}));
  }

  // The user leaves, and the sender starts again immediately.
  peer->callBox("Press", [](sd_bus_message* m) { sd_bus_message_append(m, "s", "home"); });
  EXPECT_TRUE(nextEvent("userStop"));
  expectToPlay(++session);
  const std::size_t stopped = mark();
  EXPECT_EQ(stopVideo(session), 0);
  ASSERT_TRUE(process->waitForLine("mediaViewControllerDidDismiss:", stopped));
}

class RealProgram : public SystemTest {};

TEST_F(RealProgram, ExitsDuringPlayback) {
  launch();
  expectToPlay(1);
  end();
  const std::string log = process->output();
  EXPECT_THAT(log, HasSubstr("Shutting down after signal 15"));
  // No session was stopped, so senders get no stop events.
  EXPECT_THAT(log, Not(HasSubstr("Deregister session")));
  EXPECT_THAT(log, Not(HasSubstr("userStop")));
  EXPECT_EQ(log.find("did not finish in time"), std::string::npos);
}

/// Splits a log into lines and replaces addresses by "@".
std::vector<std::string> plainLines(const std::string& log) {
  std::vector<std::string> lines;
  std::string line;
  for (std::size_t at = 0; at < log.size(); ++at) {
    if (log.compare(at, 2, "0x") == 0) {
      line += '@';
      at = log.find_first_not_of("0123456789abcdef", at + 2) - 1;
    } else if (log[at] == '\n') {
      lines.push_back(std::exchange(line, {}));
    } else {
      line += log[at];
    }
  }
  return lines;
}

TEST_F(RealProgram, WritesTheExpectedLogLines) {
  launch();
  const std::string url = clip();
  ASSERT_EQ(startVideo(url, 7, {{"uuid", "good"}}).status, 0);
  ASSERT_TRUE(nextEvent("playing"));
  playbackInfo();
  EXPECT_EQ(set("position", "d", 1.0), 0);
  EXPECT_EQ(set("rate", "d", 0.0), 0);
  ASSERT_TRUE(nextEvent("paused"));
  EXPECT_EQ(stopVideo(8), 0);
  EXPECT_EQ(stopVideo(7), 0);
  ASSERT_TRUE(process->waitForLine("mediaViewControllerDidDismiss"));
  end();
  const std::vector<std::string> lines = plainLines(process->output());

  // In this order; other lines may be in between.
  const std::string expected[] = {
      "#T:[Main] #Notice #TVSSystemLog : Acquiring process assertion: <ProcessAssertion: @> ",
      "#T:[Main] #Notice #TVVLCommunication : *Vorlane Receiver Configured* ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUIStartVideo: {",
      "    uuid = good;",
      "    \"Content-Location\" = \"" + url + "\";",
      "    sessionID = 7;",
      "} ",
      "#T:[Main] #Notice #TVVLSessionManager : Register session <TVVorlaneURLSession: @> ID: 7 ",
      "#T:[Main] #Notice #TVSSystemLog : Waking device for Vorlane playback ",
      "#T:[Main] #Notice #TVVLCommunication : PostEvent: loading ",
      "#T:[Main] #Notice #TVVLSessionManager : Request presentation for media view controller ",
      "#T:[Main] #Notice #TVVLSessionManager : Complete presentation for media view controller "
      "with "
      "result (success: 1 error: (null)) ",
      "#T:[Main] #Notice #TVVLSession : Media View Controller ready for display "
      "<TVVorlaneMediaViewController: @> ",
      "#T:[Main] #Notice #TVVLSessionManager : mediaViewControllerDidBecomeReady:  "
      "<TVVorlaneMediaViewController: @> ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUIGetProperty: playbackInfo ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUISetProperty (position): 1 ",
      "#T:[Main] #Notice #TVVLSession : Vorlane set position to 1.000000 of 3.000000 (1.000000) ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUISetProperty (rate): 0 ",
      "#T:[Main] #Notice #TVVLSession : Vorlane set rate to 0.000000 ",
      "#T:[Main] #Notice #TVVLCommunication : PostEvent: paused ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUIStopVideo: {",
      "    sessionID = 8;",
      "#T:[Main] #Notice #TVVLCommunication : No active session for vorlaneUIStopVideo: ",
      "#T:[@] #Notice #TVVLCommunication : vorlaneUIStopVideo: {",
      "    sessionID = 7;",
      "#T:[Main] #Notice #TVVLSessionManager : Deregister session <TVVorlaneURLSession: @> ID: 7 "
      "immediately 1 ",
      "#T:[Main] #Notice #TVVLSession : No more active sessions, dismiss. ",
      "#T:[Main] #Notice #TVVLSession : End presentation for session with options: {",
      "#T:[Main] #Notice #TVVLSessionManager : mediaViewControllerDidDismiss:  "
      "<TVVorlaneMediaViewController: @> ",
      "#T:[Main] #Notice #TVSSystemLog : Shutting down after signal 15 ",
  };
  auto line = lines.begin();
  for (const std::string& text : expected) {
    const auto found = std::find(line, lines.end(), text);
    ASSERT_NE(found, lines.end()) << text;
    line = found + 1;
  }
  // Media and window start concurrently, so the position of this line varies.
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       "#T:[Main] #Notice #TVVLCommunication : PostEvent: playing "),
            1);
}

}  // namespace
