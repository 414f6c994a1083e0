#pragma once

#include <functional>
#include <string>

#include "box/services/bus/BusConnection.h"
#include "box/services/bus/BusName.h"
#include "box/services/nowplaying/ArtworkFile.h"
#include "box/services/nowplaying/NowPlayingState.h"
#include "platform/services/RemoteCommands.h"

namespace box {

/// What plays, as an MPRIS 2 object on the session bus, and the commands that come from there.
///
/// While nothing is eligible there is neither object nor name. Clients move the position on by
/// themselves, so nothing is sent while it runs: `Seeked` tells them when they would be half a
/// second off.
///
/// Threads: the service thread, or while that does not run.
class MprisObject final : public BusConnection::Client {
 public:
  static constexpr const char* kName = "org.mpris.MediaPlayer2.tvvorlane";
  static constexpr const char* kPath = "/org/mpris/MediaPlayer2";
  static constexpr const char* kRootInterface = "org.mpris.MediaPlayer2";
  static constexpr const char* kPlayerInterface = "org.mpris.MediaPlayer2.Player";

  using Commands = std::function<void(const platform::RemoteCommand&)>;

  /// `artworkFolder`: for the picture's file. `commands` is called on the service thread.
  MprisObject(const platform::Clock& clock, std::string artworkFolder, Commands commands);
  ~MprisObject() override;

  void show(const NowPlayingState& state);

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  friend struct MprisCalls;

  void _publish();
  void _withdraw();
  void _emitChanges(const NowPlayingState& before, const std::string& urlBefore);
  void _emitSeeked();
  /// The position as clients move it on that have just read it.
  RunningPosition _positionFrom(double seconds) const;
  std::string _trackPath() const;
  double _position() const { return _state.positionAt(_clock.now()); }

  const platform::Clock& _clock;
  const Commands _commands;
  NowPlayingState _state;
  /// Where clients take the position to be.
  RunningPosition _told;
  ArtworkFile _artwork;
  std::string _artworkURL;

  sd_bus* _bus = nullptr;
  BusSlot _root;
  BusSlot _player;
  BusName _name{kName};
};

}  // namespace box
