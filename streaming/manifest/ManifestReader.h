#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "streaming/manifest/Presentation.h"

namespace streaming {

enum class ManifestType { None, HLS, DASH };

/// Detects the type of a manifest from the first bytes of a resource. A byte order mark, white
/// space, comments and processing instructions are skipped. `isWhole`: the resource has no more
/// bytes. nullopt: more bytes are needed; never with kManifestSniffBytes or more.
std::optional<ManifestType> detectManifestType(std::string_view bytes, bool isWhole);
inline constexpr std::size_t kManifestSniffBytes = std::size_t{16} * 1024;

/// Longer manifests are rejected.
inline constexpr std::size_t kMaxManifestBytes = std::size_t{8} * 1024 * 1024;

/// Variables of EXT-X-DEFINE that media playlists can import.
using PlaylistVariables = std::map<std::string, std::string, std::less<>>;

struct ManifestOrigin {
  std::string url;             ///< after redirects
  platform::Date receivedAt;   ///< civil time
  bool inheritsQuery = false;  ///< references without a query inherit the query of `url`
};

struct MediaPlaylist {
  std::shared_ptr<const SegmentIndex> segments;
  bool isLive = false;   ///< segments may be added or removed
  bool isEvent = false;  ///< segments are added, never removed
  bool isKeyFramesOnly = false;
  double targetDuration = 0;
  std::optional<double> startOffset;
  std::optional<double> holdBack;      ///< HOLD-BACK in seconds
  std::optional<double> partHoldBack;  ///< PART-HOLD-BACK in seconds
  std::optional<ReloadRule> reload;    ///< nullopt: the playlist is complete
  std::vector<DateMark> dates;         ///< include marks of removed segments
  std::vector<PresentationEvent> events;
};

/// An HLS multivariant playlist. If the item's URL is a media playlist, `presentation` has one
/// representation, and `mediaPlaylist` is that playlist.
struct HLSManifest {
  std::shared_ptr<const Presentation> presentation;
  PlaylistVariables variables;
  std::shared_ptr<const MediaPlaylist> mediaPlaylist;  ///< null for a multivariant playlist
};

/// The error is of kURLErrorDomain or kMediaErrorDomain and has a reason in plain text.
template <typename T>
using ReadResult = std::variant<T, platform::Error>;

/// Parses the playlist at the item's URL. Time and memory are bounded by the size of `text`.
ReadResult<HLSManifest> readHLS(std::string_view text, const ManifestOrigin& origin);

struct PlaylistContext {
  PlaylistVariables variables;
  /// The previous version of this playlist, or null. The new version continues its time line, and a
  /// delta update copies segments from it.
  std::shared_ptr<const MediaPlaylist> previous;
  /// Another playlist of the same presentation, or null. A live playlist is aligned to it: by date,
  /// by media sequence number, by discontinuity, or by the end.
  std::shared_ptr<const MediaPlaylist> sibling;
};
ReadResult<std::shared_ptr<const MediaPlaylist>> readMediaPlaylist(std::string_view text,
                                                                   const ManifestOrigin& origin,
                                                                   const PlaylistContext& context);
std::string reloadURL(const std::string& url, const ReloadRule& rule);

/// Texts of remote period documents by URL. Empty: the document could not be loaded.
using RemotePeriods = std::map<std::string, std::string, std::less<>>;
/// The URLs of remote periods (`xlink:href`) in a manifest, limited in number. Nested references
/// are not followed.
std::vector<std::string> remotePeriodsOf(std::string_view text, const ManifestOrigin& origin);

/// `previous`: the previous version, or null. If `text` is a patch (from ReloadRule::patchURL), it
/// is applied to `previous`. Periods whose remote document is missing are dropped.
ReadResult<std::shared_ptr<const Presentation>> readDASH(
    std::string_view text, const ManifestOrigin& origin,
    const std::shared_ptr<const Presentation>& previous, const RemotePeriods& remote = {});

/// Reads the index (`sidx`, or Cues of WebM) of a file. `head` holds bytes of the file from
/// `offset`. Returns the byte range to read instead if the index is not within `head`.
std::variant<std::shared_ptr<const SegmentIndex>, ByteSpan, platform::Error> readFileIndex(
    const IndexedFile& file, std::uint64_t offset, std::string_view head);

}  // namespace streaming
