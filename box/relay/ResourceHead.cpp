#include "box/relay/ResourceHead.h"

#include <algorithm>
#include <utility>

#include "box/relay/TrimmedText.h"

namespace box {
namespace {

char lowercase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool isSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lowercase(x) == lowercase(y); });
}

std::string ResourceHead::field(std::string_view name) const {
  for (const auto& [key, value] : fields)
    if (isSameName(key, name)) return value;
  return {};
}

void ResourceHead::removeField(std::string_view name) {
  std::erase_if(fields, [name](const auto& field) { return isSameName(field.first, name); });
}

HeaderReader::Result HeaderReader::feed(std::string_view line) {
  _bytes += line.size();
  if (_bytes > _mostBytes) return Result::TooLong;
  if (line.starts_with("HTTP/") || line.starts_with("ICY ")) {
    _fields.clear();
    return Result::More;
  }
  const std::string_view text = trimmed(line);
  if (text.empty()) return Result::Complete;
  const auto colon = text.find(':');
  if (colon != text.npos && colon > 0)
    _fields.emplace_back(text.substr(0, colon), trimmed(text.substr(colon + 1)));
  return Result::More;
}

HeaderFields HeaderReader::takeFields() { return std::exchange(_fields, {}); }

}  // namespace box
