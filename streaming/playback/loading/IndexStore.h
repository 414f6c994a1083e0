#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/loading/BodyFetch.h"
#include "streaming/playback/loading/ReloadTimer.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// The segment indexes of representations: from the manifest, from media playlists, or from file
/// indexes. The latter two are loaded on demand. Transfer thread only.
class IndexStore {
 public:
  struct Handlers {
    std::function<void()> changed;
    /// An update of the manifest is needed to get more segments.
    std::function<void()> updateManifest;
    std::function<void(const std::string& url, const platform::Error& error)> failed;
  };
  IndexStore(TransferSource& source, bool inheritsQuery, Handlers handlers);

  void setVariables(PlaylistVariables variables) { _variables = std::move(variables); }
  /// Adds a playlist that was loaded as the manifest.
  void add(const Representation& representation, const std::string& url,
           std::shared_ptr<const MediaPlaylist> playlist);

  /// Null: not loaded, or failed.
  std::shared_ptr<const SegmentIndex> index(const Representation& representation) const;
  std::shared_ptr<const MediaPlaylist> playlist(const Representation& representation) const;
  /// The error that prevents loading or updating the index.
  std::optional<platform::Error> failure(const Representation& representation) const;
  /// Allows a retry after a failure.
  void clearFailure(const Representation& representation);
  /// Loads the index unless it is known or has failed.
  void load(const std::shared_ptr<const Representation>& representation);
  void requestUpdate(const std::shared_ptr<const Representation>& representation);
  /// Seconds since a live playlist last changed.
  double secondsUnchanged(const Representation& representation) const;
  /// A newer version of a live playlist is probably available.
  bool isOutdated(const Representation& representation) const;
  void clear() { _entries.clear(); }

 private:
  struct Entry {
    std::shared_ptr<const Representation> representation;
    std::shared_ptr<const SegmentIndex> index;
    std::shared_ptr<const MediaPlaylist> playlist;
    MonotonicTime changedAt;  // last change of the playlist
    std::optional<platform::Error> failure;
    std::string url;  // of the playlist
    std::size_t urlIndex = 0;
    std::string head;  // of the indexed file
    std::uint64_t headOffset = 0;
    unsigned steps = 0;
    std::unique_ptr<ReloadTimer> timer;
    std::unique_ptr<BodyFetch> fetch;
  };
  void _loadPlaylist(Entry& entry);
  void _playlistLoaded(Entry& entry, FetchResult result);
  void _loadIndex(Entry& entry, const ByteSpan& span);
  void _indexLoaded(Entry& entry, const ByteSpan& span, FetchResult result);
  void _fail(Entry& entry, const std::string& url, platform::Error error);
  std::shared_ptr<const MediaPlaylist> _sibling(const Entry& entry) const;

  TransferSource& _source;
  const bool _inheritsQuery;
  const Handlers _handlers;
  PlaylistVariables _variables;
  std::map<std::string, Entry, std::less<>> _entries;  // by Representation::id
};

}  // namespace streaming
