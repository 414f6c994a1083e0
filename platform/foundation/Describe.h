#pragma once

#include <cstddef>
#include <string>

namespace platform {

class Value;
class Array;
class Dictionary;

// The descriptions of values, appended to one text, so that the cost is linear in its size whatever
// the nesting. Private to the values.
//
// `indent` is that of the line on which the value stands.
void appendDescription(std::string& text, const Array& array, std::size_t indent);
void appendDescription(std::string& text, const Dictionary& dictionary, std::size_t indent);
/// As it stands inside a container.
void appendNestedDescription(std::string& text, const Value& value, std::size_t indent);
/// As it stands by itself.
void appendDescription(std::string& text, const Value& value);

}  // namespace platform
