#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

namespace platform {

/// Under this key a request names itself in its dictionary representation and in a sender's answer.
inline constexpr std::string_view kCustomURLProviderRequestIDKey = "FCUP_Request_RequestID";
/// And under this one its URL in its dictionary representation.
inline constexpr std::string_view kCustomURLProviderRequestURLKey = "FCUP_Request_URL";

struct HTTPResponse {
  std::string url;
  int statusCode = 0;
  std::string httpVersion;
  Dictionary headers;
};

/// How a resource request ended well.
struct ResourceResponse {
  std::optional<HTTPResponse> response;
  std::shared_ptr<const Bytes> data;
  std::optional<Date> renewalDate;
  std::optional<std::string> redirectURL;
};

}  // namespace platform

/// A load that the player cannot satisfy itself.
///
/// It is finished exactly once; a second finish is ignored, and so is one after the player has
/// given the request up. Main thread. The completion is called on the main thread, inside the
/// finish.
class TVSResourceLoadingRequest : public platform::Object {
 public:
  using Completion = std::function<void(const platform::ResourceResponse*, const platform::Error*)>;

  TVSResourceLoadingRequest(std::optional<std::uint64_t> identifier, std::string url,
                            platform::Dictionary details, Completion completion);
  std::string className() const override { return "TVSResourceLoadingRequest"; }

  const std::optional<std::uint64_t>& requestID() const { return _identifier; }
  const std::string& url() const { return _url; }
  /// The identifier under kCustomURLProviderRequestIDKey, the URL, and the details of the load.
  virtual platform::Dictionary dictionaryRepresentation() const;

  void finishLoading(const platform::ResourceResponse& response);
  void finishLoadingWithError(const platform::Error& error);
  /// The player no longer wants it.
  void cancel();
  bool isFinished() const { return !_completion; }

 private:
  std::optional<std::uint64_t> _identifier;
  std::string _url;
  platform::Dictionary _details;
  Completion _completion;
};

/// A content key that the player needs.
class TVSSecureKeyRequest : public TVSResourceLoadingRequest {
 public:
  using TVSResourceLoadingRequest::TVSResourceLoadingRequest;
  std::string className() const override { return "TVSSecureKeyRequest"; }

  void setCertificateData(platform::Value data) { _certificate = std::move(data); }
  void setContentIdentifierData(platform::Value data) { _contentIdentifier = std::move(data); }
  void setRequestOptions(platform::Value options) { _options = std::move(options); }

  /// Makes the data that a key server understands from certificate, content identifier and options.
  virtual bool loadKeyRequestData(std::optional<platform::Error>* error) = 0;
  const std::shared_ptr<const platform::Bytes>& keyRequestData() const { return _keyRequestData; }

 protected:
  platform::Value _certificate;
  platform::Value _contentIdentifier;
  platform::Value _options;
  std::shared_ptr<const platform::Bytes> _keyRequestData;
};
