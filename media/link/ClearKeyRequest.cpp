#include "media/link/ClearKeyRequest.h"

#include <utility>

#include "streaming/keys/ClearKey.h"

namespace media {

using platform::Bytes;
using platform::Dictionary;
using platform::Value;

std::string ClearKeyRequest::_validate(std::string& type) const {
  const auto isEmptyData = [](const Value& value) {
    const Bytes* const data = value.asData();
    return !data || data->empty();
  };
  if (isEmptyData(_contentIdentifier)) return "The content has no identifier.";
  if (!_certificate.isNone() && isEmptyData(_certificate))
    return "The certificate of the key server is empty.";
  const Dictionary* const options = _options.asDictionary();
  const Value wanted = options ? options->get("type") : Value();
  if (wanted.isNone()) return {};
  const std::string* const text = wanted.asString();
  if (!text || (*text != "temporary" && *text != "persistent-license"))
    return "This type of key is not supported.";
  type = *text;
  return {};
}

bool ClearKeyRequest::loadKeyRequestData(std::optional<platform::Error>* error) {
  std::string type = "temporary";
  if (std::string message = _validate(type); !message.empty()) {
    if (error) {
      *error =
          platform::Error{std::string(platform::kMediaErrorDomain),
                          static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized),
                          "A request for the content's key cannot be made.",
                          std::move(message),
                          {}};
    }
    return false;
  }
  _keyRequestData =
      std::make_shared<const Bytes>(streaming::keyRequestOf({*_contentIdentifier.asData()}, type));
  return true;
}

}  // namespace media
