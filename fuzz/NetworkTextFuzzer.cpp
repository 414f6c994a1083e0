// Short texts of manifests and servers: URLs, dates, ranges, header fields, licences.

#include <cmath>
#include <optional>
#include <string>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/TextMutator.h"
#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/keys/ClearKey.h"
#include "streaming/manifest/CodecNames.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/dash/DASHSegmentInfo.h"
#include "streaming/manifest/hls/HLSLines.h"
#include "streaming/transfer/LocalBody.h"
#include "streaming/transfer/http/AddressPolicy.h"
#include "streaming/transfer/http/ByteRange.h"
#include "streaming/transfer/http/HeaderReader.h"

namespace fuzz {
namespace {

/// The parts of the input: a base URL and a reference.
void readURL(Bytes input) {
  std::string_view rest = textOf(input);
  const std::string base(takePart(rest));
  const std::string_view reference = rest;
  streaming::schemeOf(base);
  streaming::isWebURL(base);
  static_cast<void>(streaming::URLServer::of(base));
  if (const auto resolved = streaming::resolveURL(base, reference)) {
    require(resolved->find('#') == resolved->npos || resolved->starts_with("data:") ||
                streaming::schemeOf(*resolved) == "data",
            "a resolved URL has no fragment");
    const streaming::URLParts parts = streaming::URLParts::of(*resolved);
    require(parts.path.size() <= resolved->size(), "the path is a part of the URL");
  }
  static_cast<void>(streaming::withQueryOf(base, std::string(reference)));
  static_cast<void>(streaming::queryParameter(base, reference));
  static_cast<void>(streaming::unescaped(reference));
  streaming::isPrivateAddress(base);
  streaming::AddressPolicy policy(base);
  policy.allows(true, false);
  if (base.starts_with("data:")) {
    if (const auto body = streaming::readDataURL(base)) {
      const std::string bytes = body->read(0, static_cast<std::size_t>(body->size));
      require(bytes.size() == body->size, "a data URL has all its bytes");
    }
  }
}

void readTimesAndRanges(Bytes input) {
  const std::string_view text = textOf(input);
  if (const auto number = streaming::numberFrom(text))
    require(std::isfinite(*number), "a number is finite");
  if (const auto date = streaming::dateFrom(text))
    require(std::isfinite(date->secondsSince1970), "a date is finite");
  if (const auto duration = streaming::durationFrom(text))
    require(std::isfinite(*duration), "a duration is finite");
  if (const auto range = streaming::ByteRange::ofResponse(text)) {
    static_cast<void>(range->requestField());
    require(!range->last || *range->last >= range->first, "a range does not end before its start");
  }
  static_cast<void>(streaming::hlsByteRange(text, 7));
  static_cast<void>(streaming::hlsSeconds(text));
  static_cast<void>(streaming::dashByteRange(text));
  static_cast<void>(streaming::fromBase64(text));
  static_cast<void>(streaming::numberOf(text));
  for (const std::string& codec : streaming::partsOfList(text)) {
    streaming::isVideoCodec(codec);
    streaming::isAudioCodec(codec);
    streaming::isTextCodec(codec);
  }
}

void readHeader(Bytes input) {
  constexpr std::size_t kLimit = 4096;
  streaming::HeaderReader reader(kLimit);
  std::string_view text = textOf(input);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    if (reader.feed(text.substr(0, end)) == streaming::HeaderReader::Result::TooLong) break;
    text.remove_prefix(end);
  }
  reader.feedTrailer(text);
  auto fields = reader.takeFields();
  std::size_t bytes = 0;
  for (const auto& [name, value] : fields) bytes += name.size() + value.size();
  require(bytes <= kLimit, "header fields are limited");
  streaming::removeField(fields, "content-length");
}

void readLicence(Bytes input) {
  const auto bytes = std::as_bytes(input);
  const platform::Bytes response(bytes.begin(), bytes.end());
  const platform::Bytes identifier(streaming::kContentKeySize, std::byte{1});
  for (const auto& wanted : {std::optional(identifier), std::optional<platform::Bytes>()})
    if (const auto key = streaming::keyFromResponse(response, wanted))
      require(key->size() == streaming::kContentKeySize, "a key has 16 bytes");
  static_cast<void>(streaming::bytesOfBase64url(textOf(input)));
}

constexpr std::string_view kNone[] = {""};
constexpr std::string_view kURLs[] = {"http://user@[::1]:%n/a/../b/./c?d=%n#e",
                                      "//host:80/%w",
                                      "?a=b&c=%41",
                                      "#f",
                                      "../../..",
                                      "data:text/plain;base64,QUJD",
                                      "data:,a%41",
                                      "http://127.0.0.1",
                                      "custom:a/b",
                                      "\x1e"};
constexpr std::string_view kFields[] = {
    "HTTP/1.1 200 OK\r", "Content-Range: bytes %n-%n/%n\r", "Content-Length: %n\r", "a: %w\r", "\r",
    " folded\r",         "HTTP/1.1 100 Continue\r"};
constexpr std::string_view kTimes[] = {
    "2024-02-30T24:60:60.%nZ", "P%nY%nM%nDT%nH%nM%nS",     "bytes %n-%n/%n", "%n@%n", "%n-%n",
    "avc1.4d, mp4a.40.2",      "2024-01-01T00:00:00+2359", "bytes */%n",     "%n"};
constexpr std::string_view kLicences[] = {
    "{\"keys\":[{\"kty\":\"oct\",\"k\":\"AQEBAQEBAQEBAQEBAQEBAQ\",\"kid\":\"%w\"}],"
    "\"type\":\"temporary\"}",
    "[[[[[[[[", "{\"keys\":", "\"\\u%n\"", "%n"};

template <const auto& pieces>
void mutateLines(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Lines, pieces, kNone};
  mutateText(input, random, grammar);
}

const Registration url({"URL", &readURL, {}, &mutateLines<kURLs>});
const Registration times({"TimesAndRanges", &readTimesAndRanges, {}, &mutateLines<kTimes>});
const Registration header({"HTTPHeader", &readHeader, {}, &mutateLines<kFields>});
const Registration licence({"KeyLicence", &readLicence, {}, &mutateLines<kLicences>});

}  // namespace
}  // namespace fuzz
