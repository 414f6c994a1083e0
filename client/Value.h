#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <tvvorlane/client.h>

namespace tvvorlane {

/// Owns one reference to a value.
class Reference {
 public:
  Reference() = default;
  /// Takes ownership of a reference.
  explicit Reference(const tvvorlane_value* value) : _value(value) {}
  Reference(Reference&& other) noexcept : _value(std::exchange(other._value, nullptr)) {}
  Reference& operator=(Reference&& other) noexcept {
    std::swap(_value, other._value);
    return *this;
  }
  ~Reference() { tvvorlane_release(_value); }
  const tvvorlane_value* get() const { return _value; }

 private:
  const tvvorlane_value* _value = nullptr;
};

struct Null {};
struct Date {
  double seconds;
};
using Data = std::vector<std::uint8_t>;
using Array = std::vector<Reference>;
/// In insertion order, which is also the order on the bus.
using Dictionary = std::vector<std::pair<std::string, Reference>>;
/// In the order of `tvvorlane_type`, beginning with NULL.
using Content = std::variant<Null, bool, std::int64_t, std::uint64_t, double, std::string, Data,
                             Date, Array, Dictionary>;

}  // namespace tvvorlane

struct tvvorlane_value {
  explicit tvvorlane_value(tvvorlane::Content from) : content(std::move(from)) {}
  tvvorlane::Content content;
  mutable std::atomic<unsigned> references = 1;
};
