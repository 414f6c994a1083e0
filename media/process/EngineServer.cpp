#include "media/process/EngineServer.h"

#include <chrono>
#include <utility>
#include <vector>

#include "media/link/FactsCoding.h"
#include "media/link/TextSender.h"
#include "media/pipeline/AudioDevice.h"
#include "media/process/PictureSender.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using Kind = PlaybackEvent::Kind;

/// How often facts that change without a callback are checked.
constexpr auto kCheckInterval = std::chrono::milliseconds(500);
/// How often the access log is sent while time runs. It changes every second, and creating it
/// blocks for the transfer thread.
constexpr auto kAccessLogInterval = std::chrono::seconds(2);

}  // namespace

EngineServer::EngineServer(platform::MainQueue& queue, const platform::Clock& clock, Setup setup)
    : _queue(queue), _clock(clock) {
  const auto post = [&queue, alive = std::weak_ptr<bool>(_alive)](std::function<void()> task) {
    queue.async([alive, task = std::move(task)] {
      if (alive.lock()) task();
    });
  };
  _audio = std::make_shared<AudioDevice>(
      [this, post] { post([this] { _send(SoundEvent{SoundEvent::Kind::Interrupted}); }); },
      [this, post] { post([this] { _send(SoundEvent{SoundEvent::Kind::Lost}); }); });
  _requests = std::make_shared<RemoteRequests>([this](const EngineEvent& event) { _send(event); });
  setup.engine.audio = _audio;
  // Pipelines that are shutting down may outlive this object.
  const auto link = std::make_shared<std::weak_ptr<LinkThread>>();
  setup.engine.textsChanged = [link](const TextChange& change) {
    if (const auto open = link->lock()) sendTexts(*open, change);
  };
  setup.engine.positionChanged = [this, post] { post([this] { _sendPosition(); }); };
  _engine = std::make_unique<MediaEngine>(queue, clock, std::move(setup.engine));
  _engine->setObserver(this);
  _pictures = std::make_unique<PictureSender>(
      setup.pictureSocket, std::static_pointer_cast<VideoFrames>(_engine->videoOutput()));
  _link = std::make_shared<LinkThread>(LinkThread::Setup{
      .descriptor = setup.controlSocket,
      .received =
          [this, post](std::span<const std::byte> message) {
            post([this, bytes = std::vector<std::byte>(message.begin(), message.end())] {
              _receive(bytes);
            });
          },
      .ended = [ended = std::move(setup.ended)](LinkSocket::State) { ended(); },
      .sources = {{_pictures->descriptor(), [this] { return _pictures->read(); }}}});
  // No other thread reads it yet: nothing is loaded.
  *link = _link;
}

EngineServer::~EngineServer() {
  _alive.reset();
  _engine->setObserver(nullptr);
  _link.reset();
  _pictures.reset();
  _engine.reset();
}

void EngineServer::greet(std::string version) { _send(HelloEvent{std::move(version)}); }

void EngineServer::_receive(std::span<const std::byte> message) {
  const auto command = decodeCommand(message);
  if (!command) {
    TVSLogError(TVSSystemLog, "Media: a command of %lu bytes cannot be read", message.size());
    return;
  }
  _execute(*command);
}

void EngineServer::_execute(const NumberedCommand& command) {
  std::visit([this](const auto& each) { _do(each); }, command.command);
  // Sent by way of the pipeline's thread: it shows that this thread is responsive, too.
  _engine->ping(
      [&queue = _queue, alive = std::weak_ptr<bool>(_alive), this, number = command.number] {
        queue.async([alive, this, number] {
          if (alive.lock()) _send(AcknowledgedEvent{number});
        });
      });
}

std::shared_ptr<TVSMediaItem> EngineServer::_itemOf(const LoadCommand& command) {
  std::erase_if(_items, [](const auto& each) { return each.second.expired(); });
  if (auto known = _items[command.itemID].lock()) return known;
  auto item = makeRemoteMediaItem(command.itemID, command.item, _requests);
  _items[command.itemID] = item;
  return item;
}

void EngineServer::_do(const LoadCommand& command) {
  platform::MediaLoad load = command.load;
  load.item = _itemOf(command);
  if (command.prepares) return _engine->prepare(load);
  _sent = {};
  _timeRuns = false;
  _engine->load(load);
  _pictures->setEpoch(command.epoch);
  _scheduleCheck();
}

void EngineServer::_do(const UnloadCommand& command) {
  _engine->unload();
  _pictures->setEpoch(command.epoch);
  _checkTimer.reset();
  _sent = {};
}

void EngineServer::_do(const CancelPreparationCommand&) { _engine->cancelPreparation(); }

void EngineServer::_do(const PlayCommand& command) { _engine->play(command.rate); }

void EngineServer::_do(const PauseCommand&) { _engine->pause(); }

void EngineServer::_do(const SeekCommand& command) {
  _lastSeek = command.serial;
  _engine->seek(command.seconds);
  _sendPosition();
  _scheduleCheck();
}

void EngineServer::_do(const SeekToDateCommand& command) {
  _lastSeek = command.serial;
  _engine->seekToDate(command.date);
  _sendPosition();
  _scheduleCheck();
}

void EngineServer::_do(const EndTimesCommand& command) {
  _engine->setEndTimes(command.forwardSeconds, command.reverseSeconds);
}

void EngineServer::_do(const VolumeCommand& command) {
  _engine->setVolume(command.volume);
  _engine->setMuted(command.muted);
}

void EngineServer::_do(const TrackCommand& command) {
  _engine->setTrackEnabled(command.trackID, command.enabled);
}

void EngineServer::_do(const SelectCommand& command) {
  _engine->selectOption(command.characteristic, command.identifier);
}

void EngineServer::_do(const ItemResponseCommand& command) { _requests->handleResponse(command); }

void EngineServer::_do(const RefreshCommand&) {
  _engine->refresh();
  _sendChangedFacts();
  _sendChangedAccessLog();
  _sendChangedErrorLog();
}

void EngineServer::_do(const AudioDeviceAddedCommand&) { _audio->noteDeviceAdded(); }

void EngineServer::engineDidBecomeReady(std::uint64_t generation) {
  // Seeks requested before have been applied without an event of their own.
  _sendWithChanges({.kind = Kind::Ready, .generation = generation, .seekSerial = _lastSeek});
}

void EngineServer::engineDidPlay(std::uint64_t generation, double rate) {
  _timeRuns = true;
  _sendWithChanges({.kind = Kind::Play, .generation = generation, .rate = rate});
}

void EngineServer::engineDidPause(std::uint64_t generation) {
  _timeRuns = false;
  _sendWithChanges({.kind = Kind::Pause, .generation = generation});
}

void EngineServer::engineDidStall(std::uint64_t generation) {
  _sendWithChanges({.kind = Kind::Stall, .generation = generation});
}

void EngineServer::engineDidSeek(std::uint64_t generation) {
  const std::uint64_t completed = _engine->isSeeking() ? 0 : _lastSeek;
  _sendWithChanges({.kind = Kind::Seek, .generation = generation, .seekSerial = completed});
}

void EngineServer::engineDidReachEnd(std::uint64_t generation) {
  _timeRuns = false;
  _sendWithChanges({.kind = Kind::End, .generation = generation});
}

void EngineServer::engineDidFail(std::uint64_t generation, const platform::Error& error) {
  _timeRuns = false;
  _sendWithChanges({.kind = Kind::Fail, .generation = generation, .error = error});
}

void EngineServer::engineFactsDidChange(std::uint64_t generation) {
  _sendWithChanges({.kind = Kind::Facts, .generation = generation});
}

void EngineServer::engineSelectionDidChange(std::uint64_t generation,
                                            const std::string& characteristic) {
  _sendWithChanges(
      {.kind = Kind::Selection, .generation = generation, .characteristic = characteristic});
}

void EngineServer::_sendWithChanges(const PlaybackEvent& event) {
  _sendPosition();
  _sendChangedFacts();
  _sendChangedAccessLog();
  _sendChangedErrorLog();
  _send(event);
  _scheduleCheck();
}

void EngineServer::_sendPosition() {
  PositionClock::Point point = _engine->positionPoint();
  // During a seek the position is its destination.
  if (_engine->isSeeking()) point = {.running = false, .seconds = _engine->position()};
  _send(PositionEvent{.generation = _engine->generation(),
                      .running = point.running,
                      .seconds = point.seconds,
                      .rate = point.rate,
                      .first = point.first,
                      .last = point.last,
                      .at = point.at.time_since_epoch().count()});
}

bool EngineServer::_sendChangedFacts() {
  const std::uint64_t generation = _engine->generation();
  const platform::MediaFacts& facts = _engine->facts();
  const bool hasContents =
      _sent.generation != generation || !haveEqualContentFacts(facts, _sent.facts);
  if (!hasContents && haveEqualPlaybackFacts(facts, _sent.facts)) return false;
  _sent.generation = generation;
  _sent.facts = facts;
  _send(FactsEvent{generation, hasContents, facts});
  return true;
}

void EngineServer::_sendChangedAccessLog() {
  _sent.accessLogAt = _clock.now();
  platform::Array entries = _engine->accessLog();
  if (entries == _sent.accessLog) return;
  _sent.accessLog = entries;
  _send(AccessLogEvent{_engine->generation(), std::move(entries)});
}

void EngineServer::_sendChangedErrorLog() {
  std::vector<platform::FailedRequest> requests = _engine->failedRequests();
  if (requests == _sent.failedRequests) return;
  _sent.failedRequests = requests;
  _send(ErrorLogEvent{_engine->generation(), std::move(requests)});
}

void EngineServer::_scheduleCheck() {
  _checkTimer = _queue.after(kCheckInterval, [this] {
    const bool hasChanged = _sendChangedFacts();
    if (!_timeRuns || _clock.now() - _sent.accessLogAt >= kAccessLogInterval)
      _sendChangedAccessLog();
    _sendChangedErrorLog();
    // Stop checking while playback is paused and nothing is loading.
    if (_timeRuns || hasChanged) _scheduleCheck();
  });
}

}  // namespace media
