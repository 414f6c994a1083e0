#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

namespace vorlanectl {

/// Keeps the order of the keys, like the values on the bus.
using Json = nlohmann::ordered_json;

/// A value that cannot be converted. what() is printed to the user.
struct CodingError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// JSON as property-list values on the bus: text s, true and false b, an integer the smallest of i u
// x t that holds it, another number d, null (s) "null", an array av, an object a{sv}; data is
// {"$data": base64}, a date {"$date": RFC 3339}.

/// Parses a command-line argument. Throws CodingError with the position of the error.
Json parseJson(const std::string& text);

/// These throw CodingError if the value cannot be encoded or memory is exhausted.
void appendVariant(sd_bus_message* message, const Json& value);
/// Appends an `av` with one value, or with none for a null pointer.
void appendValueOrNone(sd_bus_message* message, const Json* value);
/// Appends an `a{sv}`.
void appendDictionary(sd_bus_message* message, const Json& object);

/// Reads the next value of any D-Bus type. NaN and infinities become null.
Json readValue(sd_bus_message* message);

std::string base64(const void* bytes, std::size_t size);
/// Throws CodingError.
std::string decodeBase64(const std::string& text);
/// Seconds since 1970-01-01 UTC. Throws CodingError.
double parseDate(const std::string& text);
std::string formatDate(double seconds);

}  // namespace vorlanectl
