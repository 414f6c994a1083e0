#pragma once

#include "platform/media/TVSResourceLoadingRequest.h"

namespace media {

/// A content-key request for key servers that speak Clear Key: its data is the licence request for
/// the key that the content identifier names.
///
/// It fails with ContentNotAuthorized without a content identifier of data, with a certificate that
/// holds nothing (one is not needed), and with options whose "type" is neither "temporary" nor
/// "persistent-license".
class ClearKeyRequest final : public TVSSecureKeyRequest {
 public:
  using TVSSecureKeyRequest::TVSSecureKeyRequest;

  bool loadKeyRequestData(std::optional<platform::Error>* error) override;

 private:
  /// A sentence; empty when nothing is wrong.
  std::string _complaint(std::string& type) const;
};

}  // namespace media
