#pragma once

#include <cstddef>
#include <string>

namespace platform {

class Value;
class Array;
class Dictionary;

// Implementation of Value::description() and the like. The functions append to one string, so the
// cost is linear in the size of the result at any nesting depth.
//
// `indent` is the indentation of the line that contains the value, in spaces.
void appendDescription(std::string& text, const Array& array, std::size_t indent);
void appendDescription(std::string& text, const Dictionary& dictionary, std::size_t indent);
/// The description inside a container: strings are quoted where necessary.
void appendNestedDescription(std::string& text, const Value& value, std::size_t indent);
/// The description at top level: a string is appended unquoted.
void appendDescription(std::string& text, const Value& value);

}  // namespace platform
