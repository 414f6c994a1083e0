#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "frames/vorlane-frames.h"
#include "tools/vorlanectl/Command.h"
#include "tools/vorlanectl/PictureSource.h"

namespace vorlanectl {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kConnectMilliseconds = 2000;
constexpr std::uint32_t kBuffers = 3;

volatile std::sig_atomic_t interrupted = 0;

/// The first Ctrl-C ends the presentation, the second one the process.
void catchInterrupt() {
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

struct CloseWriter {
  void operator()(vorlane_frames_writer* writer) const { vorlane_frames_close(writer); }
};
using Writer = std::unique_ptr<vorlane_frames_writer, CloseWriter>;

void checkFrames(int result) {
  if (result != VORLANE_FRAMES_OK)
    throw CallError(std::string("The layer: ") + vorlane_frames_text(result));
}

std::unique_ptr<PictureSource> sourceFor(const Arguments& arguments) {
  const auto file = arguments.text("--from");
  const auto size = arguments.text("--size");
  const auto rate = arguments.number("--fps");
  if (rate && !(*rate >= 1 && *rate <= 1000)) throw UsageError("--fps needs 1 to 1000");
  if (file) {
    if (size || arguments.has("--test-pattern"))
      throw UsageError("--from cannot be combined with --test-pattern or --size");
    auto source = openY4m(*file);
    if (rate) source->rate = *rate;
    if (!(source->rate >= 1 && source->rate <= 1000))
      throw UsageError("the file has no frame rate: --fps is required");
    return source;
  }
  unsigned width = 1920;
  unsigned height = 1080;
  char rest = 0;
  if (size && std::sscanf(size->c_str(), "%5ux%5u%c", &width, &height, &rest) != 2)
    throw UsageError("--size needs WIDTHxHEIGHT, not \"" + *size + "\"");
  return makeTestPattern(width, height, rate.value_or(60));
}

/// Starts the presentation and returns the path of its layer.
std::string startPresentation(Connection& box, const Json& params, int& exitStatus) {
  Answer answer =
      box.call("StartPresentation", [&](sd_bus_message* call) { appendDictionary(call, params); });
  exitStatus = report(answer.readStatus());
  const Json out = answer.read();
  if (exitStatus != kSuccess) return {};
  std::string path = out.value("presentationLayer", std::string());
  if (path.empty()) {
    std::fprintf(stderr, "vorlanectl: the box supports no layers\n");
    exitStatus = kFailure;
  }
  return path;
}

int stopPresentation(Connection& box, const Json& params) {
  Answer answer =
      box.call("StopPresentation", [&](sd_bus_message* call) { appendDictionary(call, params); });
  return report(answer.readStatus());
}

/// Sends frames and collects their results.
class Mirror {
 public:
  Mirror(Connection& box, PictureSource& source, const std::string& layer, std::uint32_t session)
      : _box(box), _source(source), _session(session) {
    vorlane_frames_writer* writer = nullptr;
    checkFrames(vorlane_frames_connect(layer.c_str(), kConnectMilliseconds, &writer));
    _writer.reset(writer);
    checkFrames(
        vorlane_frames_configure(writer, source.format, source.width, source.height, kBuffers));
    vorlane_frames_on_release(writer, noteRelease, this);
  }

  /// Runs until the pictures end, the time is over, the user ends the presentation, or Ctrl-C.
  void run(std::optional<double> seconds) {
    const auto start = SteadyClock::now();
    const std::chrono::duration<double> interval(1 / _source.rate);
    for (std::uint64_t number = 0; interrupted == 0; ++number) {
      const std::chrono::duration<double> offset = interval * static_cast<double>(number);
      if (seconds && offset.count() >= *seconds) return;
      if (!_waitUntil(start + std::chrono::duration_cast<SteadyClock::duration>(offset))) return;
      if (!_sendOne(offset)) return;
    }
  }

  void report() const {
    const vorlane_frames_statistics count = vorlane_frames_count(_writer.get());
    const std::uint64_t undrawn = count.skipped + count.refused;
    std::printf("%" PRIu64 " frames sent, %" PRIu64 " dropped: %" PRIu64
                " without a free buffer, %" PRIu64 " not drawn\n",
                count.sent, _unsent + undrawn, _unsent, undrawn);
    print("from handed over to drawn", _untilShown);
    print("from handed over to released", _untilReleased);
  }

 private:
  static void noteRelease(const vorlane_frames_release* release, void* context) {
    auto& self = *static_cast<Mirror*>(context);
    const auto since = [&](std::int64_t time) {
      return static_cast<double>(time - release->sent_ns) / 1e6;
    };
    self._untilReleased.push_back(since(release->released_ns));
    if (release->outcome == VORLANE_FRAMES_SHOWN)
      self._untilShown.push_back(since(release->shown_ns));
  }

  static void print(const char* what, std::vector<double> times) {
    if (times.empty()) return;
    std::sort(times.begin(), times.end());
    double sum = 0;
    for (const double time : times) sum += time;
    const auto at = [&](double part) {
      return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    std::printf("%s: average %.2f ms, 99 %% within %.2f ms, longest %.2f ms\n", what,
                sum / static_cast<double>(times.size()), at(0.99), times.back());
  }

  /// Returns false if the presentation has ended.
  bool _waitUntil(SteadyClock::time_point due) {
    const auto goesOn = [&](const Event& event) {
      if (event.name != "userStop") return true;
      return event.info.value("sessionID", Json(_session)) != _session;
    };
    const auto rest = due - SteadyClock::now();
    const auto whole = std::chrono::duration_cast<std::chrono::milliseconds>(rest);
    if (_box.waitForEvents(goesOn, std::max(whole, std::chrono::milliseconds(0)))) return false;
    // Waits for the rest below one millisecond.
    const auto wake = std::chrono::duration_cast<std::chrono::nanoseconds>(due.time_since_epoch());
    const timespec time{static_cast<time_t>(wake.count() / 1'000'000'000),
                        static_cast<long>(wake.count() % 1'000'000'000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
    return true;
  }

  /// Returns false if there are no more pictures or the box has disconnected.
  bool _sendOne(std::chrono::duration<double> offset) {
    vorlane_frames_buffer buffer;
    const int acquired = vorlane_frames_acquire(_writer.get(), 0, &buffer);
    if (acquired == VORLANE_FRAMES_TIMED_OUT) {
      ++_unsent;
      return _source.skip();
    }
    checkFrames(acquired);
    if (!_source.fill(buffer)) return false;
    const vorlane_frames_picture picture{std::llround(offset.count() * 1e9), _source.flags, {}};
    checkFrames(vorlane_frames_send(_writer.get(), &buffer, &picture));
    return true;
  }

  Connection& _box;
  PictureSource& _source;
  const std::uint32_t _session;
  Writer _writer;
  std::uint64_t _unsent = 0;
  std::vector<double> _untilShown;  // ms
  std::vector<double> _untilReleased;
};

struct Drawing {
  double frames = 0;
  double average = 0;
  double longest = 0;
  double dropped = 0;
  double repeated = 0;
  double judder = 0;  // of the last thousand pictures, ms
  double judder99 = 0;
};

Drawing drawingOf(Connection& box) {
  const Json status = box.callBox("Status").read();
  const Json screen = status.value("screen", Json::object());
  return {screen.value("frames", 0.0),
          screen.value("averageMilliseconds", 0.0),
          screen.value("longestMilliseconds", 0.0),
          screen.value("dropped", 0.0),
          screen.value("repeated", 0.0),
          screen.value("judderMilliseconds", 0.0),
          screen.value("judder99Milliseconds", 0.0)};
}

int mirror(Connection& box, const Arguments& arguments) {
  const auto seconds = arguments.number("--seconds");
  if (seconds && *seconds < 0) throw UsageError("--seconds must not be negative");
  const auto source = sourceFor(arguments);
  const std::uint32_t session = newSessionID(arguments);
  const Json params = {{"sessionID", session}};
  box.listen();
  int status = kSuccess;
  const std::string layer = startPresentation(box, params, status);
  if (layer.empty()) return status;
  std::printf("session %u\n", session);
  std::fflush(stdout);

  catchInterrupt();
  const Drawing before = drawingOf(box);
  std::string failure;
  try {
    Mirror frames(box, *source, layer, session);
    try {
      frames.run(seconds);
    } catch (const CallError& error) {
      failure = error.what();
    }
    frames.report();
  } catch (const CallError& error) {
    failure = error.what();
  }
  const Drawing after = drawingOf(box);
  if (const double drawn = after.frames - before.frames; drawn > 0) {
    std::printf("the screen drew %.0f times: average %.2f ms, longest so far %.2f ms\n", drawn,
                (after.average * after.frames - before.average * before.frames) / drawn,
                after.longest);
    std::printf("judder: average %.2f ms, 99 %% within %.2f ms; %.0f dropped, %.0f repeated\n",
                after.judder, after.judder99, after.dropped - before.dropped,
                after.repeated - before.repeated);
  }
  status = stopPresentation(box, params);
  if (!failure.empty()) throw CallError(failure);
  return status;
}

int progress(Connection& box, const Arguments& arguments) {
  const std::string& word = arguments.words()[0];
  if (word != "on" && word != "off")
    throw UsageError("progress is on or off, not \"" + word + "\"");
  return report(box.call(word == "on" ? "ShowProgress" : "HideProgress").readStatus());
}

}  // namespace

std::vector<Command> mirrorCommands() {
  return {
      {"mirror",
       "",
       "mirrors a test pattern or a file, and prints statistics\n"
       "Ends after the last picture, or with the menu button or Ctrl-C.",
       {{"--test-pattern", "", "sends a moving test pattern; default without --from"},
        {"--from", "FILE", "sends a Y4M file in 4:2:0; - reads stdin"},
        {"--size", "WxH", "size of the test pattern; default: 1920x1080"},
        {"--fps", "N", "pictures per second; default: that of the file, or 60"},
        {"--seconds", "S", "ends after this time"},
        {"--session", "N", "session ID; default: generated"}},
       0,
       0,
       mirror},
      {"progress",
       "on|off",
       "shows or hides a spinner instead of the mirrored picture",
       {},
       1,
       1,
       progress},
  };
}

}  // namespace vorlanectl
