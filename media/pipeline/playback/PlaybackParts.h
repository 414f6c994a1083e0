#pragma once

#include "media/pipeline/playback/Announcements.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/ProgressTimeout.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// What most classes of this folder use. Playback owns all of it.
struct PlaybackParts {
  LoadContext& load;
  PlayerElements& elements;
  WantedPlayback& wanted;
  PlaybackState& state;
  Player& player;
  ProgressTimeout& progressTimeout;
  Announcements& announcements;
};

}  // namespace media
