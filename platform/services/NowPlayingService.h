#pragma once

#include <string_view>

#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"
#include "platform/services/RemoteCommands.h"

namespace platform {

// Fields of the now-playing information.
inline constexpr std::string_view kNowPlayingAlbum = "TVSNowPlayingAlbum";
inline constexpr std::string_view kNowPlayingArtist = "TVSNowPlayingArtist";
inline constexpr std::string_view kNowPlayingArtworkData = "TVSNowPlayingArtworkData";
inline constexpr std::string_view kNowPlayingArtworkMIMEType = "TVSNowPlayingArtworkMIMEType";
inline constexpr std::string_view kNowPlayingDuration = "TVSNowPlayingDuration";        // seconds
inline constexpr std::string_view kNowPlayingElapsedTime = "TVSNowPlayingElapsedTime";  // seconds
inline constexpr std::string_view kNowPlayingPlaybackRate =
    "TVSNowPlayingPlaybackRate";  // 1 is normal
inline constexpr std::string_view kNowPlayingTitle = "TVSNowPlayingTitle";
inline constexpr std::string_view kNowPlayingTotalTrackCount = "TVSNowPlayingTotalTrackCount";
inline constexpr std::string_view kNowPlayingTrackNumber = "TVSNowPlayingTrackNumber";
inline constexpr std::string_view kNowPlayingUniqueIdentifier = "TVSNowPlayingUniqueIdentifier";
inline constexpr std::string_view kNowPlayingTimestamp =
    "TVSNowPlayingTimestamp";  // date of the elapsed time
inline constexpr std::string_view kNowPlayingMediaType = "TVSNowPlayingMediaType";
inline constexpr std::string_view kNowPlayingMediaTypeMusic = "TVSNowPlayingMediaTypeMusic";

enum class NowPlayingPlaybackState : unsigned { Playing = 1, Paused = 2 };

/// Tells the box's now-playing displays and remote controls what plays. Main thread.
class NowPlayingService {
 public:
  virtual ~NowPlayingService() = default;
  /// Whether this application may become the now-playing application.
  virtual void setEligible(bool eligible) = 0;
  /// `mergePolicy` 0: the fields given replace theirs, the others stay.
  virtual void setNowPlayingInfo(const Dictionary& info, int mergePolicy) = 0;
  /// For the local origin.
  virtual void setPlaybackState(NowPlayingPlaybackState state) = 0;

  /// `target` gets what the box's remote controls ask for, until the token is dropped; whoever had
  /// that before has it again then. What the target says of its playback is shown in place of what
  /// the now-playing information says of it.
  virtual Token addRemoteCommandTarget(RemoteCommandTarget& target) = 0;
  /// A target's remotePlayback() has changed other than by the passing of time.
  virtual void remotePlaybackDidChange() = 0;
};

}  // namespace platform
