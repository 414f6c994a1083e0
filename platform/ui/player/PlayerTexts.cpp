#include "platform/ui/player/PlayerTexts.h"

#include <cmath>
#include <cstdlib>

namespace platform {

namespace {

using Sentence = std::string FailureTexts::*;

Sentence sentenceForURLError(std::int64_t code) {
  switch (code) {
    case 401:
    case 402:
    case 403:
    case 407:
    case 451:
    case static_cast<std::int64_t>(URLErrorCode::NoPermissionToReadFile):
      return &FailureTexts::notAllowed;
    case 404:
    case 410:
    case static_cast<std::int64_t>(URLErrorCode::FileDoesNotExist):
      return &FailureTexts::notFound;
    case 408:
    case 504:
    case static_cast<std::int64_t>(URLErrorCode::TimedOut):
      return &FailureTexts::timedOut;
    case 406:
    case 415:
      return &FailureTexts::unknownFormat;
    case 502:
    case 503:
    case static_cast<std::int64_t>(URLErrorCode::CannotFindHost):
    case static_cast<std::int64_t>(URLErrorCode::CannotConnectToHost):
    case static_cast<std::int64_t>(URLErrorCode::NetworkConnectionLost):
    case static_cast<std::int64_t>(URLErrorCode::NotConnectedToInternet):
    case static_cast<std::int64_t>(URLErrorCode::SecureConnectionFailed):
      return &FailureTexts::noConnection;
    default:
      return &FailureTexts::failed;
  }
}

Sentence sentenceForMediaError(std::int64_t code) {
  switch (static_cast<MediaErrorCode>(code)) {
    case MediaErrorCode::FormatNotRecognized:
    case MediaErrorCode::DecoderNotFound:
      return &FailureTexts::unknownFormat;
    case MediaErrorCode::ContentNotAuthorized:
      return &FailureTexts::notAllowed;
    default:
      return &FailureTexts::failed;
  }
}

std::string withNumber(std::string text, const std::string& number) {
  const auto place = text.find("{}");
  return place == std::string::npos ? text : text.replace(place, 2, number);
}

}  // namespace

const std::string& PlayerTexts::failureSentence(const Error& error) const {
  if (error.domain == kURLErrorDomain) return failures.*sentenceForURLError(error.code);
  if (error.domain == kMediaErrorDomain) return failures.*sentenceForMediaError(error.code);
  return failures.failed;
}

std::string PlayerTexts::percentText(int number) const {
  return withNumber(percent, std::to_string(number));
}

std::string PlayerTexts::skipText(double skipped) const {
  const long whole = std::labs(std::lround(skipped));
  if (whole == 0) return {};
  return withNumber(seconds, (skipped < 0 ? "−" : "+") + std::to_string(whole));
}

}  // namespace platform
