#include "box/relay/Delivery.h"

#include <algorithm>
#include <array>
#include <utility>

#include "box/relay/ClearKey.h"
#include "box/relay/NetworkErrors.h"
#include "box/relay/URLParts.h"

namespace box {
namespace {

using platform::URLErrorCode;

// Enough to tell a playlist.
constexpr std::size_t kFirstBytes = 16;
// A licence of many keys fits in; nobody has one that does not.
constexpr std::size_t kMostKeyBytes = std::size_t{256} * 1024;

/// In lower case, of the last part of the path; empty: none.
std::string endingOf(const std::string& url) {
  const std::string bare = url.substr(0, url.find('#'));
  std::string_view name = URLParts::of(bare).path;
  name.remove_prefix(name.rfind('/') == name.npos ? 0 : name.rfind('/') + 1);
  const auto dot = name.rfind('.');
  if (dot == name.npos) return {};
  std::string ending(name.substr(dot + 1));
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return ending;
}

bool isWhole(const ResourceHead& head) {
  if (head.status != 206) return true;
  const auto part = ByteRange::ofResponse(head.field("Content-Range"));
  return part && part->first == 0 && part->total && part->last && *part->last + 1 == *part->total;
}

}  // namespace

bool looksLikePlaylist(const std::string& url) {
  const std::string ending = endingOf(url);
  return ending == "m3u8" || ending == "m3u" || ending == "mpd";
}

bool looksLikeText(const std::string& url) {
  static constexpr std::array<std::string_view, 9> endings = {"",    "m3u8", "m3u",  "mpd", "vtt",
                                                              "srt", "ttml", "dfxp", "xml"};
  return std::find(endings.begin(), endings.end(), endingOf(url)) != endings.end();
}

Delivery::Delivery(ItemContext& item, const RelayPath& path, Form form, bool headOnly,
                   ResponseSink& sink)
    : _item(item), _path(path), _form(form), _headOnly(headOnly), _sink(sink) {}

void Delivery::begin(const ResourceHead& head) {
  _head = head;
  if (!_headOnly) return;
  // What it will be once it is rewritten nobody knows.
  if (looksLikePlaylist(_head.url) || _form == Form::Key) _head.length.reset();
  _sink.begin(_head);
}

BodyFlow Delivery::pass(std::string_view bytes) {
  if (_headOnly) return BodyFlow::More;
  if (_form == Form::Key) {
    if (_gathered.size() + bytes.size() > kMostKeyBytes) return _refuse(keyError());
    _gathered += bytes;
    return BodyFlow::More;
  }
  if (_isDecided) return _rewriter ? _rewrite(bytes) : _send(bytes);
  _gathered += bytes;
  return _gathered.size() < kFirstBytes ? BodyFlow::More : _decide();
}

BodyFlow Delivery::_decide() {
  _isDecided = true;
  // What is somewhere in the middle of media may look like anything.
  const auto part = ByteRange::ofResponse(_head.field("Content-Range"));
  const bool mayBe = _form == Form::Body && (_head.status != 206 || (part && part->first == 0));
  const auto kind =
      mayBe ? playlistKindOf(_head.field("Content-Type"), _gathered) : PlaylistKind::None;
  return kind == PlaylistKind::None ? _beginPlain() : _beginPlaylist(kind);
}

BodyFlow Delivery::_beginPlaylist(PlaylistKind kind) {
  if (!isWhole(_head)) {
    _needsWhole = true;
    return BodyFlow::Abort;
  }
  PlaylistContext context;
  context.url = _head.url;
  context.inheritsQuery = _item.setup().inheritsQuery;
  context.master = _item.record().offers();
  context.relayed = [&item = _item](const std::string& url, RelayPath::Kind relayKind) {
    return item.urlFor(url, relayKind);
  };
  context.alternate = [&item = _item](const std::string& url, const std::string& type) {
    if (type != "VIDEO") item.record().noteAlternate(url, type == "AUDIO");
  };
  _rewriter = PlaylistRewriter::make(kind, std::move(context));
  ResourceHead head;
  head.url = _head.url;
  head.fields = {{"Content-Type",
                  kind == PlaylistKind::HLS ? "application/x-mpegurl" : "application/dash+xml"},
                 {"Accept-Ranges", "none"}};
  _sink.begin(head);
  return _rewrite(std::exchange(_gathered, {}));
}

BodyFlow Delivery::_beginPlain() {
  _sink.begin(_head);
  const auto part = _head.status == 206 ? ByteRange::ofResponse(_head.field("Content-Range"))
                                        : std::optional<ByteRange>();
  if (_form == Form::Body) {
    if (_item.record().noteSource(_path.url, _path.url == _item.setup().url)) _item.tellLeg();
    _range = _item.record().beginRange(_path.url, part ? part->first : 0,
                                       part ? part->total : _head.length);
  }
  return _send(std::exchange(_gathered, {}));
}

BodyFlow Delivery::_send(std::string_view bytes) {
  if (_range && !bytes.empty()) {
    _item.record().extendRange(*_range, bytes.size());
    _item.record().mediaPassed();
  }
  return _sink.send(bytes) ? BodyFlow::More : BodyFlow::Pause;
}

BodyFlow Delivery::_rewrite(std::string_view bytes) {
  const auto text = _rewriter->feed(bytes);
  if (!text)
    return _refuse(networkError(URLErrorCode::BadServerResponse, "The playlist is too long."));
  return _sink.send(*text) ? BodyFlow::More : BodyFlow::Pause;
}

BodyFlow Delivery::_refuse(platform::Error error) {
  _refusal = std::move(error);
  return BodyFlow::Abort;
}

std::optional<platform::Error> Delivery::end() {
  if (!_headOnly) {
    if (_form == Form::Key) return _endKey();
    if (!_isDecided) _decide();
    if (_needsWhole) return std::nullopt;
    if (_refusal) return _refusal;
    if (_rewriter) return _endPlaylist();
    if (_range) _item.record().completeRange(*_range);
  }
  _sink.finish();
  return std::nullopt;
}

std::optional<platform::Error> Delivery::_endKey() {
  platform::Bytes answer(_gathered.size());
  std::transform(_gathered.begin(), _gathered.end(), answer.begin(),
                 [](char c) { return static_cast<std::byte>(c); });
  const auto key = keyOfAnswer(answer, std::nullopt);
  if (!key || key->size() != kContentKeySize) return keyError();
  ResourceHead head;
  head.length = key->size();
  head.fields = {{"Content-Type", "application/octet-stream"}};
  _sink.begin(head);
  _sink.send({reinterpret_cast<const char*>(key->data()), key->size()});
  _sink.finish();
  return std::nullopt;
}

std::optional<platform::Error> Delivery::_endPlaylist() {
  const auto text = _rewriter->finish();
  if (!text) return networkError(URLErrorCode::BadServerResponse, "The playlist is too long.");
  _sink.send(*text);
  ItemRecord& record = _item.record();
  const auto previous = record.timelineOf(_path.url);
  const auto other = record.timeline();
  if (auto timeline =
          _rewriter->timeline(previous.get(), other && other->live ? other.get() : nullptr))
    record.setTimeline(_path.url, std::move(timeline));
  if (auto offers = _rewriter->offers()) record.setOffers(std::move(offers));
  _sink.finish();
  return std::nullopt;
}

}  // namespace box
