#include "TVVorlane/TVVorlaneUtilities.h"

#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "platform/foundation/Value.h"
#include "platform/media/TimedMetadataItem.h"
#include "sim/Box.h"

using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::Value;
using Utilities = TVVorlaneUtilities;

namespace {

using Kind = Value::Kind;

/// One value of each type.
const std::vector<Value>& everyKind() {
  static const std::vector<Value> values{
      "text", 12, Bytes(3), platform::Date{}, Array{1}, Dictionary{{"a", 1}}, Value::null()};
  return values;
}

/// Every key with a required type.
const std::vector<std::pair<Kind, std::vector<const char*>>> kKeysByType{
    {Kind::Number,
     {"allowP2P", "dsid", "itemID", "playbackRestrictions", "Start-Position", "rate",
      "tlsPSKEnabled", "videoCacheClear", "audioOnly", "actionAtItemEnd", "enableTrack", "muted",
      "streamType", "volume", "fpSessionID"}},
    {Kind::String,
     {"buyParams", "Content-Location", "host", "itemType", "mediaKindOverride", "path",
      "purchasedMediaKind", "streamerGUID", "X-Transmit-Date", "value", "url", "userAgent", "uuid",
      "Player-GUID"}},
    {Kind::Data,
     {"appID", "assetID", "remoteContext", "tlsPSKClientIdentity", "tlsPSK", "mz_at", "PD-Info",
      "PIC-Request", "PIC-Data", "Play-Info"}},
    {Kind::Date, {"Start-Date", "Start-Estimated-Date", "date"}},
    {Kind::Array,
     {"cookies", "outOfBandAlternateTracks", "timedMetadataArray", "playbackAccessLog",
      "playbackErrorLog", "selectedMediaArray"}},
    {Kind::Dictionary,
     {"errorInfo", "purchaseBundle", "forwardEndTime", "reverseEndTime", "metaData", "item",
      "serverInfo"}}};

class TVVorlaneUtilitiesTest : public testing::Test {
 protected:
  bool valid(const Value& params) {
    error.reset();
    return Utilities::validateParameters(params, &error);
  }

  sim::Box box;
  std::optional<platform::Error> error;
};

TEST_F(TVVorlaneUtilitiesTest, EveryKeyAcceptsOnlyItsType) {
  std::set<std::string> seen;
  const auto expectType = [&](const char* key, Kind kind) {
    EXPECT_TRUE(seen.insert(key).second) << key;
    for (const Value& value : everyKind()) {
      box.clearLog();
      const Dictionary params{{key, value}};
      EXPECT_EQ(valid(params), value.kind() == kind) << key << " = " << value.description();
      if (value.kind() == kind) {
        EXPECT_FALSE(error || !box.log().empty()) << key;
        continue;
      }
      EXPECT_EQ(error, platform::Error::status(kTVVorlaneStatusWrongType)) << key;
      EXPECT_EQ(box.log(),
                std::vector{"#T:[Main] #Notice #TVVLSession : ### Vorlane bad value for '" +
                            std::string(key) + "' in params:\n" + params.description() + " "});
    }
  };
  for (const auto& [kind, keys] : kKeysByType) {
    for (const char* key : keys) expectType(key, kind);
  }
  EXPECT_EQ(seen.size(), 55U);
}

TEST_F(TVVorlaneUtilitiesTest, NumbersAcceptBooleans) {
  EXPECT_TRUE(valid(Dictionary{{"muted", true}, {"Start-Position", 0.5}, {"rate", 1.0F}}));
}

TEST_F(TVVorlaneUtilitiesTest, UnknownKeysAcceptAnyType) {
  for (const char* key : {"sessionID", "Start-Position-Seconds", "start-position", "", "pin"}) {
    for (const Value& value : everyKind()) EXPECT_TRUE(valid(Dictionary{{key, value}})) << key;
  }
}

TEST_F(TVVorlaneUtilitiesTest, ParametersMustBeADictionaryOrNone) {
  EXPECT_TRUE(valid({}));
  EXPECT_TRUE(valid(Dictionary()));
  EXPECT_FALSE(valid("a string"));
  EXPECT_EQ(error->code, -6756);
  EXPECT_EQ(error->domain, platform::kStatusCodeErrorDomain);
  EXPECT_EQ(box.logCount("### Vorlane bad value for 'inParams' in params:\na string "), 1U);
  EXPECT_FALSE(valid(Array{Dictionary()}));
  EXPECT_FALSE(valid(Value::null()));
}

TEST_F(TVVorlaneUtilitiesTest, OnlyTheFirstInvalidKeyIsReported) {
  EXPECT_FALSE(valid(Dictionary{{"uuid", "U"}, {"rate", "1"}, {"url", 1}}));
  ASSERT_EQ(box.log().size(), 1U);
  EXPECT_EQ(box.logCount("bad value for 'rate'"), 1U);
  // The error pointer is optional, and it is not changed on success.
  EXPECT_FALSE(Utilities::validateParameters(Dictionary{{"rate", "1"}}, nullptr));
  error = platform::Error::status(1);
  EXPECT_TRUE(Utilities::validateParameters(Dictionary{{"rate", 1}}, &error));
  EXPECT_EQ(error->code, 1);
}

TEST_F(TVVorlaneUtilitiesTest, ErrorDictionariesOmitMissingFields) {
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

TEST_F(TVVorlaneUtilitiesTest, ConvertsTimedMetadata) {
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
  // A time that cannot be converted to a dictionary is omitted.
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
  // The input is not modified.
  EXPECT_EQ(params.get("a"), Value(Bytes(5)));

  EXPECT_EQ(Utilities::dataAbbreviatedDescription(Bytes{std::byte{10}, std::byte{11}}), "<0a0b>");
  EXPECT_EQ(Utilities::dataAbbreviatedDescription("a text"), "a text");
  EXPECT_EQ(Utilities::dataAbbreviatedDescription({}), "(null)");
  EXPECT_EQ(Utilities::_containerWithAbbreviatedData(12), Value(12));
}

}  // namespace
