// Requests of sim::MediaEngine to the item: waiting, continuing, failing, and redirects.

#include <utility>

#include "sim/MediaEngine.h"
#include "sim/SecureKeyRequest.h"

namespace sim {

using platform::Error;

namespace {

constexpr int kRedirectLimit = 10;

Error error(std::string_view domain, std::int64_t code) {
  return {std::string(domain), code, {}, {}, {}};
}

Error urlError(platform::URLErrorCode code) {
  return error(platform::kURLErrorDomain, static_cast<std::int64_t>(code));
}

Error notFound() {
  Error failure = urlError(platform::URLErrorCode::FileDoesNotExist);
  failure.localizedDescription = "There is nothing at this address.";
  return failure;
}

}  // namespace

void MediaEngine::_finishLoad(std::size_t first) {
  if (!_script) return fail(notFound());
  if (_script->loadFailure) return fail(*_script->loadFailure);
  for (std::size_t index = first; index < _script->requests.size(); ++index) {
    if (_script->requests[index].position) continue;
    _sendRequest(index, [this, index](std::shared_ptr<const MediaScript> redirected) {
      const bool elsewhere = redirected != nullptr;
      if (elsewhere) _script = std::move(redirected);
      _finishLoad(elsewhere ? 0 : index + 1);
    });
    return;
  }
  _becomeReady();
}

void MediaEngine::_sendRequest(std::size_t index,
                               std::function<void(std::shared_ptr<const MediaScript>)> answered) {
  // A copy, because a redirect replaces _script.
  const auto script = _script;
  const MediaScript::Request& request = script->requests[index];
  const bool isKey = request.kind == MediaScript::Request::Kind::Key;
  auto completion = [this, isKey, answered = std::move(answered)](
                        const platform::ResourceResponse* response, const Error* failure) {
    if (failure) return fail(*failure);
    if (isKey && (!response->data || response->data->empty()))
      return fail(error(platform::kMediaErrorDomain,
                        static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized)));
    if (isKey || !response->redirectURL) {
      _pastEvents.redirects = 0;
      return answered(nullptr);
    }
    if (++_pastEvents.redirects > kRedirectLimit)
      return fail(urlError(platform::URLErrorCode::BadServerResponse));
    auto media = _library.find(*response->redirectURL);
    if (!media) return fail(notFound());
    answered(std::move(media));
  };
  if (!isKey) return _requests.load(*_load.item, request.url, {}, std::move(completion));
  const auto make = [&request](std::uint64_t identifier, std::string url,
                               platform::Dictionary details, auto ended) {
    return std::make_shared<SecureKeyRequest>(identifier, std::move(url), std::move(details),
                                              std::move(ended), request.keyFailure);
  };
  _requests.loadKey(*_load.item, request.url, {}, make, std::move(completion));
}

}  // namespace sim
