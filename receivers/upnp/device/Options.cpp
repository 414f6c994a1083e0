#include "receivers/upnp/device/Options.h"

#include <cstdio>

#include <glib.h>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/device/HostName.h"

namespace upnp {

namespace {

constexpr std::size_t kMaximumNameBytes = 256;

}  // namespace

std::optional<Options> parseOptions(int count, char** arguments, int& status) {
  char** interfaces = nullptr;
  char* name = nullptr;
  char* socket = nullptr;
  char* state = nullptr;
  gboolean isTracing = FALSE;
  gboolean isVersion = FALSE;
  const GOptionEntry entries[] = {
      {"interface", 0, 0, G_OPTION_ARG_STRING_ARRAY, &interfaces,
       "Network interface to serve; may be repeated (default: all)", "NAME"},
      {"name", 0, 0, G_OPTION_ARG_STRING, &name,
       "Name in the lists of controllers (default: the host's)", "NAME"},
      {"socket", 0, 0, G_OPTION_ARG_FILENAME, &socket, "Socket of the box", "PATH"},
      {"state", 0, 0, G_OPTION_ARG_FILENAME, &state, "Folder for the UUID of the device", "PATH"},
      {"trace", 0, 0, G_OPTION_ARG_NONE, &isTracing, "Log actions and events", nullptr},
      {"version", 0, 0, G_OPTION_ARG_NONE, &isVersion, "Print the version", nullptr},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  GOptionContext* const context = g_option_context_new("- play from UPnP controllers on TVVorlane");
  g_option_context_add_main_entries(context, entries, nullptr);
  GError* error = nullptr;
  const bool isParsed = g_option_context_parse(context, &count, &arguments, &error) && count == 1;
  g_option_context_free(context);
  Options options{.interfaces = {},
                  .name = textOf(OwnedText(name).get()),
                  .socket = textOf(OwnedText(socket).get()),
                  .stateFolder = textOf(OwnedText(state).get()),
                  .isTracing = isTracing != FALSE};
  for (char** one = interfaces; one && *one; ++one) options.interfaces.emplace_back(*one);
  g_strfreev(interfaces);
  const OwnedError owned(error);
  if (!isParsed || options.name.size() > kMaximumNameBytes) {
    std::fprintf(stderr, "tvvorlane-upnp: %s (see --help)\n",
                 error ? error->message : "unexpected argument");
    status = 2;
    return std::nullopt;
  }
  if (isVersion) {
    std::printf("tvvorlane-upnp %s\n", VORLANE_VERSION);
    status = 0;
    return std::nullopt;
  }
  if (options.name.empty()) options.name = prettyHostName();
  return options;
}

}  // namespace upnp
