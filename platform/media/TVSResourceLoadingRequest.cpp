#include "platform/media/TVSResourceLoadingRequest.h"

#include <utility>

TVSResourceLoadingRequest::TVSResourceLoadingRequest(std::optional<std::uint64_t> identifier,
                                                     std::string url, platform::Dictionary details,
                                                     Completion completion)
    : _identifier(identifier),
      _url(std::move(url)),
      _details(std::move(details)),
      // isFinished() checks the completion, so it must not be null.
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
  // Moved out first: the completion may release the last reference to this request.
  if (const auto completion = std::exchange(_completion, nullptr)) completion(&response, nullptr);
}

void TVSResourceLoadingRequest::finishLoadingWithError(const platform::Error& error) {
  if (const auto completion = std::exchange(_completion, nullptr)) completion(nullptr, &error);
}

void TVSResourceLoadingRequest::cancel() { _completion = nullptr; }
