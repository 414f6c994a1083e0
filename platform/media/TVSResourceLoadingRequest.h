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

/// The identifier of a request in its dictionary representation and in the answer of the sender.
inline constexpr std::string_view kCustomURLProviderRequestIDKey = "FCUP_Request_RequestID";
inline constexpr std::string_view kCustomURLProviderRequestURLKey = "FCUP_Request_URL";

struct HTTPResponse {
  std::string url;
  int statusCode = 0;
  std::string httpVersion;
  Dictionary headers;
};

/// The result of a successful resource request.
struct ResourceResponse {
  std::optional<HTTPResponse> response;
  std::shared_ptr<const Bytes> data;
  std::optional<Date> renewalDate;
  std::optional<std::string> redirectURL;
};

}  // namespace platform

/// A request for a resource that the player cannot load by itself.
///
/// It is finished once. Later calls, and calls after cancel(), are ignored. The completion is
/// called synchronously by finishLoading() and finishLoadingWithError(). Main thread.
class TVSResourceLoadingRequest : public platform::Object {
 public:
  using Completion = std::function<void(const platform::ResourceResponse*, const platform::Error*)>;

  TVSResourceLoadingRequest(std::optional<std::uint64_t> identifier, std::string url,
                            platform::Dictionary details, Completion completion);
  std::string className() const override { return "TVSResourceLoadingRequest"; }

  const std::optional<std::uint64_t>& requestID() const { return _identifier; }
  const std::string& url() const { return _url; }
  /// The identifier, the URL and the details of the request.
  virtual platform::Dictionary dictionaryRepresentation() const;

  void finishLoading(const platform::ResourceResponse& response);
  void finishLoadingWithError(const platform::Error& error);
  /// Called by the player. The completion is not called afterwards.
  void cancel();
  bool isFinished() const { return !_completion; }

 private:
  std::optional<std::uint64_t> _identifier;
  std::string _url;
  platform::Dictionary _details;
  Completion _completion;
};

/// A request for a content key.
class TVSSecureKeyRequest : public TVSResourceLoadingRequest {
 public:
  using TVSResourceLoadingRequest::TVSResourceLoadingRequest;
  std::string className() const override { return "TVSSecureKeyRequest"; }

  void setCertificateData(platform::Value data) { _certificate = std::move(data); }
  void setContentIdentifierData(platform::Value data) { _contentIdentifier = std::move(data); }
  void setRequestOptions(platform::Value options) { _options = std::move(options); }

  /// Creates keyRequestData(), the message to the key server, from the certificate, the content
  /// identifier and the options. Returns false and sets `error` on failure.
  virtual bool loadKeyRequestData(std::optional<platform::Error>* error) = 0;
  const std::shared_ptr<const platform::Bytes>& keyRequestData() const { return _keyRequestData; }

 protected:
  platform::Value _certificate;
  platform::Value _contentIdentifier;
  platform::Value _options;
  std::shared_ptr<const platform::Bytes> _keyRequestData;
};
