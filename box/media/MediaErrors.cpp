#include "box/media/MediaErrors.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "box/media/GstRef.h"
#include "box/media/ReachabilityProbe.h"

namespace box {
namespace {

using platform::Error;
using platform::MediaErrorCode;
using platform::URLErrorCode;

// Longer than anything that is meant; servers stop at 8 KiB.
constexpr std::size_t kLongestURL = std::size_t{16} * 1024;

Error urlError(URLErrorCode code, std::string description, std::optional<std::string> reason = {}) {
  return {std::string(platform::kURLErrorDomain),
          static_cast<std::int64_t>(code),
          std::move(description),
          std::move(reason),
          {}};
}

Error mediaError(MediaErrorCode code, std::string description,
                 std::optional<std::string> reason = {}) {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(code),
          std::move(description),
          std::move(reason),
          {}};
}

Error httpError(unsigned status) {
  return {std::string(platform::kURLErrorDomain),
          static_cast<std::int64_t>(status),
          "The server refused the request with HTTP status " + std::to_string(status) + ".",
          {},
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

Error timeoutError() {
  return urlError(URLErrorCode::TimedOut, "The server did not answer in time.");
}

Error damagedError() {
  return mediaError(MediaErrorCode::DecodeFailed, "The media are damaged and cannot be decoded.");
}

bool isNetwork(const std::string& url) { return schemeOf(url).starts_with("http"); }

Error connectionError(const SourceReport& source) {
  switch (probeReachability(source.url)) {
    case Reachability::BadURL:
      return urlError(URLErrorCode::BadURL, "The address of the media is not valid.");
    case Reachability::UnknownHost:
      return urlError(URLErrorCode::CannotFindHost, "The server could not be found.");
    case Reachability::Unreachable:
      return urlError(URLErrorCode::CannotConnectToHost, "The server could not be reached.",
                      "Nothing accepts connections at its address.");
    case Reachability::TimedOut:
      return timeoutError();
    case Reachability::Accepts:
      break;
  }
  if (schemeOf(source.url) == "https" && source.httpStatus.value_or(0) == 0)
    return urlError(URLErrorCode::SecureConnectionFailed,
                    "A secure connection to the server could not be made.");
  return urlError(URLErrorCode::NetworkConnectionLost, "The connection to the server was lost.");
}

/// The status that the source put into the message itself, or the newest one seen.
std::optional<unsigned> failedStatus(GstMessage* message, const SourceReport& source) {
  const GstStructure* details = nullptr;
  gst_message_parse_error_details(message, &details);
  guint status = 0;
  if (details && gst_structure_get_uint(details, "http-status-code", &status) && status >= 400)
    return status;
  if (source.httpStatus.value_or(0) >= 400) return source.httpStatus;
  return std::nullopt;
}

Error resourceError(const GError& error, const SourceReport& source) {
  if (isNetwork(source.url)) return connectionError(source);
  switch (error.code) {
    case GST_RESOURCE_ERROR_NOT_FOUND:
      return urlError(URLErrorCode::FileDoesNotExist, "The file does not exist.");
    case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
    case GST_RESOURCE_ERROR_OPEN_READ:
      return urlError(URLErrorCode::NoPermissionToReadFile, "The file cannot be read.");
    default:
      return urlError(URLErrorCode::Unknown, "The media could not be read.");
  }
}

Error streamError(const GError& error, bool fromSource, const SourceReport& source) {
  // A source that got no answer ends the stream, upon which others complain of what they lack.
  const bool unanswered = isNetwork(source.url) && source.httpStatus.value_or(0) == 0;
  if (unanswered || (fromSource && isNetwork(source.url))) return connectionError(source);
  switch (error.code) {
    case GST_STREAM_ERROR_TYPE_NOT_FOUND:
    case GST_STREAM_ERROR_WRONG_TYPE:
      return mediaError(MediaErrorCode::FormatNotRecognized,
                        "The format of the media is not recognized.");
    case GST_STREAM_ERROR_CODEC_NOT_FOUND:
      return mediaError(MediaErrorCode::DecoderNotFound, "There is no decoder for the media.");
    case GST_STREAM_ERROR_DECRYPT:
    case GST_STREAM_ERROR_DECRYPT_NOKEY:
      return mediaError(MediaErrorCode::ContentNotAuthorized, "The media cannot be decrypted.");
    default:
      return damagedError();
  }
}

}  // namespace

std::optional<Error> refusalOf(const std::string& url, bool allowFileURLs) {
  const auto isForbidden = [](unsigned char letter) { return letter <= ' ' || letter == 0x7f; };
  if (url.empty() || url.size() > kLongestURL || std::any_of(url.begin(), url.end(), isForbidden) ||
      !gst_uri_is_valid(url.c_str()))
    return urlError(URLErrorCode::BadURL, "The address of the media is not valid.");
  const std::string scheme = schemeOf(url);
  if (scheme == "http" || scheme == "https") return std::nullopt;
  if (scheme != "file")
    return urlError(URLErrorCode::UnsupportedURL, "Addresses of this kind cannot be played.",
                    "The scheme is \"" + scheme.substr(0, 32) + "\".");
  if (allowFileURLs) return std::nullopt;
  return urlError(URLErrorCode::NoPermissionToReadFile, "The file cannot be read.",
                  "This receiver does not play files of its own.");
}

Error errorOfMessage(GstMessage* message, const SourceReport& source) {
  GError* parsed = nullptr;
  gst_message_parse_error(message, &parsed, nullptr);
  const GstRef<GError> error(parsed);
  if (!error) return unknownMediaError();
  if (const auto status = failedStatus(message, source)) return httpError(*status);
  const bool fromSource = GST_IS_ELEMENT(GST_MESSAGE_SRC(message)) &&
                          GST_OBJECT_FLAG_IS_SET(GST_MESSAGE_SRC(message), GST_ELEMENT_FLAG_SOURCE);
  if (error->domain == GST_RESOURCE_ERROR) return resourceError(*error, source);
  if (error->domain == GST_STREAM_ERROR) return streamError(*error, fromSource, source);
  if (error->domain == GST_CORE_ERROR && error->code == GST_CORE_ERROR_MISSING_PLUGIN)
    return mediaError(MediaErrorCode::DecoderNotFound, "There is no decoder for the media.",
                      std::string(error->message));
  return mediaError(MediaErrorCode::Unknown, "The media could not be played.",
                    std::string(error->message));
}

Error silenceError(const SourceReport& source) {
  return isNetwork(source.url) ? timeoutError() : damagedError();
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
    // Subtitles and data that nobody can read leave picture and sound alone.
    const std::string_view kind(media);
    if (kind.starts_with("text/") || kind.starts_with("subpicture/") || kind.starts_with("meta/") ||
        kind.starts_with("closedcaption/"))
      return std::nullopt;
  }
  std::optional<std::string> reason;
  if (name) reason = std::string(name) + " is missing.";
  return mediaError(MediaErrorCode::DecoderNotFound, "There is no decoder for the media.", reason);
}

Error unknownMediaError() {
  return mediaError(MediaErrorCode::Unknown, "The media could not be played.");
}

}  // namespace box
