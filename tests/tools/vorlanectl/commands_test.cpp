#include <cstdlib>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/vorlanectl/FakeDBusServer.h"

namespace {

using vorlanectl::Json;
using Lines = std::vector<std::string>;

/// Output and exit status of a command line.
struct Result {
  Result(FakeDBusServer& server, const Lines& words) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    status = server.run(words);
    output = testing::internal::GetCapturedStdout();
    errors = testing::internal::GetCapturedStderr();
  }
  int status;
  std::string output;
  std::string errors;
};

TEST(Commands, CallTheBox) {
  const struct {
    Lines words;
    std::string call;
    std::string output;
  } cases[] = {
      {{"pin", "0042"}, R"(Perform "showPIN" {"pin":"0042"})", ""},
      {{"hide-pin"}, R"(Perform "hidePIN" {})", ""},
      {{"incompatible"}, R"(Perform "incompatibleSender" {})", ""},
      {{"audio", "start", "--session", "7", "--param", "muted=true"},
       R"(StartAudio {"sessionID":7,"muted":true})",
       "session 7\n"},
      {{"audio", "progress", "1.5", "60"}, "UpdateAudioProgress 1.5 60.0", ""},
      {{"audio", "stop"}, "StopAudio {}", ""},
      {{"audio", "stop", "--session", "7"}, R"(StopAudio {"sessionID":7})", ""},
      {{"play", "http://a/b", "--session", "7", "--rate", "0"},
       R"(StartVideo {"sessionID":7,"Content-Location":"http://a/b","rate":0.0})",
       "session 7\n"},
      {{"stop", "--session", "7"}, R"(StopVideo {"sessionID":7})", ""},
  };
  for (const auto& one : cases) {
    FakeDBusServer server;
    const Result run(server, one.words);
    EXPECT_EQ(run.status, 0) << one.call << run.errors;
    EXPECT_EQ(server.calls(), Lines{one.call});
    EXPECT_EQ(run.output, one.output);

    FakeDBusServer refusing;
    refusing.status = -6718;
    const Result refused(refusing, one.words);
    EXPECT_EQ(refused.status, 1) << one.call;
    EXPECT_EQ(refused.output, "") << one.call;
    EXPECT_EQ(refused.errors, "vorlanectl: -6718: no such session\n");
  }
}

TEST(Commands, GetPrintsNullWithoutAValue) {
  for (const char* value : {"null", "{}", "[]", "[\n  1\n]", "false"}) {
    FakeDBusServer server;
    server.value = Json::parse(value);
    const Result run(server, {"get", "playbackErrorLog"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, value + std::string("\n"));
  }
}

TEST(Commands, PressButtonsInOrder) {
  const std::pair<Lines, Lines> cases[] = {
      {{"press", "up", "select"}, {R"(Press "up")", R"(Press "select")"}},
      {{"press", "--hold", "0.01", "left", "right"},
       {R"(Hold "left" 0.01)", R"(Hold "right" 0.01)"}}};
  for (const auto& [words, calls] : cases) {
    FakeDBusServer server;
    EXPECT_EQ(Result(server, words).status, 0);
    EXPECT_EQ(server.calls(), calls);
  }
}

TEST(Commands, RejectInvalidArgumentsBeforeTheCall) {
  for (const Lines& words : {Lines{"audio", "play"}, Lines{"audio", "progress", "1"},
                             Lines{"audio", "progress", "1", "x"}, Lines{"audio", "start", "1"},
                             Lines{"audio", "progress", "1", "2", "--session", "7"}, Lines{"pin"},
                             Lines{"hide-pin", "1"}, Lines{"press", "--hold", "61", "up"}}) {
    FakeDBusServer server;
    const Result run(server, words);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(words);
    EXPECT_EQ(server.calls(), Lines()) << testing::PrintToString(words);
  }
}

TEST(Events, ArePrintedOnePerLine) {
  const std::vector<FakeDBusServer::Signal> signals = {
      {"Receiver1", "Event", "playing", {{"sessionID", 7}}},
      {"Notifications1", "Posted", "some.name", nullptr},
      {"Notifications1", "Distributed", "time", {{"elapsed", 1.5}}},
      {"Receiver1", "Event", "stopped", Json::object()}};
  const struct {
    Lines words;
    std::string output;
  } cases[] = {
      {{}, "playing {\"sessionID\":7}\nstopped\n"},
      {{"--json"},
       "{\"event\":\"playing\",\"info\":{\"sessionID\":7}}\n{\"event\":\"stopped\",\"info\":{}}\n"},
      {{"--notifications"},
       "playing {\"sessionID\":7}\nposted some.name\ndistributed time "
       "{\"elapsed\":1.5}\nstopped\n"},
      {{"--notifications", "--json", "--count", "3"},
       "{\"event\":\"playing\",\"info\":{\"sessionID\":7}}\n{\"posted\":\"some.name\"}\n"
       "{\"distributed\":\"time\",\"info\":{\"elapsed\":1.5}}\n"},
      {{"--notifications", "--until", "some.name"},
       "playing {\"sessionID\":7}\nposted some.name\n"},
  };
  for (const auto& one : cases) {
    FakeDBusServer server;
    server.signalsAtOnce = signals;
    Lines words = {"events", "--until", "stopped"};
    words.insert(words.end(), one.words.begin(), one.words.end());
    const Result run(server, words);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, one.output);
  }
}

TEST(Trace, PrintsLogLinesWithTheirTimesAndEvents) {
  setenv("TZ", "UTC", 1);
  tzset();
  FakeDBusServer server;
  server.state = {{"state", "Foreground"}};
  server.signalsAfter["Status"] = {
      {"Box1",
       "Log",
       "#T:[Main] #Notice #TVVLMedia : Paused ",
       {{"time", {{"$date", "2026-11-26T07:05:09.250Z"}}}, {"level", 5}}},
      {"Notifications1", "Posted", "some.name", nullptr},
      {"Receiver1", "Event", "paused", {{"sessionID", 7}}},
      {"Receiver1", "Event", "stopped", Json::object()}};
  const Result run(server, {"trace", "--until", "paused"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(server.calls(), (Lines{"Trace true", "Status"}));
  const std::string time = "[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} ";
  EXPECT_THAT(run.output,
              testing::MatchesRegex(time +
                                    "status [{]\"state\":\"Foreground\"[}]\n"
                                    "07:05:09.250 log #T:.Main. #Notice #TVVLMedia : Paused\n" +
                                    time + "posted some.name\n" + time +
                                    "event paused [{]\"sessionID\":7[}]\n"));
}

TEST(Play, WaitsUntilTheSessionHasEnded) {
  const Json listed = {{"sessions", {{{"type", 1}, {"sessionID", 7}}}}};
  const FakeDBusServer::Signal paused{"Receiver1", "Event", "paused", Json::object()};
  const FakeDBusServer::Signal othersEnd{"Receiver1", "Event", "stopped", {{"sessionID", 8}}};
  const FakeDBusServer::Signal itsEnd{"Receiver1", "Event", "stopped", {{"sessionID", 7}}};
  const Lines words = {"play", "http://a/b", "--session", "7", "--wait"};
  {
    FakeDBusServer server;
    server.state = listed;
    server.signalsAfter["StartVideo"] = {paused, othersEnd, itsEnd};
    EXPECT_EQ(Result(server, words).status, 0);
    EXPECT_EQ(server.calls().size(), 4U) << "checks the status at each event";
    EXPECT_EQ(server.calls().back(), "GetProperty \"playbackInfo\" []");
  }
  {
    // Another client has stopped the session. No event reports that.
    FakeDBusServer server;
    server.state = {{"sessions", {{{"type", 1}, {"sessionID", 8}}}}};
    server.signalsAfter["StartVideo"] = {paused};
    EXPECT_EQ(Result(server, words).status, 0);
    EXPECT_EQ(server.calls().back(), "Status");
  }
  {
    FakeDBusServer server;
    server.status = -6700;
    EXPECT_EQ(Result(server, words).status, 1);
    EXPECT_EQ(server.calls().size(), 1U);
  }
}

TEST(Play, FailsIfTheItemHasFailed) {
  const Json failed = {{"readyToPlay", 0},
                       {"code", -11828},
                       {"domain", "TVSMediaErrorDomain"},
                       {"TVSLocalizedDescription", "The format is not supported."}};
  const std::string error =
      "vorlanectl: the item failed: TVSMediaErrorDomain -11828: The format is not supported.\n";
  const struct {
    const char* description;
    Json end;
    Json info;
    int status;
    std::string errors;
  } cases[] = {
      {"failed", {{"sessionID", 7}, {"reason", "ended"}}, failed, 1, error},
      {"without texts",
       {{"reason", "ended"}},
       {{"code", 404}, {"domain", "D"}},
       1,
       "vorlanectl: the item failed: D 404\n"},
      {"ended", {{"sessionID", 7}, {"reason", "ended"}}, Json::object(), 0, ""},
      // The properties may be those of an earlier session then.
      {"left by the user", {{"sessionID", 7}, {"userExit", true}}, failed, 0, ""},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.description);
    FakeDBusServer server;
    server.value = one.info;
    server.signalsAfter["StartVideo"] = {{"Receiver1", "Event", "stopped", one.end}};
    const Result run(server, {"play", "http://a/b", "--session", "7", "--wait"});
    EXPECT_EQ(run.status, one.status);
    EXPECT_EQ(run.output, "session 7\n");
    EXPECT_EQ(run.errors, one.errors);
  }
}

}  // namespace
