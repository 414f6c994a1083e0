#pragma once

#include <string_view>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Token.h"
#include "platform/services/RemoteCommands.h"

namespace platform {

// Keys of the now-playing information.
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
    "TVSNowPlayingTimestamp";  // date at which the elapsed time was measured
inline constexpr std::string_view kNowPlayingMediaType = "TVSNowPlayingMediaType";
inline constexpr std::string_view kNowPlayingMediaTypeMusic = "TVSNowPlayingMediaTypeMusic";

enum class NowPlayingPlaybackState : unsigned { Playing = 1, Paused = 2 };

/// Publishes what is playing to now-playing displays and remote controls. Main thread.
class NowPlayingService {
 public:
  virtual ~NowPlayingService() = default;
  /// Whether this application may become the now-playing application.
  virtual void setEligible(bool eligible) = 0;
  /// `mergePolicy` 0: the given keys are replaced, the other keys keep their values.
  virtual void setNowPlayingInfo(const Dictionary& info, int mergePolicy) = 0;
  /// For the local origin.
  virtual void setPlaybackState(NowPlayingPlaybackState state) = 0;

  /// Sends remote commands to `target` until the token is destroyed. Then the previous target
  /// receives them again. While there is a target, its remotePlayback() replaces the playback
  /// fields of the now-playing information.
  virtual Token addRemoteCommandTarget(RemoteCommandTarget& target) = 0;
  /// The target calls this when its remotePlayback() has changed. The progress of `elapsed` during
  /// playback is no change.
  virtual void remotePlaybackDidChange() = 0;
};

}  // namespace platform
