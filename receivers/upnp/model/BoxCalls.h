#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "receivers/upnp/model/Item.h"

namespace upnp {

/// The box's "playbackInfo". Times are in seconds.
struct Playback {
  std::string uuid;
  bool isReady = false;
  double position = 0;
  double duration = 0;  ///< 0: unknown
  double rate = 0;
  std::string error;  ///< empty: the item has not failed
};

/// An event of the box. Events other than "stopped" and "userStop" have no session.
struct BoxEvent {
  std::string name;
  std::optional<std::uint32_t> session;
  std::string uuid;
  bool isUserExit = false;
  std::optional<Playback> playback;
};

struct StartOptions {
  double position = 0;
  bool isPaused = false;
  double volume = 1;
  bool isMuted = false;
};

/// The calls of the receiver interface that the renderer makes. Completions may be called during
/// the call or later. Calls without a connection fail.
class BoxCalls {
 public:
  /// `error` is empty on success.
  using Completion = std::function<void(const std::string& error)>;
  using PlaybackCompletion = std::function<void(const std::optional<Playback>&)>;

  virtual ~BoxCalls() = default;
  virtual bool isConnected() const = 0;
  virtual void start(std::uint32_t session, const Track& track, const StartOptions& options,
                     Completion done) = 0;
  virtual void append(std::uint32_t session, const Track& track, Completion done) = 0;
  virtual void remove(std::uint32_t session, const std::string& uuid) = 0;
  virtual void stop(std::uint32_t session, Completion done) = 0;
  // These apply to the session that was started last.
  virtual void setRate(double rate) = 0;
  virtual void seek(double seconds) = 0;
  virtual void setVolume(double volume) = 0;
  virtual void setMuted(bool isMuted) = 0;
  virtual void publishMetadata(const Item& item) = 0;
  virtual void readPlayback(PlaybackCompletion done) = 0;
};

}  // namespace upnp
