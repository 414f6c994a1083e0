#include "box/engine/MediaProcesses.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace box {
namespace {

constexpr const char* kProgramName = "tvvorlane-media";

}  // namespace

MediaProcesses::MediaProcesses(platform::MainQueue& queue, Setup setup)
    : _queue(queue), _setup(std::move(setup)) {}

std::string MediaProcesses::defaultProgram() {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto sibling = self.parent_path() / kProgramName;
  if (!error && std::filesystem::exists(sibling, error)) return sibling;
  return self.parent_path().parent_path() / "libexec" / "tvvorlane" / kProgramName;
}

std::unique_ptr<MediaProcess> MediaProcesses::_start() {
  media::ProcessOptions options = _setup.options;
  options.logsVersions = std::exchange(_isFirst, false);
  return MediaProcess::start(_queue, {.program = _setup.program,
                                      .arguments = media::argumentsOf(options),
                                      .answerLimit = _setup.answerLimit,
                                      .startLimit = _setup.startLimit});
}

void MediaProcesses::warmUp() {
  if (!_spare && !_closed) _startSpare();
}

void MediaProcesses::_startSpare() {
  _spare = _start();
  if (!_spare) return;
  // Replace a dead spare process only in take(): a new one might die too, in an endless loop.
  _spare->onDeath([this] { _spare.reset(); });
}

std::unique_ptr<MediaProcess> MediaProcesses::take() {
  if (_closed) return nullptr;
  auto process = _spare && !_spare->isDead() ? std::move(_spare) : _start();
  _spare.reset();
  _spareTimer = _queue.after(_setup.spareDelay, [this] { warmUp(); });
  return process;
}

void MediaProcesses::close() {
  _closed = true;
  _spareTimer.reset();
  _spare.reset();
}

}  // namespace box
