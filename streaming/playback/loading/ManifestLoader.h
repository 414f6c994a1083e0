#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/playback/loading/BodyFetch.h"
#include "streaming/playback/loading/IndexStore.h"
#include "streaming/playback/loading/ReloadTimer.h"
#include "streaming/playback/loading/ServerClock.h"

namespace streaming {

/// Loads and updates the manifest of an item. An HLS multivariant playlist is loaded once; media
/// playlists are in IndexStore. Transfer thread only.
class ManifestLoader {
 public:
  struct Handlers {
    std::function<void()> changed;
    std::function<void(const std::string& url, const platform::Error& error)> failed;
  };
  ManifestLoader(TransferSource& source, ServerClock& clock, IndexStore& indexes,
                 bool inheritsQuery, Handlers handlers);

  /// `result` is the response to the request for the item's URL. `changed` is called after parsing,
  /// which may wait for remote periods.
  void begin(ManifestType type, FetchResult result);
  /// Requests an update, because a needed segment is not listed.
  void requestUpdate();
  void stop();

  /// Null: not loaded yet.
  const std::shared_ptr<const Presentation>& presentation() const { return _presentation; }
  ManifestType type() const { return _type; }
  /// The error that prevents loading or updating.
  const std::optional<platform::Error>& error() const { return _error; }
  bool isOutdated() const { return _timer.isDue(); }

 private:
  void _reload();
  void _reloaded(bool isPatch, FetchResult result);
  void _readWithRemotePeriods(
      FetchedBody body,
      std::function<void(const std::string& url, std::optional<platform::Error> error)> done);
  void _fetchPeriod(const std::string& url);
  std::optional<platform::Error> _read(const FetchedBody& body);

  TransferSource& _source;
  ServerClock& _clock;
  IndexStore& _indexes;
  const bool _inheritsQuery;
  const Handlers _handlers;
  ManifestType _type = ManifestType::None;
  std::string _url;
  std::shared_ptr<const Presentation> _presentation;
  std::optional<platform::Error> _error;
  bool _isPatchRefused = false;
  std::string _text;  // of the current version
  ReloadTimer _timer;
  std::unique_ptr<BodyFetch> _fetch;
  RemotePeriods _remote;
  std::map<std::string, std::unique_ptr<BodyFetch>> _periodFetches;
  std::function<void()> _remotePeriodsLoaded;  // called when all remote periods are loaded
};

}  // namespace streaming
