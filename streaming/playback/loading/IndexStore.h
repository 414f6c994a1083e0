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

/// Which segments the representations have: from the manifest, from media playlists, and from the
/// indexes of files, which are loaded when they are wanted. Transfer thread only.
class IndexStore {
 public:
  struct Handlers {
    std::function<void()> changed;
    /// A newer manifest is wanted, which says which segments there are.
    std::function<void()> wantNewerManifest;
    std::function<void(const std::string& url, const platform::Error& error)> failed;
  };
  IndexStore(TransferSource& source, bool inheritsQuery, Handlers handlers);

  /// Variables of the multivariant playlist.
  void setVariables(PlaylistVariables variables) { _variables = std::move(variables); }
  /// A playlist that came with the manifest.
  void adopt(const Representation& representation, const std::string& url,
             std::shared_ptr<const MediaPlaylist> playlist);

  /// Null: not loaded yet, or it has failed.
  std::shared_ptr<const SegmentIndex> index(const Representation& representation) const;
  std::shared_ptr<const MediaPlaylist> playlist(const Representation& representation) const;
  /// Why there is no index, or no newer one.
  std::optional<platform::Error> failure(const Representation& representation) const;
  /// What has failed may be wanted again.
  void forgive(const Representation& representation);
  /// Loads it when it is not known and has not failed.
  void want(const std::shared_ptr<const Representation>& representation);
  /// A live one has no segment yet that is needed.
  void wantNewer(const std::shared_ptr<const Representation>& representation);
  /// Seconds for which a live playlist has been read again and again without a change.
  double unchangedFor(const Representation& representation) const;
  /// Of a live one that nobody has read for a while there is a newer version.
  bool isOutdated(const Representation& representation) const;
  void clear() { _entries.clear(); }

 private:
  struct Entry {
    std::shared_ptr<const Representation> representation;
    std::shared_ptr<const SegmentIndex> index;
    std::shared_ptr<const MediaPlaylist> playlist;
    MonotonicTime changedAt;  // the playlist was as it is
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
  void _playlistCame(Entry& entry, FetchResult result);
  void _loadIndex(Entry& entry, const ByteSpan& span);
  void _indexCame(Entry& entry, const ByteSpan& span, FetchResult result);
  void _fail(Entry& entry, const std::string& url, platform::Error error);
  std::shared_ptr<const MediaPlaylist> _beside(const Entry& entry) const;

  TransferSource& _source;
  const bool _inheritsQuery;
  const Handlers _handlers;
  PlaylistVariables _variables;
  std::map<std::string, Entry, std::less<>> _entries;  // by Representation::id
};

}  // namespace streaming
