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

enum class ManifestForm { None, HLS, DASH };

/// What the first bytes of a resource are the beginning of. A byte order mark, white space,
/// comments and processing instructions may stand in front. `isWhole`: there are no more bytes.
/// None of the forms when it cannot be told yet: then nothing, if the bytes are fewer than
/// kManifestSniffBytes.
std::optional<ManifestForm> manifestForm(std::string_view bytes, bool isWhole);
inline constexpr std::size_t kManifestSniffBytes = std::size_t{16} * 1024;

/// A longer manifest is refused.
inline constexpr std::size_t kMostManifestBytes = std::size_t{8} * 1024 * 1024;

/// Variables of EXT-X-DEFINE that media playlists may import.
using PlaylistVariables = std::map<std::string, std::string, std::less<>>;

/// Where a manifest comes from.
struct ManifestOrigin {
  std::string url;             ///< after redirects
  platform::Date receivedAt;   ///< civil time
  bool inheritsQuery = false;  ///< references without a query get that of `url`
};

/// A media playlist of HLS.
struct MediaPlaylist {
  std::shared_ptr<const SegmentIndex> segments;
  bool isLive = false;   ///< it may grow, or slide
  bool isEvent = false;  ///< it grows and never loses a segment
  bool isKeyFramesOnly = false;
  double targetDuration = 0;
  std::optional<double> startOffset;
  std::optional<double> holdBack;      ///< from the edge, seconds
  std::optional<double> partHoldBack;  ///< the same where parts are played
  std::optional<ReloadRule> reload;    ///< none: it has ended
  std::vector<DateMark> dates;         ///< also of segments that have left the window
  std::vector<PresentationEvent> events;
};

/// A multivariant playlist. A media playlist that comes where a multivariant one may is told as a
/// presentation of one representation together with that playlist.
struct HLSManifest {
  std::shared_ptr<const Presentation> presentation;
  PlaylistVariables variables;
  std::shared_ptr<const MediaPlaylist> mediaPlaylist;  ///< of the only representation; or null
};

/// A manifest that cannot be used: kURLErrorDomain or kMediaErrorDomain, with a reason for people.
template <typename T>
using ReadResult = std::variant<T, platform::Error>;

/// Reads what an item's own URL has given. Work and memory are bounded by the size of `text`.
ReadResult<HLSManifest> readHLS(std::string_view text, const ManifestOrigin& origin);

/// What a media playlist is read beside.
struct PlaylistContext {
  PlaylistVariables variables;
  /// The same playlist as it was read last; null: it is read for the first time. Positions
  /// continue, and a delta update is completed from it.
  std::shared_ptr<const MediaPlaylist> previous;
  /// Another playlist of the same presentation, beside which a live one is laid: by dates, else by
  /// numbers and discontinuities, else by the end. Null: there is none.
  std::shared_ptr<const MediaPlaylist> beside;
};
ReadResult<std::shared_ptr<const MediaPlaylist>> readMediaPlaylist(std::string_view text,
                                                                   const ManifestOrigin& origin,
                                                                   const PlaylistContext& context);
/// The URL for the next reload of a playlist, with the directives of `rule`.
std::string reloadURL(const std::string& url, const ReloadRule& rule);

/// The texts of documents that have periods of a manifest, by their URLs. Empty: one cannot be had.
using RemotePeriods = std::map<std::string, std::string, std::less<>>;
/// The URLs of the documents that a manifest refers to for its periods (`xlink:href`), at most a
/// few. What those refer to in turn is not fetched.
std::vector<std::string> remotePeriodsOf(std::string_view text, const ManifestOrigin& origin);

/// `previous`: the manifest as it was read last, or null. `text` may be a patch to it when it was
/// found at ReloadRule::patchURL. A period without its document is left out.
ReadResult<std::shared_ptr<const Presentation>> readDASH(
    std::string_view text, const ManifestOrigin& origin,
    const std::shared_ptr<const Presentation>& previous, const RemotePeriods& remote = {});

/// The segments of an indexed file, whose index (`sidx`, or Cues of WebM) is among the bytes of
/// `head`, which begin at `offset` of the file. The variant that is neither an index nor an error
/// tells which bytes have to be read in addition.
std::variant<std::shared_ptr<const SegmentIndex>, ByteSpan, platform::Error> readFileIndex(
    const IndexedFile& file, std::uint64_t offset, std::string_view head);

}  // namespace streaming
