#include "platform/foundation/Value.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;
using ::testing::Test;
using testing_dbus::Answer;
using testing_dbus::Client;
using testing_dbus::DBusServerFixture;

class DBusServer : public DBusServerFixture {};

TEST_F(DBusServer, PassesCallsToTheDelegateAndReturnsItsStatus) {
  openServer();
  const auto peer = client();
  delegate->status = -6718;
  delegate->out = {{"code", -6718}};
  const Dictionary params{{"sessionID", std::uint32_t{7}}, {"Content-Location", "http://a/b"}};
  const auto progress = [](sd_bus_message* m) { sd_bus_message_append(m, "dd", 1.5, 20.0); };
  const struct {
    const char* call;
    std::function<Answer()> make;
    bool hasOut;
    bool takesParams;
  } cases[] = {
      {"perform some", [&] { return peer->perform("some", params); }, true, true},
      {"start presentation", [&] { return peer->callWith("StartPresentation", params); }, true,
       true},
      {"start audio", [&] { return peer->callWith("StartAudio", params); }, true, true},
      {"start video", [&] { return peer->callWith("StartVideo", params); }, true, true},
      {"stop presentation", [&] { return peer->callWith("StopPresentation", params); }, false,
       true},
      {"stop audio", [&] { return peer->callWith("StopAudio", params); }, false, true},
      {"stop video", [&] { return peer->callWith("StopVideo", params); }, false, true},
      {"metadata", [&] { return peer->callWith("UpdateAudioMetaData", params); }, false, true},
      {"show", [&] { return peer->call("ShowProgress"); }, false, false},
      {"hide", [&] { return peer->call("HideProgress"); }, false, false},
      {"progress", [&] { return peer->call("UpdateAudioProgress", progress); }, false, false},
  };
  for (const auto& one : cases) {
    const Answer answer = one.make();
    EXPECT_EQ(answer.error, "") << one.call;
    EXPECT_EQ(answer.status, -6718) << one.call;
    EXPECT_EQ(answer.out, one.hasOut ? delegate->out : Dictionary()) << one.call;
    ASSERT_FALSE(delegate->calls().empty());
    EXPECT_EQ(delegate->calls().back(), one.call);
    if (one.takesParams) {
      EXPECT_EQ(delegate->lastArgument(), Value(params)) << one.call;
    }
  }
  EXPECT_EQ(delegate->lastArgument(), Value(Array{1.5, 20.0}));
  EXPECT_EQ(peer->call("Activity").error, "");
  EXPECT_EQ(delegate->calls().back(), "activity");
}

TEST_F(DBusServer, ReadsAndWritesProperties) {
  openServer();
  const auto peer = client();
  delegate->value = Dictionary{{"rate", 1.0}};
  Answer answer = peer->getProperty("playbackInfo");
  EXPECT_EQ(answer.status, 0);
  EXPECT_EQ(answer.value, delegate->value);
  EXPECT_TRUE(delegate->lastQualifier().isNone());

  // The value is returned with an error status too.
  delegate->status = -6735;
  answer = peer->call("GetProperty",
                      [](sd_bus_message* m) { sd_bus_message_append(m, "sav", "x", 1, "i", 2); });
  EXPECT_EQ(answer.status, -6735);
  EXPECT_EQ(answer.value, delegate->value);
  EXPECT_EQ(delegate->lastQualifier(), Value(2));

  delegate->value = {};
  EXPECT_TRUE(peer->getProperty("x").value.isNone());

  answer = peer->call("SetProperty", [](sd_bus_message* m) {
    sd_bus_message_append(m, "savv", "position", 1, "s", "q", "d", 2.5);
  });
  EXPECT_EQ(answer.status, -6735);
  EXPECT_EQ(delegate->calls().back(), "set position");
  EXPECT_EQ(delegate->lastArgument(), Value(2.5));
  EXPECT_EQ(delegate->lastQualifier(), Value("q"));
}

TEST_F(DBusServer, RepliesWithoutADelegate) {
  openServer();
  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").status, 0);
  delegate.reset();
  EXPECT_EQ(peer->getProperty("x").status, -6700);
  EXPECT_EQ(peer->perform("x", {}).out.number("code"), platform::Number(-6700));
  EXPECT_EQ(peer->callWith("StopVideo", {}).status, -6700);
}

TEST_F(DBusServer, RejectsFatalCallsOnly) {
  isFatal = [](const std::string&, const Dictionary& params) { return params.contains("fatal"); };
  openServer();
  const auto peer = client();
  const Dictionary fatal{{"fatal", true}};
  const struct {
    const char* action;  // null: StartVideo
    Dictionary params;
    int refusal;  // 0: the call is passed to the application
  } cases[] = {{nullptr, {}, -6705},
               {nullptr, {{"Content-Location", 5}}, 0},
               {nullptr, {{"Content-Location", ""}}, 0},
               {"playlistRemove", fatal, -6705},
               {"playlistRemove", {}, 0},
               {"requestForStreamingKey", fatal, -6727},
               {"requestForStreamingKey", {}, 0},
               {"anything", fatal, 0}};
  for (const auto& [action, params, status] : cases) {
    SCOPED_TRACE(params.description());
    const auto refusals = lines("Rejected ");
    const auto calls = delegate->calls().size();
    const Answer answer =
        action ? peer->perform(action, params) : peer->callWith("StartVideo", params);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(lines("Rejected "), refusals + (status == 0 ? 0 : 1));
    EXPECT_EQ(delegate->calls().size(), calls + (status == 0 ? 1 : 0));
    if (status == 0) continue;
    EXPECT_EQ(answer.out,
              (Dictionary{{"code", status}, {"domain", platform::kStatusCodeErrorDomain}}));
  }
}

TEST_F(DBusServer, RejectsInvalidValues) {
  openServer();
  const auto peer = client();
  const auto unknown = [](sd_bus_message* m) {
    sd_bus_message_append(m, "a{sv}", 1, "k", "g", "ai");
  };
  for (const char* method : {"StartVideo", "StartAudio", "StartPresentation", "StopVideo",
                             "StopAudio", "StopPresentation", "UpdateAudioMetaData"}) {
    EXPECT_EQ(peer->call(method, unknown).status, -6756) << method;
  }
  EXPECT_EQ(peer->call("Perform",
                       [](sd_bus_message* m) {
                         sd_bus_message_append(m, "sa{sv}", "x", 1, "k", "as", 1, "a");
                       })
                .status,
            -6756);
  EXPECT_EQ(
      peer->call("GetProperty",
                 [](sd_bus_message* m) { sd_bus_message_append(m, "sav", "x", 2, "i", 1, "i", 2); })
          .status,
      -6756);
  EXPECT_EQ(
      peer->call("SetProperty",
                 [](sd_bus_message* m) { sd_bus_message_append(m, "savv", "x", 0, "o", "/"); })
          .status,
      -6756);
  EXPECT_EQ(peer->call("GetProperty",
                       [](sd_bus_message* m) {
                         char* text = nullptr;
                         sd_bus_message_append_string_space(m, 2, &text);
                         std::memcpy(text, "\xC3\x28", 3);
                         sd_bus_message_append(m, "av", 0);
                       })
                .status,
            -6756);
  EXPECT_EQ(lines("a string is not UTF-8"), 1);
  EXPECT_TRUE(delegate->calls().empty());
  EXPECT_EQ(peer->getProperty("x").status, 0) << "the connection stays open";
}

TEST_F(DBusServer, RejectsAWrongSignatureWithADBusError) {
  openServer();
  const auto peer = client();
  const auto text = [](sd_bus_message* m) { sd_bus_message_append(m, "s", "x"); };
  EXPECT_EQ(peer->call("GetProperty", text).error, SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(peer->call("StartVideo").error, SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(peer->call("Nothing").error, SD_BUS_ERROR_UNKNOWN_METHOD);
  EXPECT_TRUE(delegate->calls().empty());
}

TEST_F(DBusServer, SendsEventsOfACallAfterItsReply) {
  openServer();
  const auto peer = client();
  peer->ready();
  delegate->whileCalled = [&] { post("loading", {{"n", 1}}); };
  sd_bus_message* call = peer->newCall(
      "GetProperty", [](sd_bus_message* m) { sd_bus_message_append(m, "sav", "x", 0); });
  std::vector<std::string> order;
  sd_bus_call_async(
      peer->bus(), nullptr, call,
      [](sd_bus_message*, void* userData, sd_bus_error*) {
        static_cast<std::vector<std::string>*>(userData)->push_back("reply");
        return 0;
      },
      &order, 0);
  sd_bus_message_unref(call);
  const auto event = peer->nextEvent();
  ASSERT_TRUE(event);
  EXPECT_EQ(event->name, "loading");
  EXPECT_EQ(event->info, (Dictionary{{"n", 1}}));
  EXPECT_EQ(order, std::vector<std::string>{"reply"}) << "the reply is sent before the event";
}

}  // namespace
