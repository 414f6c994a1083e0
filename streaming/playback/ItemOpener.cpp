#include "streaming/playback/ItemOpener.h"

#include <algorithm>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"
#include "streaming/playback/UnplayableContent.h"

namespace streaming {

/// The transfer of a plain resource. It keeps the opening alive, which is still the observer.
class ItemOpener::ForwardedTransfer final : public Transfer {
 public:
  ForwardedTransfer(std::shared_ptr<ItemOpener> opening, std::unique_ptr<Transfer> transfer)
      : _opening(std::move(opening)), _transfer(std::move(transfer)) {}
  void resume() override { _transfer->resume(); }

 private:
  const std::shared_ptr<ItemOpener> _opening;  // must outlive the transfer
  const std::unique_ptr<Transfer> _transfer;
};

ItemOpener::ItemOpener(std::shared_ptr<TransferSource> source, std::string url, Handlers handlers)
    : _source(std::move(source)), _url(std::move(url)), _handlers(std::move(handlers)) {}

void ItemOpener::start() {
  _transfer = _source->start(TransferRequest{_url, TransferKind::Item, {}, true}, *this);
}

void ItemOpener::stop() {
  if (_stage != Stage::Plain) _stage = Stage::Done;
  _transfer.reset();
}

BodyFlow ItemOpener::transferGotHead(const ResponseHead& head) {
  _body.head = head;
  return BodyFlow::More;
}

BodyFlow ItemOpener::transferGotBytes(std::string_view bytes) {
  if (_stage == Stage::Plain) {
    const auto plain = _plain.lock();
    return plain ? plain->transferGotBytes(bytes) : BodyFlow::Abort;
  }
  if (_stage == Stage::Done) return BodyFlow::Abort;
  _body.bytes += bytes;
  return _stage == Stage::Manifest ? _takeManifest() : _sniff(false);
}

BodyFlow ItemOpener::_takeManifest() {
  if (_body.bytes.size() <= kMaxManifestBytes) return BodyFlow::More;
  _refusal = networkError(platform::URLErrorCode::BadServerResponse, "The playlist is too long.");
  return BodyFlow::Abort;
}

BodyFlow ItemOpener::_sniff(bool isWhole) {
  const auto type = detectManifestType(_body.bytes, isWhole);
  if (!type) return BodyFlow::More;
  if (*type != ManifestType::None) {
    _stage = Stage::Manifest;
    _type = *type;
    _handlers.isManifest(_type);
    return _takeManifest();
  }
  if (!isWhole && _body.bytes.size() < kContentSniffBytes) return BodyFlow::More;
  if (!isHTMLOrImage(_body.bytes, _body.head.field("Content-Type"))) return _beginPlain(isWhole);
  _refusal = mediaError(platform::MediaErrorCode::FormatNotRecognized,
                        "The content is a web page or an image.");
  return BodyFlow::Abort;
}

BodyFlow ItemOpener::_beginPlain(bool isWhole) {
  _stage = Stage::Plain;
  std::unique_ptr<Transfer> running;
  if (!isWhole)
    running = std::make_unique<ForwardedTransfer>(shared_from_this(), std::move(_transfer));
  auto plain = PlainResource::make(_source, _url, _body.head, std::exchange(_body.bytes, {}),
                                   std::move(running), _handlers.ofResource);
  _plain = plain;
  if (isWhole) plain->transferEnded(std::nullopt);
  _handlers.isPlain(std::move(plain));
  return BodyFlow::More;
}

void ItemOpener::transferEnded(const std::optional<platform::Error>& error) {
  const auto self = shared_from_this();
  const auto ended = std::move(_transfer);
  switch (_stage) {
    case Stage::Done:
      return;
    case Stage::Plain:
      if (const auto plain = _plain.lock()) plain->transferEnded(error);
      return;
    case Stage::Manifest:
      _stage = Stage::Done;
      if (_refusal) return _handlers.gotManifest(_type, *_refusal);
      if (error) return _handlers.gotManifest(_type, *error);
      return _handlers.gotManifest(_type, std::move(_body));
    case Stage::Sniffing:
      break;
  }
  if (_refusal) return _fail(*_refusal);
  if (error) return _fail(*error);
  _sniff(true);
  if (_refusal) return _fail(*_refusal);
  if (_stage == Stage::Manifest) {
    _stage = Stage::Done;
    _handlers.gotManifest(_type, std::move(_body));
  }
}

void ItemOpener::_fail(const platform::Error& error) {
  _stage = Stage::Done;
  _handlers.failed(error);
}

}  // namespace streaming
