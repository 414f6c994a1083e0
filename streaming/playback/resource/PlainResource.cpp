#include "streaming/playback/resource/PlainResource.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "streaming/playback/resource/ResourceFeed.h"

namespace streaming {

std::shared_ptr<PlainResource> PlainResource::make(std::shared_ptr<TransferSource> source,
                                                   std::string url, const ResponseHead& head,
                                                   std::string_view firstBytes,
                                                   std::unique_ptr<Transfer> running,
                                                   PlainResourceHandlers handlers,
                                                   PlainResourceLimits limits) {
  auto feed =
      std::make_shared<ResourceFeed>(source, std::move(url), head, std::move(handlers), limits);
  feed->begin(firstBytes, std::move(running));
  return std::shared_ptr<PlainResource>(
      new PlainResource(std::move(source), head, std::move(feed)));
}

PlainResource::PlainResource(std::shared_ptr<TransferSource> source, ResponseHead head,
                             std::shared_ptr<ResourceFeed> feed)
    : _source(std::move(source)), _head(std::move(head)), _feed(std::move(feed)) {}

PlainResource::~PlainResource() {
  _source->post([feed = _feed] { feed->close(); });
}

std::optional<std::uint64_t> PlainResource::size() const { return _feed->size(); }

bool PlainResource::isSeekable() const { return _head.acceptsRanges; }

std::string PlainResource::mimeType() const {
  std::string type = _head.field("Content-Type");
  type.resize(std::min(type.size(), type.find_first_of("; \t")));
  return type;
}

HeaderFields PlainResource::fields() const { return _head.fields; }

std::uint64_t PlainResource::icyInterval() const {
  const std::string text = _head.field("icy-metaint");
  std::uint64_t interval = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), interval);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() ? interval : 0;
}

ResourceReader::Result PlainResource::read(std::uint64_t offset, std::span<std::byte> into,
                                           const ReadGate& gate) {
  return _feed->read(offset, into, gate);
}

std::vector<ByteSpan> PlainResource::loaded() const { return _feed->loaded(); }

void PlainResource::whenWaiting(std::function<void(bool isWaiting)> handler) {
  _feed->whenWaiting(std::move(handler));
}

BodyFlow PlainResource::transferGotHead(const ResponseHead&) { return BodyFlow::More; }

BodyFlow PlainResource::transferGotBytes(std::string_view bytes) {
  return _feed->firstTransferGotBytes(bytes);
}

void PlainResource::transferEnded(const std::optional<platform::Error>& error) {
  _feed->firstTransferEnded(error);
}

}  // namespace streaming
