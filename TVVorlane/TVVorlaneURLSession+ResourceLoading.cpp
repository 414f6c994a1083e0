// Requests that the player cannot load itself. They are sent to the sender and stay outstanding
// until it answers.

#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"

using platform::Dictionary;
using platform::Error;
using platform::Value;

namespace {

Error urlError(std::int64_t code) {
  return {std::string(platform::kURLErrorDomain), code, {}, {}, {}};
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 305;
}

/// The sender's answer. A value of the wrong type is treated as missing.
struct FailedURLResponse {
  explicit FailedURLResponse(const Dictionary& options)
      : identifier(options.number("FCUP_Response_RequestID")),
        data(options.data("FCUP_Response_Data")),
        status(
            options.number("FCUP_Response_StatusCode").value_or(platform::Number(0)).int32Value()),
        response{options.string("FCUP_Response_URL").value_or(""), status, "HTTP/1.1",
                 options.dictionary("FCUP_Response_Headers").value_or(Dictionary())},
        renewalDate(options.date("FCUP_Response_ContentRenewalDate")) {}

  void complete(TVSResourceLoadingRequest& request) const {
    const auto location = response.headers.string("Location");
    if (isRedirect(status) && location) {
      request.finishLoading({response, nullptr, std::nullopt, location});
    } else if (!isRedirect(status) && data) {
      request.finishLoading({response, data, renewalDate, std::nullopt});
    } else {
      request.finishLoadingWithError(urlError(status));
    }
  }

  std::optional<platform::Number> identifier;
  std::shared_ptr<const platform::Bytes> data;
  int status;
  platform::HTTPResponse response;
  std::optional<platform::Date> renewalDate;
};

}  // namespace

void TVVorlaneURLSession::mediaItem(
    TVSMediaItem& item, const std::shared_ptr<TVSResourceLoadingRequest>& didRequestResource) {
  TVSLogNotice(TVVLSession, "Vorlane Failed URL Request for item: %@",
               static_cast<const platform::Object&>(item));
  const auto requestID = didRequestResource->requestID();
  if (!requestID) platform::assertionFailed(__func__, kSource, "requestID != nil");
  _resourceLoadingRequests[*requestID] = didRequestResource;
  _postEvent("failedURLRequest", didRequestResource->dictionaryRepresentation());
}

std::shared_ptr<TVSResourceLoadingRequest> TVVorlaneURLSession::_outstandingRequest(
    const platform::Number& identifier) const {
  // Rejects a number that does not fit into 64 bits, because it would match a different request.
  const std::uint64_t key = identifier.uint64Value();
  if (platform::Number(key) != identifier) return nullptr;
  const auto found = _resourceLoadingRequests.find(key);
  return found != _resourceLoadingRequests.end() ? found->second : nullptr;
}

std::shared_ptr<const platform::Bytes> TVVorlaneURLSession::_handleKeyResponseWithOptions(
    const Dictionary& options, OptionalError* error) {
  std::shared_ptr<const platform::Bytes> result;
  OptionalError failure;
  const auto context = options.dictionary("requestContext").value_or(Dictionary());
  if (const auto identifier = context.number(platform::kCustomURLProviderRequestIDKey)) {
    if (const auto outstanding = _outstandingRequest(*identifier)) {
      const auto request = std::dynamic_pointer_cast<TVSSecureKeyRequest>(outstanding);
      if (!request) platform::assertionFailed(__func__, kSource, "request != nil");
      request->setCertificateData(options.get("appID"));
      request->setContentIdentifierData(options.get("assetID"));
      request->setRequestOptions(options.get("options"));
      if (request->loadKeyRequestData(&failure)) result = request->keyRequestData();
    } else {
      TVSLogNotice(TVVLSession, "No request for with session ID:  %@", Value(*identifier));
    }
  }
  if (!result && !failure) failure = Error::status(kTVVorlaneStatusNotFound);
  if (failure && error) *error = failure;
  return result;
}

bool TVVorlaneURLSession::_handleFailedURLResponseWithOptions(const Dictionary& options,
                                                              OptionalError* error) {
  const FailedURLResponse answer(options);
  const auto fail = [error](Error failure) {
    if (error) *error = std::move(failure);
    return false;
  };
  if (!answer.identifier) return fail(Error::status(kTVVorlaneStatusNoRequestID));
  if (!answer.data && answer.status == 0) return fail(urlError(-1));
  const auto request = _outstandingRequest(*answer.identifier);
  if (!request) return fail(Error::status(kTVVorlaneStatusNotFound));
  // Removed first, because the player may add a request while this one completes.
  _resourceLoadingRequests.erase(*request->requestID());
  answer.complete(*request);
  return true;
}
