#include "media/texts/ass/AssRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include <ass/ass.h>

#include "media/texts/TextLines.h"
#include "media/texts/ass/AlphaBitmaps.h"
#include "media/texts/ass/AssCost.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using Milliseconds = long long;

constexpr Milliseconds kForever = Milliseconds{1000} * 1'000'000'000;
constexpr int kGlyphCache = 4000;
constexpr int kBitmapCacheMegabytes = 32;
constexpr double kSecondsLimit = 1e9;
/// Errors of libass have levels 0 and 1.
constexpr int kLoggedLevel = 1;

void logMessage(int level, const char* format, va_list arguments, void*) {
  if (level > kLoggedLevel) return;
  char text[200];
  std::vsnprintf(text, sizeof text, format, arguments);
  TVSLogNotice(TVSSystemLog, "libass: %@", text);
}

Milliseconds millisecondsOf(double seconds) {
  return std::llround(1000 * std::clamp(seconds, -kSecondsLimit, kSecondsLimit));
}

/// The first time that rounds up to `time`.
double secondsAt(Milliseconds time) { return (static_cast<double>(time) - 0.5) / 1000; }

/// Whether the look of an event depends on the time. Rare false positives only cost time.
bool isAnimated(const ASS_Event& event) {
  if (event.Effect && *event.Effect) return true;
  std::string_view text(event.Text ? event.Text : "");
  for (std::size_t at = text.find('\\'); at != std::string_view::npos;
       at = text.find('\\', at + 1)) {
    std::string_view tag = text.substr(at + 1);
    tag.remove_prefix(std::min(tag.find_first_not_of(' '), tag.size()));
    if (tag.starts_with("t(") || tag.starts_with("t (") || tag.starts_with("move") ||
        tag.starts_with("fad") || tag.starts_with('k') || tag.starts_with('K'))
      return true;
  }
  return false;
}

AssLook lookOf(const ASS_Style& style) {
  return {.size = std::abs(style.FontSize),
          .scaleX = std::abs(style.ScaleX),
          .scaleY = std::abs(style.ScaleY),
          .spacing = std::abs(style.Spacing),
          .border = std::abs(style.Outline),
          .blur = std::abs(style.Blur),
          .isRotated = style.Angle != 0};
}

/// Limits the events that are visible at the same time.
class VisibleLimits {
 public:
  VisibleLimits(const ASS_Track& track, double scale) : _track(track), _scale(scale) {}

  /// Counts an event. Returns false if it exceeds the limits together with those before it.
  bool add(const ASS_Event& event) {
    const std::string_view text(event.Text ? event.Text : "");
    if (_count == AssRenderer::kVisibleLimit || text.size() > AssRenderer::kVisibleBytes - _bytes)
      return false;
    const double pixels = estimatedPixels(
        text, [&](std::string_view name) { return _look(event.Style, name); }, _scale);
    if (_pixels + pixels > AssRenderer::kVisiblePixels) return false;
    ++_count;
    _bytes += text.size();
    _pixels += pixels;
    return true;
  }

 private:
  AssLook _look(int ofEvent, std::string_view name) const {
    // As libass does: the last style with the name.
    for (int index = name.empty() ? 0 : _track.n_styles; index-- > 0;)
      if (_track.styles[index].Name && name == _track.styles[index].Name)
        return lookOf(_track.styles[index]);
    return ofEvent >= 0 && ofEvent < _track.n_styles ? lookOf(_track.styles[ofEvent]) : AssLook();
  }

  const ASS_Track& _track;
  const double _scale;
  int _count = 0;
  std::size_t _bytes = 0;
  double _pixels = 0;
};

/// Truncates a document before the line that is one too many of those that begin with `mark`.
std::string_view within(std::string_view document, std::string_view mark, int limit) {
  int count = 0;
  for (std::size_t at = document.find(mark); at != std::string_view::npos;
       at = document.find(mark, at + mark.size())) {
    const bool beginsLine = at == 0 || document[at - 1] == '\n' || document[at - 1] == '\r';
    if (beginsLine && ++count > limit) return document.substr(0, at);
  }
  return document;
}

std::string_view withinLimits(std::string_view document) {
  document = within(document, "Style:", AssRenderer::kStyleLimit);
  return within(document, "Dialogue:", AssRenderer::kEventLimit);
}

}  // namespace

struct AssRenderer::Library {
  Library() : library(ass_library_init()) {
    if (!library) return;
    ass_set_message_cb(library, logMessage, nullptr);
    ass_set_extract_fonts(library, 1);
    renderer = ass_renderer_init(library);
    track = ass_new_track(library);
    if (renderer) ass_set_cache_limits(renderer, kGlyphCache, kBitmapCacheMegabytes);
  }
  ~Library() {
    if (track) ass_free_track(track);
    if (renderer) ass_renderer_done(renderer);
    if (library) ass_library_done(library);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool isComplete() const { return renderer && track; }

  /// Hides visible events that exceed a limit, and sets the range and isAnimated.
  void boundVisible(Milliseconds now, double scale, Rendering& rendering) const {
    Milliseconds from = 0;
    Milliseconds until = kForever;
    VisibleLimits visible(*track, scale);
    for (int index = 0; index < track->n_events; ++index) {
      ASS_Event& event = track->events[index];
      const Milliseconds begin = event.Start;
      const Milliseconds end = begin + std::clamp<Milliseconds>(event.Duration, 0, kForever);
      if (end <= now) {
        from = std::max(from, end);
      } else if (begin > now) {
        until = std::min(until, begin);
      } else {
        if (!visible.add(event)) {
          event.Duration = 0;
          continue;
        }
        from = std::max(from, begin);
        until = std::min(until, end);
        rendering.isAnimated = rendering.isAnimated || isAnimated(event);
      }
    }
    rendering.from = secondsAt(rendering.isAnimated ? now : from);
    rendering.until = secondsAt(until);
  }

  ASS_Library* const library;
  ASS_Renderer* renderer = nullptr;
  ASS_Track* track = nullptr;
};

bool isAss(std::string_view text) {
  text = withoutByteOrderMark(text);
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  constexpr std::string_view kHead = "[script info]";
  return text.size() >= kHead.size() &&
         std::equal(kHead.begin(), kHead.end(), text.begin(), [](char expected, char each) {
           return expected == (each >= 'A' && each <= 'Z' ? each - 'A' + 'a' : each);
         });
}

AssRenderer::AssRenderer() : _library(std::make_unique<Library>()) {}
AssRenderer::~AssRenderer() = default;

void AssRenderer::readHeader(std::string_view header) {
  std::string copy(withinLimits(header));
  _bytes += copy.size();
  if (_library->isComplete() && copy.size() <= kDocumentBytes)
    ass_process_codec_private(_library->track, copy.data(), static_cast<int>(copy.size()));
}

void AssRenderer::readDocument(std::string_view document) {
  if (!_library->isComplete() || document.size() > kDocumentBytes) return;
  std::string copy(withinLimits(document));
  _bytes += copy.size();
  ASS_Track* const track = ass_read_memory(_library->library, copy.data(), copy.size(), nullptr);
  if (!track) return;
  ass_free_track(_library->track);
  _library->track = track;
}

void AssRenderer::addFont(const AttachedFont& font) {
  if (!_library->isComplete()) return;
  ass_add_font(_library->library, font.name.c_str(), font.bytes.data(),
               static_cast<int>(font.bytes.size()));
  _hasNewFonts = true;
}

bool AssRenderer::add(double start, double duration, std::string_view event) {
  if (!_library->isComplete() || event.size() > kEventBytes) return false;
  ASS_Track* const track = _library->track;
  if (_bytes + event.size() > kDocumentBytes || track->n_events >= kEventLimit) {
    // libass cannot remove single events of an embedded stream.
    ass_flush_events(track);
    _bytes = 0;
  }
  const int known = track->n_events;
  std::string copy(event);
  ass_process_chunk(track, copy.data(), static_cast<int>(copy.size()), millisecondsOf(start),
                    millisecondsOf(duration));
  if (track->n_events == known) return false;
  _bytes += event.size() + sizeof(ASS_Event);
  return true;
}

void AssRenderer::setPicture(const SubtitledPicture& picture) {
  if (!_library->isComplete() || picture.width <= 0 || picture.height <= 0) return;
  const double aspect = std::clamp(picture.aspect, 0.05, 20.0);
  const double width = std::min<double>(kCanvasWidth, kCanvasHeight * aspect);
  _canvasWidth = std::max(1, static_cast<int>(std::lround(width)));
  _canvasHeight = std::max(1, static_cast<int>(std::lround(width / aspect)));
  _pictureWidth = picture.width;
  _pictureHeight = picture.height;
  ass_set_storage_size(_library->renderer, picture.width, picture.height);
  ass_set_frame_size(_library->renderer, _canvasWidth, _canvasHeight);
}

/// The largest scale that libass may use; it depends on the version.
double AssRenderer::_scale() const {
  constexpr int kDefaultWidth = 384;
  constexpr int kDefaultHeight = 288;
  const ASS_Track& track = *_library->track;
  const auto ratio = [](int canvas, int script, int byDefault) {
    return static_cast<double>(canvas) / (script > 0 ? script : byDefault);
  };
  return std::max({ratio(_canvasWidth, track.PlayResX, kDefaultWidth),
                   ratio(_canvasHeight, track.PlayResY, kDefaultHeight),
                   ratio(_canvasWidth, track.LayoutResX, _canvasWidth),
                   ratio(_canvasHeight, track.LayoutResY, _canvasHeight),
                   ratio(_canvasWidth, _pictureWidth, _canvasWidth),
                   ratio(_canvasHeight, _pictureHeight, _canvasHeight)});
}

/// Reads the configuration of Fontconfig, so it is done only when something is rendered.
void AssRenderer::_findFonts() {
  if (!std::exchange(_hasNewFonts, false)) return;
  ass_set_fonts(_library->renderer, nullptr, "sans-serif", ASS_FONTPROVIDER_AUTODETECT, nullptr, 1);
}

AssRenderer::Rendering AssRenderer::render(double seconds, bool always) {
  Rendering rendering;
  const Milliseconds now = millisecondsOf(seconds);
  if (!_library->isComplete() || _canvasWidth == 0) return rendering;
  _library->boundVisible(now, _scale(), rendering);
  _findFonts();
  int change = 0;
  const ASS_Image* image = ass_render_frame(_library->renderer, _library->track, now, &change);
  rendering.hasChanged = change != 0;
  if (!rendering.hasChanged && !always) return rendering;
  std::vector<AlphaBitmap> bitmaps;
  for (; image; image = image->next)
    bitmaps.push_back({.x = image->dst_x,
                       .y = image->dst_y,
                       .width = image->w,
                       .height = image->h,
                       .stride = static_cast<std::size_t>(std::max(0, image->stride)),
                       .alpha = image->bitmap,
                       // libass has RGBA, with 0 for opaque.
                       .color = (255 - (image->color & 0xff)) << 24 | image->color >> 8});
  rendering.images = blend(bitmaps, _canvasWidth, _canvasHeight);
  return rendering;
}

}  // namespace media
