#include "tests/streaming/playback/ScriptedTransfers.h"

#include <algorithm>
#include <utility>

namespace streaming::test {
namespace {

/// Bodies with a rate arrive in steps of this many seconds.
constexpr double kPieceSeconds = 0.05;

}  // namespace

struct ScriptedTransfers::Running {
  TransferObserver* observer = nullptr;
  Resource resource;
  ResponseHead head;
  std::string body;
  std::size_t sent = 0;
  bool hasHead = false;
  bool isPaused = false;
  double nextAt = 0;
};

class ScriptedTransfers::Handle final : public Transfer {
 public:
  Handle(ScriptedTransfers& source, std::shared_ptr<Running> running)
      : _source(source), _running(std::move(running)) {}
  ~Handle() override {
    _running->observer = nullptr;
    std::erase(_source._running, _running);
  }
  void resume() override { _running->isPaused = false; }

 private:
  ScriptedTransfers& _source;
  std::shared_ptr<Running> _running;
};

platform::Error statusError(int status) {
  return {std::string(platform::kURLErrorDomain), status, {}, {}, {}};
}

std::unique_ptr<Transfer> ScriptedTransfers::start(const TransferRequest& request,
                                                   TransferObserver& observer) {
  _requests.push_back(request.url);
  auto running = std::make_shared<Running>();
  running->observer = &observer;
  if (const auto found = _resources.find(request.url); found != _resources.end())
    running->resource = found->second;
  else if (auto resource = _fallback ? _fallback(request) : std::nullopt)
    running->resource = std::move(*resource);
  else
    running->resource.error = statusError(404);
  const Resource& resource = running->resource;
  running->head.url = request.url;
  running->head.totalLength = resource.body.size();
  running->head.acceptsRanges = resource.knowsRanges;
  running->body = resource.body;
  if (!resource.date.empty()) running->head.fields.emplace_back("Date", resource.date);
  if (request.span && resource.knowsRanges) {
    const std::size_t offset = std::min<std::uint64_t>(request.span->offset, running->body.size());
    running->head.status = 206;
    running->head.offset = offset;
    running->body = running->body.substr(offset, request.span->length.value_or(std::string::npos));
  }
  running->head.length = running->body.size();
  running->nextAt = _now + resource.delay;
  _running.push_back(running);
  return std::make_unique<Handle>(*this, running);
}

std::shared_ptr<void> ScriptedTransfers::callAt(MonotonicTime when, std::function<void()> task) {
  auto timer = std::make_shared<Timer>();
  timer->at = std::chrono::duration<double>(when.time_since_epoch()).count();
  timer->task = std::move(task);
  std::erase_if(_timers, [](const auto& each) { return each.expired(); });
  _timers.push_back(timer);
  return timer;
}

MonotonicTime ScriptedTransfers::now() const {
  return MonotonicTime(
      std::chrono::duration_cast<MonotonicTime::duration>(std::chrono::duration<double>(_now)));
}

void ScriptedTransfers::post(std::function<void()> task) {
  const std::lock_guard lock(_mutex);
  _posted.push_back(std::move(task));
}

std::size_t ScriptedTransfers::countOf(const std::string& url) const {
  return static_cast<std::size_t>(std::count(_requests.begin(), _requests.end(), url));
}

std::size_t ScriptedTransfers::timerCount() const {
  return static_cast<std::size_t>(
      std::count_if(_timers.begin(), _timers.end(), [](const auto& each) {
        const auto timer = each.lock();
        return timer && timer->task;
      }));
}

void ScriptedTransfers::run() { advance(0); }

void ScriptedTransfers::advance(double seconds) {
  const double until = _now + seconds;
  while (_runOne(until)) {
  }
  _now = until;
}

bool ScriptedTransfers::_runOne(double until) {
  std::vector<std::function<void()>> posted;
  {
    const std::lock_guard lock(_mutex);
    posted.swap(_posted);
  }
  for (auto& task : posted) task();
  if (!posted.empty()) return true;

  std::shared_ptr<Timer> timer;
  for (const auto& each : _timers) {
    const auto living = each.lock();
    if (living && living->task && (!timer || living->at < timer->at)) timer = living;
  }
  std::shared_ptr<Running> transfer;
  for (const auto& each : _running) {
    if (each->resource.hangs || each->isPaused) continue;
    if (!transfer || each->nextAt < transfer->nextAt) transfer = each;
  }
  // Round up to whole nanoseconds.
  constexpr double kRounding = 1e-8;
  if (timer && timer->at <= until + kRounding && (!transfer || timer->at <= transfer->nextAt)) {
    _now = std::max(_now, timer->at + kRounding);
    const auto task = std::exchange(timer->task, {});
    task();
    return true;
  }
  if (!transfer || transfer->nextAt > until) return false;
  _now = std::max(_now, transfer->nextAt);
  _advanceTransfer(transfer);
  return true;
}

void ScriptedTransfers::_advanceTransfer(const std::shared_ptr<Running>& running) {
  const Resource& resource = running->resource;
  if (resource.error && running->sent >= resource.errorAfter) return _end(running, resource.error);
  if (!std::exchange(running->hasHead, true)) {
    if (running->observer->transferGotHead(running->head) == BodyFlow::Abort)
      return _end(running, std::nullopt);
    if (!running->observer) return;
  }
  if (running->sent >= running->body.size()) return _end(running, std::nullopt);
  double rate = resource.rate;
  if (rate <= 0 && _rate > 0) {
    const auto sharing = std::count_if(_running.begin(), _running.end(),
                                       [](const auto& each) { return each->hasHead; });
    rate = _rate / static_cast<double>(std::max<std::ptrdiff_t>(sharing, 1));
  }
  std::size_t count = running->body.size() - running->sent;
  if (rate > 0) count = std::min(count, static_cast<std::size_t>(rate * kPieceSeconds) + 1);
  if (resource.error) count = std::min(count, resource.errorAfter - running->sent);
  const std::string piece = running->body.substr(running->sent, count);
  running->sent += count;
  if (rate > 0) running->nextAt = _now + static_cast<double>(count) / rate;
  const BodyFlow flow = running->observer->transferGotBytes(piece);
  if (!running->observer) return;
  if (flow == BodyFlow::Abort) return _end(running, std::nullopt);
  running->isPaused = flow == BodyFlow::Pause;
  // The end is reported with the last bytes.
  if (rate <= 0 && running->sent >= running->body.size() && !resource.error && !running->isPaused)
    _end(running, std::nullopt);
}

void ScriptedTransfers::_end(const std::shared_ptr<Running>& running,
                             const std::optional<platform::Error>& error) {
  std::erase(_running, running);
  if (running->observer) running->observer->transferEnded(error);
}

}  // namespace streaming::test
