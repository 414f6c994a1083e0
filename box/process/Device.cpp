#include "box/process/Device.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include <unicode/uldnames.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>

namespace box {

namespace {

/// The value of the first variable that is set and not empty.
std::string environmentLanguage() {
  for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value && *value) return value;
  }
  return {};
}

std::string environmentText(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

/// `language` is a locale name, `others` a colon-separated list of locale names.
std::vector<std::string> languageTags(const std::string& language, const std::string& others) {
  std::vector<std::string> tags;
  if (language == "C") return tags;
  for (std::size_t begin = 0; begin <= others.size();) {
    const std::size_t end = std::min(others.find(':', begin), others.size());
    tags.push_back(localeName(others.substr(begin, end - begin)));
    begin = end + 1;
  }
  tags.push_back(language);
  std::erase(tags, "C");
  for (std::string& each : tags) std::replace(each.begin(), each.end(), '_', '-');
  return tags;
}

}  // namespace

std::string localeName(std::string text) {
  text.resize(std::min(text.find_first_of(".@"), text.size()));
  std::replace(text.begin(), text.end(), '-', '_');
  return text.empty() || text == "POSIX" ? "C" : text;
}

Device::Device(const std::optional<std::string>& languageTag, std::string internalMarker)
    : _internalMarker(std::move(internalMarker)),
      _language(localeName(languageTag ? *languageTag : environmentLanguage())),
      _preferredLanguages(
          languageTags(_language, languageTag ? std::string() : environmentText("LANGUAGE"))) {}

bool Device::isInternalBuild() const {
  std::error_code failure;
  return std::filesystem::exists(_internalMarker, failure);
}

std::string Device::languageName(std::string_view tag) const {
  UErrorCode status = U_ZERO_ERROR;
  char locale[ULOC_FULLNAME_CAPACITY];
  uloc_forLanguageTag(std::string(tag).c_str(), locale, sizeof locale, nullptr, &status);
  // "und" and invalid tags yield an empty language.
  char language[ULOC_LANG_CAPACITY];
  if (U_FAILURE(status) || uloc_getLanguage(locale, language, sizeof language, &status) <= 0)
    return {};

  UDisplayContext contexts[] = {UDISPCTX_CAPITALIZATION_FOR_UI_LIST_OR_MENU,
                                UDISPCTX_NO_SUBSTITUTE};
  const std::string inLanguage = _language == "C" ? "en" : _language;
  const std::unique_ptr<ULocaleDisplayNames, decltype(&uldn_close)> names(
      uldn_openForContext(inLanguage.c_str(), contexts, 2, &status), uldn_close);
  if (U_FAILURE(status)) return {};
  UChar name[128];
  const auto length = uldn_localeDisplayName(names.get(), locale, name, 128, &status);
  if (U_FAILURE(status) || length <= 0 || length > 128) return {};
  std::string text(3 * static_cast<std::size_t>(length), ' ');
  std::int32_t size = 0;
  u_strToUTF8(text.data(), static_cast<std::int32_t>(text.size()), &size, name, length, &status);
  text.resize(U_SUCCESS(status) ? static_cast<std::size_t>(size) : 0);
  return text;
}

}  // namespace box
