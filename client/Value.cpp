#include "client/Value.h"

#include <cmath>
#include <limits>
#include <optional>

namespace {

using namespace tvvorlane;

template <class Kind>
const Kind* of(const tvvorlane_value* value) {
  return value ? std::get_if<Kind>(&value->content) : nullptr;
}

tvvorlane_value* make(Content content) { return new tvvorlane_value(std::move(content)); }

/// Converts between number types. Returns nothing if the target type cannot represent the value.
template <class To>
std::optional<To> number(const tvvorlane_value* value) {
  if (const auto* integer = of<std::int64_t>(value)) {
    if (std::is_same_v<To, std::uint64_t> && *integer < 0) return std::nullopt;
    return static_cast<To>(*integer);
  }
  if (const auto* large = of<std::uint64_t>(value)) {
    if (std::is_same_v<To, std::int64_t>) return std::nullopt;
    return static_cast<To>(*large);
  }
  if (const auto* real = of<double>(value)) {
    if constexpr (std::is_same_v<To, double>) return *real;
    // Both limits are 0 or a power of two, so double represents them exactly.
    const auto smallest = static_cast<double>(std::numeric_limits<To>::min());
    const double beyond = std::ldexp(1.0, std::numeric_limits<To>::digits);
    if (*real >= smallest && *real < beyond) return static_cast<To>(*real);
  }
  return std::nullopt;
}

}  // namespace

tvvorlane_value* tvvorlane_null() { return make(Null{}); }
tvvorlane_value* tvvorlane_boolean(int truth) { return make(truth != 0); }
tvvorlane_value* tvvorlane_integer(std::int64_t number) { return make(number); }
tvvorlane_value* tvvorlane_unsigned(std::uint64_t number) {
  if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    return make(static_cast<std::int64_t>(number));
  }
  return make(number);
}
tvvorlane_value* tvvorlane_real(double number) { return make(number); }
tvvorlane_value* tvvorlane_string(const char* text) { return make(std::string(text ? text : "")); }
tvvorlane_value* tvvorlane_data(const void* bytes, std::size_t size) {
  const auto* const first = static_cast<const std::uint8_t*>(bytes);
  return make(first ? Data(first, first + size) : Data());
}
tvvorlane_value* tvvorlane_date(double seconds) { return make(Date{seconds}); }
tvvorlane_value* tvvorlane_array() { return make(Array()); }
tvvorlane_value* tvvorlane_dictionary() { return make(Dictionary()); }

tvvorlane_value* tvvorlane_retain(const tvvorlane_value* value) {
  if (value) value->references.fetch_add(1, std::memory_order_relaxed);
  return const_cast<tvvorlane_value*>(value);
}

void tvvorlane_release(const tvvorlane_value* value) {
  if (value && value->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete value;
}

int tvvorlane_append(tvvorlane_value* array, tvvorlane_value* item) {
  Reference owned(item);
  auto* const items = array ? std::get_if<Array>(&array->content) : nullptr;
  if (!items || !item || item == array) return TVVORLANE_INVALID;
  items->push_back(std::move(owned));
  return TVVORLANE_OK;
}

int tvvorlane_set(tvvorlane_value* dictionary, const char* key, tvvorlane_value* item) {
  Reference owned(item);
  auto* const entries = dictionary ? std::get_if<Dictionary>(&dictionary->content) : nullptr;
  if (!entries || !key || !item || item == dictionary) return TVVORLANE_INVALID;
  for (auto& [name, value] : *entries) {
    if (name == key) {
      value = std::move(owned);
      return TVVORLANE_OK;
    }
  }
  entries->emplace_back(key, std::move(owned));
  return TVVORLANE_OK;
}

int tvvorlane_type_of(const tvvorlane_value* value) {
  return value ? TVVORLANE_NULL + static_cast<int>(value->content.index()) : TVVORLANE_NONE;
}

int tvvorlane_as_boolean(const tvvorlane_value* value, int fallback) {
  const bool* const truth = of<bool>(value);
  return truth ? *truth : fallback;
}

std::int64_t tvvorlane_as_integer(const tvvorlane_value* value, std::int64_t fallback) {
  return number<std::int64_t>(value).value_or(fallback);
}

std::uint64_t tvvorlane_as_unsigned(const tvvorlane_value* value, std::uint64_t fallback) {
  return number<std::uint64_t>(value).value_or(fallback);
}

double tvvorlane_as_real(const tvvorlane_value* value, double fallback) {
  if (const auto* const date = of<Date>(value)) return date->seconds;
  return number<double>(value).value_or(fallback);
}

const char* tvvorlane_as_string(const tvvorlane_value* value) {
  const auto* const text = of<std::string>(value);
  return text ? text->c_str() : nullptr;
}

const void* tvvorlane_as_data(const tvvorlane_value* value, std::size_t* size) {
  const auto* const data = of<Data>(value);
  if (size) *size = data ? data->size() : 0;
  return data ? data->data() : nullptr;
}

std::size_t tvvorlane_count(const tvvorlane_value* value) {
  if (const auto* const array = of<Array>(value)) return array->size();
  const auto* const dictionary = of<Dictionary>(value);
  return dictionary ? dictionary->size() : 0;
}

const tvvorlane_value* tvvorlane_at(const tvvorlane_value* value, std::size_t index) {
  if (index >= tvvorlane_count(value)) return nullptr;
  if (const auto* const array = of<Array>(value)) return (*array)[index].get();
  return (*of<Dictionary>(value))[index].second.get();
}

const char* tvvorlane_key_at(const tvvorlane_value* dictionary, std::size_t index) {
  const auto* const entries = of<Dictionary>(dictionary);
  return entries && index < entries->size() ? (*entries)[index].first.c_str() : nullptr;
}

const tvvorlane_value* tvvorlane_find(const tvvorlane_value* dictionary, const char* key) {
  const auto* const entries = of<Dictionary>(dictionary);
  if (!entries || !key) return nullptr;
  for (const auto& [name, value] : *entries) {
    if (name == key) return value.get();
  }
  return nullptr;
}
