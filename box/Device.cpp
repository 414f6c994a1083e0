#include "box/Device.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace box {

namespace {

/// The first of these that is set and not empty decides.
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

/// `language` is a locale's name, `others` several between colons.
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

Device::Device(const std::optional<std::string>& languageTag)
    : _language(localeName(languageTag ? *languageTag : environmentLanguage())),
      _preferredLanguages(
          languageTags(_language, languageTag ? std::string() : environmentText("LANGUAGE"))) {}

}  // namespace box
