#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/relay/MediaTimeline.h"
#include "box/relay/RelayPath.h"
#include "box/relay/StreamOffers.h"

namespace box {

enum class PlaylistKind { None, HLS, DASH };

/// By the first bytes (at least 16, or all there are) and the content type.
PlaylistKind playlistKindOf(std::string_view contentType, std::string_view firstBytes);

struct PlaylistContext {
  std::string url;  ///< of the playlist itself, after redirects
  bool inheritsQuery = false;
  /// Of the master playlist that names it; null where there is none.
  std::shared_ptr<const StreamOffers> master = {};
  /// The URL on the relay for an absolute URL of the outside.
  std::function<std::string(const std::string& url, RelayPath::Kind kind)> relayed;
  /// Told of every playlist that this one names beside those of the picture, with its type
  /// ("AUDIO", "SUBTITLES"). May be empty.
  std::function<void(const std::string& url, const std::string& type)> alternate = {};
};

/// Makes whatever a playlist refers to come back through the relay, passing text on as it arrives:
/// one line, or one tag, of it is in memory.
///
/// Formats: HLS (RFC 8216), master and media playlists; DASH manifests (ISO/IEC 23009-1).
/// Threads: one at a time.
class PlaylistRewriter {
 public:
  static std::unique_ptr<PlaylistRewriter> make(PlaylistKind kind, PlaylistContext context);
  virtual ~PlaylistRewriter() = default;

  /// Nothing when the playlist is beyond the limits (size, length of a line): it cannot be passed
  /// on any further.
  virtual std::optional<std::string> feed(std::string_view bytes) = 0;
  virtual std::optional<std::string> finish() = 0;
  /// Of a media playlist after finish(), continuing `previous`, which is the same one's as it was
  /// last loaded; without that laid beside `other`, of another playlist of the same live programme.
  /// Null for a master playlist.
  virtual std::shared_ptr<const MediaTimeline> timeline(const MediaTimeline* previous,
                                                        const MediaTimeline* other) const = 0;
  /// Of a master playlist or a manifest after finish(). Null for a media playlist.
  virtual std::shared_ptr<const StreamOffers> offers() const = 0;
};

}  // namespace box
