#include "streaming/playback/ManifestLoader.h"

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

void ManifestLoader::begin(ManifestForm form, FetchResult result) {
  _form = form;
  _timer.requested();
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    _error = *error;
  } else {
    const auto& body = std::get<FetchedBody>(result);
    _url = body.head.url;
    _error = _read(body);
  }
  if (_error) _handlers.failed(_url, *_error);
  _handlers.changed();
}

std::optional<platform::Error> ManifestLoader::_read(const FetchedBody& body) {
  const ManifestOrigin origin{body.head.url, _source.civilTime(), _inheritsQuery};
  _clock.noteResponse(body.head, origin.receivedAt);
  if (_form == ManifestForm::HLS) {
    auto read = readHLS(body.bytes, origin);
    if (auto* error = std::get_if<platform::Error>(&read)) return *error;
    auto& manifest = std::get<HLSManifest>(read);
    _presentation = std::move(manifest.presentation);
    _indexes.setVariables(std::move(manifest.variables));
    if (manifest.mediaPlaylist && !_presentation->periods.empty()) {
      for (const Track& track : _presentation->periods.front().tracks)
        for (const auto& each : track.representations)
          _indexes.adopt(*each, body.head.url, manifest.mediaPlaylist);
    }
    return std::nullopt;
  }
  auto read = readDASH(body.bytes, origin, _presentation);
  if (auto* error = std::get_if<platform::Error>(&read)) return *error;
  _presentation = std::get<std::shared_ptr<const Presentation>>(std::move(read));
  const bool isChanged = _text != body.bytes;
  _text = _presentation->reload ? body.bytes : std::string();
  _timer.loaded(_presentation->reload, isChanged);
  return std::nullopt;
}

void ManifestLoader::wantNewer() {
  if (_presentation && _presentation->reload && _form == ManifestForm::DASH) _timer.want();
}

void ManifestLoader::stop() { _fetch.reset(); }

void ManifestLoader::_reload() {
  _timer.requested();
  const auto& rule = _timer.rule();
  const bool isPatch = rule && !rule->patchURL.empty() && !_isPatchRefused;
  std::string url = isPatch ? rule->patchURL : rule && !rule->url.empty() ? rule->url : _url;
  _fetch = std::make_unique<BodyFetch>(
      _source, TransferRequest{std::move(url), TransferKind::Manifest, {}, false},
      kMostManifestBytes,
      [this, isPatch](FetchResult result) { _reloaded(isPatch, std::move(result)); });
}

void ManifestLoader::_reloaded(bool isPatch, FetchResult result) {
  const auto ended = std::move(_fetch);
  std::optional<platform::Error> error;
  std::string url = _url;
  if (const auto* failure = std::get_if<platform::Error>(&result)) {
    error = *failure;
  } else {
    url = std::get<FetchedBody>(result).head.url;
    error = _read(std::get<FetchedBody>(result));
  }
  // Without the patch, the whole manifest says the same.
  _isPatchRefused = error && isPatch;
  if (error) {
    _handlers.failed(url, *error);
    _timer.failed();
    if (_timer.isHopeless()) _error = std::move(error);
  }
  _handlers.changed();
}

}  // namespace streaming
