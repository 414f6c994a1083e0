#include "tests/scenarios/JsonText.h"

#include <charconv>
#include <stdexcept>
#include <vector>

#include "platform/foundation/Value.h"

namespace scenarios {

using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::Value;

namespace {

[[noreturn]] void fail(const std::string& what, std::string_view rest) {
  throw std::runtime_error(what + " at '" + std::string(rest) + "'");
}

void skipSpace(std::string_view& text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
}

bool take(std::string_view& text, std::string_view token) {
  skipSpace(text);
  if (!text.starts_with(token)) return false;
  text.remove_prefix(token.size());
  return true;
}

void require(std::string_view& text, std::string_view token) {
  if (!take(text, token)) fail("expected '" + std::string(token) + "'", text);
}

std::string readString(std::string_view& text) {
  require(text, "\"");
  std::string result;
  while (!text.empty() && text.front() != '"') {
    if (text.front() == '\\') {
      text.remove_prefix(1);
      if (text.empty()) break;
      if (text.front() == 'n') {
        result += '\n';
      } else if (text.front() == '"' || text.front() == '\\' || text.front() == '/') {
        result += text.front();
      } else {
        fail("unknown escape", text);
      }
    } else {
      result += text.front();
    }
    text.remove_prefix(1);
  }
  if (text.empty()) fail("a string without an end", text);
  text.remove_prefix(1);
  return result;
}

Value readNumber(std::string_view& text) {
  const auto length = std::min(text.find_first_not_of("+-.0123456789eE"), text.size());
  const std::string_view digits = text.substr(0, length);
  const char* const end = digits.data() + digits.size();
  std::int64_t integer = 0;
  double real = 0;
  Value value;
  if (const auto read = std::from_chars(digits.data(), end, integer);
      read.ec == std::errc() && read.ptr == end) {
    value = Value(integer);
  } else if (const auto again = std::from_chars(digits.data(), end, real);
             again.ec == std::errc() && again.ptr == end) {
    value = Value(real);
  } else {
    fail("no value", text);
  }
  text.remove_prefix(length);
  return value;
}

/// Converts {"$text": …} and {"$date": …}. Returns other dictionaries unchanged.
Value convertedForm(const Dictionary& dictionary) {
  if (const auto characters = dictionary.string("$text")) {
    Bytes bytes;
    for (const char character : *characters) bytes.push_back(static_cast<std::byte>(character));
    return bytes;
  }
  if (const auto seconds = dictionary.number("$date"))
    return platform::Date{seconds->doubleValue()};
  return dictionary;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    if (character == '\n') {
      result += "\\n";
    } else {
      result += character;
    }
  }
  return result + '"';
}

}  // namespace

Value readJson(std::string_view& text) {
  skipSpace(text);
  Value value;
  if (take(text, "{")) {
    Dictionary dictionary;
    while (!take(text, "}")) {
      if (!dictionary.empty()) require(text, ",");
      std::string key = readString(text);
      require(text, ":");
      dictionary.set(key, readJson(text));
    }
    value = convertedForm(dictionary);
  } else if (take(text, "[")) {
    Array array;
    while (!take(text, "]")) {
      if (!array.empty()) require(text, ",");
      array.append(readJson(text));
    }
    value = array;
  } else if (text.starts_with('"')) {
    value = readString(text);
  } else if (take(text, "true")) {
    value = true;
  } else if (take(text, "false")) {
    value = false;
  } else if (take(text, "null")) {
    value = Value::null();
  } else {
    value = readNumber(text);
  }
  skipSpace(text);
  return value;
}

std::string writeJson(const Value& value) {
  std::string text;
  const auto add = [&](const std::string& entry) {
    if (!text.empty()) text += ", ";
    text += entry;
  };
  switch (value.kind()) {
    case Value::Kind::Dictionary:
      for (const auto& [key, entry] : *value.asDictionary())
        add(quoted(key) + ": " + writeJson(entry));
      return "{" + text + "}";
    case Value::Kind::Array:
      for (const auto& entry : *value.asArray()) add(writeJson(entry));
      return "[" + text + "]";
    case Value::Kind::String:
      return quoted(*value.asString());
    case Value::Kind::Date:
      return "{\"$date\": " + platform::Number(value.asDate()->secondsSince1970).description() +
             "}";
    case Value::Kind::Null:
      return "null";
    default:
      return value.description();
  }
}

}  // namespace scenarios
