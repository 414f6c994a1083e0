#include "sim/SecureKeyRequest.h"

#include <cstddef>
#include <memory>
#include <string_view>

namespace sim {

using platform::Bytes;

bool SecureKeyRequest::loadKeyRequestData(std::optional<platform::Error>* error) {
  const Bytes* const certificate = _certificate.asData();
  const Bytes* const contentIdentifier = _contentIdentifier.asData();
  if (_failure || !certificate || !contentIdentifier) {
    if (error) {
      *error = _failure.value_or(
          platform::Error{std::string(platform::kMediaErrorDomain),
                          static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized),
                          {},
                          {},
                          {}});
    }
    return false;
  }
  Bytes data;
  const auto addText = [&data](std::string_view text) {
    for (const char character : text) data.push_back(static_cast<std::byte>(character));
  };
  addText("key-request:");
  data.insert(data.end(), certificate->begin(), certificate->end());
  addText(":");
  data.insert(data.end(), contentIdentifier->begin(), contentIdentifier->end());
  addText(":");
  if (!_options.isNone()) addText(_options.description());
  _keyRequestData = std::make_shared<const Bytes>(std::move(data));
  return true;
}

}  // namespace sim
