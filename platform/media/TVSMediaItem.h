#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/ObserverList.h"

class TVSResourceLoadingRequest;
class TVSSecureKeyRequest;

/// An item for a player: a URL, traits (how the item may be handled) and metadata.
///
/// Metadata observers receive the changed keys, once for each transaction or for each setMetadata()
/// outside a transaction. Threads: main.
class TVSMediaItem : public platform::Object {
 public:
  explicit TVSMediaItem(std::vector<std::string> traits = {}) : _traits(std::move(traits)) {}

  virtual std::string url() const = 0;
  virtual bool hasTrait(std::string_view trait) const;

  platform::Value metadata(std::string_view key) const;
  /// The value as a number; std::nullopt unless it is a finite number.
  std::optional<double> finiteMetadata(std::string_view key) const;
  /// A value of kind None removes the key.
  void setMetadata(std::string_view key, platform::Value value);
  bool metadataEquals(std::string_view key, std::string_view text) const;
  /// Notifies the observers once for all changes made by `body`.
  void performMetadataTransaction(const std::function<void()>& body);
  platform::Token addMetadataObserver(
      std::function<void(const std::vector<std::string>& keys)> observer);

  /// Called for a resource that the player cannot load by itself. Returns true if the item accepts
  /// the request and will finish it.
  virtual bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request);
  virtual void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request);

 private:
  void _notify();

  std::vector<std::string> _traits;
  platform::Dictionary _metadata;
  std::vector<std::string> _changedKeys;
  int _transactionDepth = 0;
  platform::ObserverList<const std::vector<std::string>&> _observers;
};

/// A media item with a fixed URL.
class TVSURLMediaItem : public TVSMediaItem {
 public:
  TVSURLMediaItem(std::string url, std::vector<std::string> traits)
      : TVSMediaItem(std::move(traits)), _url(std::move(url)) {}
  std::string className() const override { return "TVSURLMediaItem"; }
  std::string url() const override { return _url; }

 private:
  std::string _url;
};
