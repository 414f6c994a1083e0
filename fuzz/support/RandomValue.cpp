#include "fuzz/support/RandomValue.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/support/TextMutator.h"

namespace fuzz {
namespace {

constexpr int kDeepest = 40;

constexpr std::string_view kKeys[] = {"Content-Location",
                                      "Start-Position",
                                      "Start-Position-Seconds",
                                      "mediaType",
                                      "sessionID",
                                      "clientBundleID",
                                      "rate",
                                      "position",
                                      "duration",
                                      "uuid",
                                      "metadata",
                                      "src",
                                      "URL",
                                      "language",
                                      "name",
                                      "forced",
                                      "characteristics",
                                      "value",
                                      "key",
                                      "date",
                                      "",
                                      "$data",
                                      "actionAtItemEnd",
                                      "params",
                                      "insertPlayQueueItem"};

std::size_t randomCount(Random& random, int depth) {
  if (depth > 3 || random.oneIn(3)) return random.below(3);
  return random.below(random.upToPowerOf2(6));
}

/// A value in many containers.
platform::Value nestedValue(Random& random) {
  platform::Value value = randomText(random);
  for (std::size_t left = random.below(kDeepest); left > 0; --left) {
    if (random.oneIn(2))
      value = platform::Value(platform::Array{std::move(value)});
    else
      value = platform::Value(platform::Dictionary{{"key", std::move(value)}});
  }
  return value;
}

}  // namespace

std::string randomText(Random& random) {
  static constexpr std::string_view kTexts[] = {"",
                                                "http://127.0.0.1/a.m3u8",
                                                "\xf0\x9f\x98\x80",
                                                "null",
                                                "e\xcc\x81",
                                                "YES",
                                                "\xed\xa0\x80"};
  if (random.oneIn(3)) return std::string(random.oneOf(kTexts));
  if (random.oneIn(2)) return std::string(random.oneOf(kKeys));
  return std::string(random.upToPowerOf2(10), static_cast<char>('a' + random.below(26)));
}

double randomDouble(Random& random) { return std::strtod(randomNumber(random).c_str(), nullptr); }

platform::Array randomArray(Random& random, int depth) {
  platform::Array array;
  for (std::size_t left = randomCount(random, depth); left > 0; --left)
    array.append(randomValue(random, depth + 1));
  return array;
}

platform::Dictionary randomDictionary(Random& random, int depth) {
  platform::Dictionary dictionary;
  for (std::size_t left = randomCount(random, depth); left > 0; --left)
    dictionary.set(random.oneIn(4) ? randomText(random) : std::string(random.oneOf(kKeys)),
                   randomValue(random, depth + 1));
  return dictionary;
}

platform::Value randomValue(Random& random, int depth) {
  switch (random.below(depth < 6 ? 12 : 9)) {
    case 0:
      return platform::Value::null();
    case 1:
      return random.oneIn(2);
    case 2:
      return static_cast<std::int32_t>(random.next());
    case 3:
      return random.next() >> random.below(64);
    case 4:
      return static_cast<std::int64_t>(random.next());
    case 5:
      return randomDouble(random);
    case 6:
      return platform::Value(platform::Date{randomDouble(random)});
    case 7:
      return platform::Value(platform::Bytes(random.upToPowerOf2(8), std::byte{0x41}));
    case 8:
      return randomText(random);
    case 9:
      return platform::Value(randomArray(random, depth));
    case 10:
      return platform::Value(randomDictionary(random, depth));
    default:
      return random.oneIn(8) ? nestedValue(random) : platform::Value(randomText(random));
  }
}

}  // namespace fuzz
