#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/Describe.h"
#include "platform/foundation/SharedStorage.h"
#include "platform/foundation/Value.h"

namespace platform {

Array::Array() = default;
Array::Array(std::initializer_list<Value> values) : Array(std::vector<Value>(values)) {}
Array::Array(std::vector<Value> values) {
  if (!values.empty()) _storage = std::make_shared<std::vector<Value>>(std::move(values));
}

std::size_t Array::size() const { return _storage ? _storage->size() : 0; }

const Value& Array::operator[](std::size_t index) const {
  TVS_ASSERT(index < size());
  return (*_storage)[index];
}

const Value* Array::begin() const { return _storage ? _storage->data() : nullptr; }
const Value* Array::end() const { return _storage ? _storage->data() + _storage->size() : nullptr; }

void Array::append(Value value) { _mutableStorage().push_back(std::move(value)); }

void Array::set(std::size_t index, Value value) {
  TVS_ASSERT(index < size());
  _mutableStorage()[index] = std::move(value);
}

std::string Array::description() const {
  std::string text;
  appendDescription(text, *this, 0);
  return text;
}

bool operator==(const Array& a, const Array& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!(a[i] == b[i])) return false;
  }
  return true;
}

std::vector<Value>& Array::_mutableStorage() { return ownedStorage(_storage); }

}  // namespace platform
