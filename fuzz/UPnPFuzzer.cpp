// What controllers send to the UPnP renderer: DIDL-Lite, times, and headers of subscriptions.

#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/TextMutator.h"
#include "receivers/upnp/device/Didl.h"
#include "receivers/upnp/device/SubscriptionHeaders.h"
#include "receivers/upnp/model/ItemChecks.h"
#include "receivers/upnp/model/LastChange.h"
#include "receivers/upnp/model/Time.h"

namespace fuzz {
namespace {

void readDidl(Bytes input) {
  std::string_view rest = textOf(input);
  const std::string uri(takePart(rest));
  const auto item = upnp::readItem(uri, std::string(rest));
  if (!item) return;
  require(item->uri == uri, "the URI is the controller's");
  require(item->metadata.size() <= upnp::kMaximumKeptMetadataBytes ||
              item->metadata.size() > upnp::kMaximumMetadataBytes,
          "long metadata are not kept");
  require(std::isfinite(item->duration) && item->duration >= 0, "a duration is a time");
  for (const std::string& address : {item->artUri, item->subtitleUri})
    require(address.empty() || upnp::isFetchable(address), "other addresses are of HTTP");
  if (!upnp::checkItem(*item))
    require(upnp::isFetchable(item->uri), "an item that is accepted is of HTTP");
  for (const std::string& text : {item->title, item->metadata}) {
    const std::string escaped = upnp::escapedForXml(text);
    require(escaped.find_first_of("<>\"") == escaped.npos, "an escaped text has no markup");
  }
}

void readTimesAndHeaders(Bytes input) {
  std::string_view rest = textOf(input);
  const std::string time(takePart(rest));
  if (const auto seconds = upnp::parseTime(time)) {
    require(*seconds >= 0 && *seconds <= 36e6, "a time is in its range");
    const auto again = upnp::parseTime(upnp::formatTime(*seconds));
    require(again && *again == std::floor(*seconds), "a time that was written can be read");
  }
  const auto limit = upnp::subscriptionTimeOf(std::string(takePart(rest)));
  require(limit.count() >= 0 && limit <= std::chrono::hours(24), "a subscription ends");
  const std::string host(takePart(rest));
  const std::string callbacks(rest);
  if (upnp::areCallbacksOf(callbacks, host))
    require(callbacks.find('<') < callbacks.rfind('>'), "there is a URL");
}

constexpr std::string_view kDidlPieces[] = {
    "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\""
    " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
    " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\">",
    "</DIDL-Lite>",
    "<item id=\"%n\" parentID=\"%n\" restricted=\"%n\">",
    "</item>",
    "<container id=\"%n\">",
    "</container>",
    "<dc:title>",
    "</dc:title>",
    "<upnp:class>",
    "</upnp:class>",
    "<upnp:albumArtURI>",
    "</upnp:albumArtURI>",
    "<upnp:artist role=\"%w\">",
    "</upnp:artist>",
    "<res protocolInfo=\"%w\" duration=\"%w\" size=\"%n\">",
    "</res>",
    "<s:CaptionInfoEx s:type=\"srt\">",
    "</s:CaptionInfoEx>",
    "<res subtitleFileUri=\"%w\" protocolInfo=\"%w\">",
    "<!DOCTYPE a [<!ENTITY b \"%w\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]>",
    "&c;",
    "&amp;",
    "<![CDATA[",
    "]]>",
    "%w"};
constexpr std::string_view kDidlWords[] = {"http-get:*:video/mp4:DLNA.ORG_OP=01",
                                           "http-get:*:text/srt:*",
                                           ":::",
                                           "*",
                                           "0:00:03.5",
                                           "1:59:59.1/3",
                                           "http://192.0.2.1/a b",
                                           "https://[fe80::1%25eth0]/film.mp4",
                                           "object.item.imageItem.photo",
                                           "object.item.videoItem"};
constexpr std::string_view kHeaderPieces[] = {"%n:%n:%n",  "%n:%n:%n.%n/%n",
                                              "Second-%n", "Second-infinite",
                                              "192.0.2.1", "[fe80::1%25eth0]",
                                              "fe80::1%2", "<http://192.0.2.1:%n/%w>",
                                              "<%w>",      "\x1e",
                                              "<",         ">"};

void mutateDidl(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Markup, kDidlPieces, kDidlWords};
  mutateText(input, random, grammar);
}
void mutateHeaders(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Markup, kHeaderPieces, kDidlWords};
  mutateText(input, random, grammar);
}

const Registration didl(
    {"DIDLLite", &readDidl, {.heap = {std::size_t{8} << 20, 2000}}, &mutateDidl});
const Registration headers({"UPnPHeaders", &readTimesAndHeaders, {}, &mutateHeaders});

}  // namespace
}  // namespace fuzz
