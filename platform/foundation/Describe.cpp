#include "platform/foundation/Describe.h"

#include <algorithm>
#include <string_view>

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

namespace platform {

namespace {

constexpr std::size_t kIndent = 4;

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

void appendQuoted(std::string& text, std::string_view string) {
  if (!string.empty() && std::all_of(string.begin(), string.end(), isPlain)) {
    text += string;
    return;
  }
  text.reserve(text.size() + string.size() + 2);
  text += '"';
  for (const char c : string) {
    switch (c) {
      case '"':
        text += "\\\"";
        break;
      case '\\':
        text += "\\\\";
        break;
      case '\n':
        text += "\\n";
        break;
      default:
        text += c;
    }
  }
  text += '"';
}

void appendHex(std::string& text, const Bytes& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::size_t at = text.size();
  text.resize(at + 2 * bytes.size() + 2);
  text[at++] = '<';
  for (const std::byte byte : bytes) {
    const auto value = std::to_integer<std::size_t>(byte);
    text[at++] = kDigits[value >> 4];
    text[at++] = kDigits[value & 0xf];
  }
  text[at] = '>';
}

/// The kinds whose description is the same inside and outside a container.
void appendScalar(std::string& text, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::None:
      text += "(null)";
      break;
    case Value::Kind::Null:
      text += "<null>";
      break;
    case Value::Kind::Number:
      text += value.asNumber()->description();
      break;
    case Value::Kind::Data:
      appendHex(text, *value.asData());
      break;
    case Value::Kind::Date:
      text += value.asDate()->description();
      break;
    case Value::Kind::Object:
      text += value.asObject()->description();
      break;
    case Value::Kind::String:
    case Value::Kind::Array:
    case Value::Kind::Dictionary:
      break;
  }
}

}  // namespace

void appendDescription(std::string& text, const Array& array, std::size_t indent) {
  text += "(\n";
  for (std::size_t i = 0; i < array.size(); ++i) {
    text.append(indent + kIndent, ' ');
    appendNestedDescription(text, array[i], indent + kIndent);
    text += i + 1 < array.size() ? ",\n" : "\n";
  }
  text.append(indent, ' ');
  text += ')';
}

void appendDescription(std::string& text, const Dictionary& dictionary, std::size_t indent) {
  text += "{\n";
  for (const auto& [key, value] : dictionary) {
    text.append(indent + kIndent, ' ');
    appendQuoted(text, key);
    text += " = ";
    appendNestedDescription(text, value, indent + kIndent);
    text += ";\n";
  }
  text.append(indent, ' ');
  text += '}';
}

void appendNestedDescription(std::string& text, const Value& value, std::size_t indent) {
  if (const auto* string = value.asString()) {
    appendQuoted(text, *string);
  } else if (const auto* array = value.asArray()) {
    appendDescription(text, *array, indent);
  } else if (const auto* dictionary = value.asDictionary()) {
    appendDescription(text, *dictionary, indent);
  } else {
    appendScalar(text, value);
  }
}

void appendDescription(std::string& text, const Value& value) {
  if (const auto* string = value.asString()) {
    text += *string;
  } else {
    appendNestedDescription(text, value, 0);
  }
}

}  // namespace platform
