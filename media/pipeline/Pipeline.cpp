#include "media/pipeline/Pipeline.h"

#include <utility>

#include "media/engine/WarmUp.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/Playback.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace media {
namespace {

constexpr auto kPredecessorLimit = std::chrono::seconds(1);

}  // namespace

std::shared_ptr<Pipeline> Pipeline::start(const platform::Clock& clock, PipelineSetup setup,
                                          std::shared_ptr<Pipeline> predecessor) {
  // Not make_shared(): the constructor is private.
  std::shared_ptr<Pipeline> pipeline(new Pipeline(clock, std::move(setup)));
  if (const auto& item = pipeline->_load->setup.item)
    item->whenAccessLogEntryStarts([weak = std::weak_ptr(pipeline)] {
      if (const auto playing = weak.lock()) playing->_load->statistics.noteAccessLogEntry();
    });
  const bool isStarted =
      platform::WorkerThreads::start([pipeline, before = std::move(predecessor)]() mutable {
        pipeline->_run(std::exchange(before, nullptr));
      });
  return isStarted ? pipeline : nullptr;
}

Pipeline::Pipeline(const platform::Clock& clock, PipelineSetup setup)
    : _load(std::make_unique<LoadContext>(clock, std::move(setup))),
      _playback(std::make_unique<Playback>(*_load)) {}

Pipeline::~Pipeline() = default;

void Pipeline::_post(std::function<void(Playback&)> command) {
  _load->mailbox->post([this, command = std::move(command)] { command(*_playback); });
}

void Pipeline::begin(const PlaybackRequest& request, std::shared_ptr<Pipeline> predecessor) {
  _post([request, before = std::move(predecessor)](Playback& playback) {
    playback.begin(request, [&before] {
      if (before) before->_waitUntilClosed();
    });
  });
}

void Pipeline::play(double rate) {
  _post([rate](Playback& playback) { playback.play(rate); });
}

void Pipeline::pause() {
  _post([](Playback& playback) { playback.pause(); });
}

void Pipeline::seek(double seconds, std::uint64_t serial) {
  _post([seconds, serial](Playback& playback) { playback.seek(seconds, serial); });
}

void Pipeline::seekToDate(platform::Date date, std::uint64_t serial) {
  _post([date, serial](Playback& playback) { playback.seekToDate(date, serial); });
}

void Pipeline::setEndTimes(std::optional<double> forwardSeconds,
                           std::optional<double> reverseSeconds) {
  _post([forwardSeconds, reverseSeconds](Playback& playback) {
    playback.setEndTimes(forwardSeconds, reverseSeconds);
  });
}

void Pipeline::setVolume(float volume) {
  _post([volume](Playback& playback) { playback.setVolume(volume); });
}

void Pipeline::setMuted(bool muted) {
  _post([muted](Playback& playback) { playback.setMuted(muted); });
}

void Pipeline::setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles) {
  _playback->setSubtitleStyles(std::move(styles));
}

void Pipeline::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  _post([trackID, enabled](Playback& playback) { playback.setTrackEnabled(trackID, enabled); });
}

void Pipeline::selectOption(const std::string& characteristic,
                            const std::optional<std::string>& identifier) {
  _post([characteristic, identifier](Playback& playback) {
    playback.selectOption(characteristic, identifier);
  });
}

void Pipeline::refresh() {
  _post([](Playback& playback) { playback.refresh(); });
}

void Pipeline::ping(std::function<void()> done) {
  _post([done = std::move(done)](Playback&) { done(); });
}

void Pipeline::close() {
  // A stream that waits for a key would block the shutdown.
  if (_load->contentKeys) _load->contentKeys->close();
  _post([](Playback& playback) { playback.close(); });
}

double Pipeline::position() const { return _load->position.seconds(); }

platform::Duration Pipeline::positionAge() const { return _load->position.age(); }

PositionClock::Point Pipeline::positionPoint() const { return _load->position.point(); }

std::shared_ptr<const platform::MediaFacts> Pipeline::facts() const {
  return _load->facts.published();
}

std::vector<PlaybackStatistics> Pipeline::statisticsByEntry() const {
  return _load->statistics.entries();
}

std::vector<platform::FailedRequest> Pipeline::failures() const { return _load->failures.all(); }

void Pipeline::_run(const std::shared_ptr<Pipeline>& predecessor) {
  warmUpMedia();
  if (predecessor) predecessor->_waitUntilClosed();
  _playback->run();
  const std::lock_guard lock(_mutex);
  _hasEnded = true;
  _ended.notify_all();
}

void Pipeline::_waitUntilClosed() {
  std::unique_lock lock(_mutex);
  _ended.wait_for(lock, kPredecessorLimit, [this] { return _hasEnded; });
}

}  // namespace media
