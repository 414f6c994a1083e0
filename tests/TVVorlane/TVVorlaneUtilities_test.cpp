#include "TVVorlane/TVVorlaneUtilities.h"

#include <array>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "sim/Box.h"

using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::Value;
using Utilities = TVVorlaneUtilities;

namespace {

using Kind = Value::Kind;

/// One value of every kind.
const std::vector<Value>& everyKind() {
  static const std::vector<Value> values{
      "text", 12, Bytes(3), platform::Date{}, Array{1}, Dictionary{{"a", 1}}, Value::null()};
  return values;
}

struct KeyType {
  const char* key;
  Kind kind;
};

constexpr std::array<KeyType, 55> kKeyTypes = {{
    {"allowP2P", Kind::Number},
    {"appID", Kind::Data},
    {"assetID", Kind::Data},
    {"buyParams", Kind::String},
    {"cookies", Kind::Array},
    {"Content-Location", Kind::String},
    {"dsid", Kind::Number},
    {"errorInfo", Kind::Dictionary},
    {"host", Kind::String},
    {"itemID", Kind::Number},
    {"itemType", Kind::String},
    {"mediaKindOverride", Kind::String},
    {"outOfBandAlternateTracks", Kind::Array},
    {"path", Kind::String},
    {"playbackRestrictions", Kind::Number},
    {"purchaseBundle", Kind::Dictionary},
    {"purchasedMediaKind", Kind::String},
    {"remoteContext", Kind::Data},
    {"Start-Position", Kind::Number},
    {"Start-Date", Kind::Date},
    {"Start-Estimated-Date", Kind::Date},
    {"streamerGUID", Kind::String},
    {"rate", Kind::Number},
    {"tlsPSKClientIdentity", Kind::Data},
    {"tlsPSKEnabled", Kind::Number},
    {"tlsPSK", Kind::Data},
    {"X-Transmit-Date", Kind::String},
    {"value", Kind::String},
    {"url", Kind::String},
    {"userAgent", Kind::String},
    {"uuid", Kind::String},
    {"videoCacheClear", Kind::Number},
    {"audioOnly", Kind::Number},
    {"actionAtItemEnd", Kind::Number},
    {"date", Kind::Date},
    {"forwardEndTime", Kind::Dictionary},
    {"reverseEndTime", Kind::Dictionary},
    {"enableTrack", Kind::Number},
    {"metaData", Kind::Dictionary},
    {"muted", Kind::Number},
    {"timedMetadataArray", Kind::Array},
    {"playbackAccessLog", Kind::Array},
    {"playbackErrorLog", Kind::Array},
    {"item", Kind::Dictionary},
    {"selectedMediaArray", Kind::Array},
    {"serverInfo", Kind::Dictionary},
    {"streamType", Kind::Number},
    {"volume", Kind::Number},
    {"fpSessionID", Kind::Number},
    {"mz_at", Kind::Data},
    {"PD-Info", Kind::Data},
    {"PIC-Request", Kind::Data},
    {"PIC-Data", Kind::Data},
    {"Player-GUID", Kind::String},
    {"Play-Info", Kind::Data},
}};

class TVVorlaneUtilitiesTest : public testing::Test {
 protected:
  bool valid(const Value& params) {
    error.reset();
    return Utilities::validateParameters(params, &error);
  }

  sim::Box box;
  std::optional<platform::Error> error;
};

TEST_F(TVVorlaneUtilitiesTest, EveryKeyTakesItsTypeAndNoOther) {
  std::set<std::string> seen;
  for (const auto& [key, kind] : kKeyTypes) {
    EXPECT_TRUE(seen.insert(key).second) << key;
    for (const Value& value : everyKind()) {
      box.clearLog();
      const Dictionary params{{key, value}};
      EXPECT_EQ(valid(params), value.kind() == kind) << key << " = " << value.description();
      if (value.kind() == kind) {
        EXPECT_FALSE(error) << key;
        EXPECT_TRUE(box.log().empty()) << key;
        continue;
      }
      EXPECT_EQ(error, platform::Error::status(kTVVorlaneStatusWrongType)) << key;
      EXPECT_EQ(box.log(),
                std::vector{"#T:[Main] #Notice #TVVLSession : ### Vorlane bad value for '" +
                            std::string(key) + "' in params:\n" + params.description() + " "});
    }
  }
}

TEST_F(TVVorlaneUtilitiesTest, ANumberMayBeABoolean) {
  EXPECT_TRUE(valid(Dictionary{{"muted", true}, {"Start-Position", 0.5}, {"rate", 1.0F}}));
}

TEST_F(TVVorlaneUtilitiesTest, KeysWithoutATypeTakeAnything) {
  for (const char* key : {"sessionID", "Start-Position-Seconds", "start-position", "", "pin"}) {
    for (const Value& value : everyKind()) EXPECT_TRUE(valid(Dictionary{{key, value}})) << key;
  }
}

TEST_F(TVVorlaneUtilitiesTest, NoneIsValidAndOnlyADictionaryBesides) {
  EXPECT_TRUE(valid({}));
  EXPECT_TRUE(valid(Dictionary()));
  EXPECT_FALSE(valid("a string"));
  EXPECT_EQ(error->code, -6756);
  EXPECT_EQ(error->domain, platform::kStatusCodeErrorDomain);
  EXPECT_EQ(box.logCount("### Vorlane bad value for 'inParams' in params:\na string "), 1U);
  EXPECT_FALSE(valid(Array{Dictionary()}));
  EXPECT_FALSE(valid(Value::null()));
}

TEST_F(TVVorlaneUtilitiesTest, OnlyTheFirstOffenderIsReported) {
  EXPECT_FALSE(valid(Dictionary{{"uuid", "U"}, {"rate", "1"}, {"url", 1}}));
  ASSERT_EQ(box.log().size(), 1U);
  EXPECT_EQ(box.logCount("bad value for 'rate'"), 1U);
  // An error slot is optional, and not touched on success.
  EXPECT_FALSE(Utilities::validateParameters(Dictionary{{"rate", "1"}}, nullptr));
  error = platform::Error::status(1);
  EXPECT_TRUE(Utilities::validateParameters(Dictionary{{"rate", 1}}, &error));
  EXPECT_EQ(error->code, 1);
}

TEST_F(TVVorlaneUtilitiesTest, ErrorsBecomeDictionariesOfWhatTheyHave) {
  EXPECT_EQ(Utilities::errorToDictionary(std::nullopt), std::nullopt);
  EXPECT_EQ(Utilities::errorToDictionary(platform::Error::status(-6700)),
            (Dictionary{{"code", -6700}, {"domain", platform::kStatusCodeErrorDomain}}));
  EXPECT_EQ(Utilities::errorToDictionary(platform::Error{"", 5, {}, {}, {}}),
            (Dictionary{{"code", 5}}));
  EXPECT_EQ(Utilities::errorToDictionary(platform::Error{"D", 404, "what", "why", "how"}),
            (Dictionary{{"code", 404},
                        {"domain", "D"},
                        {platform::kErrorLocalizedDescriptionKey.data(), "what"},
                        {platform::kErrorLocalizedFailureReasonKey.data(), "why"},
                        {platform::kErrorLocalizedRecoverySuggestionKey.data(), "how"}}));
}

TEST_F(TVVorlaneUtilitiesTest, TimedMetadata) {
  const platform::MediaTime time{5, 2, platform::MediaTime::Valid, 0};
  const Array result = Utilities::timedMetadataFromAVTimedMetadata(
      {{"TIT2", "id3", "de_DE", time, "Lied", {{"value", "replaced"}, {"info", 1}}},
       {{}, {}, {}, {}, {}, {}},
       {"K", {}, {}, platform::MediaTime{}, 7, {}}});
  const Dictionary zero = *platform::MediaTime::zero().toDictionary();
  ASSERT_EQ(result.size(), 3U);
  EXPECT_EQ(result[0], Value(Dictionary{{"key", "TIT2"},
                                        {"keyspace", "id3"},
                                        {"locale", "de_DE"},
                                        {"timestamp", *time.toDictionary()},
                                        {"value", "replaced"},
                                        {"info", 1}}));
  EXPECT_EQ(result[1], Value(Dictionary{{"timestamp", zero}}));
  // A time that is there but has no dictionary form is left out.
  EXPECT_EQ(result[2], Value(Dictionary{{"key", "K"}, {"value", 7}}));
  std::string order;
  for (const auto& [key, value] : *result[0].asDictionary()) order += key + " ";
  EXPECT_EQ(order, "key keyspace locale timestamp value info ");
}

TEST_F(TVVorlaneUtilitiesTest, DataInsideContainersIsAbbreviated) {
  const Dictionary params{{"a", Bytes(5)},
                          {"b", Array{Bytes(3), "text", Dictionary{{"deep", Array{Bytes(0)}}}}},
                          {"c", 1}};
  const Dictionary expected{
      {"a", "<...> 5 bytes"},
      {"b", Array{"<...> 3 bytes", "text", Dictionary{{"deep", Array{"<...> 0 bytes"}}}}},
      {"c", 1}};
  EXPECT_EQ(Utilities::_containerWithAbbreviatedData(params), Value(expected));
  EXPECT_EQ(Utilities::dataAbbreviatedDescription(params), expected.description());
  EXPECT_EQ(Utilities::dataAbbreviatedDescription(Array{Bytes(1)}),
            Array{"<...> 1 bytes"}.description());
  // The input stays as it was.
  EXPECT_EQ(params.get("a"), Value(Bytes(5)));

  EXPECT_EQ(Utilities::dataAbbreviatedDescription(Bytes{std::byte{10}, std::byte{11}}), "<0a0b>");
  EXPECT_EQ(Utilities::dataAbbreviatedDescription("a text"), "a text");
  EXPECT_EQ(Utilities::dataAbbreviatedDescription({}), "(null)");
  EXPECT_EQ(Utilities::_containerWithAbbreviatedData(12), Value(12));
}

TEST_F(TVVorlaneUtilitiesTest, AbbreviatingNothingIsAProgrammingError) {
  const sim::AssertionsThrow assertionsThrow;
  try {
    Utilities::_containerWithAbbreviatedData({});
    FAIL() << "no assertion";
  } catch (const sim::AssertionError& thrown) {
    EXPECT_EQ(thrown.failure().operation, "_containerWithAbbreviatedData");
    EXPECT_TRUE(thrown.failure().source.ends_with("TVVorlane/TVVorlaneUtilities"));
  }
}

}  // namespace
