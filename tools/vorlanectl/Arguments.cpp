#include "tools/vorlanectl/Arguments.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace vorlanectl {

namespace {

bool isOption(const std::string& word) {
  return word.size() > 1 && word[0] == '-' &&
         std::isdigit(static_cast<unsigned char>(word[1])) == 0 && word[1] != '.';
}

}  // namespace

Arguments::Arguments(const std::vector<Option>& options, const std::vector<std::string>& words) {
  bool optionsEnded = false;
  for (std::size_t index = 0; index < words.size(); ++index) {
    const std::string& word = words[index];
    if (optionsEnded || !isOption(word)) {
      _words.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const Option& one) { return one.name == name; });
    if (option == options.end()) throw UsageError("there is no option " + name);
    if (option->value.empty()) {
      if (equals != std::string::npos) throw UsageError(name + " takes no value");
      _values[name].emplace_back();
    } else if (equals != std::string::npos) {
      _values[name].push_back(word.substr(equals + 1));
    } else if (++index < words.size()) {
      _values[name].push_back(words[index]);
    } else {
      throw UsageError(name + " needs a value");
    }
  }
}

std::optional<std::string> Arguments::text(std::string_view option) const {
  const auto found = _values.find(std::string(option));
  if (found == _values.end()) return std::nullopt;
  return found->second.back();
}

std::vector<std::string> Arguments::texts(std::string_view option) const {
  const auto found = _values.find(std::string(option));
  if (found == _values.end()) return {};
  return found->second;
}

std::optional<double> Arguments::number(std::string_view option) const {
  const auto value = text(option);
  if (!value) return std::nullopt;
  return parseNumber(*value, option);
}

std::optional<std::uint32_t> Arguments::count(std::string_view option) const {
  const auto value = text(option);
  if (!value) return std::nullopt;
  std::uint32_t result = 0;
  const char* const end = value->data() + value->size();
  const auto [at, error] = std::from_chars(value->data(), end, result);
  if (error != std::errc() || at != end) {
    throw UsageError(std::string(option) + " needs a whole number, not \"" + *value + "\"");
  }
  return result;
}

double parseNumber(const std::string& text, std::string_view what) {
  double result = 0;
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, result);
  if (error != std::errc() || at != end || !std::isfinite(result)) {
    throw UsageError(std::string(what) + " needs a number, not \"" + text + "\"");
  }
  return result;
}

}  // namespace vorlanectl
