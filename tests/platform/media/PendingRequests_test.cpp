#include "platform/media/PendingRequests.h"

#include <chrono>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "platform/media/TVSMediaItem.h"
#include "sim/Box.h"
#include "sim/SecureKeyRequest.h"

using namespace std::chrono_literals;
using platform::Error;
using platform::PendingRequests;
using platform::ResourceResponse;

namespace {

class RequestingItem final : public TVSURLMediaItem {
 public:
  RequestingItem() : TVSURLMediaItem("http://sender/list", {}) {}
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override {
    requests.push_back(request);
    if (onRequest) onRequest(*request);
    return takes;
  }
  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    requests.push_back(request);
  }

  bool takes = true;
  std::function<void(TVSResourceLoadingRequest&)> onRequest;
  std::vector<std::shared_ptr<TVSResourceLoadingRequest>> requests;
};

class PendingRequestsTest : public testing::Test {
 protected:
  void load(const std::string& url) {
    requests->load(item, url, {}, [this](const ResourceResponse* response, const Error* error) {
      EXPECT_NE(response == nullptr, error == nullptr);
      ends.push_back(error ? error->code : 0);
      if (onEnd) onEnd();
    });
  }
  using Ends = std::vector<std::int64_t>;

  sim::Box box;
  std::optional<PendingRequests> requests{std::in_place, box.mainQueue()};
  RequestingItem item;
  Ends ends;
  std::function<void()> onEnd;
};

TEST_F(PendingRequestsTest, EachRequestCompletesOnce) {
  for (const char* url : {"own://a", "own://b", "own://c", "own://d"}) load(url);
  EXPECT_EQ(requests->count(), 4U);
  item.requests[2]->finishLoading({});
  item.requests[2]->finishLoadingWithError(Error::status(1));
  item.requests[0]->finishLoadingWithError(Error::status(7));
  EXPECT_EQ(ends, (Ends{0, 7}));
  box.advance(29s);
  EXPECT_EQ(ends, (Ends{0, 7}));
  box.advance(1s);
  EXPECT_EQ(ends, (Ends{0, 7, -1001, -1001}));
  EXPECT_EQ(requests->count(), 0U);
  item.requests[1]->finishLoading({});
  EXPECT_EQ(ends.size(), 4U);
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

TEST_F(PendingRequestsTest, RequestsHaveIdentifierURLAndKind) {
  load("own://a");
  PendingRequests others(box.mainQueue());
  const auto make = [](auto identifier, auto url, auto details, auto ended) {
    return std::make_shared<sim::SecureKeyRequest>(identifier, url, details, ended, std::nullopt);
  };
  others.loadKey(item, "own://key", {}, make, [](const auto*, const auto*) {});
  const auto first = item.requests[0]->dictionaryRepresentation();
  const auto second = item.requests[1]->dictionaryRepresentation();
  EXPECT_EQ(first.string("FCUP_Request_URL"), "own://a");
  EXPECT_EQ(first.string("FCUP_Request_Kind"), "resource");
  EXPECT_EQ(second.string("FCUP_Request_Kind"), "key");
  EXPECT_NE(first.number("FCUP_Request_RequestID"), second.number("FCUP_Request_RequestID"))
      << "identifiers are unique across objects";
}

TEST_F(PendingRequestsTest, ItemsMayRejectOrFinishSynchronously) {
  item.takes = false;
  load("own://refused");
  item.takes = true;
  item.onRequest = [](TVSResourceLoadingRequest& request) { request.finishLoading({}); };
  load("own://answered");
  EXPECT_EQ(ends, (Ends{-1002, 0}));
}

TEST_F(PendingRequestsTest, CancelledRequestsDoNotComplete) {
  load("own://a");
  requests->cancelAll();
  EXPECT_TRUE(item.requests[0]->isFinished());
  load("own://b");
  requests.reset();
  EXPECT_TRUE(item.requests[1]->isFinished());
  box.advance(1min);
  EXPECT_TRUE(ends.empty());
}

TEST_F(PendingRequestsTest, MayBeDestroyedByACompletion) {
  onEnd = [this] { requests.reset(); };
  load("own://answered");
  load("own://other");
  item.requests[0]->finishLoading({});
  requests.emplace(box.mainQueue());
  load("own://silent");
  load("own://other");
  box.advance(31s);
  EXPECT_EQ(ends, (Ends{0, -1001}));
  requests.emplace(box.mainQueue());
  item.takes = false;
  load("own://refused");
  EXPECT_EQ(ends.back(), -1002);
}

}  // namespace
