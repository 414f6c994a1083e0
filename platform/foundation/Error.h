#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// Numeric status codes of the receiver interface.
inline constexpr std::string_view kStatusCodeErrorDomain = "TVSStatusCodeErrorDomain";
/// Network and HTTP errors: negative codes are URLErrorCode, positive codes are HTTP statuses.
inline constexpr std::string_view kURLErrorDomain = "TVSURLErrorDomain";
/// Format, decoder and player errors: MediaErrorCode.
inline constexpr std::string_view kMediaErrorDomain = "TVSMediaErrorDomain";

/// Keys of the localized fields in an error dictionary.
inline constexpr std::string_view kErrorLocalizedDescriptionKey = "TVSLocalizedDescription";
inline constexpr std::string_view kErrorLocalizedFailureReasonKey = "TVSLocalizedFailureReason";
inline constexpr std::string_view kErrorLocalizedRecoverySuggestionKey =
    "TVSLocalizedRecoverySuggestion";

enum class URLErrorCode : std::int64_t {
  Unknown = -1,
  TimedOut = -1001,
  UnsupportedURL = -1002,
  CannotFindHost = -1003,
  CannotConnectToHost = -1004,
  NetworkConnectionLost = -1005,
  NotConnectedToInternet = -1009,
  BadServerResponse = -1011,
  FileDoesNotExist = -1100,
  NoPermissionToReadFile = -1102,
  SecureConnectionFailed = -1200,
  BadURL = -1000,
};

enum class MediaErrorCode : std::int64_t {
  Unknown = -11800,
  FormatNotRecognized = -11828,
  DecoderNotFound = -11833,
  DecodeFailed = -11821,
  ContentNotAuthorized = -11835,
  PlayerUnavailable = -11820,
  ProcessLost = -11819,
};

/// A reported failure: a domain, a code within the domain, and up to three localized texts for the
/// user.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::optional<std::string> localizedDescription;
  std::optional<std::string> localizedFailureReason;
  std::optional<std::string> localizedRecoverySuggestion;

  static Error status(std::int64_t code) {
    return {std::string(kStatusCodeErrorDomain), code, {}, {}, {}};
  }

  /// `Error Domain=D Code=C "description"`.
  std::string description() const;
  friend bool operator==(const Error&, const Error&) = default;
};

}  // namespace platform
