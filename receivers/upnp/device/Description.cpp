#include "receivers/upnp/device/Description.h"

#include <glib.h>

#include "receivers/upnp/device/Embedded.h"
#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/LastChange.h"

namespace upnp {

namespace {

constexpr std::string_view kTemplateSuffix = ".in";
/// The standard's limit for the name of a device, in characters.
constexpr glong kMaximumName = 63;

void replace(std::string& text, std::string_view from, const std::string& to) {
  const auto place = text.find(from);
  if (place != std::string::npos) text.replace(place, from.size(), to);
}

std::string shortenedName(const std::string& name) {
  if (g_utf8_strlen(name.c_str(), -1) <= kMaximumName) return name;
  return textOf(OwnedText(g_utf8_substring(name.c_str(), 0, kMaximumName)).get());
}

}  // namespace

bool writeDescriptions(const std::string& folder, const std::string& name,
                       const std::string& uuid) {
  constexpr int kPrivate = 0700;
  if (g_mkdir_with_parents(folder.c_str(), kPrivate) != 0) return false;
  for (const Embedded& file : embeddedFiles()) {
    std::string contents(file.contents);
    std::string target(file.name);
    if (target.ends_with(kTemplateSuffix)) {
      target.resize(target.size() - kTemplateSuffix.size());
      replace(contents, "@NAME@", escapedForXml(shortenedName(name)));
      replace(contents, "@VERSION@", VORLANE_VERSION);
      replace(contents, "@UUID@", uuid);
    }
    const std::string path = std::string(folder).append("/").append(target);
    if (!g_file_set_contents(path.c_str(), contents.data(), static_cast<gssize>(contents.size()),
                             nullptr)) {
      return false;
    }
  }
  return true;
}

}  // namespace upnp
