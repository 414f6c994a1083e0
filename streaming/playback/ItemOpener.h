#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/playback/loading/BodyFetch.h"
#include "streaming/playback/resource/PlainResource.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Requests the URL of an item and detects its content type. Transfer thread only.
class ItemOpener final : public TransferObserver, public std::enable_shared_from_this<ItemOpener> {
 public:
  struct Handlers {
    /// The request has failed, or the content is not playable.
    std::function<void(const platform::Error& error)> failed;
    std::function<void(std::shared_ptr<PlainResource> resource)> isPlain;
    /// The content is a manifest. gotManifest follows when it is complete.
    std::function<void(ManifestType type)> isManifest;
    std::function<void(ManifestType type, FetchResult result)> gotManifest;
    /// Passed to the plain resource. May be called after the opening has ended.
    PlainResourceHandlers ofResource;
  };
  ItemOpener(std::shared_ptr<TransferSource> source, std::string url, Handlers handlers);

  void start();
  /// Cancels the request, unless a plain resource has taken over the transfer.
  void stop();

 private:
  class ForwardedTransfer;
  enum class Stage { Sniffing, Manifest, Plain, Done };

  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;
  BodyFlow _sniff(bool isWhole);
  BodyFlow _beginPlain(bool isWhole);
  BodyFlow _takeManifest();
  void _fail(const platform::Error& error);

  const std::shared_ptr<TransferSource> _source;
  const std::string _url;
  const Handlers _handlers;
  Stage _stage = Stage::Sniffing;
  ManifestType _type = ManifestType::None;
  FetchedBody _body;
  std::optional<platform::Error> _refusal;
  std::weak_ptr<PlainResource> _plain;
  std::unique_ptr<Transfer> _transfer;
};

}  // namespace streaming
