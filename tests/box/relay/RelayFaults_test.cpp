#include <chrono>
#include <memory>

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
  bounds.stall = milliseconds(300);
  bounds.backOff = {milliseconds(1), milliseconds(1), milliseconds(1)};
  return bounds;
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

constexpr std::int64_t code(URLErrorCode value) { return static_cast<std::int64_t>(value); }

// What it does when a server does what servers should not.
TEST(RelayFaults, EndInTheRestOfTheBodyOrOneError) {
  const auto bad = code(URLErrorCode::BadServerResponse);
  const auto lost = code(URLErrorCode::NetworkConnectionLost);
  const auto late = code(URLErrorCode::TimedOut);
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string first = "The first of two parts, ";
  const std::string second = "and the second one.";
  const std::string both = first + second;
  const Answer cut{ok + "ETag: \"x\"\r\nContent-Length: 43\r\n\r\n" + first, Then::Close};
  const Answer silent{cut.bytes, Then::Hang};
  const std::string partial = "HTTP/1.1 206 Partial\r\nContent-Range: bytes ";
  const std::string empty = partial + "24-42/43\r\nContent-Length: 19\r\n\r\n";
  const Answer rest{empty + second};
  const Answer otherTotal{partial + "24-43/44\r\nContent-Length: 20\r\n\r\n" + second + "!"};
  const Answer busy{"HTTP/1.1 503 Busy\r\nContent-Length: 4\r\n\r\nbusy"};
  const Answer noHTTP{"RTSP/1.0 200 OK\r\n\r\n", Then::Close};
  const Answer longHead{ok + std::string(300'000, 'x'), Then::Hang};
  const Answer interim{"HTTP/1.1 100 Continue\r\n\r\n", Then::Hang, 20'000};
  std::string much = "#EXTM3U\n";
  while (much.size() < 64u << 20) much.append(60'000, '#').append("\n");
  const auto packed = [](const std::string& text) {
    return Answer{sized(gzipped(text), "Content-Encoding: gzip\r\n")};
  };
  const struct {
    const char* name;
    std::vector<Answer> answers;
    std::size_t requests;
    long status;
    std::string body;                        // what the engine gets
    std::optional<std::int64_t> error = {};  // none: the body is whole
    std::vector<std::string> lastRequestHas = {};
  } faults[] = {
      {"busy, then not", {busy, {sized("body")}}, 2, 200, "body"},
      {"busy for ever", {busy}, 4, 503, "", 503},
      {"not there", {{"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n"}}, 1, 404, "", 404},
      {"closed in the middle",
       {cut, rest},
       2,
       200,
       both,
       {},
       {"Range: bytes=24-", "If-Range: \"x\""}},
      {"silent in the middle", {silent, rest}, 2, 200, both},
      {"closed, and busy meanwhile", {cut, busy, rest}, 3, 200, both},
      {"begins anew", {cut, {sized(both)}}, 2, 200, first, lost},
      {"begins the same anew", {cut, {sized(both, "ETag: \"x\"\r\n")}}, 2, 200, both},
      {"has changed", {cut, otherTotal}, 2, 200, first, lost},
      {"always too short", {cut, {empty, Then::Close}}, 4, 200, first, lost},
      {"closed at once", {{"", Then::Close}}, 4, 502, "", lost},
      {"silent", {{"", Then::Hang}}, 1, 502, "", late},
      {"silent in the header", {{ok + "X: y", Then::Hang}}, 1, 502, "", late},
      {"endless header", {longHead}, 1, 502, "", bad},
      {"endless interim answers", {interim}, 1, 502, "", bad},
      {"no HTTP", {noHTTP}, 1, 502, "", bad},
      {"redirected for ever", {{redirect("/a")}}, 11, 502, "", bad},
      {"redirected to a file", {{redirect("file:///etc/passwd")}}, 1, 502, "", bad},
      {"packed as nobody asked", {{sized("xy", "Content-Encoding: br\r\n")}}, 1, 502, "", bad},
      {"packed text", {packed("a text")}, 1, 200, "a text", {}, {"Accept-Encoding: gzip, deflate"}},
      {"packed bomb", {packed(much)}, 1, 200, "#EXTM3U\n", bad},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.name);
    ScriptedServer server;
    const std::string path = fault.name == std::string("packed bomb") ? "/a.m3u8" : "/a";
    server.script(path, fault.answers);
    LoopbackRelay relay({}, shortBounds());
    RelayItemSetup setup;
    setup.url = server.url(path);
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
      EXPECT_NE(requests.back().find("\r\n" + text), std::string::npos) << requests.back();
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

TEST(RelayFaults, OfLiveSegmentsAreGaps) {
  for (const bool isLive : {false, true}) {
    SCOPED_TRACE(isLive);
    ScriptedServer server;
    server.script("/a.m3u8", {{sized(std::string("#EXTM3U\n#EXTINF:1,\nmissing.ts\n") +
                                     (isLive ? "" : "#EXT-X-ENDLIST\n"))}});
    LoopbackRelay relay({}, shortBounds());
    RelayItemSetup setup;
    setup.url = server.url("/a.m3u8");
    const auto item = relay.open(setup, nullptr);
    Client client;
    EXPECT_EQ(client.get(item->url()).status, 200);
    const Reply segment = client.get(item->urlFor(server.url("/missing.ts")));
    EXPECT_EQ(segment.status, isLive ? 200 : 404);
    EXPECT_EQ(segment.body, "");
    EXPECT_EQ(item->failure()->code, 404);
    EXPECT_EQ(client.get(item->urlFor(server.url("/map.mp4"))).status,
              isLive ? kClasslessStatus : 404);
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
