#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <gtest/gtest.h>

#include "box/relay/LoopbackRelay.h"
#include "tests/box/relay/Client.h"
#include "tests/box/relay/ScriptedServer.h"

namespace box {
namespace {

using Answer = ScriptedServer::Answer;
using Then = Answer::Then;
using platform::URLErrorCode;

RelayBounds shortBounds() {
  using std::chrono::milliseconds;
  RelayBounds bounds;
  bounds.connect = milliseconds(2000);
  bounds.stall = milliseconds(60);
  bounds.backOff = {milliseconds(1), milliseconds(1), milliseconds(1)};
  return bounds;
}

std::string ok(const std::string& fields, const std::string& body) {
  return "HTTP/1.1 200 OK\r\n" + fields + "\r\n" + body;
}

std::string sized(const std::string& body, const std::string& fields = {}) {
  return ok(fields + "Content-Length: " + std::to_string(body.size()) + "\r\n", body);
}

std::string redirect(const std::string& target) {
  return "HTTP/1.1 302 Found\r\nLocation: " + target + "\r\nContent-Length: 0\r\n\r\n";
}

std::string gzipped(const std::string& text) {
  std::string packed(text.size() / 100 + 1024, '\0');
  GZlibCompressor* packer = g_zlib_compressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP, 9);
  gsize read = 0;
  gsize written = 0;
  g_converter_convert(G_CONVERTER(packer), text.data(), text.size(), packed.data(), packed.size(),
                      G_CONVERTER_INPUT_AT_END, &read, &written, nullptr);
  g_object_unref(packer);
  packed.resize(written);
  return packed;
}

struct Fault {
  const char* name;
  std::vector<Answer> answers;
  long status;
  std::string body;                   // what the engine gets
  std::optional<std::int64_t> error;  // none: the body is whole
  std::size_t requests;
  std::vector<std::string> lastRequestHas = {};
  std::string path = "/a";
};

constexpr std::int64_t code(URLErrorCode value) { return static_cast<std::int64_t>(value); }

// What it does when a server does what servers should not.
TEST(RelayFaults, EndInTheRestOfTheBodyOrOneError) {
  const auto bad = code(URLErrorCode::BadServerResponse);
  const auto lost = code(URLErrorCode::NetworkConnectionLost);
  const std::string first = "The first of two parts, ";
  const std::string second = "and the second one.";
  const std::string both = first + second;
  const std::string half = ok("ETag: \"x\"\r\nContent-Length: 43\r\n", first);
  const std::string rest =
      "HTTP/1.1 206 Partial\r\nContent-Range: bytes 24-42/43\r\n"
      "Content-Length: 19\r\n\r\n" +
      second;
  const std::string otherTotal =
      "HTTP/1.1 206 Partial\r\nContent-Range: bytes 24-43/44\r\n"
      "Content-Length: 20\r\n\r\n" +
      second + "!";
  const std::string busy = "HTTP/1.1 503 Busy\r\nContent-Length: 4\r\n\r\nbusy";
  std::string much = "#EXTM3U\n";
  while (much.size() < 64u << 20) much.append(60'000, '#').append("\n");
  const std::string bomb = gzipped(much);
  const std::vector<Fault> faults = {
      {"busy, then not", {{busy}, {sized("body")}}, 200, "body", {}, 2},
      {"busy for ever", {{busy}}, 503, "", 503, 4},
      {"not there", {{"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n"}}, 404, "", 404, 1},
      {"closed in the middle",
       {{half, Then::Close}, {rest}},
       200,
       both,
       {},
       2,
       {"\r\nRange: bytes=24-", "\r\nIf-Range: \"x\""}},
      {"silent in the middle", {{half, Then::Hang}, {rest}}, 200, both, {}, 2},
      {"closed, and busy meanwhile", {{half, Then::Close}, {busy}, {rest}}, 200, both, {}, 3},
      {"begins anew", {{half, Then::Close}, {sized(both)}}, 200, first, lost, 2},
      {"has changed", {{half, Then::Close}, {otherTotal}}, 200, first, lost, 2},
      {"always too short",
       {{half, Then::Close}, {rest.substr(0, rest.size() - second.size()), Then::Close}},
       200,
       first,
       lost,
       4},
      {"closed at once", {{"", Then::Close}}, 502, "", lost, 4},
      {"silent", {{"", Then::Hang}}, 502, "", code(URLErrorCode::TimedOut), 1},
      {"silent in the header",
       {{"HTTP/1.1 200 OK\r\nX: y", Then::Hang}},
       502,
       "",
       code(URLErrorCode::TimedOut),
       1},
      {"endless header", {{"HTTP/1.1 200 OK\r\n"}, {}}, 502, "", bad, 1},
      {"endless interim answers",
       {{"HTTP/1.1 100 Continue\r\n\r\n", Then::Hang, 20'000}},
       502,
       "",
       bad,
       1},
      {"no HTTP", {{"RTSP/1.0 200 OK\r\n\r\n", Then::Close}}, 502, "", bad, 1},
      {"redirected for ever", {{redirect("/a")}}, 502, "", bad, 11},
      {"redirected to a file", {{redirect("file:///etc/passwd")}}, 502, "", bad, 1},
      {"packed as nobody asked", {{sized("xy", "Content-Encoding: br\r\n")}}, 502, "", bad, 1},
      {"packed text",
       {{sized(gzipped("a text"), "Content-Encoding: gzip\r\n")}},
       200,
       "a text",
       {},
       1,
       {"\r\nAccept-Encoding: gzip, deflate"}},
      {"packed bomb",
       {{sized(bomb, "Content-Encoding: gzip\r\n")}},
       200,
       "#EXTM3U\n",
       bad,
       1,
       {},
       "/a.m3u8"},
  };
  for (const Fault& fault : faults) {
    SCOPED_TRACE(fault.name);
    ScriptedServer server;
    auto answers = fault.answers;
    if (fault.name == std::string("endless header"))
      answers = {{"HTTP/1.1 200 OK\r\n" + std::string(300'000, 'x'), Then::Hang}};
    server.script(fault.path, answers);
    LoopbackRelay relay({}, shortBounds());
    RelayItemSetup setup;
    setup.url = server.url(fault.path);
    const auto item = relay.open(setup, nullptr);
    ASSERT_TRUE(item);
    Client client;
    const Reply reply = client.get(item->url());
    EXPECT_EQ(reply.status, fault.status);
    // Of what breaks off, nobody can say how much is under way still.
    if (fault.error)
      EXPECT_TRUE(fault.body.starts_with(reply.body.substr(0, fault.body.size())));
    else
      EXPECT_EQ(reply.body, fault.body);
    EXPECT_EQ(reply.code == CURLE_OK, !fault.error || fault.status != 200);
    const auto failure = item->failure();
    ASSERT_EQ(failure.has_value(), fault.error.has_value());
    if (failure) {
      EXPECT_FALSE(item->isBusy());
      EXPECT_EQ(failure->code, *fault.error) << failure->description();
    }
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), fault.requests);
    for (const std::string& text : fault.lastRequestHas)
      EXPECT_NE(requests.back().find(text), std::string::npos) << requests.back();
  }
}

TEST(RelayFaults, OfConnectionsAreNotTriedAgain) {
  std::string closedPort;
  {
    const ScriptedServer server;
    closedPort = server.url("/a");
  }
  const struct {
    std::string url;
    URLErrorCode error;
  } faults[] = {{closedPort, URLErrorCode::CannotConnectToHost},
                {"http://nowhere.invalid/a", URLErrorCode::CannotFindHost},
                {"x-demo:unasked", URLErrorCode::UnsupportedURL}};
  LoopbackRelay relay({}, shortBounds());
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.url);
    RelayItemSetup setup;
    setup.url = fault.url;
    const auto item = relay.open(setup, nullptr);
    Client client;
    EXPECT_EQ(client.get(item->url()).status, 502);
    ASSERT_TRUE(item->failure());
    EXPECT_EQ(item->failure()->code, code(fault.error));
    EXPECT_LE(item->statistics().requestCount, 1u);
  }
}

// A failure is forgotten when media flow again, and a number of an hour's length passes unharmed.
TEST(RelayFaults, AreForgottenOnceMediaPass) {
  ScriptedServer server;
  server.script("/b", {{sized("media")}});
  server.script("/big", {{"HTTP/1.1 200 OK\r\nContent-Length: 4294967300\r\n\r\n"}});
  LoopbackRelay relay({}, shortBounds());
  RelayItemSetup setup;
  setup.url = server.url("/missing");
  const auto item = relay.open(setup, nullptr);
  Client client;
  EXPECT_EQ(client.get(item->url()).status, 404);
  EXPECT_TRUE(item->failure());
  EXPECT_EQ(client.get(item->urlFor(server.url("/b"))).body, "media");
  EXPECT_FALSE(item->failure());
  EXPECT_EQ(client.get(item->urlFor(server.url("/big")), nullptr, true).field("Content-Length"),
            "4294967300");
}

}  // namespace
}  // namespace box
