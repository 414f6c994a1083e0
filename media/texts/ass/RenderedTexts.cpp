#include "media/texts/ass/RenderedTexts.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using SteadyClock = std::chrono::steady_clock;
using Source = SubtitleCues::Source;

constexpr std::size_t kInputBytes = 2 * AssRenderer::kDocumentBytes;
constexpr std::size_t kFontLimit = 128;
constexpr std::size_t kFontBytes = std::size_t{48} << 20;
constexpr auto kEndTimeout = std::chrono::seconds(1);
constexpr auto kSettleTimeout = std::chrono::minutes(1);
/// How long a rendering of animated events is shown if no other one follows.
constexpr double kAnimationSeconds = 1;
constexpr double kUnlimitedSeconds = 1e12;

using AttachedFonts = std::vector<std::shared_ptr<const AttachedFont>>;

}  // namespace

struct RenderedTexts::Input {
  enum class Kind { Header, Document, Remove, Event };
  Kind kind = Kind::Event;
  Source source = Source::Media;
  std::string text{};
  double start = 0;
  double duration = 0;
};

struct RenderedTexts::State {
  /// The times for which the images of a rendering are right.
  struct ValidRange {
    double from = 0;
    double until = 0;
    bool contains(double seconds) const { return seconds >= from && seconds < until; }
  };

  State(std::shared_ptr<SubtitleCues> texts, std::function<void()> whenChanged)
      : cues(std::move(texts)), changed(std::move(whenChanged)) {}

  void invalidate() {
    valid = {};
    hasWork = true;
    wakeup.notify_all();
  }

  const std::shared_ptr<SubtitleCues> cues;
  const std::function<void()> changed;

  std::mutex mutex;
  std::condition_variable wakeup;
  std::thread thread;  // started with the first document
  bool hasThread = false;
  bool stopping = false;
  bool ended = false;
  bool hasWork = false;
  bool isIdle = false;
  int renderings = 0;
  std::deque<Input> inputs;
  std::size_t inputBytes = 0;
  AttachedFonts fonts;
  std::size_t fontBytes = 0;
  Source shown = Source::None;
  bool wasSwitched = false;  // `shown` has changed, so the cues have no renderings
  SubtitledPicture picture;
  std::optional<double> wanted;
  ValidRange valid;  // of the last rendering
};

/// Data of the thread: values that it moves out of the state, and its own documents.
struct RenderedTexts::Work {
  struct Document {
    AssRenderer renderer;
    std::size_t fonts = 0;  ///< number of fonts that `renderer` has
    std::optional<SubtitledPicture> picture;
  };

  std::deque<Input> inputs;
  AttachedFonts fonts;
  Source shown = Source::None;
  SubtitledPicture picture;
  std::optional<double> wanted;

  std::array<std::unique_ptr<Document>, 4> documents;  // by source
  /// The source and the range of the last rendering that was added.
  Source addedSource = Source::None;
  double addedFrom = 0;
  double addedUntil = 0;

  std::unique_ptr<Document>& document(Source source) {
    return documents[static_cast<std::size_t>(source)];
  }

  void takeFrom(State& state) {
    inputs = std::exchange(state.inputs, {});
    state.inputBytes = 0;
    fonts = state.fonts;
    shown = state.shown;
    picture = state.picture;
    wanted = state.wanted;
    state.hasWork = false;
    if (std::exchange(state.wasSwitched, false)) addedSource = Source::None;
  }

  /// Returns whether the shown document has changed.
  bool applyInputs() {
    bool changed = false;
    for (const Input& each : std::exchange(inputs, {})) {
      auto& of = document(each.source);
      if (each.kind == Input::Kind::Event) {
        if (!of || !of->renderer.add(each.start, each.duration, each.text)) continue;
      } else {
        of = each.kind == Input::Kind::Remove ? nullptr : std::make_unique<Document>();
        if (each.kind == Input::Kind::Header) of->renderer.readHeader(each.text);
        if (each.kind == Input::Kind::Document) of->renderer.readDocument(each.text);
        if (each.source == addedSource) addedSource = Source::None;
      }
      changed = changed || each.source == shown;
    }
    return changed;
  }

  /// Returns nullopt if no document is shown.
  std::optional<AssRenderer::Rendering> render() {
    const auto& of = document(shown);
    if (!of || picture.width == 0) return std::nullopt;
    for (; of->fonts < fonts.size(); ++of->fonts) of->renderer.addFont(*fonts[of->fonts]);
    if (std::exchange(of->picture, picture) != picture) {
      of->renderer.setPicture(picture);
      addedSource = Source::None;
    }
    return of->renderer.render(*wanted, !isCovered());
  }

  bool isCovered() const {
    return addedSource == shown && *wanted >= addedFrom && *wanted < addedUntil;
  }

  /// Returns the bytes of the images.
  std::size_t addTo(const State& state, AssRenderer::Rendering rendering) {
    if (isCovered() && !rendering.hasChanged) return 0;
    addedSource = shown;
    addedFrom = rendering.from;
    addedUntil = rendering.isAnimated
                     ? std::min(rendering.until, rendering.from + kAnimationSeconds)
                     : rendering.until;
    SubtitleCue cue;
    cue.start = addedFrom;
    cue.duration = addedUntil - addedFrom;
    cue.images = std::move(rendering.images);
    const std::size_t bytes = imageBytesOf(cue);
    state.cues->addRendering(shown, std::move(cue));
    state.changed();
    return bytes;
  }
};

RenderedTexts::RenderedTexts(std::shared_ptr<SubtitleCues> cues, std::function<void()> changed)
    : _state(std::make_shared<State>(std::move(cues), std::move(changed))) {}

RenderedTexts::~RenderedTexts() {
  std::unique_lock lock(_state->mutex);
  _state->stopping = true;
  _state->wakeup.notify_all();
  if (!_state->hasThread) return;
  _state->wakeup.wait_for(lock, kEndTimeout, [this] { return _state->ended; });
  std::thread thread = std::move(_state->thread);
  const bool ended = _state->ended;
  lock.unlock();
  // libass cannot cancel a rendering. The thread ends after it.
  ended ? thread.join() : thread.detach();
}

void RenderedTexts::_put(Input input) {
  State& state = *_state;
  std::unique_lock lock(state.mutex);
  const std::size_t bytes = input.text.size() + sizeof input;
  if (input.kind == Input::Kind::Event) {
    if (!state.hasThread || state.inputBytes + bytes > kInputBytes) return;
  } else {
    std::erase_if(state.inputs, [&](const Input& each) { return each.source == input.source; });
    state.inputBytes = 0;
    for (const Input& each : state.inputs) state.inputBytes += each.text.size() + sizeof each;
    if (!state.hasThread && input.kind == Input::Kind::Remove) return;
  }
  state.inputBytes += bytes;
  state.inputs.push_back(std::move(input));
  state.hasWork = true;
  state.wakeup.notify_all();
  if (state.hasThread) return;
  try {
    state.thread = std::thread([shared = _state] { _run(*shared); });
    state.hasThread = true;
  } catch (const std::system_error&) {
    lock.unlock();
    TVSLogError(TVSSystemLog, "No thread can be started for styled subtitles");
  }
}

void RenderedTexts::begin(std::string header) {
  _put({.kind = Input::Kind::Header, .source = Source::Media, .text = std::move(header)});
}

void RenderedTexts::add(double start, double duration, std::string event) {
  _put({.kind = Input::Kind::Event,
        .source = Source::Media,
        .text = std::move(event),
        .start = start,
        .duration = duration});
}

void RenderedTexts::setDocument(Source source, std::string document) {
  _put({.kind = Input::Kind::Document, .source = source, .text = std::move(document)});
}

void RenderedTexts::remove(Source source) { _put({.kind = Input::Kind::Remove, .source = source}); }

void RenderedTexts::addFont(AttachedFont font) {
  const std::lock_guard lock(_state->mutex);
  State& state = *_state;
  const bool isKnown = std::any_of(state.fonts.begin(), state.fonts.end(), [&](const auto& each) {
    return each->name == font.name && each->bytes.size() == font.bytes.size();
  });
  if (isKnown || state.fonts.size() == kFontLimit ||
      state.fontBytes + font.bytes.size() > kFontBytes)
    return;
  state.fontBytes += font.bytes.size();
  state.fonts.push_back(std::make_shared<const AttachedFont>(std::move(font)));
  state.invalidate();
}

void RenderedTexts::show(Source source) {
  const std::lock_guard lock(_state->mutex);
  if (std::exchange(_state->shown, source) == source) return;
  _state->wasSwitched = true;
  _state->invalidate();
}

void RenderedTexts::setPicture(const SubtitledPicture& picture) {
  const std::lock_guard lock(_state->mutex);
  if (std::exchange(_state->picture, picture) != picture) _state->invalidate();
}

void RenderedTexts::renderAt(double seconds) {
  const std::lock_guard lock(_state->mutex);
  _state->wanted = seconds;
  if (_state->shown == Source::None || _state->valid.contains(seconds)) return;
  _state->hasWork = true;
  _state->wakeup.notify_all();
}

int RenderedTexts::settledRenderings() const {
  std::unique_lock lock(_state->mutex);
  _state->wakeup.wait_for(lock, kSettleTimeout, [this] {
    return !_state->hasThread || _state->ended || (_state->isIdle && !_state->hasWork);
  });
  return _state->renderings;
}

void RenderedTexts::_run(State& state) {
  Work work;
  std::unique_lock lock(state.mutex);
  while (true) {
    state.isIdle = true;
    state.wakeup.notify_all();
    state.wakeup.wait(lock, [&] { return state.stopping || state.hasWork; });
    state.isIdle = false;
    if (state.stopping) break;
    work.takeFrom(state);
    lock.unlock();
    const auto begin = SteadyClock::now();
    const bool hasChanged = work.applyInputs();
    lock.lock();
    if (hasChanged) state.valid = {};
    if (!work.wanted || state.valid.contains(*work.wanted)) continue;
    ++state.renderings;
    lock.unlock();
    auto rendering = work.render();
    State::ValidRange valid;  // empty while events are animated
    if (!rendering)
      valid = {-kUnlimitedSeconds, kUnlimitedSeconds};
    else if (!rendering->isAnimated)
      valid = {rendering->from, rendering->until};
    const std::size_t bytes = rendering ? work.addTo(state, *std::move(rendering)) : 0;
    const SteadyClock::duration busy = SteadyClock::now() - begin;
    const auto sending = std::chrono::duration_cast<SteadyClock::duration>(
        std::chrono::duration<double>(static_cast<double>(bytes) / kBytesPerSecond));
    lock.lock();
    // Otherwise the rendering may be outdated already.
    if (state.shown == work.shown && state.picture == work.picture &&
        state.fonts.size() == work.fonts.size())
      state.valid = valid;
    state.wakeup.wait_for(lock, std::max(busy, sending), [&] { return state.stopping; });
  }
  lock.unlock();
  work = {};
  lock.lock();
  state.ended = true;
  state.wakeup.notify_all();
}

}  // namespace media
