#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/ObserverList.h"

class TVSResourceLoadingRequest;
class TVSSecureKeyRequest;

/// Something that a player can play: where it is, how it may be treated (traits) and what is known
/// of it (metadata).
///
/// Metadata observers are called once a transaction, or once a set outside one, with the keys that
/// changed. Threads: main. Lifetime: held by playlists, the player and whoever made it.
class TVSMediaItem : public platform::Object {
 public:
  explicit TVSMediaItem(std::vector<std::string> traits = {}) : _traits(std::move(traits)) {}

  /// The URL as the sender wrote it; empty when there is none.
  virtual std::string url() const = 0;
  virtual bool hasTrait(std::string_view trait) const;

  platform::Value metadata(std::string_view key) const { return _metadata.get(key); }
  /// The value as a number; nothing where it is none or not finite.
  std::optional<double> finiteMetadata(std::string_view key) const;
  /// A value that holds nothing removes the key.
  void setMetadata(std::string_view key, platform::Value value);
  /// String comparison of a metadata value.
  bool metadataEquals(std::string_view key, std::string_view text) const;
  /// Gathers the sets made inside into one notification of the observers.
  void performMetadataTransaction(const std::function<void()>& body);
  platform::Token addMetadataObserver(
      std::function<void(const std::vector<std::string>& keys)> observer);

  /// The player cannot satisfy a resource request itself. True: somebody has taken the request and
  /// will finish it.
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

/// A media item at a URL.
class TVSURLMediaItem : public TVSMediaItem {
 public:
  TVSURLMediaItem(std::string url, std::vector<std::string> traits)
      : TVSMediaItem(std::move(traits)), _url(std::move(url)) {}
  std::string className() const override { return "TVSURLMediaItem"; }
  std::string url() const override { return _url; }

 private:
  std::string _url;
};
