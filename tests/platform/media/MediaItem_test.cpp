#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/TVSMediaItem.h"
#include "platform/media/TVSResourceLoadingRequest.h"
#include "platform/media/TVSStoreMediaItem.h"
#include "sim/AssertionsThrow.h"

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using Keys = std::vector<std::string>;

TEST(TVSMediaItem, ObserversAreCalledOnceForEachTransaction) {
  TVSURLMediaItem item("a", {});
  std::vector<Keys> calls;
  auto token = item.addMetadataObserver([&](const Keys& keys) { calls.push_back(keys); });
  item.setMetadata("a", 1);
  item.setMetadata("a", 1);
  item.performMetadataTransaction([&] {
    item.setMetadata("b", 1);
    item.performMetadataTransaction([&] { item.setMetadata("c", 1); });
    item.setMetadata("b", 2);
  });
  item.performMetadataTransaction([] {});
  EXPECT_THAT(calls, ElementsAre(Keys{"a"}, Keys{"b", "c"}));
  token.reset();
  item.setMetadata("a", 2);
  EXPECT_EQ(calls.size(), 2U);
}

TEST(TVSMediaItem, ObserversMayBeAddedAndRemovedDuringACall) {
  auto item = std::make_unique<TVSURLMediaItem>("a", Keys{});
  std::vector<int> calls;
  platform::Token second;
  platform::Token third;
  const auto first = item->addMetadataObserver([&](const Keys&) {
    calls.push_back(1);
    second.reset();
    third = item->addMetadataObserver([&](const Keys&) { calls.push_back(3); });
  });
  second = item->addMetadataObserver([&](const Keys&) { calls.push_back(2); });
  item->setMetadata("a", 1);
  EXPECT_THAT(calls, ElementsAre(1));
  item->setMetadata("a", 2);
  EXPECT_THAT(calls, ElementsAre(1, 1)) << "the first observer replaces the third before its call";
  item.reset();  // destroyed before the tokens
}

TEST(TVSStoreMediaItem, URLComesFromThePurchaseRecord) {
  auto record = std::make_shared<TVSStoreDataItem>();
  record->beginTransaction();
  record->setProperty(platform::kStorePlaybackURL, "http://store/a");
  EXPECT_TRUE(record->property(platform::kStorePlaybackURL).isNone()) << "not committed";
  record->commitTransaction();
  TVSStoreMediaItem item(record);
  EXPECT_EQ(item.url(), "http://store/a");
  EXPECT_TRUE(item.hasTrait(platform::kMediaItemTraitUsesDiskCache));
  EXPECT_TRUE(item.hasTrait(platform::kMediaItemTraitCachesInBackground));
  EXPECT_FALSE(item.hasTrait(platform::kMediaItemTraitInheritsURIQueryComponent));

  record->beginTransaction();
  record->setProperty(platform::kStorePlaybackURL, {});
  record->commitTransaction();
  EXPECT_EQ(item.url(), "");

  const sim::AssertionsThrow assertionsThrow;
  EXPECT_THROW(record->setProperty("a", 1), sim::AssertionError);
  EXPECT_THROW(record->commitTransaction(), sim::AssertionError);
  record->beginTransaction();
  EXPECT_THROW(record->beginTransaction(), sim::AssertionError);
}

TEST(TVSResourceLoadingRequest, FinishesOnce) {
  using Request = TVSResourceLoadingRequest;
  const std::pair<const char*, std::function<void(Request&)>> outcomes[] = {
      {"data", [](Request& request) { request.finishLoading({}); }},
      {"error",
       [](Request& request) { request.finishLoadingWithError(platform::Error::status(3)); }},
      {"", [](Request& request) { request.cancel(); }},
  };
  for (const auto& [expected, finish] : outcomes) {
    for (const auto& [ignored, finishAgain] : outcomes) {
      SCOPED_TRACE(std::string(expected) + " then " + ignored);
      std::string outcome;
      Request request(7, "key://a", {}, [&](const auto* response, const auto* error) {
        outcome += response ? "data" : "";
        outcome += error ? "error" : "";
      });
      EXPECT_FALSE(request.isFinished());
      finish(request);
      EXPECT_TRUE(request.isFinished());
      finishAgain(request);
      EXPECT_EQ(outcome, expected);
    }
  }
}

TEST(TVSResourceLoadingRequest, MayBeDestroyedByItsCompletion) {
  std::shared_ptr<TVSResourceLoadingRequest> request;
  bool done = false;
  request = std::make_shared<TVSResourceLoadingRequest>(1, "a", platform::Dictionary{},
                                                        [&](const auto*, const auto*) {
                                                          request.reset();
                                                          done = true;
                                                        });
  request->finishLoading({});
  EXPECT_TRUE(done);
}

}  // namespace
