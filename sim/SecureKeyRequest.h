#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/foundation/Error.h"
#include "platform/media/TVSResourceLoadingRequest.h"

namespace sim {

/// A content-key request with predictable data: "key-request:", the certificate, ":", the content
/// identifier, ":", and the description of the options, if any.
///
/// Fails with ContentNotAuthorized if certificate or content identifier is missing or not data, or
/// with the error from the script.
class SecureKeyRequest final : public TVSSecureKeyRequest {
 public:
  SecureKeyRequest(std::uint64_t identifier, std::string url, platform::Dictionary details,
                   Completion completion, std::optional<platform::Error> failure)
      : TVSSecureKeyRequest(identifier, std::move(url), std::move(details), std::move(completion)),
        _failure(std::move(failure)) {}

  bool loadKeyRequestData(std::optional<platform::Error>* error) override;

 private:
  const std::optional<platform::Error> _failure;
};

}  // namespace sim
