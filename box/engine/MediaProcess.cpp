#include "box/engine/MediaProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "media/link/ProcessOptions.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace box {
namespace {

/// A process whose link has gone ends by itself within this time, or is killed.
constexpr int kEndLimitMilliseconds = 3000;
/// Above the descriptors that the process gets.
constexpr int kFirstFreeDescriptor = 16;

/// Both ends close on exec and have numbers that no action of the spawn overwrites.
bool makeSockets(int type, FileDescriptor& ours, FileDescriptor& theirs) {
  std::array<int, 2> made{};
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, made.data()) != 0) return false;
  ours = FileDescriptor(made[0]);
  const FileDescriptor low(made[1]);
  theirs = FileDescriptor(fcntl(low.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
  return static_cast<bool>(theirs);
}

/// What the process inherits: nothing but its two sockets and the standard descriptors, no blocked
/// and no ignored signal. 0, or an errno.
int spawn(const std::string& program, const std::vector<std::string>& arguments, int control,
          int pictures, pid_t& pid) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, control, media::ProcessOptions::kControlDescriptor);
  posix_spawn_file_actions_adddup2(&actions, pictures, media::ProcessOptions::kPictureDescriptor);
  posix_spawn_file_actions_addclosefrom_np(&actions, media::ProcessOptions::kPictureDescriptor + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  std::string name = program;
  std::vector<std::string> texts = arguments;
  std::vector<char*> list{name.data()};
  for (std::string& each : texts) list.push_back(each.data());
  list.push_back(nullptr);
  const int error = posix_spawn(&pid, program.c_str(), &actions, &attributes, list.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

/// Waits until the process has ended, killing it when it takes too long, and says how it ended.
std::string reap(pid_t pid) {
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  pollfd polled{process.get(), POLLIN, 0};
  if (!process || poll(&polled, 1, kEndLimitMilliseconds) != 1) ::kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status))
    return "ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ")";
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

/// Waits for the process on another thread; `tells`: how it ended goes to the log.
void reapLater(pid_t pid, bool tells) {
  const auto body = [pid, tells] {
    const std::string how = reap(pid);
    if (tells) TVSLogError(TVSSystemLog, "The media process %d %@", pid, how);
  };
  if (platform::WorkerThreads::start(body)) return;
  // There is no thread to wait on. A killed process is gone at once.
  ::kill(pid, SIGKILL);
  body();
}

}  // namespace

std::unique_ptr<MediaProcess> MediaProcess::start(platform::MainQueue& queue, const Setup& setup) {
  FileDescriptor control;
  FileDescriptor pictures;
  FileDescriptor theirControl;
  FileDescriptor theirPictures;
  int error = 0;
  pid_t pid = 0;
  if (!makeSockets(SOCK_STREAM, control, theirControl) ||
      !makeSockets(SOCK_SEQPACKET, pictures, theirPictures))
    error = errno;
  else
    error = spawn(setup.program, setup.arguments, theirControl.get(), theirPictures.get(), pid);
  if (error != 0) {
    TVSLogError(TVSSystemLog, "The media process %@ cannot be started: %@", setup.program,
                strerror(error));
    return nullptr;
  }
  std::unique_ptr<MediaProcess> process(
      new MediaProcess(queue, pid, std::move(control), std::move(pictures), setup));
  if (process->_link->isRunning()) return process;
  TVSLogError(TVSSystemLog, "There is no thread for a media process");
  return nullptr;
}

MediaProcess::MediaProcess(platform::MainQueue& queue, pid_t pid, FileDescriptor control,
                           FileDescriptor pictures, const Setup& setup)
    : _queue(queue), _pid(pid), _answerLimit(setup.answerLimit) {
  _limit = _queue.after(setup.startLimit, [this] { kill("it does not become ready"); });
  const auto post = [&queue, alive = std::weak_ptr<bool>(_alive)](std::function<void()> task) {
    queue.async([alive, task = std::move(task)] {
      if (alive.lock()) task();
    });
  };
  const int pictureSocket = pictures.get();
  _pictures->socket = std::move(pictures);
  _link = std::make_unique<media::LinkThread>(media::LinkThread::Setup{
      .descriptor = control.release(),
      .received =
          [this, post](std::span<const std::byte> message) {
            auto event = media::decodeEvent(message);
            if (event)
              post([this, event = std::move(*event)] { _receive(event); });
            else
              post([this] { kill("its events break the protocol"); });
          },
      .ended = [this, post](media::LinkSocket::State) { post([this] { _die(); }); },
      .sources = {{pictureSocket, [this, post, held = _pictures] {
                     // A process without an owner has no picture to send.
                     const auto receiver = held->current();
                     const auto state =
                         receiver ? receiver->read() : PictureReceiver::State::ClosedByWriter;
                     if (state == PictureReceiver::State::Broken)
                       post([this] { kill("its pictures break the protocol"); });
                     return state == PictureReceiver::State::Open;
                   }}}});
}

MediaProcess::~MediaProcess() {
  _alive.reset();
  // The process ends when its link does.
  _link.reset();
  if (_dead) return;
  // An unused process has nothing to finish, and its start may take long.
  if (!_owner.event) ::kill(_pid, SIGKILL);
  reapLater(_pid, false);
}

std::shared_ptr<PictureReceiver> MediaProcess::Pictures::current() {
  const std::lock_guard lock(mutex);
  return receiver;
}

void MediaProcess::setOwner(Owner owner, std::shared_ptr<media::VideoFrames> frames,
                            PictureReceiver::Setup pictures) {
  _owner = std::move(owner);
  const std::lock_guard lock(_pictures->mutex);
  _pictures->receiver = std::make_shared<PictureReceiver>(std::move(_pictures->socket),
                                                          std::move(frames), std::move(pictures));
}

void MediaProcess::setMinimumEpoch(std::uint64_t epoch) {
  if (const auto receiver = _pictures->current()) receiver->setMinimumEpoch(epoch);
}

void MediaProcess::textsDidChange() {
  if (const auto receiver = _pictures->current()) receiver->textsDidChange();
}

void MediaProcess::send(media::EngineCommand command) {
  if (_dead) return;
  _link->send(media::encode({++_sent, std::move(command)}));
  if (_greeted && !_limit) _awaitAnswer();
}

void MediaProcess::_awaitAnswer() {
  _awaited = _sent;
  _limit = _queue.after(_answerLimit, [this] { kill("it does not answer"); });
}

void MediaProcess::_acknowledge(std::uint64_t number) {
  _acknowledged = std::max(_acknowledged, number);
  if (_acknowledged < _awaited) return;
  _limit.reset();
  if (_acknowledged < _sent) _awaitAnswer();
}

void MediaProcess::_receive(const media::EngineEvent& event) {
  if (_dead) return;
  if (std::holds_alternative<media::HelloEvent>(event)) {
    _greeted = true;
    _limit.reset();
    if (_acknowledged < _sent) _awaitAnswer();
    return;
  }
  if (const auto* acknowledged = std::get_if<media::AcknowledgedEvent>(&event))
    return _acknowledge(acknowledged->number);
  if (_owner.event) _owner.event(event);
}

void MediaProcess::kill(const std::string& reason) {
  if (_dead) return;
  TVSLogError(TVSSystemLog, "The media process %d is killed: %@", _pid, reason);
  // Not reaped yet, so the number is still its own.
  ::kill(_pid, SIGKILL);
  _die();
}

void MediaProcess::_die() {
  if (std::exchange(_dead, true)) return;
  _limit.reset();
  reapLater(_pid, true);
  // It may destroy this.
  if (const auto died = std::exchange(_owner, {}).died) died();
}

}  // namespace box
