// Media items that a URL session creates from start parameters.

#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneStoreMediaItem.h"
#include "platform/foundation/MediaTime.h"
#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

Dictionary timeDictionary(const MediaTime& time) {
  // Always contains all four keys.
  return {{"value", time.value},
          {"timescale", time.timescale},
          {"flags", time.flags},
          {"epoch", time.epoch}};
}

TEST_F(URLSessionTest, ItemMetadataComeFromTheParameters) {
  const Dictionary params{{"Content-Location", kVideoURL},
                          {"allowP2P", true},
                          {"purchaseBundle", Dictionary{{"a", 1}}},
                          {"outOfBandAlternateTracks", platform::Array{"track"}},
                          {"textMarkupArray", platform::Array{"style"}},
                          {"cookies", platform::Array{"a=b"}},
                          {"userAgent", "agent"},
                          {"uuid", "U1"},
                          {"forwardEndTime", timeDictionary(MediaTime{90, 4, MediaTime::Valid, 0})},
                          {"reverseEndTime", timeDictionary(MediaTime::indefinite())},
                          {"Play-Info", bytes(2)},
                          {"fpSessionID", 9},
                          {"tlsPSKClientIdentity", bytes(3)},
                          {"tlsPSK", bytes(4)}};
  const auto item = TVVorlaneURLSession::_mediaItemForParameters(params);
  EXPECT_EQ(item->url(), kVideoURL);
  EXPECT_EQ(item->metadata(platform::kMediaItemAllowsDirectWirelessLink), Value(true));
  EXPECT_EQ(item->metadata(platform::kMediaItemAcquisition), params.get("purchaseBundle"));
  EXPECT_EQ(item->metadata(platform::kMediaItemAlternateTracks),
            params.get("outOfBandAlternateTracks"));
  EXPECT_EQ(item->metadata(platform::kMediaItemSubtitleStyles), params.get("textMarkupArray"));
  EXPECT_EQ(item->metadata(platform::kMediaItemCookies), params.get("cookies"));
  EXPECT_EQ(item->metadata(platform::kMediaItemUserAgent), Value("agent"));
  EXPECT_EQ(item->metadata(TVVorlaneMediaItemMetadataUUID), Value("U1"));
  EXPECT_EQ(item->metadata(platform::kMediaItemForwardEndTime), Value(22.5));
  EXPECT_TRUE(item->metadata(platform::kMediaItemReverseEndTime).isNone());
  const auto endless = TVVorlaneURLSession::_mediaItemForParameters(
      {{"forwardEndTime", timeDictionary(MediaTime::positiveInfinity())}});
  EXPECT_TRUE(endless->metadata(platform::kMediaItemForwardEndTime).isNone());
  const Dictionary authorization{
      {std::string(platform::kContentAuthorizationPlayInfo), bytes(2)},
      {std::string(platform::kContentAuthorizationSessionIdentifier), 9}};
  EXPECT_EQ(item->metadata(platform::kMediaItemSenderAuthorization), Value(authorization));
  EXPECT_EQ(item->metadata(platform::kMediaItemTLSSettings),
            Value(*TVVorlaneMediaItem::sslPropertiesForIdentity(bytes(3), bytes(4))));
}

TEST_F(URLSessionTest, ItemWithoutParametersHasOnlyAMediaType) {
  const auto item = TVVorlaneURLSession::_mediaItemForParameters({{"Content-Location", kVideoURL}});
  for (const auto key :
       {platform::kMediaItemAllowsDirectWirelessLink, platform::kMediaItemAcquisition,
        platform::kMediaItemAlternateTracks, platform::kMediaItemSubtitleStyles,
        TVVorlaneMediaItemMetadataUUID, platform::kMediaItemCookies, platform::kMediaItemUserAgent,
        platform::kMediaItemForwardEndTime, platform::kMediaItemReverseEndTime,
        platform::kMediaItemSenderAuthorization, platform::kMediaItemTLSSettings}) {
    EXPECT_TRUE(item->metadata(key).isNone()) << key;
  }
  EXPECT_EQ(item->metadata(platform::kMediaItemMediaType), Value("video"));
}

struct ItemClass {
  const char* name;
  Dictionary options;
  bool isStoreItem;
  bool inheritsQuery = false;
  bool usesDiskCache = true;
  std::optional<std::size_t> authorizationEntries = {};
};

TEST_F(URLSessionTest, ItemClassAndTraitsDependOnTheParameters) {
  const ItemClass cases[] = {
      {"plain", {}, false},
      {"token and parameters", {{"mz_at", bytes(1)}, {"buyParams", "b"}}, true},
      {"empty token", {{"mz_at", bytes(0)}, {"buyParams", "b"}}, false},
      {"no buy parameters", {{"mz_at", bytes(1)}}, false},
      {"inherits", {{"inheritURIQueryComponentFromReferencingURI", true}}, false, true},
      {"music", {{"purchasedMediaKind", "music"}}, false, false, false},
      {"sound", {{"audioOnly", true}}, false, false, false},
      {"play info alone", {{"Play-Info", bytes(1)}}, false},
      {"empty play info", {{"Play-Info", bytes(0)}, {"fpSessionID", 1}}, false, false, true, 1},
      {"store item with play info",
       {{"mz_at", bytes(1)}, {"buyParams", "b"}, {"Play-Info", bytes(1)}, {"fpSessionID", 1}},
       true}};
  for (const auto& [name, options, isStoreItem, inherits, cache, entries] : cases) {
    const auto item = TVVorlaneURLSession::_mediaItemForParameters(videoOptions(7, options));
    EXPECT_EQ(dynamic_cast<TVVorlaneStoreMediaItem*>(item.get()) != nullptr, isStoreItem) << name;
    EXPECT_EQ(dynamic_cast<TVVorlaneMediaItem*>(item.get()) != nullptr, !isStoreItem) << name;
    const auto authorization = item->metadata(platform::kMediaItemSenderAuthorization);
    EXPECT_EQ(authorization.asDictionary() != nullptr, entries.has_value()) << name;
    if (entries) {
      EXPECT_EQ(authorization.asDictionary()->size(), *entries) << name;
    }
    if (isStoreItem) continue;
    EXPECT_EQ(item->hasTrait(platform::kMediaItemTraitInheritsURIQueryComponent), inherits) << name;
    EXPECT_EQ(item->hasTrait(platform::kMediaItemTraitUsesDiskCache), cache) << name;
  }
}

}  // namespace
