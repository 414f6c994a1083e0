#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "box/services/Utf8.h"
#include "box/services/ValueReader.h"
#include "box/services/ValueWriter.h"
#include "platform/foundation/Object.h"
#include "platform/ui/Layer.h"

namespace {

using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::Value;

/// A message that is never sent: written, sealed, read.
class ValueCoding : public ::testing::Test {
 protected:
  ValueCoding() {
    int sockets[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    _other = sockets[1];
    sd_bus_new(&_bus);
    sd_bus_set_fd(_bus, sockets[0], sockets[0]);
    sd_bus_start(_bus);
    sd_bus_message_new_signal(_bus, &message, "/a", "a.b", "C");
  }
  ~ValueCoding() override {
    sd_bus_message_unref(message);
    sd_bus_close_unref(_bus);
    ::close(_other);
  }
  void seal() {
    ASSERT_GE(sd_bus_message_seal(message, 1, 0), 0);
    ASSERT_GE(sd_bus_message_rewind(message, 1), 0);
  }

  sd_bus_message* message = nullptr;

 private:
  sd_bus* _bus = nullptr;
  int _other = -1;
};

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

TEST_F(ValueCoding, EveryKindSurvives) {
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

TEST_F(ValueCoding, ALayerIsItsPath) {
  const std::shared_ptr<platform::Object> layer = std::make_shared<NamedLayer>();
  box::ValueWriter writer(message);
  writer.appendDictionary({{"presentationLayer", layer}, {"list", Array{layer}}});
  ASSERT_EQ(writer.error(), 0);
  seal();
  Dictionary read;
  box::ValueReader reader(message);
  ASSERT_TRUE(reader.readDictionary(read)) << reader.failure();
  EXPECT_EQ(read, (Dictionary{{"presentationLayer", "/layers/1"}, {"list", Array{"/layers/1"}}}));
}

TEST_F(ValueCoding, WhatHasNoFormIsLeftOut) {
  box::ValueWriter writer(message);
  writer.appendDictionary(
      {{"object", std::shared_ptr<platform::Object>(std::make_shared<OpaqueObject>())},
       {"kept", Array{Value(), 1}}});
  writer.appendValueOrNone({});
  writer.appendValueOrNone(Array{});
  ASSERT_EQ(writer.error(), 0);
  seal();
  box::ValueReader reader(message);
  Dictionary dictionary;
  Value none = 1;
  Value empty;
  ASSERT_TRUE(reader.readDictionary(dictionary));
  EXPECT_EQ(dictionary, (Dictionary{{"kept", Array{1}}}));
  none = {};
  ASSERT_TRUE(reader.readValueOrNone(none));
  EXPECT_TRUE(none.isNone());
  ASSERT_TRUE(reader.readValueOrNone(empty));
  EXPECT_EQ(empty, Value(Array{}));
}

TEST_F(ValueCoding, TextThatIsNotUtf8IsRepairedOnTheWayOut) {
  box::ValueWriter(message).appendValueOrNone(std::string("a\xFF\0b", 4));
  seal();
  Value value;
  ASSERT_TRUE(box::ValueReader(message).readValueOrNone(value));
  EXPECT_EQ(value, Value("a\uFFFD\uFFFDb"));
}

TEST(BusText, FollowsTheRulesOfUtf8) {
  const struct {
    std::string text;
    bool isValid;
  } cases[] = {{"", true},
               {"plain", true},
               {"\u00E4\u20AC\U0001F3AC", true},
               {"\xF4\x8F\xBF\xBF", true},
               {std::string("a\0b", 3), false},
               {"\x80", false},  // a continuation alone
               {"\xC3", false},  // cut short
               {"\xE2\x82", false},
               {"\xC0\xAF", false},  // overlong
               {"\xE0\x80\x80", false},
               {"\xF0\x80\x80\x80", false},
               {"\xED\xA0\x80", false},      // a surrogate
               {"\xF4\x90\x80\x80", false},  // beyond U+10FFFF
               {"\xFE", false}};
  for (const auto& one : cases) {
    EXPECT_EQ(box::isBusText(one.text), one.isValid) << testing::PrintToString(one.text);
    EXPECT_TRUE(box::isBusText(box::replacingInvalidText(one.text)));
    if (one.isValid) {
      EXPECT_EQ(box::replacingInvalidText(one.text), one.text);
    }
  }
}

TEST_F(ValueCoding, ThirtyTwoLevelsAreWrittenAndRead) {
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

TEST_F(ValueCoding, MoreLevelsAreNotWritten) {
  box::ValueWriter writer(message);
  writer.appendValueOrNone(nested(33, false));
  EXPECT_EQ(writer.error(), -ELOOP);
}

/// Appends a variant nested `depth` deep without the writer's limit.
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

struct Malformed {
  const char* name;
  void (*fill)(sd_bus_message*);
  const char* failure;
};

class MalformedValue : public ValueCoding, public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedValue, IsRefusedWithItsReason) {
  GetParam().fill(message);
  seal();
  box::ValueReader reader(message);
  Value value;
  EXPECT_FALSE(reader.readVariant(value));
  EXPECT_STREQ(reader.failure(), GetParam().failure);
}

constexpr const char* kUnknown = "a value of an unknown type";
constexpr const char* kDeep = "values nested too deep";

INSTANTIATE_TEST_SUITE_P(
    All, MalformedValue,
    ::testing::Values(
        Malformed{"ObjectPath", [](sd_bus_message* m) { sd_bus_message_append(m, "v", "o", "/a"); },
                  kUnknown},
        Malformed{"Signature", [](sd_bus_message* m) { sd_bus_message_append(m, "v", "g", "ai"); },
                  kUnknown},
        Malformed{"VariantInVariant",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "v", "i", 1); }, kUnknown},
        Malformed{"ArrayOfStrings",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "as", 1, "a"); }, kUnknown},
        Malformed{"DictionaryOfStrings",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "a{ss}", 1, "a", "b"); },
                  kUnknown},
        Malformed{"DictionaryWithNumberKeys",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "a{iv}", 1, 1, "i", 2); },
                  kUnknown},
        Malformed{"OtherStructure",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "(ii)", 1, 2); }, kUnknown},
        Malformed{"NullOfAnotherName",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "(s)", "nil"); }, kUnknown},
        Malformed{"UnknownInside",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "av", 1, "g", "ai"); },
                  kUnknown},
        Malformed{"TextThatIsNotUtf8",
                  [](sd_bus_message* m) {
                    char* text = nullptr;
                    sd_bus_message_open_container(m, 'v', "s");
                    sd_bus_message_append_string_space(m, 2, &text);
                    std::memcpy(text, "\xC3\x28", 3);
                    sd_bus_message_close_container(m);
                  },
                  "a text that is not UTF-8"},
        Malformed{"DateThatIsNoNumber",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "(d)", std::nan("")); },
                  "a date that is not finite"},
        Malformed{"InfiniteDate",
                  [](sd_bus_message* m) { sd_bus_message_append(m, "v", "(d)", HUGE_VAL); },
                  "a date that is not finite"},
        Malformed{"DeepDictionaries", [](sd_bus_message* m) { appendNested(m, 33, false); }, kDeep},
        Malformed{"DeepArrays", [](sd_bus_message* m) { appendNested(m, 33, true); }, kDeep},
        Malformed{"TooMuchData",
                  [](sd_bus_message* m) {
                    void* bytes = nullptr;
                    sd_bus_message_open_container(m, 'v', "ay");
                    sd_bus_message_append_array_space(m, 'y', (16U << 20) + 1, &bytes);
                    std::memset(bytes, 0, (16U << 20) + 1);
                    sd_bus_message_close_container(m);
                  },
                  "a message over 16 MiB"},
        Malformed{"TooMuchInPieces",
                  [](sd_bus_message* m) {
                    const std::string text(1 << 20, 'x');
                    sd_bus_message_open_container(m, 'v', "av");
                    sd_bus_message_open_container(m, 'a', "v");
                    for (int count = 0; count < 17; ++count) {
                      sd_bus_message_append(m, "v", "s", text.c_str());
                    }
                    sd_bus_message_close_container(m);
                    sd_bus_message_close_container(m);
                  },
                  "a message over 16 MiB"}),
    [](const auto& one) { return one.param.name; });

TEST_F(ValueCoding, OneValueAtMostStandsForAnArgument) {
  sd_bus_message_append(message, "av", 2, "i", 1, "i", 2);
  seal();
  box::ValueReader reader(message);
  Value value;
  EXPECT_FALSE(reader.readValueOrNone(value));
  EXPECT_STREQ(reader.failure(), "more than one value in place of one");
}

}  // namespace
