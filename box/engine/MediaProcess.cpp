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

/// How long a process may run after its link was closed before it is killed.
constexpr int kExitTimeoutMilliseconds = 3000;
/// Greater than the descriptor numbers that the child uses.
constexpr int kFirstFreeDescriptor = 16;

/// Creates a socket pair with close-on-exec. `theirs` gets a number that the dup2 file actions of
/// spawn() do not overwrite.
bool makeSockets(int type, FileDescriptor& ours, FileDescriptor& theirs) {
  std::array<int, 2> made{};
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, made.data()) != 0) return false;
  ours = FileDescriptor(made[0]);
  const FileDescriptor low(made[1]);
  theirs = FileDescriptor(fcntl(low.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
  return static_cast<bool>(theirs);
}

/// Starts the program. It inherits stdin, stdout, stderr and the two sockets; all signals are
/// unblocked and have their default action. Returns 0 or an errno.
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

/// Waits for the process to exit, kills it after a timeout, and returns a text about its exit
/// status.
std::string reap(pid_t pid) {
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  pollfd polled{process.get(), POLLIN, 0};
  if (!process || poll(&polled, 1, kExitTimeoutMilliseconds) != 1) ::kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status))
    return "ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ")";
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

/// Reaps the process on a worker thread. `logsExit`: whether its exit status is logged.
void reapInBackground(pid_t pid, bool logsExit) {
  const auto body = [pid, logsExit] {
    const std::string exitStatus = reap(pid);
    if (logsExit) TVSLogError(TVSSystemLog, "The media process %d %@", pid, exitStatus);
  };
  if (platform::WorkerThreads::start(body)) return;
  // Without a thread, do not wait for the timeout: a killed process exits at once.
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
  TVSLogError(TVSSystemLog, "Cannot start the link thread of a media process");
  return nullptr;
}

MediaProcess::MediaProcess(platform::MainQueue& queue, pid_t pid, FileDescriptor control,
                           FileDescriptor pictures, const Setup& setup)
    : _queue(queue), _pid(pid), _answerLimit(setup.answerLimit) {
  _timeout = _queue.after(setup.startLimit, [this] { kill("it does not become ready"); });
  const auto post = [&queue, alive = std::weak_ptr<bool>(_alive)](std::function<void()> task) {
    queue.async([alive, task = std::move(task)] {
      if (alive.lock()) task();
    });
  };
  auto received = [this, post](std::span<const std::byte> message) {
    auto event = media::decodeEvent(message);
    if (event)
      post([this, event = std::move(*event)] { _receive(event); });
    else
      post([this] { kill("its events break the protocol"); });
  };
  auto readPictures = [this, post, held = _pictures] {
    // Before setOwner() there is no receiver. The process must not send pictures then.
    const auto receiver = held->current();
    const auto state = receiver ? receiver->read() : PictureReceiver::State::ClosedByWriter;
    if (state == PictureReceiver::State::Broken)
      post([this] { kill("its pictures break the protocol"); });
    return state == PictureReceiver::State::Open;
  };
  const int pictureSocket = pictures.get();
  _pictures->socket = std::move(pictures);
  _link = std::make_unique<media::LinkThread>(media::LinkThread::Setup{
      .descriptor = control.release(),
      .received = std::move(received),
      .ended = [this, post](media::LinkSocket::State) { post([this] { _die(); }); },
      .sources = {{pictureSocket, std::move(readPictures)}}});
}

MediaProcess::~MediaProcess() {
  _alive.reset();
  // The process exits when its link is closed.
  _link.reset();
  if (_dead) return;
  // A spare process has nothing to clean up, and it may take long to start.
  if (!_owner.event) ::kill(_pid, SIGKILL);
  reapInBackground(_pid, false);
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
  _link->send(media::encode({++_sentNumber, std::move(command)}));
  if (_greeted && !_timeout) _awaitAcknowledgement();
}

void MediaProcess::_awaitAcknowledgement() {
  _awaitedNumber = _sentNumber;
  _timeout = _queue.after(_answerLimit, [this] { kill("it does not answer"); });
}

void MediaProcess::_acknowledge(std::uint64_t number) {
  _acknowledgedNumber = std::max(_acknowledgedNumber, number);
  if (_acknowledgedNumber < _awaitedNumber) return;
  _timeout.reset();
  if (_acknowledgedNumber < _sentNumber) _awaitAcknowledgement();
}

void MediaProcess::_receive(const media::EngineEvent& event) {
  if (_dead) return;
  if (std::holds_alternative<media::HelloEvent>(event)) {
    _greeted = true;
    _timeout.reset();
    if (_acknowledgedNumber < _sentNumber) _awaitAcknowledgement();
    return;
  }
  if (const auto* acknowledged = std::get_if<media::AcknowledgedEvent>(&event))
    return _acknowledge(acknowledged->number);
  if (_owner.event) _owner.event(event);
}

void MediaProcess::kill(const std::string& reason) {
  if (_dead) return;
  TVSLogError(TVSSystemLog, "The media process %d is killed: %@", _pid, reason);
  // The process has not been reaped yet, so its id cannot belong to another process.
  ::kill(_pid, SIGKILL);
  _die();
}

void MediaProcess::_die() {
  if (std::exchange(_dead, true)) return;
  _timeout.reset();
  reapInBackground(_pid, true);
  // The callback may destroy this object.
  if (const auto died = std::exchange(_owner, {}).died) died();
}

}  // namespace box
