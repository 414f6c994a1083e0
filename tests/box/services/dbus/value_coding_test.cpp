#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "box/services/dbus/ValueReader.h"
#include "box/services/dbus/ValueWriter.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"
#include "platform/ui/scene/Layer.h"
#include "tests/box/services/dbus/BusMessage.h"

namespace {

using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::Value;

class ValueCoding : public ::testing::Test, protected BusMessage {};

class OpaqueObject : public platform::Object {
 public:
  std::string className() const override { return "OpaqueObject"; }
};

class NamedLayer : public platform::Layer {
 public:
  std::string path() const override { return "/layers/1"; }
  void close() override {}
};

Value nested(int depth, bool arrays) {
  Value value = 1;
  for (int level = 0; level < depth; ++level) {
    value = arrays ? Value(Array{value}) : Value(Dictionary{{"k", value}});
  }
  return value;
}

TEST_F(ValueCoding, RoundTripsEveryKind) {
  const Dictionary values{{"text", "Grüße 🎬"},
                          {"empty", ""},
                          {"true", true},
                          {"false", false},
                          {"int32", std::numeric_limits<std::int32_t>::min()},
                          {"uint32", std::numeric_limits<std::uint32_t>::max()},
                          {"int64", std::numeric_limits<std::int64_t>::min()},
                          {"uint64", std::numeric_limits<std::uint64_t>::max()},
                          {"double", 0.1},
                          {"infinite", std::numeric_limits<double>::infinity()},
                          {"data", Bytes{std::byte{0}, std::byte{255}}},
                          {"no data", Bytes{}},
                          {"date", platform::Date{-1.5}},
                          {"null", Value::null()},
                          {"array", Array{1, "two", Array{}, Dictionary{}}},
                          {"dictionary", Dictionary{{"inner", Array{Value::null()}}}}};
  box::ValueWriter writer(message);
  writer.appendDictionary(values);
  ASSERT_EQ(writer.error(), 0);
  seal();
  EXPECT_STREQ(sd_bus_message_get_signature(message, 1), "a{sv}");

  Dictionary read;
  box::ValueReader reader(message);
  ASSERT_TRUE(reader.readDictionary(read)) << reader.failure();
  EXPECT_EQ(read, values) << read.description();
  for (const auto& [key, value] : values) {
    const Value other = read.get(key);
    EXPECT_EQ(other.kind(), value.kind()) << key;
    if (value.asNumber()) {
      EXPECT_EQ(other.asNumber()->kind(), value.asNumber()->kind()) << key;
    }
  }
}

TEST_F(ValueCoding, WritesLayersAsPathsAndOmitsOtherObjects) {
  const std::shared_ptr<platform::Object> layer = std::make_shared<NamedLayer>();
  box::ValueWriter writer(message);
  writer.appendDictionary(
      {{"object", std::shared_ptr<platform::Object>(std::make_shared<OpaqueObject>())},
       {"layer", layer},
       {"kept", Array{Value(), 1, layer}}});
  writer.appendValueOrNone({});
  writer.appendValueOrNone(Array{});
  ASSERT_EQ(writer.error(), 0);
  seal();
  box::ValueReader reader(message);
  Dictionary dictionary;
  Value none;
  Value empty;
  ASSERT_TRUE(reader.readDictionary(dictionary));
  EXPECT_EQ(dictionary, (Dictionary{{"layer", "/layers/1"}, {"kept", Array{1, "/layers/1"}}}));
  ASSERT_TRUE(reader.readValueOrNone(none));
  EXPECT_TRUE(none.isNone());
  ASSERT_TRUE(reader.readValueOrNone(empty));
  EXPECT_EQ(empty, Value(Array{}));
}

TEST_F(ValueCoding, ReplacesInvalidUtf8InStrings) {
  box::ValueWriter(message).appendValueOrNone(std::string("a\xFF\0b", 4));
  seal();
  Value value;
  ASSERT_TRUE(box::ValueReader(message).readValueOrNone(value));
  EXPECT_EQ(value, Value("a\uFFFD\uFFFDb"));
}

TEST(BusText, IsValidatedAsUtf8) {
  const struct {
    std::string text;
    bool isValid;
  } cases[] = {{"", true},
               {"plain", true},
               {"\u00E4\u20AC\U0001F3AC", true},
               {"\xF4\x8F\xBF\xBF", true},
               {std::string("a\0b", 3), false},
               {"\x80", false},  // continuation byte only
               {"\xC3", false},  // truncated
               {"\xE2\x82", false},
               {"\xC0\xAF", false},  // overlong
               {"\xE0\x80\x80", false},
               {"\xF0\x80\x80\x80", false},
               {"\xED\xA0\x80", false},      // a surrogate
               {"\xF4\x90\x80\x80", false},  // beyond U+10FFFF
               {"\xFE", false}};
  for (const auto& one : cases) {
    EXPECT_EQ(platform::isValidText(one.text), one.isValid) << testing::PrintToString(one.text);
    EXPECT_TRUE(platform::isValidText(platform::replacingInvalidText(one.text)));
    if (one.isValid) {
      EXPECT_EQ(platform::replacingInvalidText(one.text), one.text);
    }
  }
}

TEST_F(ValueCoding, RoundTripsThirtyTwoLevels) {
  for (const bool arrays : {false, true}) {
    box::ValueWriter writer(message);
    writer.appendValueOrNone(nested(32, arrays));
    ASSERT_EQ(writer.error(), 0);
  }
  seal();
  box::ValueReader reader(message);
  for (const bool arrays : {false, true}) {
    Value value;
    ASSERT_TRUE(reader.readValueOrNone(value)) << reader.failure();
    EXPECT_EQ(value, nested(32, arrays));
  }
}

TEST_F(ValueCoding, DoesNotWriteMoreLevels) {
  box::ValueWriter writer(message);
  writer.appendValueOrNone(nested(33, false));
  EXPECT_EQ(writer.error(), -ELOOP);
}

/// Appends a variant nested `depth` levels deep. ValueWriter would reject it.
void appendNested(sd_bus_message* message, int depth, bool arrays) {
  const char* const variant = depth == 0 ? "i" : arrays ? "av" : "a{sv}";
  sd_bus_message_open_container(message, 'v', variant);
  if (depth == 0) {
    sd_bus_message_append(message, "i", 1);
  } else if (arrays) {
    sd_bus_message_open_container(message, 'a', "v");
    appendNested(message, depth - 1, arrays);
    sd_bus_message_close_container(message);
  } else {
    sd_bus_message_open_container(message, 'a', "{sv}");
    sd_bus_message_open_container(message, 'e', "sv");
    sd_bus_message_append(message, "s", "k");
    appendNested(message, depth - 1, arrays);
    sd_bus_message_close_container(message);
    sd_bus_message_close_container(message);
  }
  sd_bus_message_close_container(message);
}

using Fill = std::function<void(sd_bus_message*)>;

/// Returns a function that appends a variant with these contents.
template <typename... Contents>
Fill variant(Contents... contents) {
  return [=](sd_bus_message* message) { sd_bus_message_append(message, "v", contents...); };
}

TEST(MalformedValue, IsRejectedWithAReason) {
  constexpr std::size_t kTooMuch = (16U << 20) + 1;
  const std::string text(1 << 20, 'x');
  const char* const unknown = "unknown value type";
  const char* const deep = "values are nested too deep";
  const char* const notFinite = "a date is not finite";
  const char* const tooLong = "the message exceeds 16 MiB";
  const struct {
    const char* name;
    Fill fill;
    const char* failure;
  } cases[] = {
      {"object path", variant("o", "/a"), unknown},
      {"signature", variant("g", "ai"), unknown},
      {"variant in variant", variant("v", "i", 1), unknown},
      {"array of strings", variant("as", 1, "a"), unknown},
      {"dictionary of strings", variant("a{ss}", 1, "a", "b"), unknown},
      {"dictionary with number keys", variant("a{iv}", 1, 1, "i", 2), unknown},
      {"other structure", variant("(ii)", 1, 2), unknown},
      {"null of another name", variant("(s)", "nil"), unknown},
      {"unknown inside", variant("av", 1, "g", "ai"), unknown},
      {"text that is not UTF-8",
       [](sd_bus_message* to) {
         char* space = nullptr;
         sd_bus_message_open_container(to, 'v', "s");
         sd_bus_message_append_string_space(to, 2, &space);
         std::memcpy(space, "\xC3\x28", 3);
         sd_bus_message_close_container(to);
       },
       "a string is not UTF-8"},
      {"date that is no number", variant("(d)", std::nan("")), notFinite},
      {"infinite date", variant("(d)", HUGE_VAL), notFinite},
      {"deep dictionaries", [](sd_bus_message* to) { appendNested(to, 33, false); }, deep},
      {"deep arrays", [](sd_bus_message* to) { appendNested(to, 33, true); }, deep},
      {"too much data",
       [](sd_bus_message* to) {
         void* bytes = nullptr;
         sd_bus_message_open_container(to, 'v', "ay");
         sd_bus_message_append_array_space(to, 'y', kTooMuch, &bytes);
         std::memset(bytes, 0, kTooMuch);
         sd_bus_message_close_container(to);
       },
       tooLong},
      {"too much in pieces",
       [&](sd_bus_message* to) {
         sd_bus_message_open_container(to, 'v', "av");
         sd_bus_message_open_container(to, 'a', "v");
         for (int count = 0; count < 17; ++count) sd_bus_message_append(to, "v", "s", text.c_str());
         sd_bus_message_close_container(to);
         sd_bus_message_close_container(to);
       },
       tooLong},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    BusMessage bus;
    one.fill(bus.message);
    bus.seal();
    box::ValueReader reader(bus.message);
    Value value;
    EXPECT_FALSE(reader.readVariant(value));
    EXPECT_STREQ(reader.failure(), one.failure);
  }
}

TEST_F(ValueCoding, RejectsSeveralElementsInAnOptionalValue) {
  sd_bus_message_append(message, "av", 2, "i", 1, "i", 2);
  seal();
  box::ValueReader reader(message);
  Value value;
  EXPECT_FALSE(reader.readValueOrNone(value));
  EXPECT_STREQ(reader.failure(), "an optional value has several elements");
}

}  // namespace
