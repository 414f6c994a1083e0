#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/foundation/Error.h"
#include "platform/media/TVSResourceLoadingRequest.h"

namespace sim {

/// A content-key request whose data anybody can foretell: "key-request:", the certificate, ":", the
/// content identifier, ":", and the description of the options where there are any.
///
/// It fails with ContentNotAuthorized without a certificate or content identifier of data, or with
/// the error that its script names.
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
