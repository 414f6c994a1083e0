#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "box/engine/PictureReceiver.h"
#include "box/services/support/FileDescriptor.h"
#include "media/link/EngineMessages.h"
#include "media/link/LinkThread.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Queue.h"

namespace box {

/// A child process that plays media, and the link to it. Destroying the object ends the process.
///
/// The process counts as dead when it closes its end of the link, when it breaks the protocol, or
/// when it does not answer a command within `answerLimit`. In the last two cases it is killed.
///
/// Thread: main. start() and the destructor do not block on the process. `queue` must outlive this
/// object and all WorkerThreads.
class MediaProcess {
 public:
  struct Setup {
    std::string program;
    std::vector<std::string> arguments;
    platform::Duration answerLimit{};  ///< timeout of a command
    platform::Duration startLimit{};   ///< timeout until the process is ready for commands
  };
  /// Callbacks run on the queue. None runs after the destructor or after died().
  struct Owner {
    std::function<void(const media::EngineEvent&)> event;
    std::function<void()> died;
  };

  /// Returns null and logs an error if the process cannot be started.
  static std::unique_ptr<MediaProcess> start(platform::MainQueue& queue, const Setup& setup);
  ~MediaProcess();
  MediaProcess(const MediaProcess&) = delete;
  MediaProcess& operator=(const MediaProcess&) = delete;

  pid_t pid() const { return _pid; }
  bool isDead() const { return _dead; }
  bool isReady() const { return _greeted && !_dead; }

  /// Sets the death callback of a spare process, which has no owner yet.
  void onDeath(std::function<void()> died) { _owner.died = std::move(died); }
  /// Assigns the process to an owner. May be called once.
  void setOwner(Owner owner, std::shared_ptr<media::VideoFrames> frames,
                PictureReceiver::Setup pictures);
  void send(media::EngineCommand command);
  /// Pictures of an older epoch are dropped.
  void setMinimumEpoch(std::uint64_t epoch);
  /// Call it when the texts over the current picture may have changed.
  void textsDidChange();
  /// Sends SIGKILL, logs `reason` and calls died().
  void kill(const std::string& reason);

 private:
  /// State shared with the link's thread.
  struct Pictures {
    std::mutex mutex;
    FileDescriptor socket;
    std::shared_ptr<PictureReceiver> receiver;

    std::shared_ptr<PictureReceiver> current();
  };

  MediaProcess(platform::MainQueue& queue, pid_t pid, FileDescriptor control,
               FileDescriptor pictures, const Setup& setup);
  void _receive(const media::EngineEvent& event);
  void _acknowledge(std::uint64_t number);
  void _awaitAcknowledgement();
  void _die();

  platform::MainQueue& _queue;
  const pid_t _pid;
  const platform::Duration _answerLimit;
  Owner _owner;
  bool _dead = false;
  bool _greeted = false;
  std::uint64_t _sentNumber = 0;
  std::uint64_t _acknowledgedNumber = 0;
  std::uint64_t _awaitedNumber = 0;  // number of the command that _timeout watches
  platform::Token _timeout;
  const std::shared_ptr<Pictures> _pictures = std::make_shared<Pictures>();
  // Lets tasks that are still in the queue detect that this object was destroyed.
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  std::unique_ptr<media::LinkThread> _link;
};

}  // namespace box
