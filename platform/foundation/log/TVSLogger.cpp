#include "platform/foundation/log/TVSLogger.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <thread>
#include <utility>

#include "platform/foundation/log/RecentLines.h"

using platform::LogLevel;
using platform::LogLine;
using platform::LogSink;

namespace {

constexpr int kPersistentLevel = static_cast<int>(LogLevel::Notice);
constexpr int kOtherLevel = static_cast<int>(LogLevel::Error);

struct Sink {
  explicit Sink(std::shared_ptr<LogSink> theTarget) : target(std::move(theTarget)) {}
  std::mutex mutex;                 // held during target->write()
  std::shared_ptr<LogSink> target;  // null once removed
};
using Sinks = std::vector<std::shared_ptr<Sink>>;

/// Never destroyed, because threads may log until the process ends.
struct State {
  std::atomic<std::thread::id> mainThread;

  // Protected by `levelMutex`.
  std::shared_mutex levelMutex;
  std::string domain;
  std::vector<std::string> persistentComponents;
  std::optional<int> levelOfAll;
  int minimumLevel = 0;
  std::map<std::string, int, std::less<>> levels;

  // Protected by `recentMutex`, except for dump().
  std::mutex recentMutex;
  platform::RecentLines recent;

  // Protected by `sinkMutex`; the list itself is immutable.
  std::mutex sinkMutex;
  std::shared_ptr<const Sinks> sinks = std::make_shared<const Sinks>();

  std::shared_ptr<const Sinks> currentSinks() {
    const std::lock_guard lock(sinkMutex);
    return sinks;
  }
};

State& state() {
  static State& instance = *new State;
  return instance;
}

thread_local bool insideSink = false;

struct InsideSink {
  InsideSink() { insideSink = true; }
  ~InsideSink() { insideSink = false; }
};

std::string threadTag() {
  if (state().mainThread.load(std::memory_order_relaxed) == std::this_thread::get_id())
    return "#T:[Main]";
  // Its address is unique among the running threads.
  static thread_local char identity;
  char text[40];
  std::snprintf(text, sizeof text, "#T:[%p]", static_cast<void*>(&identity));
  return text;
}

std::string_view levelTag(LogLevel level) {
  switch (level) {
    case LogLevel::Error:
      return "#Error";
    case LogLevel::Warning:
      return "#Warning";
    case LogLevel::Notice:
      break;
  }
  return "#Notice";
}

void addRecentLine(std::string_view line) {
  State& shared = state();
  const std::lock_guard lock(shared.recentMutex);
  shared.recent.add(line);
}

}  // namespace

void TVSLogger::initialize(std::string domain, std::vector<std::string_view> persistentComponents) {
  State& shared = state();
  {
    const std::unique_lock lock(shared.levelMutex);
    shared.domain = std::move(domain);
    shared.persistentComponents.assign(persistentComponents.begin(), persistentComponents.end());
    shared.levelOfAll.reset();
    shared.minimumLevel = 0;
    shared.levels.clear();
  }
  const std::lock_guard lock(shared.recentMutex);
  shared.recent.clear();
}

std::string TVSLogger::domain() {
  const std::shared_lock lock(state().levelMutex);
  return state().domain;
}

void TVSLogger::setLevel(int level) {
  const std::unique_lock lock(state().levelMutex);
  state().levelOfAll = level;
}

void TVSLogger::setLevel(std::string_view component, int level) {
  const std::unique_lock lock(state().levelMutex);
  state().levels.insert_or_assign(std::string(component), level);
}

void TVSLogger::setMinimumLevel(int level) {
  const std::unique_lock lock(state().levelMutex);
  state().minimumLevel = level;
}

void TVSLogger::addSink(std::shared_ptr<LogSink> sink) {
  State& shared = state();
  const std::lock_guard lock(shared.sinkMutex);
  auto sinks = std::make_shared<Sinks>(*shared.sinks);
  sinks->push_back(std::make_shared<Sink>(std::move(sink)));
  shared.sinks = std::move(sinks);
}

void TVSLogger::removeSink(const std::shared_ptr<LogSink>& sink) {
  State& shared = state();
  Sinks removed;
  {
    const std::lock_guard lock(shared.sinkMutex);
    auto sinks = std::make_shared<Sinks>();
    for (const auto& entry : *shared.sinks)
      (entry->target == sink ? removed : *sinks).push_back(entry);
    shared.sinks = std::move(sinks);
  }
  for (const auto& entry : removed) {
    const std::lock_guard lock(entry->mutex);
    entry->target = nullptr;
  }
}

void TVSLogger::setMainThread() {
  state().mainThread.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

bool TVSLogger::isEnabled(std::string_view component, LogLevel level) {
  State& shared = state();
  const std::shared_lock lock(shared.levelMutex);
  int limit = kOtherLevel;
  if (const auto own = shared.levels.find(component); own != shared.levels.end()) {
    limit = own->second;
  } else if (shared.levelOfAll) {
    limit = *shared.levelOfAll;
  } else if (std::find(shared.persistentComponents.begin(), shared.persistentComponents.end(),
                       component) != shared.persistentComponents.end()) {
    limit = kPersistentLevel;
  }
  return std::max(limit, shared.minimumLevel) >= static_cast<int>(level);
}

void TVSLogger::write(std::string_view component, LogLevel level, std::string_view text) {
  LogLine line{level, std::string(component), threadTag()};
  line.text.reserve(line.text.size() + component.size() + text.size() + 16);
  line.text.append(" ").append(levelTag(level)).append(" #").append(component).append(" : ");
  line.text.append(text).append(" ");
  addRecentLine(line.text);
  if (insideSink) return;
  const auto sinks = state().currentSinks();
  const InsideSink inside;
  for (const auto& sink : *sinks) {
    const std::lock_guard lock(sink->mutex);
    if (sink->target) sink->target->write(line);
  }
}

std::vector<std::string> TVSLogger::recentLines() {
  const std::lock_guard lock(state().recentMutex);
  return state().recent.lines();
}

void TVSLogger::dumpRecentLines(void (*write)(const char* text, std::size_t size)) {
  state().recent.dump(write);
}
