#include "TVVorlane/TVVorlaneMetadataMonitor.h"

#include <string>

#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using platform::Platform;
using platform::Value;

namespace {
/// Given fields are replaced, other fields are kept.
constexpr int kMergePolicy = 0;
}  // namespace

const platform::Dictionary& TVVorlaneMetadataMonitor::keyMap() {
  static const platform::Dictionary map{
      {"album", platform::kNowPlayingAlbum},
      {"artist", platform::kNowPlayingArtist},
      {"artworkData", platform::kNowPlayingArtworkData},
      {"artworkMIMEType", platform::kNowPlayingArtworkMIMEType},
      {"duration", platform::kNowPlayingDuration},
      {"elapsedTime", platform::kNowPlayingElapsedTime},
      {"rate", platform::kNowPlayingPlaybackRate},
      {"title", platform::kNowPlayingTitle},
      {"totalTracks", platform::kNowPlayingTotalTrackCount},
      {"trackNumber", platform::kNowPlayingTrackNumber},
      {"uniqueID", platform::kNowPlayingUniqueIdentifier},
  };
  return map;
}

void TVVorlaneMetadataMonitor::updateWithParameters(const platform::Dictionary& parameters) {
  platform::Dictionary info;
  for (const auto& [key, value] : parameters) {
    const Value* field = keyMap().find(key);
    if (field && value.kind() != Value::Kind::Null) info.set(*field->asString(), value);
  }
  if (parameters.contains("uniqueID")) {
    info.set(platform::kNowPlayingMediaType, platform::kNowPlayingMediaTypeMusic);
  }
  TVSLogNotice(TVVLMetadata, "Set New Now Playing Info:\n%@",
               TVVorlaneUtilities::dataAbbreviatedDescription(info));
  auto& nowPlaying = Platform::current().nowPlaying();
  nowPlaying.setNowPlayingInfo(info, kMergePolicy);

  // Truncated to an integer: a rate of 0.5 is published as paused.
  const auto rate = info.number(platform::kNowPlayingPlaybackRate);
  const auto state = rate && rate->int64Value() != 0 ? platform::NowPlayingPlaybackState::Playing
                                                     : platform::NowPlayingPlaybackState::Paused;
  nowPlaying.setPlaybackState(state);
  TVSLogNotice(TVVLMetadata, "Set Playback State: %u", state);
}

void TVVorlaneMetadataMonitor::updateWithElapsedTime(double elapsedTime, float playbackRate) {
  platform::Dictionary info;
  info.set(platform::kNowPlayingElapsedTime, elapsedTime);
  info.set(platform::kNowPlayingPlaybackRate, playbackRate);
  Platform::current().nowPlaying().setNowPlayingInfo(info, kMergePolicy);
}
