#pragma once

#include "platform/media/TVSResourceLoadingRequest.h"

namespace media {

/// A content-key request for Clear Key servers. Its request data is a licence request for the key
/// with the content identifier.
///
/// It fails with ContentNotAuthorized if the content identifier is not data, if the certificate is
/// empty (a certificate is optional), or if the option "type" is neither "temporary" nor
/// "persistent-license".
class ClearKeyRequest final : public TVSSecureKeyRequest {
 public:
  using TVSSecureKeyRequest::TVSSecureKeyRequest;

  bool loadKeyRequestData(std::optional<platform::Error>* error) override;

 private:
  /// Returns an error message; empty if the request is valid.
  std::string _validate(std::string& type) const;
};

}  // namespace media
