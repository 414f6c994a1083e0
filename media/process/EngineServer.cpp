#include "media/process/EngineServer.h"

#include <chrono>
#include <utility>
#include <vector>

#include "media/link/FactsCoding.h"
#include "media/pipeline/AudioDevice.h"
#include "media/process/PictureSender.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using Kind = HappenedEvent::Kind;

/// How often facts that change without a callback are checked.
constexpr auto kWatchInterval = std::chrono::milliseconds(500);

}  // namespace

EngineServer::EngineServer(platform::MainQueue& queue, const platform::Clock& clock, Setup setup)
    : _queue(queue) {
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
    const auto open = link->lock();
    if (!open) return;
    for (const TextChange& part : partsOf(change)) open->send(encode(TextEvent{part}));
  };
  setup.engine.positionChanged = [this, post] { post([this] { _tellPosition(); }); };
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
  // Queued tasks do nothing from here on.
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
  // The acknowledgement is sent by way of the pipeline's thread: it shows that this is responsive,
  // too.
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
  _told = {};
  _timeRuns = false;
  _engine->load(load);
  _pictures->setEpoch(command.epoch);
  _watch();
}

void EngineServer::_do(const UnloadCommand& command) {
  _engine->unload();
  _pictures->setEpoch(command.epoch);
  _watching.reset();
  _told = {};
}

void EngineServer::_do(const CancelPreparationCommand&) { _engine->cancelPreparation(); }

void EngineServer::_do(const PlayCommand& command) { _engine->play(command.rate); }

void EngineServer::_do(const PauseCommand&) { _engine->pause(); }

void EngineServer::_do(const SeekCommand& command) {
  _lastSeek = command.serial;
  _engine->seek(command.seconds);
  _tellPosition();
  _watch();
}

void EngineServer::_do(const SeekToDateCommand& command) {
  _lastSeek = command.serial;
  _engine->seekToDate(command.date);
  _tellPosition();
  _watch();
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

void EngineServer::_do(const AnswerCommand& command) { _requests->answer(command); }

void EngineServer::_do(const RefreshCommand&) {
  _engine->refresh();
  _tellFacts();
  _tellAccessLog();
}

void EngineServer::_do(const SoundArrivedCommand&) { _audio->noteArrival(); }

void EngineServer::engineDidBecomeReady(std::uint64_t generation) {
  // Seeks requested before have been applied without an event of their own.
  _tell({.kind = Kind::Ready, .generation = generation, .seekSerial = _lastSeek});
}

void EngineServer::engineDidPlay(std::uint64_t generation, double rate) {
  _timeRuns = true;
  _tell({.kind = Kind::Play, .generation = generation, .rate = rate});
}

void EngineServer::engineDidPause(std::uint64_t generation) {
  _timeRuns = false;
  _tell({.kind = Kind::Pause, .generation = generation});
}

void EngineServer::engineDidStall(std::uint64_t generation) {
  _tell({.kind = Kind::Stall, .generation = generation});
}

void EngineServer::engineDidSeek(std::uint64_t generation) {
  const std::uint64_t answered = _engine->isSeeking() ? 0 : _lastSeek;
  _tell({.kind = Kind::Seek, .generation = generation, .seekSerial = answered});
}

void EngineServer::engineDidReachEnd(std::uint64_t generation) {
  _timeRuns = false;
  _tell({.kind = Kind::End, .generation = generation});
}

void EngineServer::engineDidFail(std::uint64_t generation, const platform::Error& error) {
  _timeRuns = false;
  _tell({.kind = Kind::Fail, .generation = generation, .error = error});
}

void EngineServer::engineFactsDidChange(std::uint64_t generation) {
  _tell({.kind = Kind::Facts, .generation = generation});
}

void EngineServer::engineSelectionDidChange(std::uint64_t generation,
                                            const std::string& characteristic) {
  _tell({.kind = Kind::Selection, .generation = generation, .characteristic = characteristic});
}

void EngineServer::_tell(const HappenedEvent& event) {
  _tellPosition();
  _tellFacts();
  _tellAccessLog();
  _send(event);
  _watch();
}

void EngineServer::_tellPosition() {
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

bool EngineServer::_tellFacts() {
  const std::uint64_t generation = _engine->generation();
  const platform::MediaFacts& facts = _engine->facts();
  const bool hasContents = _told.generation != generation || !haveEqualContents(facts, _told.facts);
  if (!hasContents && haveEqualFlow(facts, _told.facts)) return false;
  _told.generation = generation;
  _told.facts = facts;
  _send(FactsEvent{generation, hasContents, facts});
  return true;
}

void EngineServer::_tellAccessLog() {
  platform::Array entries = _engine->accessLog();
  if (entries == _told.accessLog) return;
  _told.accessLog = entries;
  _send(AccessLogEvent{_engine->generation(), std::move(entries)});
}

void EngineServer::_watch() {
  _watching = _queue.after(kWatchInterval, [this] {
    const bool hasChanged = _tellFacts();
    _tellAccessLog();
    // Stop checking while playback is paused and nothing is loading.
    if (_timeRuns || hasChanged) _watch();
  });
}

}  // namespace media
