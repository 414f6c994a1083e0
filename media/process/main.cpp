#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "media/engine/WarmUp.h"
#include "media/link/ProcessOptions.h"
#include "media/process/EngineServer.h"
#include "media/sandbox/Sandbox.h"
#include "media/support/PipelineDump.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/foundation/queues/WorkerThreads.h"
#include "startup/DeathReport.h"
#include "startup/Log.h"
#include "startup/MallocArenas.h"
#include "streaming/playback/StreamedItem.h"

namespace {

using media::ProcessOptions;

/// The process exits at most this many seconds after the box has gone, even if a library hangs.
constexpr unsigned kEndLimit = 2;
constexpr auto kWorkersEndLimit = std::chrono::milliseconds(1000);

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

void setUpLog(const ProcessOptions& options) {
  TVSLogger::initialize("tvvorlane-media", {TVSSystemLog});
  TVSLogger::addSink(std::make_shared<startup::StderrLog>());
  TVSLogger::setMainThread();
  if (options.logLevel) TVSLogger::setLevel(*options.logLevel);
  for (const auto& [component, level] : options.logComponents)
    TVSLogger::setLevel(component, level);
}

media::SandboxOptions sandboxOptions(const ProcessOptions& options) {
  media::SandboxOptions sandbox{.cacheFolder = options.cacheFolder,
                                .allowFileURLs = options.allowFileURLs,
                                .readable = options.readable,
                                .writable = options.writable};
  if (!options.pipelineDumpFolder.empty()) sandbox.writable.push_back(options.pipelineDumpFolder);
  return sandbox;
}

/// Has to be called before GStreamer is initialized and before the sandbox is entered.
void setUpPipelineDumps(const std::string& folder) {
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    TVSLogWarning(TVSSystemLog, "Pipelines are not dumped to %@: %@", folder, error.message());
  setenv(media::kPipelineDumpVariable, folder.c_str(), 1);
}

int run(const ProcessOptions& options, std::unique_ptr<media::Sandbox> sandbox) {
  platform::SystemClock clock;
  platform::MainQueue queue(clock, std::make_shared<platform::ConditionWaiter>(clock));
  queue.bindToCurrentThread();
  const auto streaming = streaming::Streaming::make({.cacheFolder = options.cacheFolder});
  media::warmUpMedia();
  const std::string limits =
      sandbox ? sandbox->enter().text : "Sandbox: none, media are played with all rights";
  if (options.logsVersions) {
    media::logMediaLibrary();
    TVSLogNotice(TVSSystemLog, "%@", limits);
  }
  streaming->warmUp();
  {
    media::EngineServer server(queue, clock,
                               {.controlSocket = ProcessOptions::kControlDescriptor,
                                .pictureSocket = ProcessOptions::kPictureDescriptor,
                                .engine = {.allowFileURLs = options.allowFileURLs,
                                           .preferredLanguages = options.languages,
                                           .streaming = streaming},
                                .ended = [&queue] {
                                  // SIGALRM ends the process, even if the main thread
                                  // hangs.
                                  alarm(kEndLimit);
                                  queue.stop();
                                }});
    if (!server.isLinked()) {
      TVSLogError(TVSSystemLog, "There is no thread for the link to the box");
      std::_Exit(1);
    }
    server.greet("1");
    queue.run();
  }
  queue.discard();
  platform::WorkerThreads::waitForAll(kWorkersEndLimit);
  // Without destructors: threads that still run may use static objects.
  std::fflush(nullptr);
  std::_Exit(0);
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  const auto options = media::parseProcessOptions({argv + (argc > 0 ? 1 : 0), argv + argc}, &error);
  if (!options || !isOpen(ProcessOptions::kControlDescriptor) ||
      !isOpen(ProcessOptions::kPictureDescriptor)) {
    std::fprintf(stderr, "tvvorlane-media: %s\n",
                 error.empty() ? "tvvorlane starts this program by itself" : error.c_str());
    return 2;
  }
  // The end of the link is only noticed when the socket is read. PR_SET_PDEATHSIG refers to the
  // thread that has forked this process: the box's main thread.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The sandbox forks, so it is created before large allocations.
  std::unique_ptr<media::Sandbox> sandbox;
  if (options->usesSandbox) sandbox = std::make_unique<media::Sandbox>(sandboxOptions(*options));
  startup::limitMallocArenas();
  startup::installDeathReport(startup::isStderrJournal());
  std::signal(SIGPIPE, SIG_IGN);
  // The box ends this process. A supervisor or a terminal sends these signals to both processes,
  // but the box still needs this one during its shutdown.
  std::signal(SIGTERM, SIG_IGN);
  std::signal(SIGINT, SIG_IGN);
  setUpLog(*options);
  setUpPipelineDumps(options->pipelineDumpFolder);
  return run(*options, std::move(sandbox));
}
