#include "streaming/transfer/TransferItem.h"

#include <fstream>
#include <future>

#include <gtest/gtest.h>

#include "streaming/foundation/URL.h"
#include "streaming/transfer/TransferService.h"
#include "tests/streaming/transfer/ScriptedServer.h"
#include "tests/streaming/transfer/TransferClient.h"
#include "tests/streaming/transfer/TransferItemFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace streaming {
namespace {

using Response = ScriptedServer::Response;

ContentResponse dataAnswer(const std::string& text) {
  ContentResponse answer;
  answer.data = sharedBytes(text);
  return answer;
}

TEST_F(TransferItemTest, DetectsRangeSupport) {
  const std::string part = "HTTP/1.1 206 Part\r\nContent-Range: bytes 0-3/";
  const struct {
    std::string answer;
    int status;
    bool acceptsRanges;
    std::optional<std::uint64_t> total;
    std::string body;
  } cases[] = {
      {part + "4\r\nContent-Length: 4\r\n\r\nbody", 200, true, 4, "body"},
      {part + "9\r\nContent-Length: 4\r\n\r\nbody", 206, true, 9, "body"},
      {sized("body"), 200, false, 4, "body"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n",
       200,
       false,
       {},
       "body"},
      {part + "9\r\nicy-metaint: 8\r\nContent-Length: 4\r\n\r\nbody", 206, false, 9, "body"},
      {"ICY 200 OK\r\nicy-metaint: 8\r\nContent-Length: 4\r\n\r\nbody", 200, false, 4, "body"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.answer);
    server.script("/a", {{one.answer}});
    const auto item = open("/a");
    const Outcome outcome = fetch(*item, {server.url("/a"), TransferKind::Item, {}, true});
    ASSERT_TRUE(outcome.head);
    EXPECT_EQ(outcome.head->status, one.status);
    EXPECT_EQ(outcome.head->acceptsRanges, one.acceptsRanges);
    EXPECT_EQ(outcome.head->totalLength, one.total);
    EXPECT_EQ(outcome.body, one.body);
    EXPECT_TRUE(contains(server.requests().back(), "\r\nRange: bytes=0-\r\n"));
    EXPECT_TRUE(contains(server.requests().back(), "\r\nIcy-MetaData: 1\r\n"));
  }
  const std::string none = "HTTP/1.1 416 None\r\nContent-Length: 0\r\n\r\n";
  server.script("/empty", {{none}, {sized("")}});
  const auto item = open("/empty");
  EXPECT_EQ(fetch(*item, {server.url("/empty"), TransferKind::Item, {}, false}).code(),
            std::nullopt);
}

TEST_F(TransferItemTest, ExtractsARangeFromACompleteBody) {
  std::string body(300'000, '.');
  body.replace(200'000, 6, "needle");
  server.script("/a", {{sized(body)}});
  const auto item = open("/a");
  const struct {
    ByteSpan span;
    std::string part;
    std::optional<std::int64_t> error;
  } parts[] = {{{200'000, 6}, "needle", {}},
               {{200'000, {}}, body.substr(200'000), {}},
               {{299'999, 500}, ".", {}},
               {{299'999, UINT64_MAX}, ".", {}},
               {{5, 0}, "", {}},
               {{0, {}}, body, {}},
               {{300'000, {}}, "", 416}};
  for (const auto& part : parts) {
    SCOPED_TRACE(part.span.offset);
    const Outcome outcome = fetch(*item, server.url("/a"), part.span);
    EXPECT_EQ(outcome.code(), part.error);
    EXPECT_EQ(outcome.body, part.part);
    if (part.error) continue;
    EXPECT_EQ(outcome.head->offset, part.span.offset);
    EXPECT_EQ(outcome.head->length, part.part.size());
  }
}

TEST_F(TransferItemTest, AcceptsCompressionOnlyForTexts) {
  // "a text" compressed with gzip.
  const std::string packed =
      unescaped("%1f%8b%08%00%00%00%00%00%02%ff%4b%54%28%49%ad%28%01%00%83%2a%64%a9%06%00%00%00")
          .value();
  const std::string fields = "Content-Encoding: gzip\r\n";
  server.script("/a", {{sized(packed, fields)}});
  server.script("/b", {{sized("packed", "Content-Encoding: br\r\n")}});
  const auto item = open("/a");
  for (const TransferKind kind : {TransferKind::Manifest, TransferKind::Text}) {
    const Outcome outcome = fetch(*item, {server.url("/a"), kind, {}, false});
    EXPECT_EQ(outcome.body, "a text");
    EXPECT_EQ(outcome.head->length, std::nullopt);
    EXPECT_TRUE(contains(server.requests().back(), "\r\nAccept-Encoding: gzip, deflate\r\n"));
    EXPECT_EQ(fetch(*item, {server.url("/b"), kind, {}, false}).code(), -1011);
  }
  fetch(*item, {server.url("/a"), TransferKind::Media, {}, false});
  EXPECT_FALSE(contains(server.requests().back(), "Accept-Encoding"));
}

TEST_F(TransferItemTest, SendsHeadersAndCookiesOnlyToTheirServer) {
  ScriptedServer other;
  server.script("/a",
                {{"HTTP/1.1 302 Found\r\nSet-Cookie: given=2\r\nContent-Length: 0\r\nLocation: " +
                  server.url("/b", "localhost") + "\r\n\r\n"},
                 {sized("again")}});
  server.script("/b", {{sized("body")}});
  other.script("/c", {{sized("other port")}});
  ItemSetup setup;
  setup.url = server.url("/a");
  setup.userAgent = "Agent/1";
  setup.headers = {{"X-Token", "secret"}, {"Host", "other"}, {"X-Bad", "a\r\nX-Split: b"}};
  setup.cookies = {{"own", "1", "", "/", false}, {"bad", "a\tb", "", "/", false}};
  const auto item = service->open(setup);
  EXPECT_EQ(fetch(*item, setup.url).body, "body");
  EXPECT_EQ(fetch(*item, setup.url).body, "again");
  EXPECT_EQ(fetch(*item, other.url("/c")).body, "other port");
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_TRUE(contains(requests[0], "\r\nX-Token: secret\r\n"));
  EXPECT_TRUE(contains(requests[0], "\r\nUser-Agent: Agent/1\r\n"));
  EXPECT_TRUE(contains(requests[0], "\r\nCookie: own=1\r\n"));
  EXPECT_FALSE(contains(requests[0], "X-Split"));
  EXPECT_FALSE(contains(requests[0], "Host: other"));
  EXPECT_FALSE(contains(requests[1], "X-Token"));
  EXPECT_FALSE(contains(requests[1], "Cookie"));
  EXPECT_TRUE(contains(requests[2], "given=2"));
  EXPECT_FALSE(contains(other.requests().at(0), "X-Token"));
}

TEST_F(TransferItemTest, UsesTheDiskCacheIfTheItemAllowsIt) {
  const testing_support::TemporaryFolder temporary;
  service = TransferService::make(temporary.path());
  const std::string lasting = "Cache-Control: max-age=600\r\nContent-Type: video/mp4\r\n";
  server.script("/lasting", {{sized("0123456789", lasting)}, {sized("another", lasting)}});
  server.script("/left", {{sized("0123456789", lasting)}, {sized("complete", lasting)}});
  ItemSetup setup;
  setup.url = server.url("/lasting");
  setup.usesDiskCache = true;
  const auto item = service->open(setup);
  EXPECT_EQ(fetch(*item, setup.url).body, "0123456789");
  const Outcome again = fetch(*item, setup.url);
  EXPECT_EQ(again.body, "0123456789");
  EXPECT_EQ(again.head->field("content-type"), "video/mp4");
  EXPECT_EQ(fetch(*item, setup.url, ByteSpan{2, 3}).body, "234");
  EXPECT_EQ(server.requests().size(), 1U);

  const TransferRequest left{server.url("/left"), TransferKind::Media, {}, false};
  EXPECT_EQ(ObservedTransfer::start(*item, left, BodyFlow::Abort)->wait().code(), std::nullopt);
  EXPECT_EQ(fetch(*item, left).body, "complete") << "half a body is not kept";

  setup.usesDiskCache = false;
  EXPECT_EQ(fetch(*service->open(setup), setup.url).body, "another");
}

TEST_F(TransferItemTest, RequestsCustomSchemesFromTheSender) {
  server.script("/there", {{sized("fetched")}});
  server.script("/back",
                {{"HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: x-demo:data\r\n\r\n"}});
  ContentResponse elsewhere;
  elsewhere.redirectURL = server.url("/there");
  ContentResponse again;
  again.redirectURL = "x-demo:loop";
  ContentResponse file;
  file.redirectURL = "file:///etc/passwd";
  ContentResponse refused;
  refused.statusCode = 403;
  ContentResponse odd = dataAnswer("served");
  odd.statusCode = 404;
  ContentResponse part = dataAnswer("345");
  part.statusCode = 206;
  ContentResponse failed;
  failed.error = platform::Error{"demo", 7, {}, {}, {}};
  const struct {
    std::string url;
    std::optional<ByteSpan> span;
    ContentResponse answer;
    std::string body;
    std::optional<std::int64_t> error;
  } cases[] = {
      {"x-demo:data", {}, dataAnswer("0123456789"), "0123456789", {}},
      {"x-demo:data", ByteSpan{3, 3}, dataAnswer("0123456789"), "345", {}},
      {"x-demo:data", ByteSpan{3, 3}, part, "345", {}},
      {"x-demo:data", ByteSpan{10, {}}, dataAnswer("0123456789"), "", 416},
      {"x-demo:far", {}, elsewhere, "fetched", {}},
      {server.url("/back"), {}, dataAnswer("came back"), "came back", {}},
      {"x-demo:loop", {}, again, "", -1011},
      {"x-demo:file", {}, file, "", -1002},
      {"x-demo:refused", {}, refused, "", 403},
      {"x-demo:odd", {}, odd, "served", {}},
      {"x-demo:failed", {}, failed, "", 7},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.url);
    ItemSetup setup;
    setup.url = one.url;
    int questions = 0;
    setup.requestContent = [&](ContentRequest question,
                               const std::function<void(ContentResponse)>& reply) {
      ++questions;
      EXPECT_EQ(question.kind, ContentRequest::Kind::Resource);
      if (one.span) {
        EXPECT_TRUE(question.headers.back().second.starts_with("bytes="));
      }
      reply(one.answer);
      reply({});
    };
    const auto item = service->open(setup);
    const Outcome outcome = fetch(*item, one.url, one.span);
    EXPECT_EQ(outcome.body, one.body);
    EXPECT_EQ(outcome.code(), one.error);
    EXPECT_EQ(questions, one.url == "x-demo:loop" ? 11 : 1);
  }
}

TEST_F(TransferItemTest, ReadsKeysOfAllFormats) {
  const std::string key = "0123456789abcdef";
  const std::string license = R"({"keys":[{"kty":"oct","k":"MDEyMzQ1Njc4OWFiY2RlZg"}]})";
  server.script("/raw", {{sized(key)}});
  server.script("/license", {{sized(license)}});
  server.script("/short", {{sized("0123456789abcde")}});
  server.script("/long", {{sized(std::string(100'000, 'k'))}});
  ItemSetup setup;
  setup.url = server.url("/a.m3u8");
  setup.requestContent = [&](const ContentRequest& question,
                             const std::function<void(ContentResponse)>& reply) {
    EXPECT_EQ(question.kind, ContentRequest::Kind::Key);
    reply(dataAnswer(license));
  };
  const auto item = service->open(setup);
  const auto wrong = static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized);
  const struct {
    std::string url;
    std::string key;
    std::optional<std::int64_t> error;
    std::string raw;
  } cases[] = {{server.url("/raw"), key, {}, key},
               {server.url("/license"), key, {}, license},
               {"x-key:1", key, {}, license},
               {"data:;base64,MDEyMzQ1Njc4OWFiY2RlZg==", key, {}, key},
               {server.url("/short"), "", wrong, "0123456789abcde"},
               {server.url("/long"), "", wrong, std::string(100'000, 'k')}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.url);
    const Outcome outcome = fetch(*item, {one.url, TransferKind::Key, {}, false});
    EXPECT_EQ(outcome.body, one.key);
    EXPECT_EQ(outcome.code(), one.error);
    std::promise<ContentResponse> answer;
    item->requestKey(one.url, [&](ContentResponse given) { answer.set_value(std::move(given)); });
    const ContentResponse given = answer.get_future().get();
    ASSERT_TRUE(given.data);
    EXPECT_TRUE(*given.data == *sharedBytes(one.raw));
  }
}

TEST_F(TransferItemTest, StopsReadingWhilePaused) {
  const std::string piece(1 << 20, 'x');
  server.script("/a", {{"HTTP/1.1 200 OK\r\n\r\n" + piece, Response::Then::Close, 64}});
  const auto item = open("/a");
  const auto transfer = ObservedTransfer::start(
      *item, {server.url("/a"), TransferKind::Media, {}, false}, BodyFlow::Pause);
  EXPECT_LT(server.bytesSentWhenBlocked(), 16U << 20);
  EXPECT_FALSE(item->isBusy());
  transfer->cancel(*item);
}

TEST_F(TransferItemTest, ResumesWhereItWasPaused) {
  const std::string body(3 << 20, 'x');
  server.script("/a", {{sized(body)}});
  const auto item = open("/a");
  const auto transfer = ObservedTransfer::start(
      *item, {server.url("/a"), TransferKind::Media, {}, false}, BodyFlow::Pause);
  transfer->waitForHead();
  transfer->resume(*item);
  EXPECT_EQ(transfer->wait().body.size(), body.size());
}

TEST_F(TransferItemTest, IsCancelledWithTheItem) {
  server.script("/a", {{"HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nThe beginning, ",
                        Response::Then::Hang}});
  const auto transfer = [&](TransferItem& item) {
    auto started =
        ObservedTransfer::start(item, {server.url("/a"), TransferKind::Media, {}, false});
    started->waitForHead();
    return started;
  };
  auto item = open("/a");
  const auto first = transfer(*item);
  item->close();
  server.bytesSentWhenBlocked();
  bool wasCalled = false;
  item->post([&] { wasCalled = true; });

  auto second = open("/a");
  const auto left = transfer(*second);
  service.reset();
  EXPECT_FALSE(wasCalled);
  EXPECT_FALSE(second->isBusy());
  EXPECT_EQ(second->statistics().stallCount, 0U);
}

TEST_F(TransferItemTest, CallsTimersUnlessTheyAreCancelled) {
  const auto item = open("/a");
  std::promise<std::string> done;
  std::string order;
  std::shared_ptr<void> cancelled;
  std::shared_ptr<void> last;
  std::shared_ptr<void> first;
  item->post([&] {
    const auto now = item->now();
    using std::chrono::milliseconds;
    last = item->callAt(now + milliseconds(20), [&] { done.set_value(order + "last"); });
    cancelled = item->callAt(now + milliseconds(10), [&] { order += "cancelled "; });
    first = item->callAt(now, [&] {
      order += "first ";
      cancelled.reset();
      first.reset();
    });
  });
  EXPECT_EQ(done.get_future().get(), "first last");
  std::promise<void> cleared;
  item->post([&] {
    last.reset();
    cleared.set_value();
  });
  cleared.get_future().wait();
}

}  // namespace
}  // namespace streaming
