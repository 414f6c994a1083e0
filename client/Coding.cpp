#include "client/Coding.h"

#include <cerrno>
#include <cstring>
#include <limits>

namespace tvvorlane {

namespace {

/// Nesting limit of decoded values. A box sends less.
constexpr int kMaxNesting = 64;

/// Runs the steps until one returns an error of sd-bus.
template <class... Step>
int runUntilError(Step... step) {
  int result = 0;
  static_cast<void>(((result = step(), result >= 0) && ...));
  return result;
}

template <class Number>
bool holds(std::int64_t number) {
  return number >= std::numeric_limits<Number>::min() &&
         number <= std::numeric_limits<Number>::max();
}

/// Uses the smallest D-Bus integer type that can represent the number.
int appendInteger(sd_bus_message* message, std::int64_t number) {
  if (holds<std::int32_t>(number)) {
    return sd_bus_message_append(message, "v", "i", static_cast<std::int32_t>(number));
  }
  if (holds<std::uint32_t>(number)) {
    return sd_bus_message_append(message, "v", "u", static_cast<std::uint32_t>(number));
  }
  return sd_bus_message_append(message, "v", "x", number);
}

/// Appends a container with the contents that `fill` appends.
template <class Fill>
int appendContainer(sd_bus_message* message, char type, const char* contents, Fill fill) {
  return runUntilError([&] { return sd_bus_message_open_container(message, type, contents); }, fill,
                       [&] { return sd_bus_message_close_container(message); });
}

int appendItems(sd_bus_message* message, const Array& array) {
  return appendContainer(message, 'a', "v", [&] {
    int result = 0;
    for (auto item = array.begin(); result >= 0 && item != array.end(); ++item) {
      result = appendVariant(message, *item->get());
    }
    return result;
  });
}

int appendEntry(sd_bus_message* message, const std::string& key, const tvvorlane_value& value) {
  return appendContainer(message, 'e', "sv", [&] {
    return runUntilError([&] { return sd_bus_message_append_basic(message, 's', key.c_str()); },
                         [&] { return appendVariant(message, value); });
  });
}

int appendEntries(sd_bus_message* message, const Dictionary& dictionary) {
  return appendContainer(message, 'a', "{sv}", [&] {
    int result = 0;
    for (auto entry = dictionary.begin(); result >= 0 && entry != dictionary.end(); ++entry) {
      result = appendEntry(message, entry->first, *entry->second.get());
    }
    return result;
  });
}

Reference own(tvvorlane_value* value) { return Reference(value); }

Reference readVariant(sd_bus_message* message, int depth);

Reference readItems(sd_bus_message* message, int depth) {
  Array items;
  if (sd_bus_message_enter_container(message, 'a', "v") < 0) return {};
  while (sd_bus_message_at_end(message, 0) == 0) {
    Reference item = readVariant(message, depth);
    if (!item.get()) return {};
    items.push_back(std::move(item));
  }
  sd_bus_message_exit_container(message);
  return own(new tvvorlane_value(std::move(items)));
}

Reference readEntries(sd_bus_message* message, int depth) {
  Dictionary entries;
  if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return {};
  while (sd_bus_message_at_end(message, 0) == 0) {
    const char* key = nullptr;
    if (sd_bus_message_enter_container(message, 'e', "sv") < 0 ||
        sd_bus_message_read_basic(message, 's', &key) <= 0) {
      return {};
    }
    Reference value = readVariant(message, depth);
    if (!value.get()) return {};
    entries.emplace_back(key, std::move(value));
    sd_bus_message_exit_container(message);
  }
  sd_bus_message_exit_container(message);
  return own(new tvvorlane_value(std::move(entries)));
}

template <class Number>
Reference readNumber(sd_bus_message* message, char type) {
  Number number = 0;
  if (sd_bus_message_read_basic(message, type, &number) <= 0) return {};
  if constexpr (std::is_same_v<Number, double>) return own(tvvorlane_real(number));
  if constexpr (std::is_unsigned_v<Number>) return own(tvvorlane_unsigned(number));
  return own(tvvorlane_integer(static_cast<std::int64_t>(number)));
}

Reference readStruct(sd_bus_message* message, const char* members) {
  if (sd_bus_message_enter_container(message, 'r', members) < 0) return {};
  Reference result;
  if (std::strcmp(members, "d") == 0) {
    double seconds = 0;
    if (sd_bus_message_read_basic(message, 'd', &seconds) > 0)
      result = own(tvvorlane_date(seconds));
  } else if (sd_bus_message_skip(message, members) >= 0) {
    result = own(tvvorlane_null());
  }
  sd_bus_message_exit_container(message);
  return result;
}

Reference readContent(sd_bus_message* message, const char* contents, int depth) {
  const std::string type = contents;
  if (type == "av") return readItems(message, depth);
  if (type == "a{sv}") return readEntries(message, depth);
  if (type == "ay") {
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(message, 'y', &bytes, &size) < 0) return {};
    return own(tvvorlane_data(bytes, size));
  }
  if (type == "s") {
    const char* text = nullptr;
    if (sd_bus_message_read_basic(message, 's', &text) <= 0) return {};
    return own(tvvorlane_string(text));
  }
  if (type == "b") {
    int truth = 0;
    if (sd_bus_message_read_basic(message, 'b', &truth) <= 0) return {};
    return own(tvvorlane_boolean(truth));
  }
  if (type == "i") return readNumber<std::int32_t>(message, 'i');
  if (type == "u") return readNumber<std::uint32_t>(message, 'u');
  if (type == "x") return readNumber<std::int64_t>(message, 'x');
  if (type == "t") return readNumber<std::uint64_t>(message, 't');
  if (type == "d") return readNumber<double>(message, 'd');
  if (type == "(d)") return readStruct(message, "d");
  if (type == "(s)") return readStruct(message, "s");
  // A type that no box sends. It is decoded as null.
  if (sd_bus_message_skip(message, contents) < 0) return {};
  return own(tvvorlane_null());
}

Reference readVariant(sd_bus_message* message, int depth) {
  char type = 0;
  const char* contents = nullptr;
  if (depth > kMaxNesting || sd_bus_message_peek_type(message, &type, &contents) <= 0 ||
      type != 'v' || sd_bus_message_enter_container(message, 'v', contents) < 0) {
    return {};
  }
  Reference value = readContent(message, contents, depth + 1);
  sd_bus_message_exit_container(message);
  return value;
}

}  // namespace

int appendVariant(sd_bus_message* message, const tvvorlane_value& value) {
  struct Writer {
    sd_bus_message* message;
    int operator()(Null) const { return sd_bus_message_append(message, "v", "(s)", "null"); }
    int operator()(bool truth) const {
      return sd_bus_message_append(message, "v", "b", static_cast<int>(truth));
    }
    int operator()(std::int64_t number) const { return appendInteger(message, number); }
    int operator()(std::uint64_t number) const {
      return sd_bus_message_append(message, "v", "t", number);
    }
    int operator()(double number) const { return sd_bus_message_append(message, "v", "d", number); }
    int operator()(const std::string& text) const {
      return sd_bus_message_append(message, "v", "s", text.c_str());
    }
    int operator()(const Data& data) const {
      return appendContainer(message, 'v', "ay", [&] {
        return sd_bus_message_append_array(message, 'y', data.data(), data.size());
      });
    }
    int operator()(Date date) const {
      return sd_bus_message_append(message, "v", "(d)", date.seconds);
    }
    int operator()(const Array& array) const {
      return appendContainer(message, 'v', "av", [&] { return appendItems(message, array); });
    }
    int operator()(const Dictionary& dictionary) const {
      return appendContainer(message, 'v', "a{sv}",
                             [&] { return appendEntries(message, dictionary); });
    }
  };
  return std::visit(Writer{message}, value.content);
}

int appendValueOrNone(sd_bus_message* message, const tvvorlane_value* value) {
  return appendContainer(message, 'a', "v",
                         [&] { return value ? appendVariant(message, *value) : 0; });
}

int appendDictionary(sd_bus_message* message, const tvvorlane_value* dictionary) {
  static const Dictionary empty;
  const auto* const entries = dictionary ? std::get_if<Dictionary>(&dictionary->content) : &empty;
  return entries ? appendEntries(message, *entries) : -EINVAL;
}

Reference readValueOrNone(sd_bus_message* message) {
  Reference items = readItems(message, 0);
  return tvvorlane_count(items.get()) ? Reference(tvvorlane_retain(tvvorlane_at(items.get(), 0)))
                                      : Reference();
}

Reference readDictionary(sd_bus_message* message) { return readEntries(message, 0); }

}  // namespace tvvorlane
