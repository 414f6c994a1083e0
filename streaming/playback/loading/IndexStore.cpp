#include "streaming/playback/loading/IndexStore.h"

#include <chrono>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"

namespace streaming {
namespace {

/// The position of the index is unknown at first.
constexpr std::uint64_t kFirstGuess = std::uint64_t{16} * 1024;
constexpr std::size_t kMaxIndexBytes = std::size_t{8} * 1024 * 1024;
/// Limits nested indexes.
constexpr unsigned kMaxIndexSteps = 16;

}  // namespace

IndexStore::IndexStore(TransferSource& source, bool inheritsQuery, Handlers handlers)
    : _source(source), _inheritsQuery(inheritsQuery), _handlers(std::move(handlers)) {}

void IndexStore::add(const Representation& representation, const std::string& url,
                     std::shared_ptr<const MediaPlaylist> playlist) {
  Entry& entry = _entries[representation.id];
  entry.url = url;
  entry.index = playlist->segments;
  entry.changedAt = _source.now();
  entry.playlist = std::move(playlist);
  entry.timer = std::make_unique<ReloadTimer>(_source, [this, &entry] { _loadPlaylist(entry); });
  entry.timer->requested();
  entry.timer->loaded(entry.playlist->reload, true);
}

std::shared_ptr<const SegmentIndex> IndexStore::index(const Representation& representation) const {
  const auto found = _entries.find(representation.id);
  if (found != _entries.end() && found->second.index) return found->second.index;
  return representation.segments;
}

std::shared_ptr<const MediaPlaylist> IndexStore::playlist(
    const Representation& representation) const {
  const auto found = _entries.find(representation.id);
  return found == _entries.end() ? nullptr : found->second.playlist;
}

std::optional<platform::Error> IndexStore::failure(const Representation& representation) const {
  const auto found = _entries.find(representation.id);
  return found == _entries.end() ? std::nullopt : found->second.failure;
}

void IndexStore::clearFailure(const Representation& representation) {
  const auto found = _entries.find(representation.id);
  if (found != _entries.end()) found->second.failure.reset();
}

double IndexStore::secondsUnchanged(const Representation& representation) const {
  const auto found = _entries.find(representation.id);
  if (found == _entries.end() || !found->second.playlist || !found->second.playlist->isLive)
    return 0;
  return std::chrono::duration<double>(_source.now() - found->second.changedAt).count();
}

bool IndexStore::isOutdated(const Representation& representation) const {
  const auto found = _entries.find(representation.id);
  return found != _entries.end() && found->second.playlist && found->second.timer->isDue();
}

void IndexStore::load(const std::shared_ptr<const Representation>& representation) {
  if (representation->segments) return;
  Entry& entry = _entries[representation->id];
  if (entry.fetch || entry.index || entry.failure) return;
  entry.representation = representation;
  entry.urlIndex = 0;
  if (!representation->playlistURL.empty()) {
    entry.url = representation->playlistURL;
    entry.timer = std::make_unique<ReloadTimer>(_source, [this, &entry] { _loadPlaylist(entry); });
    _loadPlaylist(entry);
  } else if (representation->indexedFile) {
    entry.head.clear();
    entry.steps = 0;
    _loadIndex(entry, representation->indexedFile->indexSpan.value_or(ByteSpan{0, kFirstGuess}));
  } else {
    entry.failure = networkError(platform::URLErrorCode::BadServerResponse,
                                 "The representation has no segments.");
  }
}

void IndexStore::requestUpdate(const std::shared_ptr<const Representation>& representation) {
  const auto found = _entries.find(representation->id);
  if (found != _entries.end() && found->second.timer)
    found->second.timer->requestReload();
  else
    _handlers.updateManifest();
}

std::shared_ptr<const MediaPlaylist> IndexStore::_sibling(const Entry& entry) const {
  for (const auto& [id, other] : _entries)
    if (&other != &entry && other.playlist) return other.playlist;
  return nullptr;
}

void IndexStore::_loadPlaylist(Entry& entry) {
  entry.timer->requested();
  std::string url = entry.url;
  if (const auto& rule = entry.timer->rule()) {
    if (!rule->url.empty()) url = rule->url;
    // After a failure, reload without delivery directives.
    if (!entry.timer->isFailing()) url = reloadURL(url, *rule);
  }
  entry.fetch = std::make_unique<BodyFetch>(
      _source, TransferRequest{std::move(url), TransferKind::Manifest, {}, false},
      kMaxManifestBytes,
      [this, &entry](FetchResult result) { _playlistLoaded(entry, std::move(result)); });
}

void IndexStore::_playlistLoaded(Entry& entry, FetchResult result) {
  const auto ended = std::move(entry.fetch);
  if (const auto* error = std::get_if<platform::Error>(&result))
    return _fail(entry, entry.url, *error);
  const auto& body = std::get<FetchedBody>(result);
  auto read = readMediaPlaylist(body.bytes, {body.head.url, _source.civilTime(), _inheritsQuery},
                                {_variables, entry.playlist, _sibling(entry)});
  if (const auto* error = std::get_if<platform::Error>(&read))
    return _fail(entry, body.head.url, *error);
  auto playlist = std::get<std::shared_ptr<const MediaPlaylist>>(std::move(read));
  bool isChanged = true;
  if (entry.playlist && playlist->reload) {
    const auto before = entry.playlist->segments->last(_source.civilTime());
    const auto after = playlist->segments->last(_source.civilTime());
    isChanged = before.has_value() != after.has_value() ||
                (after && (after->number != before->number || after->part != before->part));
  }
  if (isChanged || !entry.playlist) entry.changedAt = _source.now();
  entry.failure.reset();
  entry.index = playlist->segments;
  entry.playlist = std::move(playlist);
  entry.timer->loaded(entry.playlist->reload, isChanged);
  _handlers.changed();
}

void IndexStore::_loadIndex(Entry& entry, const ByteSpan& span) {
  const auto& urls = entry.representation->indexedFile->file.urls;
  if (entry.urlIndex >= urls.size()) {
    entry.failure = networkError(platform::URLErrorCode::BadURL, "The file has no URL.");
    return;
  }
  entry.fetch = std::make_unique<BodyFetch>(
      _source, TransferRequest{urls[entry.urlIndex], TransferKind::Index, span, false},
      kMaxIndexBytes,
      [this, &entry, span](FetchResult result) { _indexLoaded(entry, span, std::move(result)); });
}

void IndexStore::_indexLoaded(Entry& entry, const ByteSpan& span, FetchResult result) {
  const auto ended = std::move(entry.fetch);
  const IndexedFile& file = *entry.representation->indexedFile;
  const std::string url = file.file.urls[entry.urlIndex];
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    if (++entry.urlIndex < file.file.urls.size()) return _loadIndex(entry, span);
    return _fail(entry, url, *error);
  }
  std::string& bytes = std::get<FetchedBody>(result).bytes;
  // Append bytes that continue those received before.
  if (!entry.head.empty() && span.offset == entry.headOffset + entry.head.size()) {
    entry.head += bytes;
  } else {
    entry.head = std::move(bytes);
    entry.headOffset = span.offset;
  }
  auto read = readFileIndex(file, entry.headOffset, entry.head);
  if (const auto* more = std::get_if<ByteSpan>(&read)) {
    if (++entry.steps < kMaxIndexSteps && entry.head.size() < kMaxIndexBytes)
      return _loadIndex(entry, *more);
    return _fail(entry, url,
                 networkError(platform::URLErrorCode::BadServerResponse,
                              "The index of the file is too long."));
  }
  if (const auto* error = std::get_if<platform::Error>(&read)) return _fail(entry, url, *error);
  entry.head = {};
  entry.index = std::get<std::shared_ptr<const SegmentIndex>>(std::move(read));
  _handlers.changed();
}

void IndexStore::_fail(Entry& entry, const std::string& url, platform::Error error) {
  _handlers.failed(url, error);
  if (entry.timer) entry.timer->failed();
  // A live playlist may recover; keep playing what is known.
  if (!entry.index || !entry.timer || entry.timer->hasGivenUp()) entry.failure = std::move(error);
  _handlers.changed();
}

}  // namespace streaming
