#include "TVVorlane/strings/StringTable.h"

#include <algorithm>
#include <array>

namespace TVVorlaneStrings {

namespace {

constexpr std::array kTables = {&en, &de, &fr, &es, &it, &nl, &pl,      &pt,     &ru,
                                &tr, &ar, &he, &hi, &ja, &ko, &zh_Hans, &zh_Hant};

/// True for the locales that use traditional characters.
bool isTraditionalChinese(std::string_view locale) {
  if (locale.find("Hans") != std::string_view::npos) return false;
  for (const std::string_view region : {"TW", "HK", "MO", "Hant"}) {
    if (locale.find(region) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

std::span<const Table* const> allTables() { return kTables; }

const Table& tableForLocale(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of("_-.@"));
  if (language == "zh") return isTraditionalChinese(locale) ? zh_Hant : zh_Hans;
  // "iw" is the obsolete code of Hebrew.
  const std::string_view wanted = language == "iw" ? "he" : language;
  const auto found = std::find_if(kTables.begin(), kTables.end(),
                                  [&](const Table* table) { return table->language == wanted; });
  return found != kTables.end() ? **found : en;
}

}  // namespace TVVorlaneStrings
