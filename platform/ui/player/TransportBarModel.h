#pragma once

#include "platform/ui/scene/Scene.h"

class TVSPlayer;

namespace platform {

class PlayerRemote;
struct PlayerTexts;

/// What a transport bar tells of a player at this moment: the item's title (see ItemTitle.h), its
/// times, what is loaded, its chapters; of a live stream that it is one and, where it lags, the
/// button that goes to its edge. Main thread.
TransportBarElement transportBar(const TVSPlayer& player, const PlayerRemote& remote,
                                 const PlayerTexts& texts);

}  // namespace platform
