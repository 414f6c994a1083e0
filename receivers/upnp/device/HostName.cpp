#include "receivers/upnp/device/HostName.h"

#include <glib.h>

#include "receivers/upnp/device/Glib.h"

namespace upnp {

namespace {

/// hostnamed keeps the name in this file. The bus is not asked: a unit may have none.
constexpr const char* kMachineInfo = "/etc/machine-info";
constexpr const char* kPrettyNameKey = "PRETTY_HOSTNAME=";

}  // namespace

std::string prettyHostName() {
  char* contents = nullptr;
  if (g_file_get_contents(kMachineInfo, &contents, nullptr, nullptr)) {
    const OwnedText text(contents);
    const std::string lines = std::string("\n") + text.get();
    const auto found = lines.find(std::string("\n") + kPrettyNameKey);
    if (found != std::string::npos) {
      const auto begin = found + 1 + std::string_view(kPrettyNameKey).size();
      const std::string value = lines.substr(begin, lines.find('\n', begin) - begin);
      std::string name = textOf(OwnedText(g_shell_unquote(value.c_str(), nullptr)).get());
      if (!name.empty() && g_utf8_validate(name.c_str(), -1, nullptr)) return name;
    }
  }
  return g_get_host_name();
}

}  // namespace upnp
