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

std::string MediaProcesses::besideThisProgram() {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto beside = self.parent_path() / kProgramName;
  if (!error && std::filesystem::exists(beside, error)) return beside;
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
  if (!_spare && !_closed) _makeSpare();
}

void MediaProcesses::_makeSpare() {
  _spare = _start();
  if (!_spare) return;
  // A spare process that dies is replaced when a process is needed: a new one may die too.
  _spare->onDeath([this] { _spare.reset(); });
}

std::unique_ptr<MediaProcess> MediaProcesses::take() {
  if (_closed) return nullptr;
  auto process = _spare && !_spare->isDead() ? std::move(_spare) : _start();
  _spare.reset();
  _making = _queue.after(_setup.spareDelay, [this] { warmUp(); });
  return process;
}

void MediaProcesses::close() {
  _closed = true;
  _making.reset();
  _spare.reset();
}

}  // namespace box
