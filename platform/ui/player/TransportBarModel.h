#pragma once

#include "platform/ui/scene/Scene.h"

class TVSPlayer;

namespace platform {

class PlayerRemote;
struct PlayerTexts;

/// The transport bar for the current state of `player`: title (see ItemTitle.h), times, loaded
/// ranges and chapters; for a live stream also the live badge, and a button to the live edge if the
/// stream plays behind it. Main thread.
TransportBarElement transportBar(const TVSPlayer& player, const PlayerRemote& remote,
                                 const PlayerTexts& texts);

}  // namespace platform
