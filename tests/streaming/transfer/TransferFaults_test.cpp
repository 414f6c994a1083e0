#include <chrono>
#include <memory>

#include <gtest/gtest.h>

#include "streaming/transfer/TransferService.h"
#include "tests/streaming/transfer/ScriptedServer.h"
#include "tests/streaming/transfer/TransferClient.h"

namespace streaming {
namespace {

using Answer = ScriptedServer::Answer;
using Then = Answer::Then;
using platform::URLErrorCode;

TransferBounds shortBounds() {
  using std::chrono::milliseconds;
  TransferBounds bounds;
  bounds.connect = milliseconds(2000);
  bounds.stall = milliseconds(300);
  bounds.backOff = {milliseconds(1), milliseconds(1), milliseconds(1)};
  return bounds;
}

std::string redirectTo(const std::string& target) {
  return "HTTP/1.1 302 Found\r\nLocation: " + target + "\r\nContent-Length: 0\r\n\r\n";
}

constexpr std::int64_t codeOf(URLErrorCode value) { return static_cast<std::int64_t>(value); }

TEST(TransferFaults, EndInTheRestOfTheBodyOrOneError) {
  const auto bad = codeOf(URLErrorCode::BadServerResponse);
  const auto lost = codeOf(URLErrorCode::NetworkConnectionLost);
  const auto late = codeOf(URLErrorCode::TimedOut);
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
  std::string trailers = ok + "Transfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n";
  for (int line = 0; line < 40'000; ++line) trailers += "X: yyyy\r\n";
  const struct {
    const char* name;
    std::vector<Answer> answers;
    std::size_t requests;
    std::string body;
    std::optional<std::int64_t> error = {};
    std::vector<std::string> lastRequestHas = {};
  } faults[] = {
      {"busy, then not", {busy, {sized("body")}}, 2, "body"},
      {"busy for ever", {busy}, 4, "", 503},
      {"not there", {{"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n"}}, 1, "", 404},
      {"closed in the middle", {cut, rest}, 2, both, {}, {"Range: bytes=24-", "If-Range: \"x\""}},
      {"silent in the middle", {silent, rest}, 2, both},
      {"closed, and busy meanwhile", {cut, busy, rest}, 3, both},
      {"begins anew", {cut, {sized(both)}}, 2, first, lost},
      {"begins the same anew", {cut, {sized(both, "ETag: \"x\"\r\n")}}, 2, both},
      {"has changed", {cut, otherTotal}, 2, first, lost},
      {"always too short", {cut, {empty, Then::Close}}, 4, first, lost},
      {"closed at once", {{"", Then::Close}}, 4, "", lost},
      {"silent", {{"", Then::Hang}}, 1, "", late},
      {"silent in the header", {{ok + "X: y", Then::Hang}}, 1, "", late},
      {"endless header", {longHead}, 1, "", bad},
      {"endless interim answers", {interim}, 1, "", bad},
      {"endless trailers", {{trailers, Then::Hang}}, 1, "body", bad},
      {"no HTTP", {noHTTP}, 1, "", bad},
      {"redirected for ever", {{redirectTo("/a")}}, 11, "", bad},
      {"redirected to a file", {{redirectTo("file:///etc/passwd")}}, 1, "", bad},
      {"another part", {{partial + "0-3/9\r\nContent-Length: 4\r\n\r\nabcd"}}, 1, "abcd"},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.name);
    ScriptedServer server;
    server.script("/a", fault.answers);
    const auto service = TransferService::make({}, shortBounds());
    ItemSetup setup;
    setup.url = server.url("/a");
    const auto item = service->open(setup);
    const Outcome outcome = fetch(*item, setup.url);
    EXPECT_EQ(outcome.body, fault.body);
    EXPECT_EQ(outcome.code(), fault.error) << (outcome.error ? outcome.error->description() : "");
    EXPECT_FALSE(item->isBusy());
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), fault.requests);
    for (const std::string& text : fault.lastRequestHas)
      EXPECT_NE(requests.back().find("\r\n" + text), std::string::npos) << requests.back();
  }
}

TEST(TransferFaults, OfConnectionsAndURLsAreNotTriedAgain) {
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
                {"x-demo:unasked", URLErrorCode::UnsupportedURL},
                {"data:no-comma", URLErrorCode::BadURL},
                {"file:///no/such/file", URLErrorCode::FileDoesNotExist},
                {"file:///dev/zero", URLErrorCode::NoPermissionToReadFile},
                {"nothing", URLErrorCode::BadURL}};
  const auto service = TransferService::make({}, shortBounds());
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.url);
    ItemSetup setup;
    setup.url = fault.url;
    const auto item = service->open(setup);
    EXPECT_EQ(fetch(*item, fault.url).code(), codeOf(fault.error));
    EXPECT_LE(item->statistics().requestCount, 1U);
  }
}

TEST(TransferFaults, ASlowTransferEnds) {
  ScriptedServer server;
  server.script("/slow", {{"HTTP/1.1 200 OK\r\nContent-Length: 900\r\n\r\nbegin", Then::Hang}});
  TransferBounds bounds = shortBounds();
  bounds.stall = std::chrono::milliseconds(60'000);
  bounds.slow = std::chrono::milliseconds(200);
  const auto service = TransferService::make({}, bounds);
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
