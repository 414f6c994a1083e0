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

}  // namespace

std::string localeName(std::string text) {
  text.resize(std::min(text.find_first_of(".@"), text.size()));
  std::replace(text.begin(), text.end(), '-', '_');
  return text.empty() || text == "POSIX" ? "C" : text;
}

Device::Device(const std::optional<std::string>& languageTag)
    : _language(localeName(languageTag ? *languageTag : environmentLanguage())) {}

}  // namespace box
