#include "streaming/playback/loading/ManifestLoader.h"

#include <algorithm>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"

namespace streaming {

ManifestLoader::ManifestLoader(TransferSource& source, ServerClock& clock, IndexStore& indexes,
                               bool inheritsQuery, Handlers handlers)
    : _source(source),
      _clock(clock),
      _indexes(indexes),
      _inheritsQuery(inheritsQuery),
      _handlers(std::move(handlers)),
      _timer(source, [this] { _reload(); }) {}

void ManifestLoader::begin(ManifestType type, FetchResult result) {
  _type = type;
  _timer.requested();
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    _error = *error;
  } else {
    auto& body = std::get<FetchedBody>(result);
    _url = body.head.url;
    return _readWithRemotePeriods(std::move(body),
                                  [this](const auto&, std::optional<platform::Error> failure) {
                                    _error = std::move(failure);
                                    if (_error) _handlers.failed(_url, *_error);
                                    _handlers.changed();
                                  });
  }
  _handlers.failed(_url, *_error);
  _handlers.changed();
}

/// Parses the manifest after its remote periods were loaded or have failed.
void ManifestLoader::_readWithRemotePeriods(
    FetchedBody body,
    std::function<void(const std::string& url, std::optional<platform::Error> error)> done) {
  std::vector<std::string> urls;
  if (_type == ManifestType::DASH)
    urls = remotePeriodsOf(body.bytes, {body.head.url, _source.civilTime(), _inheritsQuery});
  // Forget remote periods of older versions. A patch does not list remote periods.
  if (!urls.empty()) {
    std::erase_if(_remote, [&](const auto& each) {
      return std::find(urls.begin(), urls.end(), each.first) == urls.end();
    });
  }
  std::erase_if(urls, [this](const std::string& each) { return _remote.contains(each); });
  _remotePeriodsLoaded = [this, body = std::make_shared<FetchedBody>(std::move(body)),
                          done = std::move(done)] { done(body->head.url, _read(*body)); };
  for (const std::string& url : urls) _fetchPeriod(url);
  if (urls.empty()) std::exchange(_remotePeriodsLoaded, {})();
}

void ManifestLoader::_fetchPeriod(const std::string& url) {
  constexpr std::size_t kMaxBytes = std::size_t{1024} * 1024;
  _periodFetches[url] =
      std::make_unique<BodyFetch>(_source, TransferRequest{url, TransferKind::Manifest, {}, false},
                                  kMaxBytes, [this, url](FetchResult result) {
                                    const auto ended = _periodFetches.extract(url);
                                    auto* const body = std::get_if<FetchedBody>(&result);
                                    if (!body)
                                      _handlers.failed(url, std::get<platform::Error>(result));
                                    _remote[url] = body ? std::move(body->bytes) : std::string();
                                    if (_periodFetches.empty() && _remotePeriodsLoaded)
                                      std::exchange(_remotePeriodsLoaded, {})();
                                  });
}

std::optional<platform::Error> ManifestLoader::_read(const FetchedBody& body) {
  const ManifestOrigin origin{body.head.url, _source.civilTime(), _inheritsQuery};
  _clock.noteResponse(body.head, origin.receivedAt);
  if (_type == ManifestType::HLS) {
    auto read = readHLS(body.bytes, origin);
    if (auto* error = std::get_if<platform::Error>(&read)) return *error;
    auto& manifest = std::get<HLSManifest>(read);
    _presentation = std::move(manifest.presentation);
    _indexes.setVariables(std::move(manifest.variables));
    if (manifest.mediaPlaylist && !_presentation->periods.empty()) {
      for (const Track& track : _presentation->periods.front().tracks)
        for (const auto& each : track.representations)
          _indexes.add(*each, body.head.url, manifest.mediaPlaylist);
    }
    return std::nullopt;
  }
  auto read = readDASH(body.bytes, origin, _presentation, _remote);
  if (auto* error = std::get_if<platform::Error>(&read)) return *error;
  _presentation = std::get<std::shared_ptr<const Presentation>>(std::move(read));
  const bool isChanged = _text != body.bytes;
  _text = _presentation->reload ? body.bytes : std::string();
  _timer.loaded(_presentation->reload, isChanged);
  return std::nullopt;
}

void ManifestLoader::requestUpdate() {
  if (_presentation && _presentation->reload && _type == ManifestType::DASH) _timer.requestReload();
}

void ManifestLoader::stop() {
  _fetch.reset();
  _periodFetches.clear();
  _remotePeriodsLoaded = {};
}

void ManifestLoader::_reload() {
  _timer.requested();
  const auto& rule = _timer.rule();
  const bool isPatch = rule && !rule->patchURL.empty() && !_isPatchRefused;
  std::string url = isPatch ? rule->patchURL : rule && !rule->url.empty() ? rule->url : _url;
  _fetch = std::make_unique<BodyFetch>(
      _source, TransferRequest{std::move(url), TransferKind::Manifest, {}, false},
      kMaxManifestBytes,
      [this, isPatch](FetchResult result) { _reloaded(isPatch, std::move(result)); });
}

void ManifestLoader::_reloaded(bool isPatch, FetchResult result) {
  const auto ended = std::move(_fetch);
  const auto finish = [this, isPatch](const std::string& url,
                                      std::optional<platform::Error> error) {
    // After a failed patch, load the whole manifest.
    _isPatchRefused = error && isPatch;
    if (error) {
      _handlers.failed(url, *error);
      _timer.failed();
      if (_timer.hasGivenUp()) _error = std::move(error);
    }
    _handlers.changed();
  };
  if (const auto* failure = std::get_if<platform::Error>(&result)) return finish(_url, *failure);
  _readWithRemotePeriods(std::move(std::get<FetchedBody>(result)), finish);
}

}  // namespace streaming
