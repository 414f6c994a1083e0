#include "media/workarounds/WorkaroundRules.h"

#include <algorithm>
#include <charconv>

namespace media {
namespace {

bool needsWorkaround(const WorkaroundRule& rule,
                     const std::map<std::string, LibraryVersion>& running) {
  const auto library = running.find(rule.component);
  if (library == running.end()) return false;
  const LibraryVersion& version = library->second;
  return std::any_of(rule.versions.begin(), rule.versions.end(), [&](const VersionRange& range) {
    return range.first <= version && version <= range.last;
  });
}

/// Returns false if the word is unknown.
bool applyWord(std::string_view word, std::span<const WorkaroundRule> rules,
               std::vector<bool>& isOn) {
  if (word == "none" || word == "all") {
    isOn.assign(isOn.size(), word == "all");
    return true;
  }
  const auto rule = std::find_if(rules.begin(), rules.end(), [&](const WorkaroundRule& each) {
    return each.name == word.substr(1);
  });
  if ((word.front() != '+' && word.front() != '-') || rule == rules.end()) return false;
  isOn[static_cast<std::size_t>(rule - rules.begin())] = word.front() == '+';
  return true;
}

}  // namespace

std::optional<LibraryVersion> libraryVersionOf(std::string_view text) {
  LibraryVersion version;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (unsigned* part : {&version.major, &version.minor, &version.micro}) {
    if (part != &version.major && (at == end || *at++ != '.')) return std::nullopt;
    const auto [next, error] = std::from_chars(at, end, *part);
    if (error != std::errc()) return std::nullopt;
    at = next;
  }
  if (at != end && *at != '.') return std::nullopt;
  return version;
}

WorkaroundChoice chooseWorkarounds(std::span<const WorkaroundRule> rules,
                                   const std::map<std::string, LibraryVersion>& running,
                                   std::string_view setting) {
  WorkaroundChoice choice;
  for (const WorkaroundRule& rule : rules) choice.isOn.push_back(needsWorkaround(rule, running));
  while (!setting.empty()) {
    const std::string_view word = setting.substr(0, setting.find(','));
    setting.remove_prefix(std::min(word.size() + 1, setting.size()));
    if (!word.empty() && !applyWord(word, rules, choice.isOn))
      choice.unknownWords.emplace_back(word);
  }
  return choice;
}

}  // namespace media
