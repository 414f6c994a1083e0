#include "receivers/upnp/device/SubscriptionHeaders.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include <glib.h>

#include "receivers/upnp/device/Glib.h"

namespace upnp {

bool areCallbacksOf(const std::string& callbacks, const std::string& host) {
  std::string_view rest = callbacks;
  bool hasOne = false;
  while (true) {
    const auto begin = rest.find('<');
    if (begin == std::string_view::npos) return hasOne;
    const auto end = rest.find('>', begin);
    if (end == std::string_view::npos) return false;
    const std::string url(rest.substr(begin + 1, end - begin - 1));
    GUri* const uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri) return false;
    // A scope of a local IPv6 address is the receiver's own name of the interface.
    const std::string target = textOf(g_uri_get_host(uri));
    const bool isOwn = std::string_view(g_uri_get_scheme(uri)) == "http" &&
                       target.substr(0, target.find('%')) == host.substr(0, host.find('%'));
    g_uri_unref(uri);
    if (!isOwn) return false;
    hasOne = true;
    rest.remove_prefix(end + 1);
  }
}

Clock::Duration subscriptionTimeOf(const std::string& timeout) {
  constexpr std::string_view kPrefix = "Second-";
  constexpr unsigned kLongest = 24 * 3600;
  unsigned seconds = kLongest;
  if (timeout.starts_with(kPrefix)) {
    std::from_chars(timeout.data() + kPrefix.size(), timeout.data() + timeout.size(), seconds);
  }
  return std::chrono::seconds(std::min(seconds, kLongest));
}

}  // namespace upnp
