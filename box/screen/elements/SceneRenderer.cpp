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

/// Returns the video of a layer, or null if the layer was not made by this box.
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

/// Whether an element is drawn below a blur. Text and controls would become visible spots behind
/// the text on the blur.
bool isPicture(const platform::SceneElement& element) {
  return std::holds_alternative<platform::FillElement>(element) ||
         std::holds_alternative<platform::VideoElement>(element) ||
         std::holds_alternative<platform::LayerElement>(element) ||
         std::holds_alternative<platform::BlurElement>(element);
}

}  // namespace

/// A traversal of a scene, back to front, up to an element or the end. Elements behind an opaque
/// element that covers the screen are skipped.
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

  /// Returns what run() would draw.
  std::vector<Drawn> list() {
    std::vector<Drawn> drawn;
    _list = &drawn;
    run();
    _list = nullptr;
    return drawn;
  }

 private:
  float _alpha(const SceneNode& node, float parentAlpha) const {
    // Approximate group opacity by multiplication. Rendering each group to a texture is too slow.
    return parentAlpha * std::clamp(_fade(node).at(_now), 0.0F, 1.0F);
  }

  /// With reduced motion, fades end immediately.
  platform::AnimatedAlpha _fade(const SceneNode& node) const {
    platform::AnimatedAlpha fade = node.alpha;
    if (_canvas.reducedMotion()) fade.duration = std::min(fade.duration, platform::Duration(1));
    return fade;
  }

  /// Finds the last element that hides all elements before it. Returns false at the end element.
  bool _findCover(const SceneNode& node, float parentAlpha) {
    const float alpha = _alpha(node, parentAlpha);
    const bool covers = alpha >= 1 && node.frame == platform::kScreenBounds;
    for (const auto& element : node.elements) {
      if (&element == _end) return false;
      const auto* fill = std::get_if<platform::FillElement>(&element);
      const bool opaque = std::holds_alternative<platform::VideoElement>(element) ||
                          std::holds_alternative<platform::LayerElement>(element) ||
                          // Below another blur it is drawn as a translucent fill only.
                          (!_end && std::holds_alternative<platform::BlurElement>(element)) ||
                          (fill && fill->color.alpha >= 1);
      if (covers && opaque) _cover = &element;
      // Subtitles move up while the bar fades in.
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

  /// Returns false at the end element.
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
    // Skip black fills on black: blending costs milliseconds with a software renderer.
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
    _drawVideo(element.output.get(), frame, alpha, Scaling::Smooth);
  }
  void _draw(const platform::LayerElement& element, const void*, const Rect& frame, float alpha) {
    const auto frames = framesOf(element);
    if (frames) _updateBackdrop(*frames, frame);
    _drawVideo(frames.get(), frame, alpha, Scaling::PixelExact);
  }
  void _drawVideo(const platform::VideoOutput* output, const Rect& frame, float alpha,
                  Scaling scaling);
  void _updateBackdrop(const media::VideoFrames& frames, const Rect& frame);
  void _drawSubtitles();
  void _draw(const platform::BlurElement& element, const void* self, const Rect& frame,
             float alpha);
  bool _updateBlur(const void* self);

  SceneRenderer& _renderer;
  Canvas& _canvas;
  const Scene& _scene;
  const platform::TimePoint _now;
  const void* const _end;               // null: draw the whole scene
  const void* _cover = nullptr;         // elements before it are skipped
  bool _hidden = false;                 // the cover has not been reached
  std::vector<Drawn>* _list = nullptr;  // set: collect elements instead of drawing
  bool _animates = false;
  struct Subtitled {
    const Video* video;
    SubtitleFrame frame;
    float alpha;
  };
  std::optional<Subtitled> _subtitled;  // video whose subtitles are not drawn yet
  bool _backdrop = false;               // draw the backdrop around the next picture
  double _covered = 0;                  // height in points covered at the lower edge
  bool _black = true;                   // everything drawn so far is black
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
                                     float alpha, Scaling scaling) {
  const SDL_FRect area = _canvas.pixels(frame);
  SDL_FRect place{area.x, area.y, 0, 0};
  // On black, darkening an opaque picture gives the same result as blending it, and is much faster
  // with a software renderer.
  const bool darkens = alpha < 1 && _black;
  const Video* shown = nullptr;
  if (output) {
    const Video& video = _renderer._video(*output);
    shown = &video;
    place = video.texture.draw(_canvas.renderer(), area, darkens ? 1 : alpha, scaling);
  }
  // Fill only the bars: black behind a fading picture would darken it.
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
                          .textSize = _canvas.textSize(),
                          .time = shown->time},
                         alpha};
  // With a transport bar, draw them after it, so that its scrim does not darken them.
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
  // Below another blur, a translucent fill looks the same.
  if (_end || !_updateBlur(self) ||
      !_renderer._blur.draw(_canvas.renderer(), _canvas.outputWidth(), _canvas.outputHeight(),
                            _canvas.pixels(frame), alpha)) {
    _canvas.fill(frame, theme::kBlurDarkening, alpha);
  }
}

bool SceneRenderer::Walk::_updateBlur(const void* self) {
  std::vector<Drawn> beneath = Walk(_renderer, _scene, _now, self).list();
  if (_renderer._blurred == beneath &&
      _renderer._blur.hasContentFor(_canvas.outputWidth(), _canvas.outputHeight()))
    return true;
  bool animated = false;
  const auto paint = [&] {
    Walk walk(_renderer, _scene, _now, self);
    walk.run();
    animated = walk._animates;
  };
  const bool captured =
      _renderer._blur.capture(_canvas.renderer(), _canvas.outputWidth(), _canvas.outputHeight(),
                              theme::kBlurDarkening, paint);
  _animates = _animates || animated;
  // The blur of animated content cannot be reused for the next frame.
  if (captured && !animated) {
    _renderer._blurred = std::move(beneath);
  } else {
    _renderer._blurred.reset();
  }
  return captured;
}

void SceneRenderer::Walk::_updateBackdrop(const media::VideoFrames& frames, const Rect& frame) {
  const Video& video = _renderer._video(frames);
  // The bars are not visible below a blur.
  if (_end || !video.texture.isPortrait()) return;
  const std::pair<const void*, std::uint64_t> of{&frames, video.serial};
  const SDL_FRect area = _canvas.pixels(frame);
  _backdrop = (_renderer._backdropOf == of &&
               _renderer._backdrop.hasContentFor(_canvas.outputWidth(), _canvas.outputHeight())) ||
              _renderer._backdrop.capture(
                  _canvas.renderer(), _canvas.outputWidth(), _canvas.outputHeight(),
                  theme::kBlurDarkening, [&] { video.texture.drawOver(_canvas.renderer(), area); });
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
  for (const Unpresented& each : std::exchange(_unpresented, {})) {
    each.frame->wasShown();
    pictures.push_back(each.picture);
  }
  return pictures;
}

void SceneRenderer::releaseTextures() {
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
  // Read the serial first. A picture that arrives in between is uploaded twice, but never missed.
  const std::uint64_t missed = serial - video.serial - 1;
  video.serial = serial;
  const auto frame = frames->latest();
  video.time = frame ? frame->time : -1;
  video.subtitles = frame ? frame->subtitles : nullptr;
  if (frame) {
    if (video.texture.update(_renderer, *frame))
      _unpresented.push_back({frame, {&output, frame->due, missed}});
  } else {
    video.texture.clear();
  }
  return video;
}

void SceneRenderer::_dropUnusedBlurs() {
  // Release the elements that the blur was made from.
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
