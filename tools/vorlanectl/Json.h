#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

namespace vorlanectl {

/// Keeps the order of keys, as the values on the bus do.
using Json = nlohmann::ordered_json;

/// What cannot be said in the other form. The text is for the user.
struct CodingError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// JSON as property-list values on the bus: text s, true and false b, an integer the smallest of i u
// x t that holds it, another number d, null (s) "null", an array av, an object a{sv}; data is
// {"$data": base64}, a date {"$date": RFC 3339}.

/// A command-line argument. Throws CodingError with the place of the mistake.
Json parseJson(const std::string& text);

/// Each throws CodingError when the value has no form on the bus, or there is no memory.
void appendVariant(sd_bus_message* message, const Json& value);
/// An `av` with one value, or none for a null pointer.
void appendValueOrNone(sd_bus_message* message, const Json* value);
/// An `a{sv}`.
void appendDictionary(sd_bus_message* message, const Json& object);

/// Any D-Bus value at the message's position. Numbers that JSON has not (infinities, NaN) become
/// null.
Json readValue(sd_bus_message* message);

std::string base64(const void* bytes, std::size_t size);
/// Throws CodingError.
std::string bytesOfBase64(const std::string& text);
/// Seconds since 1970-01-01 UTC. Throws CodingError.
double secondsOfDate(const std::string& text);
std::string dateOfSeconds(double seconds);

}  // namespace vorlanectl
