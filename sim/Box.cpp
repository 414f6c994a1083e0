#include "sim/Box.h"

#include <algorithm>

#include "platform/foundation/log/TVSLogger.h"

namespace sim {

Box::Box(BoxOptions options)
    : _logLevel(options.logLevel),
      _log(std::make_shared<LogRecorder>()),
      _mediaLibrary(_makeMediaLibrary()) {
  TVSLogger::initialize("quorin.tvvorlane", {});
  TVSLogger::setLevel(_logLevel);
  TVSLogger::setMainThread();
  TVSLogger::addSink(_log);
  _services.receiverServiceClient.setRegistrationHandler([this] {
    _services.journal.add("receiverServiceClient.setDelegate()");
    _runner.watch(_services.receiverServiceClient.queue());
  });
  setCurrent(this);
}

Box::~Box() {
  _application = {};
  releaseSharedInstances();
  // While this box is still the current platform, because the last events use it.
  _runner.endReceiverQueue();
  _services.receiverServiceClient.releaseQueue();
  // Pending tasks may hold sessions and controllers, which need the services destroyed next.
  mainQueue().discard();
  setCurrent(nullptr);
  TVSLogger::removeSink(_log);
}

bool Box::launch(platform::Application application) {
  _application = std::move(application);
  // Set again, because main() has initialized the logger since.
  TVSLogger::setLevel(_logLevel);
  _viewServiceHost.setRootViewControllerFactory(_application.makeRootViewController);
  const bool launched = _application.delegate->applicationDidFinishLaunching({});
  run();
  return launched;
}

int Box::run(platform::Application application) {
  if (!launch(std::move(application))) return 1;
  terminate();
  return 0;
}

void Box::terminate() {
  _application.delegate->applicationWillTerminate();
  run();
}

std::vector<std::string> Box::log() const {
  std::vector<std::string> texts;
  for (auto& line : _log->lines()) texts.push_back(std::move(line.text));
  return texts;
}

std::size_t Box::logCount(std::string_view text) const {
  const auto lines = log();
  const auto holds = [&](const std::string& line) { return line.find(text) != std::string::npos; };
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), holds));
}

std::optional<std::string> Box::logLine(std::string_view text) const {
  for (auto& line : log()) {
    if (line.find(text) != std::string::npos) return line;
  }
  return std::nullopt;
}

}  // namespace sim
