#include <tvvorlane/client.hpp>

#include "platform/foundation/Value.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::Array;
using platform::Dictionary;
using testing_dbus::DBusServerFixture;
using testing_dbus::kPatienceMilliseconds;
using tvvorlane::Client;
using tvvorlane::Reply;
using tvvorlane::Value;

/// Tests the installed library against a real D-Bus server.
class ClientLibrary : public DBusServerFixture {
 protected:
  /// Polls the descriptor and dispatches until `holds` returns true.
  static bool dispatchUntil(Client& box, const std::function<bool()>& holds) {
    while (!holds()) {
      pollfd ready{box.descriptor(), POLLIN, 0};
      if (poll(&ready, 1, kPatienceMilliseconds) != 1) return false;
      box.dispatch();
    }
    return true;
  }
  /// Makes a call and waits for its completion.
  static Reply answer(Client& box, const std::function<int(Client::Completion)>& call) {
    std::optional<Reply> reply;
    const int result = call([&](const Reply& came) { reply = came; });
    EXPECT_EQ(result, TVVORLANE_OK);
    dispatchUntil(box, [&] { return reply.has_value(); });
    return reply.value_or(Reply{TVVORLANE_FAILED, 0, {}});
  }
};

TEST_F(ClientLibrary, MakesEveryCall) {
  openServer();
  Client box;
  ASSERT_EQ(box.open(options.socketPath), TVVORLANE_OK);
  const Value params{{"sessionID", 7}, {"Content-Location", "http://a/b"}};
  using Done = Client::Completion;
  const struct {
    const char* call;
    std::function<int(Done)> make;
    bool hasValue = false;
  } cases[] = {
      {"get rate", [&](Done done) { return box.getProperty("rate", done); }, true},
      {"set rate", [&](Done done) { return box.setProperty("rate", 1, done); }},
      {"perform pin", [&](Done done) { return box.perform("pin", {}, done); }, true},
      {"start presentation", [&](Done done) { return box.startPresentation({}, done); }, true},
      {"stop presentation", [&](Done done) { return box.stopPresentation(params, done); }},
      {"start audio", [&](Done done) { return box.startAudio(params, done); }, true},
      {"stop audio", [&](Done done) { return box.stopAudio(params, done); }},
      {"start video", [&](Done done) { return box.startVideo(params, done); }, true},
      {"stop video", [&](Done done) { return box.stopVideo(params, done); }},
      {"metadata", [&](Done done) { return box.updateAudioMetadata(params, done); }},
      {"progress", [&](Done done) { return box.updateAudioProgress(1, 2, done); }},
      {"show", [&](Done done) { return box.showProgress(done); }},
      {"hide", [&](Done done) { return box.hideProgress(done); }},
  };
  delegate->out = {{"layer", "/run/x"}};
  delegate->value = Dictionary{{"layer", "/run/x"}};
  for (const auto& each : cases) {
    for (const int status : {0, -6705}) {
      delegate->status = status;
      const Reply reply = answer(box, each.make);
      EXPECT_EQ(reply.result, TVVORLANE_OK) << each.call;
      EXPECT_EQ(reply.status, status) << each.call;
      EXPECT_EQ(delegate->calls().back(), each.call);
      if (status == 0) {
        EXPECT_EQ(reply.value["layer"].string(), each.hasValue ? "/run/x" : "") << each.call;
      }
    }
  }
  EXPECT_EQ(answer(box, [&](Done done) { return box.activity(done); }).result, TVVORLANE_OK);
  EXPECT_EQ(delegate->calls().back(), "activity");
}

TEST_F(ClientLibrary, ValuesRoundTrip) {
  openServer();
  Client box;
  ASSERT_EQ(box.open(options.socketPath), TVVORLANE_OK);
  const std::vector<std::uint8_t> bytes{0, 255, 7};
  const Value sent = Value::array({nullptr, true, -3, 3000000000LL, -(1LL << 40),
                                   18446744073709551615ULL, 0.5, "größe", bytes, Value::date(1.5),
                                   Value::array({}), Value{{"a", Value{{"b", 1}}}}});
  answer(box, [&](auto done) { return box.setProperty("x", sent, done, "why"); });
  EXPECT_EQ(delegate->lastQualifier(), platform::Value("why"));
  ASSERT_TRUE(delegate->lastArgument().asArray());
  EXPECT_EQ((*delegate->lastArgument().asArray())[3], platform::Value(std::int64_t{3000000000}));

  delegate->value = delegate->lastArgument();
  const Value read = answer(box, [&](auto done) { return box.getProperty("x", done); }).value;
  ASSERT_EQ(read.count(), sent.count());
  for (std::size_t index = 0; index < sent.count(); ++index) {
    const Value was = sent.at(index);
    const Value is = read.at(index);
    EXPECT_EQ(is.type(), was.type()) << index;
    EXPECT_EQ(is.boolean(), was.boolean()) << index;
    EXPECT_EQ(is.integer(), was.integer()) << index;
    EXPECT_EQ(is.unsignedInteger(), was.unsignedInteger()) << index;
    EXPECT_EQ(is.real(), was.real()) << index;
    EXPECT_EQ(is.string(), was.string()) << index;
    EXPECT_EQ(is.data(), was.data()) << index;
    EXPECT_EQ(is.keyAt(0), was.keyAt(0)) << index;
  }
  EXPECT_EQ(read.at(11)["a"]["b"].integer(), 1);
  EXPECT_EQ(read.at(2).unsignedInteger(9), 9U) << "negative numbers are not unsigned";
  EXPECT_EQ(Value(1e300).integer(9), 9);

  delegate->value = {};
  EXPECT_FALSE(answer(box, [&](auto done) { return box.getProperty("x", done); }).value);
  EXPECT_EQ(box.setProperty("x", {}), TVVORLANE_INVALID);
  EXPECT_EQ(box.startVideo("text"), TVVORLANE_INVALID);
}

TEST_F(ClientLibrary, ReceivesEventsInOrder) {
  openServer();
  Client box;
  std::vector<std::string> heard;
  box.onEvent([&](std::string_view name, const Value& info) {
    heard.push_back(std::string(name) + " " + std::to_string(info["n"].integer(-1)));
  });
  ASSERT_EQ(box.open(options.socketPath), TVVORLANE_OK);
  answer(box, [&](auto done) { return box.activity(done); });
  for (int number = 0; number < 200; ++number) post("event", {{"n", number}});
  EXPECT_TRUE(dispatchUntil(box, [&] { return heard.size() == 200; }));
  for (std::size_t number = 0; number < heard.size(); ++number) {
    EXPECT_EQ(heard[number], "event " + std::to_string(number));
  }
}

TEST_F(ClientLibrary, CompletesEachCallExactlyOnce) {
  openServer();
  std::optional<Client> box(std::in_place);
  int closed = 0;
  box->onClosed([&](int) { ++closed; });
  std::vector<int> results;
  const auto note = [&](const Reply& reply) { results.push_back(reply.result); };

  // The client is closed by a completion while another call is pending.
  ASSERT_EQ(box->open(options.socketPath), TVVORLANE_OK);
  bool gone = false;
  box->getProperty("x", [&](const Reply&) {
    box->getProperty("y", note);
    box.reset();
    gone = true;
  });
  EXPECT_TRUE(dispatchUntil(*box, [&] { return gone; }));
  EXPECT_EQ(results, std::vector<int>{TVVORLANE_CLOSED});

  // The connection is closed by the box.
  box.emplace();
  box->onClosed([&](int) { ++closed; });
  ASSERT_EQ(box->open(options.socketPath), TVVORLANE_OK);
  answer(*box, [&](auto done) { return box->activity(done); });
  onMain([&] { server->close(); });
  results.clear();
  // The call fails at once if it already detects the closed connection, otherwise in its
  // completion.
  if (const int made = box->getProperty("x", note)) results.push_back(made);
  EXPECT_TRUE(dispatchUntil(*box, [&] { return closed == 1; }));
  EXPECT_EQ(results, std::vector<int>{TVVORLANE_CLOSED});
  EXPECT_EQ(box->getProperty("x", note), TVVORLANE_CLOSED);
  EXPECT_EQ(box->dispatch(), TVVORLANE_CLOSED);
  EXPECT_EQ(box->open(options.socketPath), TVVORLANE_NO_BOX);
  EXPECT_EQ(box->open(std::string(300, 'x')), TVVORLANE_INVALID);
}

}  // namespace
