#include "TVVorlane/TVVorlaneMediaItem.h"

#include "TVVorlane/TVVorlaneStoreMediaItem.h"
#include "tests/TVVorlane/Support.h"

namespace {

Bytes dataOf(std::string_view text) {
  Bytes result;
  for (const char letter : text) result.push_back(static_cast<std::byte>(letter));
  return result;
}

class KeyRequest final : public TVSSecureKeyRequest {
 public:
  using TVSSecureKeyRequest::TVSSecureKeyRequest;
  bool loadKeyRequestData(std::optional<platform::Error>*) override { return false; }
};

class Delegate final : public TVVorlaneResourceLoadingMediaItemDelegate {
 public:
  void mediaItem(TVSMediaItem& theItem,
                 const std::shared_ptr<TVSResourceLoadingRequest>& didRequestResource) override {
    item = &theItem;
    requests.push_back(didRequestResource);
  }
  TVSMediaItem* item = nullptr;
  std::vector<std::shared_ptr<TVSResourceLoadingRequest>> requests;
};

TEST(TVVorlaneMediaItemTest, TLSSettingsNeedIdentityAndKey) {
  const Value identity = dataOf("me");
  const Value key = dataOf("secret");
  EXPECT_EQ(TVVorlaneMediaItem::sslPropertiesForIdentity({}, {}), std::nullopt);
  EXPECT_EQ(TVVorlaneMediaItem::sslPropertiesForIdentity(identity, {}), std::nullopt);
  EXPECT_EQ(TVVorlaneMediaItem::sslPropertiesForIdentity({}, key), std::nullopt);
  EXPECT_EQ(TVVorlaneMediaItem::sslPropertiesForIdentity(identity, key),
            (Dictionary{{platform::kTLSSettingsPSKIdentity.data(), identity},
                        {platform::kTLSSettingsPSKSharedSecret.data(), key},
                        {platform::kTLSSettingsEnabledCiphers.data(),
                         Bytes{std::byte{0xAE}, std::byte{0}}}}));
}

template <typename Item>
void expectForwarding(Item& item) {
  sim::Box box;
  auto delegate = std::make_shared<Delegate>();
  const auto named =
      std::make_shared<KeyRequest>(std::uint64_t{0}, "skd://key", Dictionary(), nullptr);
  const auto nameless =
      std::make_shared<KeyRequest>(std::nullopt, "skd://key", Dictionary(), nullptr);

  // Accepted even without a delegate.
  EXPECT_TRUE(item.loadResourceForRequest(named));
  item.setResourceLoadingDelegate(delegate);
  EXPECT_TRUE(item.loadResourceForRequest(named));
  item.loadStreamingKeyForRequest(named);
  EXPECT_FALSE(item.loadResourceForRequest(nameless));
  item.loadStreamingKeyForRequest(nameless);
  ASSERT_EQ(delegate->requests.size(), 2U);
  EXPECT_EQ(delegate->requests[0], named);
  EXPECT_EQ(delegate->requests[1], named);
  EXPECT_EQ(delegate->item, &item);
  delegate = nullptr;
  EXPECT_EQ(item.resourceLoadingDelegate(), nullptr);
  EXPECT_TRUE(item.loadResourceForRequest(named));

  const std::string handled =
      "Vorlane handle ResourceLoadingRequest " + named->dictionaryRepresentation().description();
  const std::string failed = "### Vorlane failed URL request ID missing from " +
                             nameless->dictionaryRepresentation().description();
  EXPECT_EQ(logTexts(box, "TVVLMediaItem"),
            (Texts{handled, handled, handled, failed, failed, handled}));
  EXPECT_EQ(box.logCount("#Notice #TVVLMediaItem : "), 6U);
}

TEST(TVVorlaneMediaItemTest, ForwardsRequests) {
  TVVorlaneMediaItem item(kVideoURL, {"trait"});
  EXPECT_EQ(item.url(), kVideoURL);
  EXPECT_TRUE(item.hasTrait("trait"));
  expectForwarding(item);
}

/// Needs a box, whose cloud data client creates the records.
class TVVorlaneStoreMediaItemTest : public testing::Test {
 protected:
  sim::Box box;
};

TEST_F(TVVorlaneStoreMediaItemTest, ForwardsRequests) {
  TVVorlaneStoreMediaItem item({{"Content-Location", kVideoURL}});
  EXPECT_EQ(item.url(), kVideoURL);
  expectForwarding(item);
}

TEST_F(TVVorlaneStoreMediaItemTest, NeverCachesInTheBackground) {
  const TVVorlaneStoreMediaItem item({});
  EXPECT_TRUE(TVSStoreMediaItem(TVVorlaneStoreMediaItem::_dataItemForParameters({}))
                  .hasTrait(platform::kMediaItemTraitCachesInBackground));
  EXPECT_FALSE(item.hasTrait(platform::kMediaItemTraitCachesInBackground));
  EXPECT_TRUE(item.hasTrait(platform::kMediaItemTraitUsesDiskCache));
  EXPECT_FALSE(item.hasTrait("other"));
}

TEST_F(TVVorlaneStoreMediaItemTest, RecordHasThePurchaseParameters) {
  const auto record = TVVorlaneStoreMediaItem::_dataItemForParameters(
      {{"mz_at", dataOf("token")},
       {"buyParams", "price=0"},
       {"dsid", 77},
       {"userAgent", "agent"},
       {"itemID", 42},
       {"itemType", "match"},
       {"Content-Location", kVideoURL},
       {"inheritURIQueryComponentFromReferencingURI", true}});
  EXPECT_THAT(box.journal().entries(), ElementsAre("cloudData.makeDataItem()"));
  EXPECT_EQ(record->property(platform::kStoreAuthorizationToken), Value("dG9rZW4="));
  EXPECT_EQ(record->property(platform::kStoreBuyParameters), Value("price=0"));
  EXPECT_EQ(record->property(platform::kStoreAccountIdentifier), Value(77));
  EXPECT_EQ(record->property(platform::kStoreUserAgent), Value("agent"));
  EXPECT_EQ(record->property(platform::kStoreItemIdentifier), Value(42));
  EXPECT_EQ(record->property(platform::kStoreOfferType),
            Value(platform::kStoreOfferTypePaidRedownload));
  EXPECT_EQ(record->property(platform::kStoreCloudLibraryIdentifier), Value(42));
  EXPECT_EQ(record->property(platform::kStorePlaybackURL), Value(kVideoURL));
  EXPECT_EQ(record->property(platform::kStoreIsStreaming), Value(true));
  EXPECT_EQ(record->property(platform::kStoreMediaType), Value(platform::kStoreMediaTypeMovie));
}

TEST_F(TVVorlaneStoreMediaItemTest, TokenIsBase64) {
  constexpr std::pair<std::string_view, std::string_view> kCases[] = {
      {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},          {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"\xfb\xef\xff", "++//"},
  };
  for (const auto& [data, text] : kCases) {
    const auto record = TVVorlaneStoreMediaItem::_dataItemForParameters({{"mz_at", dataOf(data)}});
    EXPECT_EQ(record->property(platform::kStoreAuthorizationToken), Value(text));
  }
  const auto large = TVVorlaneStoreMediaItem::_dataItemForParameters({{"mz_at", Bytes(300)}});
  EXPECT_EQ(*large->property(platform::kStoreAuthorizationToken).asString(), std::string(400, 'A'));
}

TEST_F(TVVorlaneStoreMediaItemTest, OfferAndMediaType) {
  struct Case {
    Dictionary params;
    Value offer;
    Value cloudLibrary;
    std::string_view mediaType;
  };
  namespace p = platform;
  const Value paid(p::kStoreOfferTypePaidRedownload);
  const Value redownload(p::kStoreOfferTypeRedownload);
  const Value buy(p::kStoreOfferTypeBuy);
  const auto movie = p::kStoreMediaTypeMovie, show = p::kStoreMediaTypeTVShow;
  const auto audio = p::kStoreMediaTypeAudio, clip = p::kStoreMediaTypeMusicVideo;
  const char *type = "itemType", *bought = "purchased", *kind = "purchasedMediaKind";
  const Case cases[] = {
      {{}, {}, {}, movie},
      {{{type, "other"}, {"itemID", 4}}, {}, {}, movie},
      {{{type, "match"}}, paid, {}, movie},
      {{{type, bought}, {"itemID", 4}}, redownload, 0, movie},
      {{{type, bought}, {kind, "tvshow"}}, buy, 0, show},
      {{{type, bought}, {kind, "movie"}}, buy, 0, movie},
      {{{type, bought}, {kind, "music"}}, redownload, 0, audio},
      {{{type, bought}, {kind, "musicvideo"}}, redownload, 0, clip},
      {{{type, bought}, {kind, "musicvideo"}, {"audioOnly", true}}, redownload, 0, audio},
      {{{kind, "tvshow"}, {"audioOnly", false}}, {}, {}, show},
      {{{kind, "song"}}, {}, {}, movie}};
  for (const auto& expected : cases) {
    const auto record = TVVorlaneStoreMediaItem::_dataItemForParameters(expected.params);
    const auto text = expected.params.description();
    EXPECT_EQ(record->property(p::kStoreOfferType), expected.offer) << text;
    EXPECT_EQ(record->property(p::kStoreCloudLibraryIdentifier), expected.cloudLibrary) << text;
    EXPECT_EQ(record->property(p::kStoreMediaType), Value(expected.mediaType)) << text;
  }
}

TEST_F(TVVorlaneStoreMediaItemTest, MergingFillsMissingProperties) {
  constexpr std::string_view kMerged[] = {platform::kStoreAuthorizationToken,
                                          platform::kStoreBuyParameters,
                                          platform::kStoreAccountIdentifier,
                                          platform::kStoreUserAgent,
                                          platform::kStoreItemIdentifier,
                                          platform::kStoreOfferType,
                                          platform::kStoreCloudLibraryIdentifier,
                                          platform::kStorePlaybackURL,
                                          platform::kStoreIsStreaming,
                                          platform::kStoreMediaType};
  TVVorlaneStoreMediaItem item({});
  const auto record = [](const std::vector<std::pair<std::string_view, Value>>& properties) {
    auto made = std::make_shared<TVSStoreDataItem>();
    made->beginTransaction();
    for (const auto& [key, value] : properties) made->setProperty(key, value);
    made->commitTransaction();
    return made;
  };
  for (const auto key : kMerged) {
    const auto empty = record({});
    item.mergePropertiesFromDataItem(record({{key, "from"}, {"other", "from"}}), empty);
    EXPECT_EQ(empty->property(key), Value("from")) << key;
    EXPECT_TRUE(empty->property("other").isNone());
    const auto full = record({{key, "to"}});
    item.mergePropertiesFromDataItem(record({{key, "from"}}), full);
    EXPECT_EQ(full->property(key), Value("to")) << key;
    item.mergePropertiesFromDataItem(record({}), full);
    EXPECT_EQ(full->property(key), Value("to")) << key;
  }
  const auto alone = record({{"a", 1}});
  item.mergePropertiesFromDataItem(alone, nullptr);
  item.mergePropertiesFromDataItem(nullptr, alone);
  EXPECT_EQ(alone->property("a"), Value(1));
}

}  // namespace
