#include "receivers/upnp/device/Description.h"

#include <glib.h>

#include "receivers/upnp/device/Embedded.h"
#include "receivers/upnp/model/LastChange.h"

namespace upnp {

namespace {

constexpr std::string_view kTemplateSuffix = ".in";

void replace(std::string& text, std::string_view from, const std::string& to) {
  const auto place = text.find(from);
  if (place != std::string::npos) text.replace(place, from.size(), to);
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
      replace(contents, "@NAME@", escapedForXml(name));
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
