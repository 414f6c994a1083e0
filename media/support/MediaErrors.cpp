#include "media/support/MediaErrors.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>

#include "media/support/GstRef.h"
#include "streaming/transfer/NetworkErrors.h"

namespace media {
namespace {

using platform::Error;
using platform::MediaErrorCode;
using platform::URLErrorCode;
using streaming::keyError;
using streaming::networkError;

// Servers usually accept no more than 8 KiB.
constexpr std::size_t kLongestURL = std::size_t{16} * 1024;

Error mediaError(MediaErrorCode code, std::string description,
                 std::optional<std::string> reason = {}) {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(code),
          std::move(description),
          std::move(reason),
          {}};
}

std::string schemeOf(const std::string& url) {
  const auto colon = url.find(':');
  if (colon == std::string::npos) return {};
  std::string scheme = url.substr(0, colon);
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return scheme;
}

Error resourceError(const GError& error) {
  switch (error.code) {
    case GST_RESOURCE_ERROR_NOT_FOUND:
      return networkError(URLErrorCode::FileDoesNotExist);
    case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
    case GST_RESOURCE_ERROR_OPEN_READ:
      return networkError(URLErrorCode::NoPermissionToReadFile);
    default:
      return networkError(URLErrorCode::Unknown);
  }
}

Error streamError(const GError& error) {
  switch (error.code) {
    case GST_STREAM_ERROR_TYPE_NOT_FOUND:
    case GST_STREAM_ERROR_WRONG_TYPE:
      return unrecognizedError();
    case GST_STREAM_ERROR_CODEC_NOT_FOUND:
      return noDecoderError();
    case GST_STREAM_ERROR_DECRYPT:
    case GST_STREAM_ERROR_DECRYPT_NOKEY:
      return keyError();
    default:
      return damagedError();
  }
}

}  // namespace

bool isStreamedURL(const std::string& url) {
  const std::string scheme = schemeOf(url);
  return !scheme.empty() && scheme != "file" && scheme != "data";
}

std::optional<Error> unsupportedURLError(const std::string& url, bool allowFileURLs) {
  const auto isForbidden = [](unsigned char letter) { return letter <= ' ' || letter == 0x7f; };
  if (url.empty() || url.size() > kLongestURL || std::any_of(url.begin(), url.end(), isForbidden) ||
      !gst_uri_is_valid(url.c_str()))
    return networkError(URLErrorCode::BadURL);
  if (isStreamedURL(url)) return std::nullopt;
  const std::string scheme = schemeOf(url);
  if (scheme != "file")
    return networkError(URLErrorCode::UnsupportedURL, "The scheme is \"" + scheme + "\".");
  if (allowFileURLs) return std::nullopt;
  return networkError(URLErrorCode::NoPermissionToReadFile,
                      "This receiver does not play files of its own.");
}

Error errorOfMessage(GstMessage* message) {
  GError* parsed = nullptr;
  gst_message_parse_error(message, &parsed, nullptr);
  const GstRef<GError> error(parsed);
  if (!error) return unknownMediaError();
  if (error->domain == GST_RESOURCE_ERROR) return resourceError(*error);
  if (error->domain == GST_STREAM_ERROR) return streamError(*error);
  if (error->domain == GST_CORE_ERROR && error->code == GST_CORE_ERROR_MISSING_PLUGIN)
    return noDecoderError(std::string(error->message));
  return mediaError(MediaErrorCode::Unknown, "The media could not be played.",
                    std::string(error->message));
}

bool isWithoutFrames(GstMessage* error) {
  GError* parsed = nullptr;
  gchar* details = nullptr;
  gst_message_parse_error(error, &parsed, &details);
  const GstRef<GError> owned(parsed);
  const GstRef<gchar> text(details);
  return parsed && parsed->domain == GST_STREAM_ERROR && parsed->code == GST_STREAM_ERROR_DECODE &&
         details && std::strstr(details, "no valid frames found");
}

Error unrecognizedError() {
  return mediaError(MediaErrorCode::FormatNotRecognized,
                    "The format of the media is not recognized.");
}

Error noDecoderError(std::optional<std::string> reason) {
  return mediaError(MediaErrorCode::DecoderNotFound, "There is no decoder for the media.",
                    std::move(reason));
}

Error damagedError() {
  return mediaError(MediaErrorCode::DecodeFailed, "The media are damaged and cannot be decoded.");
}

Error noProgressError() { return damagedError(); }

bool isOptionalStream(std::string_view type) {
  constexpr std::string_view kPrefixes[] = {"text/",
                                            "subpicture/",
                                            "subtitle/",
                                            "meta/",
                                            "closedcaption/",
                                            "application/x-subtitle",
                                            "application/ttml",
                                            "application/x-ssa",
                                            "application/x-ass",
                                            "application/x-usf",
                                            "application/x-teletext"};
  return std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                     [type](std::string_view each) { return type.starts_with(each); });
}

std::optional<Error> missingPluginError(const GstStructure* message) {
  const char* type = gst_structure_get_string(message, "type");
  const char* name = gst_structure_get_string(message, "name");
  if (!type || std::strcmp(type, "decoder") != 0) return std::nullopt;
  const GValue* detail = gst_structure_get_value(message, "detail");
  if (detail && GST_VALUE_HOLDS_CAPS(detail)) {
    const GstCaps* caps = gst_value_get_caps(detail);
    const char* media = gst_caps_is_empty(caps) || gst_caps_is_any(caps)
                            ? ""
                            : gst_structure_get_name(gst_caps_get_structure(caps, 0));
    const std::string_view kind(media);
    // GStreamer 1.24 and later report a web page as text/html.
    if (kind == "text/html") return unrecognizedError();
    if (isOptionalStream(kind)) return std::nullopt;
  }
  std::optional<std::string> reason;
  if (name) reason = std::string(name) + " is missing.";
  return noDecoderError(std::move(reason));
}

Error unknownMediaError() {
  return mediaError(MediaErrorCode::Unknown, "The media could not be played.");
}

Error noThreadError() {
  return mediaError(MediaErrorCode::Unknown, "The media could not be played.",
                    "The system has no thread left.");
}

}  // namespace media
