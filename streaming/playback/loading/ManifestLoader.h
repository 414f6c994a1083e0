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

/// The manifest of an item, and its updates. Of HLS it is the multivariant playlist, which is read
/// once; IndexStore has the others. Transfer thread only.
class ManifestLoader {
 public:
  struct Handlers {
    std::function<void()> changed;
    std::function<void(const std::string& url, const platform::Error& error)> failed;
  };
  ManifestLoader(TransferSource& source, ServerClock& clock, IndexStore& indexes,
                 bool inheritsQuery, Handlers handlers);

  /// What the item's own URL has given. It is read at once, or when the documents have come that it
  /// refers to; then `changed` is called.
  void begin(ManifestForm form, FetchResult result);
  /// The segments that are wanted are not in it yet.
  void wantNewer();
  void stop();

  /// Null: there is none yet.
  const std::shared_ptr<const Presentation>& presentation() const { return _presentation; }
  ManifestForm form() const { return _form; }
  /// Why there is none, or none newer.
  const std::optional<platform::Error>& error() const { return _error; }
  bool isOutdated() const { return _timer.isDue(); }

 private:
  void _reload();
  void _reloaded(bool isPatch, FetchResult result);
  void _readLater(
      FetchedBody body,
      std::function<void(const std::string& url, std::optional<platform::Error> error)> done);
  void _fetchPeriod(const std::string& url);
  std::optional<platform::Error> _read(const FetchedBody& body);

  TransferSource& _source;
  ServerClock& _clock;
  IndexStore& _indexes;
  const bool _inheritsQuery;
  const Handlers _handlers;
  ManifestForm _form = ManifestForm::None;
  std::string _url;
  std::shared_ptr<const Presentation> _presentation;
  std::optional<platform::Error> _error;
  bool _isPatchRefused = false;
  std::string _text;  // of the newest one
  ReloadTimer _timer;
  std::unique_ptr<BodyFetch> _fetch;
  RemotePeriods _remote;
  std::map<std::string, std::unique_ptr<BodyFetch>> _periodFetches;
  std::function<void()> _hasPeriods;  // reads what waits for them
};

}  // namespace streaming
