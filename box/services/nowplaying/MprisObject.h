#pragma once

#include <functional>
#include <string>

#include "box/services/bus/BusConnection.h"
#include "box/services/bus/BusName.h"
#include "box/services/nowplaying/ArtworkFile.h"
#include "box/services/nowplaying/NowPlayingState.h"
#include "platform/services/RemoteCommands.h"

namespace box {

/// Publishes now-playing information as an MPRIS 2 object on the session bus, and receives
/// commands.
///
/// The object and its name exist only while the application is eligible. Clients extrapolate
/// the position, so it is not sent periodically; `Seeked` is emitted when the
/// extrapolated position is off by more than half a second.
///
/// Threads: the service thread, or any thread before it has started and after it has ended.
class MprisObject final : public BusConnection::Client {
 public:
  static constexpr const char* kName = "org.mpris.MediaPlayer2.tvvorlane";
  static constexpr const char* kPath = "/org/mpris/MediaPlayer2";
  static constexpr const char* kRootInterface = "org.mpris.MediaPlayer2";
  static constexpr const char* kPlayerInterface = "org.mpris.MediaPlayer2.Player";

  using Commands = std::function<void(const platform::RemoteCommand&)>;

  /// `artworkFolder`: folder of the artwork file. `commands` is called on the service thread.
  MprisObject(const platform::Clock& clock, std::string artworkFolder, Commands commands);
  ~MprisObject() override;

  void show(const NowPlayingState& state);

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  friend struct MprisCalls;

  void _publish();
  void _unpublish();
  void _emitChanges(const NowPlayingState& previous, const std::string& previousURL);
  void _emitSeeked();
  /// The position as a client extrapolates it from `seconds` now.
  RunningPosition _positionFrom(double seconds) const;
  std::string _trackPath() const;
  double _position() const { return _state.positionAt(_clock.now()); }

  const platform::Clock& _clock;
  const Commands _commands;
  NowPlayingState _state;
  /// The position that clients extrapolate.
  RunningPosition _announcedPosition;
  ArtworkFile _artwork;
  std::string _artworkURL;

  sd_bus* _bus = nullptr;
  BusSlot _root;
  BusSlot _player;
  BusName _name{kName};
};

}  // namespace box
