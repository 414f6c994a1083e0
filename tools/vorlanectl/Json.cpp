#include "tools/vorlanectl/Json.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace vorlanectl {

namespace {

// Protects the stack. The D-Bus server accepts a depth of 32.
constexpr int kMaximumDepth = 100;

void check(int result) {
  if (result < 0)
    throw CodingError(std::string("the value has no form on the bus: ") + std::strerror(-result));
}

void open(sd_bus_message* message, char type, const char* contents) {
  check(sd_bus_message_open_container(message, type, contents));
}

void close(sd_bus_message* message) { check(sd_bus_message_close_container(message)); }

void appendBasic(sd_bus_message* message, char type, const void* value) {
  const char signature[] = {type, 0};
  open(message, 'v', signature);
  check(sd_bus_message_append_basic(message, type, value));
  close(message);
}

void appendInteger(sd_bus_message* message, const Json& value) {
  if (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX) {
    const auto number = value.get<std::uint64_t>();
    return appendBasic(message, 't', &number);
  }
  const auto number = value.get<std::int64_t>();
  if (number >= INT32_MIN && number <= INT32_MAX) {
    const auto narrow = static_cast<std::int32_t>(number);
    appendBasic(message, 'i', &narrow);
  } else if (number >= 0 && number <= UINT32_MAX) {
    const auto narrow = static_cast<std::uint32_t>(number);
    appendBasic(message, 'u', &narrow);
  } else {
    appendBasic(message, 'x', &number);
  }
}

void appendText(sd_bus_message* message, const std::string& text) {
  if (text.find('\0') != std::string::npos)
    throw CodingError("a text on the bus cannot hold a NUL");
  appendBasic(message, 's', text.c_str());
}

/// Returns the string under `key` if that is the only key of the object.
const std::string* taggedText(const Json& object, const char* key) {
  if (object.size() != 1 || !object.contains(key) || !object.begin()->is_string()) return nullptr;
  return object.begin()->get_ptr<const std::string*>();
}

void appendValue(sd_bus_message* message, const Json& value, int depth);

void appendEntries(sd_bus_message* message, const Json& object, int depth) {
  open(message, 'a', "{sv}");
  for (const auto& [key, value] : object.items()) {
    open(message, 'e', "sv");
    check(sd_bus_message_append_basic(message, 's', key.c_str()));
    appendValue(message, value, depth);
    close(message);
  }
  close(message);
}

void appendObject(sd_bus_message* message, const Json& object, int depth) {
  if (const std::string* text = taggedText(object, "$data")) {
    const std::string bytes = decodeBase64(*text);
    open(message, 'v', "ay");
    check(sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size()));
    return close(message);
  }
  if (const std::string* date = taggedText(object, "$date")) {
    const double seconds = parseDate(*date);
    open(message, 'v', "(d)");
    check(sd_bus_message_append(message, "(d)", seconds));
    return close(message);
  }
  open(message, 'v', "a{sv}");
  appendEntries(message, object, depth + 1);
  close(message);
}

void appendValue(sd_bus_message* message, const Json& value, int depth) {
  if (depth > kMaximumDepth) throw CodingError("the value is nested too deep");
  switch (value.type()) {
    case Json::value_t::string:
      return appendText(message, value.get_ref<const std::string&>());
    case Json::value_t::boolean: {
      const int flag = value.get<bool>() ? 1 : 0;
      return appendBasic(message, 'b', &flag);
    }
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
      return appendInteger(message, value);
    case Json::value_t::number_float: {
      const auto number = value.get<double>();
      return appendBasic(message, 'd', &number);
    }
    case Json::value_t::array:
      open(message, 'v', "av");
      open(message, 'a', "v");
      for (const Json& element : value) appendValue(message, element, depth + 1);
      close(message);
      return close(message);
    case Json::value_t::object:
      return appendObject(message, value, depth);
    default:
      open(message, 'v', "(s)");
      check(sd_bus_message_append(message, "(s)", "null"));
      return close(message);
  }
}

template <typename Wire>
Json readNumber(sd_bus_message* message, char type) {
  Wire value{};
  check(sd_bus_message_read_basic(message, type, &value));
  return value;
}

std::string readText(sd_bus_message* message, char type) {
  const char* text = nullptr;
  check(sd_bus_message_read_basic(message, type, &text));
  return text;
}

Json readBytes(sd_bus_message* message) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  check(sd_bus_message_read_array(message, 'y', &bytes, &size));
  return {{"$data", base64(bytes, size)}};
}

Json readArray(sd_bus_message* message, const std::string& contents) {
  if (contents == "y") return readBytes(message);
  const bool isDictionary = contents[0] == '{';
  Json result = isDictionary ? Json::object() : Json::array();
  check(sd_bus_message_enter_container(message, 'a', contents.c_str()));
  const std::string entry = isDictionary ? contents.substr(1, contents.size() - 2) : "";
  for (int atEnd = 0; (atEnd = sd_bus_message_at_end(message, 0)) <= 0;) {
    check(atEnd);
    if (!isDictionary) {
      result.push_back(readValue(message));
      continue;
    }
    check(sd_bus_message_enter_container(message, 'e', entry.c_str()));
    const Json key = readValue(message);
    result[key.is_string() ? key.get<std::string>() : key.dump()] = readValue(message);
    check(sd_bus_message_exit_container(message));
  }
  check(sd_bus_message_exit_container(message));
  return result;
}

Json readStructure(sd_bus_message* message, const std::string& contents) {
  check(sd_bus_message_enter_container(message, 'r', contents.c_str()));
  Json result = Json::array();
  if (contents == "d") {
    result = Json{{"$date", formatDate(readNumber<double>(message, 'd').get<double>())}};
  } else {
    for (int atEnd = 0; (atEnd = sd_bus_message_at_end(message, 0)) <= 0;) {
      check(atEnd);
      result.push_back(readValue(message));
    }
    if (contents == "s" && result == Json::array({"null"})) result = nullptr;
  }
  check(sd_bus_message_exit_container(message));
  return result;
}

}  // namespace

Json parseJson(const std::string& text) {
  try {
    return Json::parse(text);
  } catch (const Json::out_of_range&) {
    throw CodingError("\"" + text + "\" holds a number that is too large");
  } catch (const Json::parse_error& error) {
    throw CodingError("\"" + text + "\" is not JSON (at character " + std::to_string(error.byte) +
                      "); a text needs its own quotes: '\"text\"'");
  }
}

void appendVariant(sd_bus_message* message, const Json& value) { appendValue(message, value, 0); }

void appendValueOrNone(sd_bus_message* message, const Json* value) {
  open(message, 'a', "v");
  if (value) appendVariant(message, *value);
  close(message);
}

void appendDictionary(sd_bus_message* message, const Json& object) {
  if (!object.is_object())
    throw CodingError("a JSON object is needed in place of " + object.dump());
  appendEntries(message, object, 1);
}

Json readValue(sd_bus_message* message) {
  char type = 0;
  const char* contents = nullptr;
  check(sd_bus_message_peek_type(message, &type, &contents));
  switch (type) {
    case 's':
    case 'o':
    case 'g':
      return readText(message, type);
    case 'b':
      return readNumber<int>(message, 'b') != 0;
    case 'y':
      return readNumber<std::uint8_t>(message, 'y');
    case 'n':
      return readNumber<std::int16_t>(message, 'n');
    case 'q':
      return readNumber<std::uint16_t>(message, 'q');
    case 'i':
      return readNumber<std::int32_t>(message, 'i');
    case 'u':
      return readNumber<std::uint32_t>(message, 'u');
    case 'x':
      return readNumber<std::int64_t>(message, 'x');
    case 't':
      return readNumber<std::uint64_t>(message, 't');
    case 'd':
      return readNumber<double>(message, 'd');
    case 'a':
      return readArray(message, contents);
    case 'r':
      return readStructure(message, contents);
    case 'v': {
      check(sd_bus_message_enter_container(message, 'v', contents));
      Json value = readValue(message);
      check(sd_bus_message_exit_container(message));
      return value;
    }
    default:
      throw CodingError("a value of an unknown type");
  }
}

}  // namespace vorlanectl
