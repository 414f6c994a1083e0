#include "platform/media/TVSResourceLoadingRequest.h"

#include <utility>

TVSResourceLoadingRequest::TVSResourceLoadingRequest(std::optional<std::uint64_t> identifier,
                                                     std::string url, platform::Dictionary details,
                                                     Completion completion)
    : _identifier(identifier),
      _url(std::move(url)),
      _details(std::move(details)),
      // isFinished() tells by the completion, so a caller that wants to hear nothing gets an empty
      // one.
      _completion(completion ? std::move(completion)
                             : [](const platform::ResourceResponse*, const platform::Error*) {}) {}

platform::Dictionary TVSResourceLoadingRequest::dictionaryRepresentation() const {
  platform::Dictionary dictionary;
  if (_identifier) dictionary.set(platform::kCustomURLProviderRequestIDKey, *_identifier);
  dictionary.set(platform::kCustomURLProviderRequestURLKey, _url);
  dictionary.merge(_details);
  return dictionary;
}

void TVSResourceLoadingRequest::finishLoading(const platform::ResourceResponse& response) {
  // Taken out first: the completion may drop the last reference to this request.
  if (const auto completion = std::exchange(_completion, nullptr)) completion(&response, nullptr);
}

void TVSResourceLoadingRequest::finishLoadingWithError(const platform::Error& error) {
  if (const auto completion = std::exchange(_completion, nullptr)) completion(nullptr, &error);
}

void TVSResourceLoadingRequest::cancel() { _completion = nullptr; }
