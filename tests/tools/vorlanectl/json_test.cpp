#include "tools/vorlanectl/Json.h"

#include "tests/box/services/dbus/BusMessage.h"

namespace {

using vorlanectl::CodingError;
using vorlanectl::Json;

class JsonCoding : public ::testing::Test, protected BusMessage {};

TEST_F(JsonCoding, ValuesRoundTrip) {
  const Json object = vorlanectl::parseJson(R"({
    "z": "Grüße", "a": [1, -2.5, true, false, null, [], {}],
    "data": {"$data": "AP8="}, "no data": {"$data": ""},
    "date": {"$date": "2026-11-24T21:12:20Z"},
    "no tag": {"$data": 1}, "more than a tag": {"$date": "x", "k": 1},
    "nested": {"k": {"k": {"k": 1}}}})");
  vorlanectl::appendDictionary(message, object);
  seal();
  EXPECT_EQ(vorlanectl::readValue(message).dump(), object.dump()) << "including the order of keys";
}

TEST_F(JsonCoding, NumbersUseTheSmallestType) {
  const struct {
    const char* json;
    const char* signature;
  } cases[] = {{"0", "i"},
               {"-2147483648", "i"},
               {"2147483647", "i"},
               {"2147483648", "u"},
               {"4294967295", "u"},
               {"4294967296", "x"},
               {"-2147483649", "x"},
               {"9223372036854775808", "t"},
               {"1.0", "d"},
               {"1e3", "d"},
               {"18446744073709551615", "t"},
               {"null", "(s)"},
               {"true", "b"},
               {"\"x\"", "s"},
               {"{}", "a{sv}"},
               {"[]", "av"},
               {R"({"$data":""})", "ay"},
               {R"({"$date":"1970-01-01T00:00:00Z"})", "(d)"}};
  for (const auto& one : cases) vorlanectl::appendVariant(message, vorlanectl::parseJson(one.json));
  seal();
  for (const auto& one : cases) {
    char type = 0;
    const char* contents = nullptr;
    ASSERT_GT(sd_bus_message_peek_type(message, &type, &contents), 0);
    EXPECT_STREQ(contents, one.signature) << one.json;
    EXPECT_EQ(vorlanectl::readValue(message), vorlanectl::parseJson(one.json));
  }
}

TEST_F(JsonCoding, NoneIsAnEmptyArray) {
  vorlanectl::appendValueOrNone(message, nullptr);
  const Json value = 5;
  vorlanectl::appendValueOrNone(message, &value);
  seal();
  EXPECT_EQ(vorlanectl::readValue(message), Json::array());
  EXPECT_EQ(vorlanectl::readValue(message), Json::array({5}));
}

TEST_F(JsonCoding, RejectsValuesWithoutADBusType) {
  std::string deep;
  for (int level = 0; level < 200; ++level) deep += '[';
  deep += std::string(200, ']');
  for (const std::string& json :
       {deep, std::string(R"({"$data":"A"})"), std::string(R"({"$data":"A==="})"),
        std::string(R"({"$data":"A=AA"})"), std::string(R"({"$date":"soon"})"),
        std::string(R"("a\u0000b")")}) {
    EXPECT_THROW(vorlanectl::appendVariant(message, vorlanectl::parseJson(json)), CodingError)
        << json;
  }
  EXPECT_THROW(vorlanectl::appendDictionary(message, Json::array()), CodingError);
  EXPECT_THROW(vorlanectl::parseJson("{"), CodingError);
  EXPECT_THROW(vorlanectl::parseJson("text"), CodingError);
  EXPECT_THROW(vorlanectl::parseJson("1e400"), CodingError);
}

TEST(Base64, MatchesRfc4648) {
  const struct {
    std::string bytes;
    const char* text;
  } cases[] = {{"", ""},
               {"f", "Zg=="},
               {"fo", "Zm8="},
               {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="},
               {"\xFF\xFE", "//4="},
               {std::string(3, '\0'), "AAAA"}};
  for (const auto& one : cases) {
    EXPECT_EQ(vorlanectl::base64(one.bytes.data(), one.bytes.size()), one.text);
    EXPECT_EQ(vorlanectl::decodeBase64(one.text), one.bytes);
  }
}

TEST(Dates, MatchRfc3339) {
  const struct {
    const char* text;
    double seconds;
    const char* canonical;
  } cases[] = {{"1970-01-01T00:00:00Z", 0, "1970-01-01T00:00:00Z"},
               {"2026-11-24T21:12:20Z", 1795554740, "2026-11-24T21:12:20Z"},
               {"2026-11-24 22:12:20+01:00", 1795554740, "2026-11-24T21:12:20Z"},
               {"2026-11-24t13:42:20-07:30", 1795554740, "2026-11-24T21:12:20Z"},
               {"1969-12-31T23:59:58.5Z", -1.5, "1969-12-31T23:59:58.500000Z"},
               {"2024-02-29T00:00:00Z", 1709164800, "2024-02-29T00:00:00Z"}};
  for (const auto& one : cases) {
    EXPECT_DOUBLE_EQ(vorlanectl::parseDate(one.text), one.seconds) << one.text;
    EXPECT_EQ(vorlanectl::formatDate(one.seconds), one.canonical);
  }
  for (const char* text : {"", "2026", "2026-13-01T00:00:00Z", "2026-11-24T25:00:00Z", "2026-11-24",
                           "2026-11-24T21:12:20", "2026-11-24T21:12:20+1", "2026-11-24T21:12:20Zx",
                           "2026-11-24x21:12:20Z"}) {
    EXPECT_THROW(vorlanectl::parseDate(text), CodingError) << text;
  }
}

}  // namespace
