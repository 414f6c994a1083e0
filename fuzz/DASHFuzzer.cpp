// Manifests of DASH with remote periods, and updates or patches of them.

#include <memory>
#include <string_view>
#include <variant>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/IndexWalk.h"
#include "fuzz/support/TextMutator.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace fuzz {
namespace {

using streaming::Presentation;

void walkPresentation(const Presentation& presentation) {
  constexpr int kMostIndexes = 16;
  int count = 0;
  require(!presentation.periods.empty(), "a presentation has a period");
  for (const auto& period : presentation.periods)
    for (const auto& track : period.tracks)
      for (const auto& each : track.representations)
        if (each->segments && count++ < kMostIndexes) walkIndex(*each->segments);
}

/// The parts of the input: a manifest, a remote period, and two updates.
void readManifests(Bytes input) {
  const streaming::ManifestOrigin origin{"http://host/dir/main.mpd?t=1", {1.7e9}, false};
  std::string_view rest = textOf(input);
  const std::string_view first = takePart(rest);
  streaming::RemotePeriods remote;
  static_cast<void>(streaming::detectManifestType(first, true));
  const auto urls = streaming::remotePeriodsOf(first, origin);
  if (!urls.empty()) remote[urls.front()] = takePart(rest);
  std::shared_ptr<const Presentation> previous;
  std::string_view text = first;
  for (int version = 0; version < 3; ++version) {
    const auto result = streaming::readDASH(text, origin, previous, remote);
    if (const auto* const read = std::get_if<std::shared_ptr<const Presentation>>(&result)) {
      walkPresentation(**read);
      previous = *read;
    }
    if (rest.empty()) break;
    text = takePart(rest);
  }
}

constexpr std::string_view kElements[] = {
    "<MPD type=\"static\" mediaPresentationDuration=\"PT%nS\">",
    "<MPD type=\"dynamic\" id=\"m\" publishTime=\"2024-01-01T00:00:00Z\" "
    "availabilityStartTime=\"1970-01-01T00:00:00Z\" "
    "timeShiftBufferDepth=\"PT%nS\" minimumUpdatePeriod=\"PT%nS\">",
    "</MPD>",
    "<Period>",
    "<Period id=\"%w\" start=\"PT%nS\" duration=\"PT%nS\">",
    "</Period>",
    "<Period xlink:href=\"remote.xml\" xmlns:xlink=\"http://www.w3.org/1999/xlink\"/>",
    "<AdaptationSet contentType=\"%w\" lang=\"en\" id=\"%n\">",
    "<AdaptationSet mimeType=\"video/mp4\" codecs=\"avc1.4d\">",
    "</AdaptationSet>",
    "<Representation id=\"%w\" bandwidth=\"%n\" width=\"%n\" height=\"%n\" frameRate=\"%n/%n\">",
    "<Representation id=\"%n\"/>",
    "</Representation>",
    "<BaseURL>%w</BaseURL>",
    "<BaseURL availabilityTimeOffset=\"%n\">http://a/%n</BaseURL>",
    "<SegmentTemplate media=\"$Number%05d$\" duration=\"%n\" timescale=\"%n\" startNumber=\"%n\" "
    "endNumber=\"%n\"/>",
    "<SegmentTemplate media=\"$RepresentationID$$Time$$SubNumber$\" timescale=\"%n\" "
    "presentationTimeOffset=\"%n\" initialization=\"$Bandwidth%0999d$\">",
    "</SegmentTemplate>",
    "<SegmentTimeline>",
    "</SegmentTimeline>",
    "<S t=\"%n\" d=\"%n\" r=\"%n\"/>",
    "<S d=\"%n\" r=\"-1\"/>",
    "<S d=\"%n\" r=\"%n\" k=\"%n\"/>",
    "<SegmentList duration=\"%n\" timescale=\"%n\">",
    "</SegmentList>",
    "<SegmentURL media=\"%w\" mediaRange=\"%n-%n\"/>",
    "<SegmentBase indexRange=\"%n-%n\" timescale=\"%n\" presentationTimeOffset=\"%n\">"
    "<Initialization range=\"%n-%n\" sourceURL=\"%w\"/></SegmentBase>",
    "<Role schemeIdUri=\"urn:mpeg:dash:role:2011\" value=\"%w\"/>",
    "<Accessibility schemeIdUri=\"urn:scte:dash:cc:cea-608:2015\" value=\"CC1=eng;CC3=swe\"/>",
    "<EssentialProperty schemeIdUri=\"http://dashif.org/guidelines/trickmode\" value=\"%n\"/>",
    "<SupplementalProperty schemeIdUri=\"urn:mpeg:dash:adaptation-set-switching:2016\" "
    "value=\"%n,%n\"/>",
    "<ContentProtection schemeIdUri=\"urn:mpeg:dash:mp4protection:2011\" value=\"cbcs\" "
    "cenc:default_KID=\"%w\"/>",
    "<ContentProtection schemeIdUri=\"urn:mpeg:dash:sea:2012\"><SegmentEncryption/>"
    "<CryptoPeriod startOffset=\"%n\" numSegments=\"%n\" keyUriTemplate=\"%w\" IV=\"%w\"/>"
    "</ContentProtection>",
    "<EventStream schemeIdUri=\"%w\" timescale=\"%n\"><Event presentationTime=\"%n\" "
    "duration=\"%n\" id=\"%n\" messageData=\"%w\" contentEncoding=\"base64\">%w</Event>"
    "</EventStream>",
    "<UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:%w:2014\" value=\"%w\"/>",
    "<Location>%w</Location>",
    "<PatchLocation ttl=\"%n\">patch.xml</PatchLocation>",
    "<Label>%w</Label>",
    "<!-- c -->",
    "<![CDATA[%w]]>",
    "&lt;",
    "\x1e<Patch mpdId=\"m\" originalPublishTime=\"2024-01-01T00:00:00Z\" "
    "publishTime=\"2024-01-02T00:00:00Z\">",
    "</Patch>",
    "<replace sel=\"%w\">",
    "</replace>",
    "<add sel=\"%w\" pos=\"%w\">",
    "<add sel=\"%w\" type=\"@a\">%w</add>",
    "</add>",
    "<remove sel=\"%w\"/>"};
constexpr std::string_view kValues[] = {"a",
                                        "video",
                                        "audio",
                                        "text",
                                        "text/vtt",
                                        "stpp",
                                        "main",
                                        "caption",
                                        "direct",
                                        "http-iso",
                                        "PT1H2M3.5S",
                                        "P1Y2M3DT4H5M6.7S",
                                        "$Number$",
                                        "$Number%099d$",
                                        "$$$$",
                                        "../x",
                                        "/MPD/Period",
                                        "/MPD/Period[2]",
                                        "/MPD/Period[@id='a']/AdaptationSet[1]/@lang",
                                        "/MPD/@publishTime",
                                        "before",
                                        "prepend",
                                        "01234567-89AB-CDEF-0123-456789abcdef",
                                        "QUJD",
                                        "0x00112233445566778899aabbccddeeff",
                                        "http://www.w3.org/1999/xlink",
                                        "urn:mpeg:dash:resolve-to-zero:2013"};

void mutateManifests(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Markup, kElements, kValues};
  mutateText(input, random, grammar);
}

void readXML(Bytes input) {
  pugi::xml_document document;
  if (streaming::XMLTree::load(textOf(input), document)) return;
  require(streaming::XMLTree::isWithinLimits(document), "a loaded document is within the limits");
  for (pugi::xml_node node = document.first_child(); node; node = node.first_child()) {
    streaming::isNamed(node, "MPD");
    static_cast<void>(streaming::childrenOf(node, "Period").size());
    static_cast<void>(streaming::textOf(node));
    for (const char* const name : {"id", "start", "bandwidth"}) {
      static_cast<void>(streaming::xmlNumber(node, name));
      static_cast<void>(streaming::xmlInteger(node, name));
      static_cast<void>(streaming::xmlDuration(node, name));
    }
  }
}

const Registration dash({"DASH",
                         &readManifests,
                         {.heap = {std::size_t{8} << 20, 3000}, .steps = {6'000'000, 4000}},
                         &mutateManifests});
const Registration xml({"XML", &readXML, {}, &mutateManifests});

}  // namespace
}  // namespace fuzz
