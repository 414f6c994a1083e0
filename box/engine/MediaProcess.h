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

/// A media process: started here, spoken to over a link, and ended with this object.
///
/// The process counts as dead when it has closed its end of the link, when it says what makes no
/// sense, and when it does not answer a command within the limit; it is killed in the last two
/// cases.
///
/// Threads: main; start() and destruction do not wait for the process. Lifetime: `queue` outlives
/// it and all WorkerThreads.
class MediaProcess {
 public:
  struct Setup {
    std::string program;
    std::vector<std::string> arguments;
    platform::Duration answerLimit{};  ///< of a command
    platform::Duration startLimit{};   ///< until the process is ready for commands
  };
  /// Callbacks come in tasks of the queue, none after the object's end or after died().
  struct Owner {
    std::function<void(const media::EngineEvent&)> event;
    std::function<void()> died;
  };

  /// Null, and a log line, where a process cannot be made.
  static std::unique_ptr<MediaProcess> start(platform::MainQueue& queue, const Setup& setup);
  ~MediaProcess();
  MediaProcess(const MediaProcess&) = delete;
  MediaProcess& operator=(const MediaProcess&) = delete;

  pid_t pid() const { return _pid; }
  bool isDead() const { return _dead; }
  bool isReady() const { return _greeted && !_dead; }

  /// Sets `died` of a process without an owner.
  void onDeath(std::function<void()> died) { _owner.died = std::move(died); }
  /// Once: whose process this is from here on.
  void setOwner(Owner owner, std::shared_ptr<media::VideoFrames> frames,
                PictureReceiver::Setup pictures);
  void send(media::EngineCommand command);
  /// Pictures of an older epoch are not shown.
  void setMinimumEpoch(std::uint64_t epoch);
  /// The texts over the picture that is shown may have changed.
  void textsDidChange();
  /// Ends it as a death.
  void kill(const std::string& reason);

 private:
  /// What the link's thread uses.
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
  void _awaitAnswer();
  void _die();

  platform::MainQueue& _queue;
  const pid_t _pid;
  const platform::Duration _answerLimit;
  Owner _owner;
  bool _dead = false;
  bool _greeted = false;
  std::uint64_t _sent = 0;
  std::uint64_t _acknowledged = 0;
  std::uint64_t _awaited = 0;  // the command that the limit is for
  platform::Token _limit;
  const std::shared_ptr<Pictures> _pictures = std::make_shared<Pictures>();
  // Tasks that wait in the queue may outlive this.
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  std::unique_ptr<media::LinkThread> _link;
};

}  // namespace box
