#include "box/screen/elements/SceneRenderer.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Elements.h"
#include "media/output/FrameLayer.h"

namespace box {

using platform::Rect;
using platform::Scene;
using platform::SceneNode;

namespace {

/// Where a layer's pictures come from; null when it is none of this box.
std::shared_ptr<media::VideoFrames> framesOf(const platform::LayerElement& element) {
  const auto* layer = dynamic_cast<const media::FrameLayer*>(element.layer.get());
  return layer ? layer->frames() : nullptr;
}

template <typename Visit>
void visitVideo(const platform::SceneElement& element, const Visit& visit) {
  if (const auto* video = std::get_if<platform::VideoElement>(&element)) visit(video->output);
  if (const auto* layer = std::get_if<platform::LayerElement>(&element)) visit(framesOf(*layer));
}

template <typename Visit>
void visitVideos(const std::vector<SceneNode>& nodes, const Visit& visit) {
  for (const SceneNode& node : nodes) {
    for (const auto& element : node.elements) visitVideo(element, visit);
    visitVideos(node.children, visit);
  }
}

/// Beneath a blur only these are drawn. Words and controls would become patches under what is
/// written on the blur.
bool isPicture(const platform::SceneElement& element) {
  return std::holds_alternative<platform::FillElement>(element) ||
         std::holds_alternative<platform::VideoElement>(element) ||
         std::holds_alternative<platform::LayerElement>(element) ||
         std::holds_alternative<platform::BlurElement>(element);
}

}  // namespace

/// One walk over a scene, back to front, up to an element or the end. What an opaque element over
/// the whole screen hides is left out.
class SceneRenderer::Walk {
 public:
  Walk(SceneRenderer& renderer, const Scene& scene, platform::TimePoint now, const void* end)
      : _renderer(renderer), _canvas(renderer._canvas), _scene(scene), _now(now), _end(end) {}

  void run() {
    for (const SceneNode& node : _scene.nodes) {
      if (!_findCover(node, 1)) break;
    }
    _hidden = _cover != nullptr;
    for (const SceneNode& node : _scene.nodes) {
      if (!_paint(node, 1)) break;
    }
    _drawSubtitles();
  }
  bool animates() const { return _animates; }

  /// What run() would draw, without drawing it.
  std::vector<Drawn> list() {
    std::vector<Drawn> drawn;
    _list = &drawn;
    run();
    _list = nullptr;
    return drawn;
  }

 private:
  float _alpha(const SceneNode& node, float parentAlpha) const {
    // Groups multiply down: drawing each into a texture of its own would cost more than a frame's
    // time.
    return parentAlpha * std::clamp(_fade(node).at(_now), 0.0F, 1.0F);
  }

  /// Where motion is reduced, what would fade is there, or gone, from the start.
  platform::AnimatedAlpha _fade(const SceneNode& node) const {
    platform::AnimatedAlpha fade = node.alpha;
    if (_canvas.reducedMotion()) fade.duration = std::min(fade.duration, platform::Duration(1));
    return fade;
  }

  /// Remembers the last element that hides all before it. False when the walk has reached its end.
  bool _findCover(const SceneNode& node, float parentAlpha) {
    const float alpha = _alpha(node, parentAlpha);
    const bool covers = alpha >= 1 && node.frame == platform::kScreenBounds;
    for (const auto& element : node.elements) {
      if (&element == _end) return false;
      const auto* fill = std::get_if<platform::FillElement>(&element);
      const bool opaque = std::holds_alternative<platform::VideoElement>(element) ||
                          std::holds_alternative<platform::LayerElement>(element) ||
                          // Beneath another blur it is drawn as a veil only.
                          (!_end && std::holds_alternative<platform::BlurElement>(element)) ||
                          (fill && fill->color.alpha >= 1);
      if (covers && opaque) _cover = &element;
      // Texts make room for it as it appears.
      if (std::holds_alternative<platform::TransportBarElement>(element))
        _covered = (platform::kScreenHeight -
                    transportBarLayout(platform::kScreenBounds, _canvas.textSize()).seek.y) *
                   static_cast<double>(std::min(alpha, 1.0F));
    }
    for (const SceneNode& child : node.children) {
      if (!_findCover(child, alpha)) return false;
    }
    return true;
  }

  /// False when the walk has reached its end.
  bool _paint(const SceneNode& node, float parentAlpha) {
    if (_fade(node).isRunning(_now)) _animates = true;
    const float alpha = _alpha(node, parentAlpha);
    const bool visible = alpha > 0;
    for (const auto& element : node.elements) {
      if (&element == _end) return false;
      if (&element == _cover) _hidden = false;
      if (!visible || _hidden || (_end && !isPicture(element))) continue;
      if (_list) {
        _list->push_back(_described(element, node.frame, alpha));
      } else {
        std::visit([&](const auto& kind) { _draw(kind, &element, node.frame, alpha); }, element);
      }
    }
    for (const SceneNode& child : node.children) {
      if (!_paint(child, alpha)) return false;
    }
    return true;
  }

  Drawn _described(const platform::SceneElement& element, const Rect& frame, float alpha) const;

  template <typename Element>
  void _draw(const Element& element, const void*, const Rect& frame, float alpha) {
    _black = false;
    drawElement(_canvas, element, frame, alpha);
  }
  void _draw(const platform::FillElement& fill, const void*, const Rect& frame, float alpha) {
    if (fill.color.red > 0 || fill.color.green > 0 || fill.color.blue > 0) _black = false;
    // Black on black is nothing, but takes milliseconds where the processor does the blending.
    if (!_black) drawElement(_canvas, fill, frame, alpha);
  }
  void _draw(const platform::SpinnerElement& spinner, const void*, const Rect& frame, float alpha) {
    _animates = true;
    _black = false;
    drawElement(_canvas, spinner, frame, _now, alpha);
  }
  void _draw(const platform::TransportBarElement& bar, const void*, const Rect& frame,
             float alpha) {
    _black = false;
    drawElement(_canvas, bar, frame, alpha);
    _drawSubtitles();
  }
  void _draw(const platform::VideoElement& element, const void*, const Rect& frame, float alpha) {
    _drawVideo(element.output.get(), frame, alpha, Enlarging::Soft);
  }
  void _draw(const platform::LayerElement& element, const void*, const Rect& frame, float alpha) {
    const auto frames = framesOf(element);
    if (frames) _takeBackdrop(*frames, frame);
    _drawVideo(frames.get(), frame, alpha, Enlarging::Exact);
  }
  void _drawVideo(const platform::VideoOutput* output, const Rect& frame, float alpha,
                  Enlarging enlarging);
  void _takeBackdrop(const media::VideoFrames& frames, const Rect& frame);
  void _drawSubtitles();
  void _draw(const platform::BlurElement& element, const void* self, const Rect& frame,
             float alpha);
  bool _takeBlur(const void* self);

  SceneRenderer& _renderer;
  Canvas& _canvas;
  const Scene& _scene;
  const platform::TimePoint _now;
  const void* const _end;               // null: to the end of the scene
  const void* _cover = nullptr;         // nothing is drawn before it
  bool _hidden = false;                 // the cover is still to come
  std::vector<Drawn>* _list = nullptr;  // instead of drawing
  bool _animates = false;
  struct Subtitled {
    const Video* video;
    SubtitleFrame frame;
    float alpha;
  };
  std::optional<Subtitled> _subtitled;  // its texts are still to be drawn
  bool _backdrop = false;               // around the picture that comes next
  double _covered = 0;                  // points at the lower edge
  bool _black = true;                   // so far, everywhere
};

SceneRenderer::Drawn SceneRenderer::Walk::_described(const platform::SceneElement& element,
                                                     const Rect& frame, float alpha) const {
  Drawn drawn{frame, alpha, element, 0};
  visitVideo(element, [&](const auto& output) {
    if (output) drawn.serial = _renderer._video(*output).serial;
  });
  return drawn;
}

void SceneRenderer::Walk::_drawVideo(const platform::VideoOutput* output, const Rect& frame,
                                     float alpha, Enlarging enlarging) {
  const SDL_FRect area = _canvas.pixels(frame);
  SDL_FRect place{area.x, area.y, 0, 0};
  // On black, a picture that is darkened looks the same as one that lets the black through, and
  // costs a fraction of it where the processor does the blending.
  const bool darkens = alpha < 1 && _black;
  const Video* shown = nullptr;
  if (output) {
    const Video& video = _renderer._video(*output);
    shown = &video;
    place = video.texture.draw(_canvas.renderer(), area, darkens ? 1 : alpha, enlarging);
  }
  // Around the picture only: black beneath a picture that fades would darken it.
  if (place.w <= 0 || place.h <= 0) {
    if (!_black) _canvas.fillPixels(area, platform::kBlack, alpha);
    return;
  }
  _black = false;
  if (darkens) _canvas.fillPixels(place, platform::kBlack, 1 - alpha);
  const float right = place.x + place.w;
  const float bottom = place.y + place.h;
  const SDL_FRect around[]{{area.x, area.y, area.w, place.y - area.y},
                           {area.x, bottom, area.w, area.y + area.h - bottom},
                           {area.x, place.y, place.x - area.x, place.h},
                           {right, place.y, area.x + area.w - right, place.h}};
  const bool hasBackdrop = std::exchange(_backdrop, false);
  for (const SDL_FRect& bar : around) {
    if (!hasBackdrop || !_renderer._backdrop.draw(_canvas.renderer(), _canvas.outputWidth(),
                                                  _canvas.outputHeight(), bar, alpha))
      _canvas.fillPixels(bar, platform::kBlack, alpha);
  }
  _drawSubtitles();
  if (_end || !shown->subtitles || shown->time < 0) return;
  _subtitled = Subtitled{shown,
                         {.area = area,
                          .picture = place,
                          .covered = static_cast<float>(_covered * _canvas.scale()),
                          .textSize = _canvas.textSize()},
                         alpha};
  // A bar's shade must not darken them: there they come after it.
  if (!(_covered > 0)) _drawSubtitles();
}

void SceneRenderer::Walk::_drawSubtitles() {
  const auto what = std::exchange(_subtitled, std::nullopt);
  if (!what) return;
  const media::SubtitleCues& subtitles = *what->video->subtitles;
  const auto cues = subtitles.at(what->video->time);
  if (!cues.empty())
    _renderer._subtitles.draw(_canvas.renderer(), cues, subtitles.styles(), what->frame,
                              what->alpha);
}

void SceneRenderer::Walk::_draw(const platform::BlurElement&, const void* self, const Rect& frame,
                                float alpha) {
  _black = false;
  // A blur beneath a blur is only dark: nobody sees the difference.
  if (_end || !_takeBlur(self) ||
      !_renderer._blur.draw(_canvas.renderer(), _canvas.outputWidth(), _canvas.outputHeight(),
                            _canvas.pixels(frame), alpha)) {
    _canvas.fill(frame, theme::kBlurDarkening, alpha);
  }
}

bool SceneRenderer::Walk::_takeBlur(const void* self) {
  std::vector<Drawn> beneath = Walk(_renderer, _scene, _now, self).list();
  if (_renderer._blurred == beneath &&
      _renderer._blur.isOf(_canvas.outputWidth(), _canvas.outputHeight()))
    return true;
  bool moves = false;
  const auto paint = [&] {
    Walk walk(_renderer, _scene, _now, self);
    walk.run();
    moves = walk._animates;
  };
  const bool taken = _renderer._blur.take(_canvas.renderer(), _canvas.outputWidth(),
                                          _canvas.outputHeight(), theme::kBlurDarkening, paint);
  _animates = _animates || moves;
  // What moves by itself does not look the same with the next frame.
  if (taken && !moves) {
    _renderer._blurred = std::move(beneath);
  } else {
    _renderer._blurred.reset();
  }
  return taken;
}

void SceneRenderer::Walk::_takeBackdrop(const media::VideoFrames& frames, const Rect& frame) {
  const Video& video = _renderer._video(frames);
  // Beneath a blur the bars are seen by nobody.
  if (_end || !video.texture.isPortrait()) return;
  const std::pair<const void*, std::uint64_t> of{&frames, video.serial};
  const SDL_FRect area = _canvas.pixels(frame);
  _backdrop = (_renderer._backdropOf == of &&
               _renderer._backdrop.isOf(_canvas.outputWidth(), _canvas.outputHeight())) ||
              _renderer._backdrop.take(_canvas.renderer(), _canvas.outputWidth(),
                                       _canvas.outputHeight(), theme::kBlurDarkening,
                                       [&] { video.texture.drawOver(_canvas.renderer(), area); });
  if (_backdrop) _renderer._backdropOf = of;
}

SceneRenderer::SceneRenderer(SDL_Renderer* renderer, TextRenderer& texts, AccessOptions access)
    : _renderer(renderer),
      _texts(texts),
      _canvas(renderer, texts, _shapes, access),
      _subtitles(texts) {}

SceneRenderer::~SceneRenderer() { _texts.clear(); }

bool SceneRenderer::draw(const Scene& scene, int width, int height, platform::TimePoint now) {
  for (auto& [output, video] : _videos) video.used = false;
  visitVideos(scene.nodes, [&](const auto& output) {
    if (output) _video(*output).used = true;
  });
  _dropUnusedVideos();

  _canvas.setOutputSize(width, height);
  SDL_SetRenderDrawColor(_renderer, 0, 0, 0, 255);
  SDL_RenderClear(_renderer);
  Walk walk(*this, scene, now, nullptr);
  walk.run();
  _dropUnusedBlurs();
  return walk.animates();
}

std::vector<ShownPicture> SceneRenderer::didPresent() {
  std::vector<ShownPicture> pictures;
  for (const Fresh& fresh : std::exchange(_fresh, {})) {
    fresh.frame->wasShown();
    pictures.push_back(fresh.picture);
  }
  return pictures;
}

void SceneRenderer::forgetTextures() {
  _texts.clear();
  _shapes.clear();
  _videos.clear();
  _blur.clear();
  _blurred.reset();
  _backdrop.clear();
  _subtitles.clear();
}

SceneRenderer::Video& SceneRenderer::_video(const platform::VideoOutput& output) {
  Video& video = _videos[&output];
  const auto* frames = dynamic_cast<const media::VideoFrames*>(&output);
  if (!frames) return video;
  const std::uint64_t serial = frames->serial();
  if (serial == video.serial) return video;
  // The serial is read first: a picture that comes in between is taken again, never missed.
  const std::uint64_t missed = serial - video.serial - 1;
  video.serial = serial;
  const auto frame = frames->latest();
  video.time = frame ? frame->time : -1;
  video.subtitles = frame ? frame->subtitles : nullptr;
  if (frame) {
    if (video.texture.update(_renderer, *frame))
      _fresh.push_back({frame, {&output, frame->due, missed}});
  } else {
    video.texture.clear();
  }
  return video;
}

void SceneRenderer::_dropUnusedBlurs() {
  // A blur holds what it was taken of.
  if (!_blur.wasDrawn()) _blurred.reset();
  if (!_backdrop.wasDrawn()) _backdrop.clear();
}

void SceneRenderer::_dropUnusedVideos() {
  std::erase_if(_videos, [](const auto& entry) { return !entry.second.used; });
}

std::vector<std::shared_ptr<media::VideoFrames>> videosOf(const Scene& scene) {
  std::vector<std::shared_ptr<media::VideoFrames>> videos;
  visitVideos(scene.nodes, [&](const auto& output) {
    auto frames = std::dynamic_pointer_cast<media::VideoFrames>(output);
    if (frames && std::find(videos.begin(), videos.end(), frames) == videos.end())
      videos.push_back(frames);
  });
  return videos;
}

}  // namespace box
