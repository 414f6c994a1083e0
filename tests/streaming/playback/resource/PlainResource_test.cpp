#include "streaming/playback/resource/PlainResource.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "streaming/playback/resource/SpanStore.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

constexpr std::size_t kPiece = 100;

/// A server and the transfer thread. While no task is posted, running transfers take turns and
/// deliver one piece each.
class ResourceServer final : public TransferSource {
 public:
  explicit ResourceServer(std::string content) : body(std::move(content)) {
    _thread = std::thread([this] { _run(); });
  }
  ~ResourceServer() override {
    {
      const std::lock_guard lock(_mutex);
      _isStopped = true;
    }
    _changed.notify_all();
    _thread.join();
  }

  class Running final : public Transfer {
   public:
    Running(ResourceServer& owner, TransferObserver& target, std::uint64_t begin)
        : server(owner), observer(target), next(begin) {
      server._running.insert(this);
    }
    ~Running() override { server._running.erase(this); }
    void resume() override { isPaused = false; }

    ResourceServer& server;
    TransferObserver& observer;
    std::uint64_t next;
    bool hasHead = false;
    bool isPaused = false;
  };

  std::unique_ptr<Transfer> start(const TransferRequest& request,
                                  TransferObserver& observer) override {
    offsets.push_back(request.span->offset);
    return std::make_unique<Running>(*this, observer, request.span->offset);
  }
  std::shared_ptr<void> callAt(MonotonicTime, std::function<void()>) override { return nullptr; }
  MonotonicTime now() const override { return {}; }
  platform::Date civilTime() const override { return {}; }
  void post(std::function<void()> task) override {
    const std::lock_guard lock(_mutex);
    _tasks.push_back(std::move(task));
    _isIdle = false;
    _changed.notify_all();
  }
  /// Runs `task` on the transfer thread and waits until it is idle.
  void settle(std::function<void()> task = [] {}) {
    post(std::move(task));
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _isIdle; });
  }

  ResponseHead head() const {
    ResponseHead result;
    result.fields = {{"ETag", tag}};
    if (hasLength) result.totalLength = result.length = body.size();
    result.acceptsRanges = hasRanges;
    return result;
  }

  // Modify only while the thread is idle.
  std::string body;
  std::string tag = "\"1\"";
  bool hasRanges = true;
  bool hasLength = true;
  std::uint64_t breaksAt = UINT64_MAX;  // offset at which transfers fail
  std::vector<std::uint64_t> offsets;   // of the requests

 private:
  bool _advance() {
    for (Running* const each : std::set(_running)) {
      if (!_running.contains(each) || each->isPaused) continue;
      _bring(*each);
      return true;
    }
    return false;
  }

  void _bring(Running& one) {
    BodyFlow flow = BodyFlow::More;
    if (!std::exchange(one.hasHead, true) && one.next > 0) {
      ResponseHead part = head();
      part.offset = one.next;
      flow = one.observer.transferGotHead(part);
    } else if (one.next >= breaksAt) {
      return one.observer.transferEnded(networkError(platform::URLErrorCode::TimedOut));
    } else if (one.next >= body.size()) {
      return one.observer.transferEnded(std::nullopt);
    } else {
      const std::string piece = body.substr(static_cast<std::size_t>(one.next), kPiece);
      one.next += piece.size();
      flow = one.observer.transferGotBytes(piece);
    }
    if (flow == BodyFlow::Abort) return one.observer.transferEnded(std::nullopt);
    one.isPaused = flow == BodyFlow::Pause;
  }

  void _run() {
    std::unique_lock lock(_mutex);
    while (true) {
      if (!_tasks.empty()) {
        const auto task = std::move(_tasks.front());
        _tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
        continue;
      }
      lock.unlock();
      const bool hasAdvanced = _advance();
      lock.lock();
      if (hasAdvanced || !_tasks.empty()) continue;
      _isIdle = true;
      _changed.notify_all();
      if (_isStopped) return;
      _changed.wait(lock, [this] { return !_tasks.empty() || _isStopped; });
    }
  }

  std::set<Running*> _running;  // transfer thread only
  std::mutex _mutex;            // guards the members below
  std::condition_variable _changed;
  std::deque<std::function<void()>> _tasks;
  bool _isIdle = false;
  bool _isStopped = false;
  std::thread _thread;
};

class PlainResourceTest : public testing::Test {
 protected:
  PlainResourceTest() {
    for (int index = 0; text.size() < 100'000; ++index) text += std::to_string(index) + ' ';
    server = std::make_shared<ResourceServer>(text);
  }
  ~PlainResourceTest() override {
    resource.reset();
    server->settle();
  }

  /// The observer of the first transfer, which forwards to the resource.
  struct Opener final : TransferObserver {
    BodyFlow transferGotHead(const ResponseHead&) override { return BodyFlow::More; }
    BodyFlow transferGotBytes(std::string_view bytes) override {
      const auto resource = target.lock();
      return resource ? resource->transferGotBytes(bytes) : BodyFlow::Abort;
    }
    void transferEnded(const std::optional<platform::Error>& error) override {
      if (const auto resource = target.lock()) resource->transferEnded(error);
    }
    std::weak_ptr<PlainResource> target;
  };

  void open() {
    server->settle([this] {
      auto first = server->start({"http://host/a", TransferKind::Item, ByteSpan{}, false}, opener);
      static_cast<ResourceServer::Running&>(*first).next = 10;
      resource = PlainResource::make(server, "http://host/a", server->head(), text.substr(0, 10),
                                     std::move(first),
                                     {[this](const platform::Error&) { heard += " lost"; },
                                      [this](const platform::Error& error) {
                                        heard += " failed " + std::to_string(error.code);
                                      },
                                      [this] { heard += " recovered"; }},
                                     limits);
      opener.target = resource;
    });
    server->settle();
  }
  ResourceReader::Result readAt(std::uint64_t offset, std::string& bytes, std::size_t count) {
    bytes.resize(count);
    const auto into = std::as_writable_bytes(std::span(bytes));
    const auto result = resource->read(offset, into, gate);
    bytes.resize(result.count);
    return result;
  }
  /// Reads `count` bytes and compares them with the body.
  void expectAt(std::uint64_t offset, std::size_t count) {
    std::string all;
    while (all.size() < count) {
      std::string bytes;
      const auto result = readAt(offset + all.size(), bytes, count - all.size());
      ASSERT_FALSE(result.error) << result.error->description();
      ASSERT_GT(result.count, 0U) << offset + all.size();
      all += bytes;
    }
    EXPECT_TRUE(all == text.substr(static_cast<std::size_t>(offset), count)) << offset;
  }
  std::uint64_t memory() const {
    std::uint64_t size = 0;
    for (const ByteSpan& each : resource->loaded()) size += *each.length;
    return size;
  }

  std::string text;
  std::string heard;  // handler calls
  PlainResourceLimits limits{
      .ahead = 4000, .behind = 2000, .aside = 1000, .idleAhead = 500, .near = 300};
  std::shared_ptr<ResourceServer> server;
  Opener opener;
  std::shared_ptr<PlainResource> resource;
  ReadGate gate;
};

TEST_F(PlainResourceTest, IsReadWithOneRequestAndLimitedMemory) {
  limits.aside = 100'000;  // chunks are as large as 64 KiB
  open();
  EXPECT_EQ(resource->size(), text.size());
  EXPECT_TRUE(resource->isSeekable());
  EXPECT_LE(memory(), 4000U + kPiece);
  expectAt(0, text.size());
  std::string bytes;
  const auto end = readAt(text.size(), bytes, 10);
  EXPECT_EQ(end.count, 0U);
  EXPECT_FALSE(end.error);
  server->settle();
  EXPECT_EQ(server->offsets, std::vector<std::uint64_t>({0}));
}

TEST_F(PlainResourceTest, SeeksWithFewRequests) {
  open();
  const std::uint64_t index = text.size() - 400;
  expectAt(0, 50);
  expectAt(index, 400);      // index at the end of the file
  expectAt(50, 100);         // continues at the front, from memory
  expectAt(index + 50, 40);  // from memory
  for (std::uint64_t step = 0; step < 40; ++step) {
    expectAt(200 + step * 200, 200);     // video
    expectAt(60'000 + step * 100, 100);  // audio, far away
  }
  expectAt(60'200, 100);  // a short seek backwards
  server->settle();
  EXPECT_EQ(server->offsets, std::vector<std::uint64_t>({0, index, 60'000}));
}

TEST_F(PlainResourceTest, ReportsWaitsAndCancelsThemWhenTheGateCloses) {
  server->hasRanges = false;
  open();
  std::vector<bool> actual;
  resource->whenWaiting([&](bool isWaiting) {
    actual.push_back(isWaiting);
    if (isWaiting) gate.setClosed(true);
  });
  std::string bytes;
  EXPECT_EQ(readAt(90'000, bytes, 10).count, 0U);
  EXPECT_EQ(actual, std::vector<bool>({true, false}));
  resource->whenWaiting({});
  gate.setClosed(false);
  expectAt(90'000, 10);
  EXPECT_EQ(actual.size(), 2U);
}

TEST_F(PlainResourceTest, IsReadSequentiallyWithoutRangeSupport) {
  server->hasRanges = false;
  server->hasLength = false;
  limits.aside = 0;
  open();
  EXPECT_FALSE(resource->isSeekable());
  expectAt(0, 3000);
  expectAt(2000, 1000);
  expectAt(3000, text.size() - 3000);
  server->settle();
  EXPECT_EQ(resource->size(), text.size());
  std::string bytes;
  EXPECT_EQ(readAt(text.size(), bytes, 1).count, 0U);
  EXPECT_EQ(server->offsets.size(), 1U);
}

TEST_F(PlainResourceTest, FailsWhenTheResourceChanges) {
  open();
  server->settle([this] { server->tag = "\"2\""; });
  std::string bytes;
  const auto changed = readAt(50'000, bytes, 10);
  ASSERT_TRUE(changed.error);
  EXPECT_EQ(changed.error->code,
            static_cast<std::int64_t>(platform::URLErrorCode::NetworkConnectionLost));
  EXPECT_TRUE(readAt(0, bytes, 10).error);
}

TEST_F(PlainResourceTest, ReportsAFailureAndRecovers) {
  server->breaksAt = 70'000;
  open();
  std::string bytes;
  const auto failed = readAt(75'000, bytes, 10);
  ASSERT_TRUE(failed.error);
  EXPECT_EQ(failed.error->code, static_cast<std::int64_t>(platform::URLErrorCode::TimedOut));
  server->settle([this] { server->breaksAt = UINT64_MAX; });
  expectAt(75'000, 10);
  server->settle();
  EXPECT_EQ(heard, " lost failed -1001 recovered");
}

TEST(SpanStore, JoinsRangesAndEvictsTheLeastRecentlyUsed) {
  SpanStore store;
  store.put(10, "0123456789");
  store.put(30, "abcde");
  store.put(15, "56789-----_____abcdefgh");  // overlaps both ranges
  EXPECT_EQ(store.spans(), std::vector<ByteSpan>({{10, 28}}));
  std::string bytes(28, ' ');
  EXPECT_EQ(store.copy(10, std::as_writable_bytes(std::span(bytes))), 28U);
  EXPECT_EQ(bytes, "0123456789-----_____abcdefgh");
  EXPECT_EQ(store.endFrom(20), 38U);
  EXPECT_EQ(store.endFrom(38), 38U);
  EXPECT_EQ(store.endFrom(0), 0U);
  store.put(100, "old");
  store.put(200, "window");
  store.put(300, "new");
  store.copy(10, std::as_writable_bytes(std::span(bytes)));
  store.trim({{203, 204}}, 31);
  EXPECT_EQ(store.spans(), std::vector<ByteSpan>({{10, 28}, {200, 6}, {300, 3}}));
}

}  // namespace
}  // namespace streaming
