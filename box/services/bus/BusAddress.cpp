#include "box/services/bus/BusAddress.h"

#include <charconv>
#include <cstdlib>

#include <unistd.h>

namespace box {

namespace {

constexpr std::string_view kSystemBus = "unix:path=/run/dbus/system_bus_socket";

std::string fromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  return value ? value : "";
}

/// Decodes the %xx escapes of D-Bus addresses.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t index = 0; index < value.size(); ++index) {
    unsigned byte = 0;
    const char* const digits = value.data() + index + 1;
    if (value[index] == '%' && index + 2 < value.size() &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      text += static_cast<char>(byte);
      index += 2;
    } else {
      text += value[index];
    }
  }
  return text;
}

/// Removes and returns the part before `separator`.
std::string_view takeUntil(std::string_view& text, char separator) {
  const auto end = text.find(separator);
  const auto part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

}  // namespace

std::string_view nameOfBus(BusKind kind) { return kind == BusKind::Session ? "session" : "system"; }

std::string addressOfBus(BusKind kind) {
  if (kind == BusKind::System) {
    auto address = fromEnvironment("DBUS_SYSTEM_BUS_ADDRESS");
    return address.empty() ? std::string(kSystemBus) : address;
  }
  auto address = fromEnvironment("DBUS_SESSION_BUS_ADDRESS");
  if (!address.empty()) return address;
  auto folder = fromEnvironment("XDG_RUNTIME_DIR");
  if (folder.empty()) folder = "/run/user/" + std::to_string(geteuid());
  return "unix:path=" + folder + "/bus";
}

std::string socketPathOf(std::string_view address) {
  constexpr std::string_view kPrefix = "unix:";
  constexpr std::string_view kPath = "path=";
  while (!address.empty()) {
    auto one = takeUntil(address, ';');
    if (!one.starts_with(kPrefix)) continue;
    one.remove_prefix(kPrefix.size());
    while (!one.empty()) {
      const auto part = takeUntil(one, ',');
      if (part.starts_with(kPath)) return unescaped(part.substr(kPath.size()));
    }
  }
  return {};
}

}  // namespace box
