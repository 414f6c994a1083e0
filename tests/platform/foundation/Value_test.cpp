#include "platform/foundation/Value.h"

#include <cmath>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include "platform/foundation/Error.h"
#include "platform/foundation/MediaTime.h"
#include "tests/platform/foundation/Support.h"

namespace platform {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

TEST(Value, WrappedUInt32ValueIsModulo2To32) {
  const std::pair<Number, std::uint32_t> cases[] = {{Number(7), 7},
                                                    {Number(-1), 0xFFFFFFFF},
                                                    {Number(std::int64_t{-2}), 0xFFFFFFFE},
                                                    {Number(kMin64), 0},
                                                    {Number(kMaxU64), 0xFFFFFFFF},
                                                    {Number(std::uint64_t{1} << 32 | 5), 5},
                                                    {Number(-1.5), 0xFFFFFFFF},
                                                    {Number(4294967298.25), 2},
                                                    {Number(kNaN), 0},
                                                    {Number(kInfinity), 0},
                                                    {Number(true), 1}};
  for (const auto& [number, wrapped] : cases)
    EXPECT_EQ(number.wrappedUInt32Value(), wrapped) << number.description();
}

TEST(Value, Descriptions) {
  const Bytes bytes{std::byte{0x0a}, std::byte{0xf0}};
  const struct {
    Value value;
    std::string text;
  } cases[] = {
      {{}, "(null)"},
      {Value::null(), "<null>"},
      {"say \"hi\"\n", "say \"hi\"\n"},
      {true, "1"},
      {-7, "-7"},
      {kMaxU64, "18446744073709551615"},
      {kMin64, "-9223372036854775808"},
      {0.5, "0.5"},
      {1.0, "1"},
      {100000.0, "100000"},
      {0.1, "0.1"},
      {0.1f, "0.1"},
      {1e300, "1e+300"},
      {1e-7, "1e-07"},
      {kNaN, "nan"},
      {-kInfinity, "-inf"},
      {bytes, "<0af0>"},
      {Bytes{}, "<>"},
      {Date{1795554740.9}, "2026-11-24 21:12:20 +0000"},
      {Date{-0.5}, "1969-12-31 23:59:59 +0000"},
      {Date{1e18}, "1e+18"},
      {Array{}, "(\n)"},
      {Array{1, "a b"}, "(\n    1,\n    \"a b\"\n)"},
      {Dictionary{}, "{\n}"},
      {Dictionary{{"z_1", "plain_0"},
                  {"a-b", ""},
                  {"q", "a\"b\\c\nd"},
                  {"u", "é"},
                  {"n", Value::null()},
                  {"d", bytes}},
       "{\n    z_1 = plain_0;\n    \"a-b\" = \"\";\n    q = \"a\\\"b\\\\c\\nd\";\n    u = \"é\";\n"
       "    n = <null>;\n    d = <0af0>;\n}"},
      {Dictionary{{"in", Dictionary{{"list", Array{Dictionary{{"k", 1}}, 2}}}}},
       "{\n    in = {\n        list = (\n            {\n                k = 1;\n            },\n"
       "            2\n        );\n    };\n}"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(value.description(), text);

  const auto thing = std::make_shared<TestObject>();
  EXPECT_TRUE(Value(thing).description().starts_with("<TestObject: 0x"));
  EXPECT_EQ(Error::status(-6705).description(),
            "Error Domain=TVSStatusCodeErrorDomain Code=-6705 \"(null)\"");
  EXPECT_EQ((Error{"D", 4, "no way", {}, {}}).description(), "Error Domain=D Code=4 \"no way\"");
}

TEST(Value, DescriptionOfNestedDataGrowsLinearly) {
  constexpr std::size_t kSize = 1 << 20;
  constexpr std::size_t kDepth = 30;
  Value value(Bytes(kSize, std::byte{0xab}));
  for (std::size_t i = 0; i < kDepth; ++i) value = Dictionary{{"k", value}};
  const std::string text = value.description();
  EXPECT_GT(text.size(), 2 * kSize);
  EXPECT_LT(text.size(), 2 * kSize + kDepth * (2 * 4 * kDepth + 16));
}

TEST(Value, NumbersCompareByValue) {
  const struct {
    Number a, b;
    bool equal;
  } cases[] = {{Number(true), Number(1.0), true},
               {Number(false), Number(0u), true},
               {Number(true), Number(2), false},
               {Number(-1), Number(kMaxU64), false},
               {Number(kMax64), Number(static_cast<std::uint64_t>(kMax64)), true},
               {Number(kMax64), Number(kTwo63), false},
               {Number(static_cast<std::uint64_t>(kMax64) + 1), Number(kTwo63), true},
               {Number(kMin64), Number(-kTwo63), true},
               {Number(kMaxU64), Number(kTwo64), false},
               {Number(std::int64_t{9007199254740993}), Number(9007199254740992.0), false},
               {Number(1), Number(1.5), false},
               {Number(0.5f), Number(0.5), true},
               {Number(0.1f), Number(0.1), false},
               {Number(0), Number(-0.0), true},
               {Number(kNaN), Number(kNaN), false},
               {Number(0), Number(kNaN), false},
               {Number(kInfinity), Number(kMaxU64), false}};
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(a == b, equal) << a.description() << " and " << b.description();
    EXPECT_EQ(b == a, equal) << b.description() << " and " << a.description();
  }
}

TEST(Value, Equality) {
  const auto thing = std::make_shared<TestObject>();
  EXPECT_EQ(Value(thing), Value(std::shared_ptr<Object>(thing)));
  EXPECT_FALSE(Value(thing) == Value(std::make_shared<TestObject>()));
  EXPECT_EQ(Value(Bytes{std::byte{1}}), Value(Bytes{std::byte{1}}));
  EXPECT_FALSE(Value() == Value::null());
  EXPECT_FALSE(Value("1") == Value(1));
  EXPECT_EQ((Dictionary{{"a", 1}, {"b", Array{2}}}), (Dictionary{{"b", Array{2.0}}, {"a", true}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"b", 1}}));
  EXPECT_FALSE((Array{1, 2}) == (Array{1}));
  EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNone());
  EXPECT_TRUE(Value(std::shared_ptr<Object>()).isNone());
}

// Compares with a simple model. The size crosses the limit between linear and hashed search in both
// directions.
TEST(Dictionary, KeepsOrderAndFindsKeysAtEverySize) {
  constexpr int kKeys = 40;
  Dictionary dictionary;
  std::vector<std::pair<std::string, int>> model;
  const auto expectModel = [&] {
    ASSERT_EQ(dictionary.size(), model.size());
    std::size_t i = 0;
    for (const auto& [key, value] : dictionary) {
      EXPECT_EQ(key, model[i].first);
      EXPECT_EQ(value, Value(model[i].second));
      EXPECT_EQ(dictionary.find(key), &value);
      ++i;
    }
    EXPECT_FALSE(dictionary.contains("absent"));
  };
  for (int i = 0; i < kKeys; ++i) {
    model.emplace_back("key" + std::to_string(i), i);
    dictionary.set(model.back().first, i);
    expectModel();
  }
  model[20].second = -1;
  dictionary.set("key20", -1);  // keeps its position
  expectModel();
  while (!model.empty()) {
    const auto victim = model.begin() + static_cast<std::ptrdiff_t>(model.size() / 3);
    if (model.size() % 2 == 0) {
      dictionary.remove(victim->first);
    } else {
      dictionary.set(victim->first, Value());
    }
    model.erase(victim);
    expectModel();
  }
}

TEST(Dictionary, CopiesAreIsolatedAndShareTheirData) {
  const auto bytes = std::make_shared<const Bytes>(Bytes(1000));
  Dictionary original{{"list", Array{1}}, {"art", bytes}};
  const Dictionary copy = original;
  Array list = *original.array("list");
  list.append(2);
  list.set(0, "x");
  EXPECT_EQ(original.array("list"), Array{1});
  original.set("list", list);
  original.merge(Dictionary{{"new", 1}});
  original.merge(original);
  original.remove("art");
  EXPECT_EQ(copy, (Dictionary{{"list", Array{1}}, {"art", bytes}}));
  EXPECT_EQ(copy.data("art"), bytes);
  EXPECT_EQ(original, (Dictionary{{"list", Array{"x", 2}}, {"new", 1}}));
}

TEST(Dictionary, CopiesOnTwoThreadsMayChange) {
  Dictionary mine{{"k", 0}};
  std::thread thread([theirs = mine]() mutable {
    for (int i = 0; i < 100; ++i) theirs.set("k", theirs.number("k")->int32Value() + 1);
    theirs = {};
  });
  for (int i = 0; i < 100; ++i) mine.set("k", mine.number("k")->int32Value() + 2);
  thread.join();
  EXPECT_EQ(mine.number("k"), Number(200));
}

TEST(MediaTime, DictionaryForm) {
  for (const MediaTime& time :
       {MediaTime::zero(), MediaTime::seconds(12.5), MediaTime::seconds(-1.0 / 3, 600),
        MediaTime::positiveInfinity(), MediaTime::indefinite(), MediaTime{kMin64, 1, 1, kMax64}}) {
    const auto dictionary = time.toDictionary();
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(MediaTime::fromDictionary(*dictionary), time) << dictionary->description();
  }
  EXPECT_FALSE(MediaTime().toDictionary());

  const Dictionary good = *MediaTime::seconds(2).toDictionary();
  const std::pair<std::string_view, Value> bad[] = {{"value", {}},
                                                    {"timescale", {}},
                                                    {"flags", {}},
                                                    {"epoch", {}},
                                                    {"value", "2"},
                                                    {"timescale", 0},
                                                    {"timescale", -1},
                                                    {"flags", 0},
                                                    {"value", 1.5},
                                                    {"value", kTwo63},
                                                    {"timescale", std::int64_t{1} << 32},
                                                    {"flags", -1},
                                                    {"value", Array{1}},
                                                    {"timescale", Value::null()}};
  for (const auto& [key, value] : bad) {
    Dictionary dictionary = good;
    dictionary.set(key, value);
    EXPECT_FALSE(MediaTime::fromDictionary(dictionary).isValid()) << dictionary.description();
  }
}

TEST(MediaTime, Seconds) {
  EXPECT_EQ(MediaTime::seconds(1.5, 600), (MediaTime{900, 600, MediaTime::Valid, 0}));
  EXPECT_EQ(MediaTime::seconds(0.3, 1), (MediaTime{0, 1, MediaTime::Valid | MediaTime::Rounded}));
  EXPECT_FALSE(MediaTime::seconds(kNaN).isValid());
  EXPECT_EQ(MediaTime::seconds(1e300).toSeconds(), kInfinity);
  EXPECT_EQ(MediaTime::seconds(-kInfinity).toSeconds(), -kInfinity);
  EXPECT_TRUE(std::isnan(MediaTime::indefinite().toSeconds()));
  EXPECT_TRUE(std::isnan((MediaTime{1, 0, MediaTime::Valid, 0}).toSeconds()));
}

}  // namespace
}  // namespace platform
