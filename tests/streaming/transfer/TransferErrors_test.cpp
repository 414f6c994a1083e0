#include <chrono>
#include <memory>

#include <gtest/gtest.h>

#include "streaming/transfer/TransferService.h"
#include "tests/streaming/transfer/ScriptedServer.h"
#include "tests/streaming/transfer/TransferClient.h"

namespace streaming {
namespace {

using Response = ScriptedServer::Response;
using Then = Response::Then;
using platform::URLErrorCode;

TransferLimits shortLimits() {
  using std::chrono::milliseconds;
  TransferLimits limits;
  limits.connect = milliseconds(2000);
  limits.stall = milliseconds(300);
  limits.backOff = {milliseconds(1), milliseconds(1), milliseconds(1)};
  return limits;
}

std::string redirectTo(const std::string& target) {
  return "HTTP/1.1 302 Found\r\nLocation: " + target + "\r\nContent-Length: 0\r\n\r\n";
}

constexpr std::int64_t codeOf(URLErrorCode value) { return static_cast<std::int64_t>(value); }

TEST(TransferErrors, AreResumedOrReportedOnce) {
  const auto bad = codeOf(URLErrorCode::BadServerResponse);
  const auto lost = codeOf(URLErrorCode::NetworkConnectionLost);
  const auto late = codeOf(URLErrorCode::TimedOut);
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string first = "The first of two parts, ";
  const std::string second = "and the second one.";
  const std::string both = first + second;
  const Response cut{ok + "ETag: \"x\"\r\nContent-Length: 43\r\n\r\n" + first, Then::Close};
  const Response silent{cut.bytes, Then::Hang};
  const std::string partial = "HTTP/1.1 206 Partial\r\nContent-Range: bytes ";
  const std::string empty = partial + "24-42/43\r\nContent-Length: 19\r\n\r\n";
  const Response rest{empty + second};
  const Response otherTotal{partial + "24-43/44\r\nContent-Length: 20\r\n\r\n" + second + "!"};
  const Response busy{"HTTP/1.1 503 Busy\r\nContent-Length: 4\r\n\r\nbusy"};
  const Response noHTTP{"RTSP/1.0 200 OK\r\n\r\n", Then::Close};
  const Response longHead{ok + std::string(300'000, 'x'), Then::Hang};
  const Response interim{"HTTP/1.1 100 Continue\r\n\r\n", Then::Hang, 20'000};
  std::string trailers = ok + "Transfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n";
  for (int line = 0; line < 40'000; ++line) trailers += "X: yyyy\r\n";
  const struct {
    const char* name;
    std::vector<Response> responses;
    std::size_t requests;
    std::string body;
    std::optional<std::int64_t> error = {};
    std::vector<std::string> lastRequestHas = {};
  } cases[] = {
      {"busy once", {busy, {sized("body")}}, 2, "body"},
      {"always busy", {busy}, 4, "", 503},
      {"missing", {{"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n"}}, 1, "", 404},
      {"closed in the middle", {cut, rest}, 2, both, {}, {"Range: bytes=24-", "If-Range: \"x\""}},
      {"silent in the middle", {silent, rest}, 2, both},
      {"closed, then busy once", {cut, busy, rest}, 3, both},
      {"restarts with other content", {cut, {sized(both)}}, 2, first, lost},
      {"restarts with the same content", {cut, {sized(both, "ETag: \"x\"\r\n")}}, 2, both},
      {"has changed", {cut, otherTotal}, 2, first, lost},
      {"always too short", {cut, {empty, Then::Close}}, 4, first, lost},
      {"closed at once", {{"", Then::Close}}, 4, "", lost},
      {"silent", {{"", Then::Hang}}, 1, "", late},
      {"silent in the header", {{ok + "X: y", Then::Hang}}, 1, "", late},
      {"endless header", {longHead}, 1, "", bad},
      {"endless interim responses", {interim}, 1, "", bad},
      {"endless trailers", {{trailers, Then::Hang}}, 1, "body", bad},
      {"not HTTP", {noHTTP}, 1, "", bad},
      {"endless redirects", {{redirectTo("/a")}}, 11, "", bad},
      {"redirected to a file", {{redirectTo("file:///etc/passwd")}}, 1, "", bad},
      {"another range", {{partial + "0-3/9\r\nContent-Length: 4\r\n\r\nabcd"}}, 1, "abcd"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    ScriptedServer server;
    server.script("/a", each.responses);
    const auto service = TransferService::make({}, shortLimits());
    ItemSetup setup;
    setup.url = server.url("/a");
    const auto item = service->open(setup);
    const Outcome outcome = fetch(*item, setup.url);
    EXPECT_EQ(outcome.body, each.body);
    EXPECT_EQ(outcome.code(), each.error) << (outcome.error ? outcome.error->description() : "");
    EXPECT_FALSE(item->isBusy());
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), each.requests);
    for (const std::string& text : each.lastRequestHas)
      EXPECT_NE(requests.back().find("\r\n" + text), std::string::npos) << requests.back();
  }
}

TEST(TransferErrors, OfConnectionsAndURLsAreNotRetried) {
  std::string closedPort;
  {
    const ScriptedServer server;
    closedPort = server.url("/a");
  }
  const struct {
    std::string url;
    URLErrorCode error;
  } cases[] = {{closedPort, URLErrorCode::CannotConnectToHost},
               {"http://nowhere.invalid/a", URLErrorCode::CannotFindHost},
               {"x-demo:unasked", URLErrorCode::UnsupportedURL},
               {"data:no-comma", URLErrorCode::BadURL},
               {"file:///no/such/file", URLErrorCode::FileDoesNotExist},
               {"file:///dev/zero", URLErrorCode::NoPermissionToReadFile},
               {"nothing", URLErrorCode::BadURL}};
  const auto service = TransferService::make({}, shortLimits());
  for (const auto& each : cases) {
    SCOPED_TRACE(each.url);
    ItemSetup setup;
    setup.url = each.url;
    const auto item = service->open(setup);
    EXPECT_EQ(fetch(*item, each.url).code(), codeOf(each.error));
    EXPECT_LE(item->statistics().requestCount, 1U);
  }
}

TEST(TransferErrors, ASlowTransferTimesOut) {
  ScriptedServer server;
  server.script("/slow", {{"HTTP/1.1 200 OK\r\nContent-Length: 900\r\n\r\nbegin", Then::Hang}});
  TransferLimits limits = shortLimits();
  limits.stall = std::chrono::milliseconds(60'000);
  limits.slow = std::chrono::milliseconds(200);
  const auto service = TransferService::make({}, limits);
  ItemSetup setup;
  setup.url = server.url("/slow");
  const auto item = service->open(setup);
  const Outcome outcome = fetch(*item, setup.url);
  EXPECT_EQ(outcome.code(), codeOf(URLErrorCode::TimedOut));
  EXPECT_EQ(outcome.body, "begin");
  EXPECT_EQ(item->statistics().stallCount, 1U);
}

}  // namespace
}  // namespace streaming
