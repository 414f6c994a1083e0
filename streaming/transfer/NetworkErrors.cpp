#include "streaming/transfer/NetworkErrors.h"

#include <utility>

#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

constexpr std::size_t kLoggedBytes = 256;

const char* sentenceOf(URLErrorCode code) {
  switch (code) {
    case URLErrorCode::BadURL:
      return "The address of the media is not valid.";
    case URLErrorCode::UnsupportedURL:
      return "Addresses of this kind cannot be played.";
    case URLErrorCode::TimedOut:
      return "The server did not respond in time.";
    case URLErrorCode::CannotFindHost:
      return "The server could not be found.";
    case URLErrorCode::CannotConnectToHost:
      return "The server could not be reached.";
    case URLErrorCode::NetworkConnectionLost:
      return "The connection to the server was lost.";
    case URLErrorCode::BadServerResponse:
      return "The server's response cannot be used.";
    case URLErrorCode::SecureConnectionFailed:
      return "A secure connection to the server could not be made.";
    case URLErrorCode::FileDoesNotExist:
      return "The file does not exist.";
    case URLErrorCode::NoPermissionToReadFile:
      return "The file cannot be read.";
    case URLErrorCode::NotConnectedToInternet:
      return "There is no connection to the internet.";
    case URLErrorCode::Unknown:
      break;
  }
  return "The media could not be read.";
}

}  // namespace

platform::Error networkError(URLErrorCode code, std::optional<std::string> reason) {
  return {std::string(platform::kURLErrorDomain),
          static_cast<std::int64_t>(code),
          sentenceOf(code),
          std::move(reason),
          {}};
}

platform::Error httpError(unsigned status) {
  return {std::string(platform::kURLErrorDomain),
          static_cast<std::int64_t>(status),
          "The server refused the request with HTTP status " + std::to_string(status) + ".",
          {},
          {}};
}

platform::Error keyError() {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized),
          "The media cannot be decrypted.",
          {},
          {}};
}

std::string loggableURL(const std::string& url) {
  const std::string bare = url.substr(0, url.find_first_of("?#"));
  const URLParts parts = URLParts::of(bare);
  if (parts.scheme.empty()) return "(no URL)";
  std::string text(parts.scheme);
  text += ':';
  if (parts.authority) {
    const auto at = parts.authority->rfind('@');
    text.append("//").append(parts.authority->substr(at == std::string_view::npos ? 0 : at + 1));
  }
  text.append(parts.path);
  for (char& letter : text)
    if (isControl(letter)) letter = ' ';
  if (text.size() > kLoggedBytes) text.resize(kLoggedBytes);
  return text;
}

}  // namespace streaming
