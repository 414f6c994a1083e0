#include "streaming/transfer/http/HeaderReader.h"

#include <utility>

#include "streaming/foundation/Text.h"

namespace streaming {

bool HeaderReader::feedTrailer(std::string_view line) {
  _bytes += line.size();
  return _bytes <= _mostBytes;
}

HeaderReader::Result HeaderReader::feed(std::string_view line) {
  if (!feedTrailer(line)) return Result::TooLong;
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

void removeField(HeaderFields& fields, std::string_view name) {
  std::erase_if(fields, [name](const auto& field) { return isSameName(field.first, name); });
}

}  // namespace streaming
