#include "box/screen/SceneRenderer.h"

#include <algorithm>
#include <variant>

#include "box/media/FrameLayer.h"
#include "box/screen/Elements.h"
#include "box/screen/Theme.h"

namespace box {

using platform::Rect;
using platform::Scene;
using platform::SceneNode;

namespace {

/// Where a layer's pictures come from; null when it is none of this box.
std::shared_ptr<VideoFrames> framesOf(const platform::LayerElement& element) {
  const auto* layer = dynamic_cast<const FrameLayer*>(element.layer.get());
  return layer ? layer->frames() : nullptr;
}

template <typename Visit>
void visitVideos(const std::vector<SceneNode>& nodes, const Visit& visit) {
  for (const SceneNode& node : nodes) {
    for (const auto& element : node.elements) {
      if (const auto* video = std::get_if<platform::VideoElement>(&element)) visit(video->output);
      if (const auto* layer = std::get_if<platform::LayerElement>(&element))
        visit(framesOf(*layer));
    }
    visitVideos(node.children, visit);
  }
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
      if (!_paint(node, 1)) return;
    }
  }
  bool animates() const { return _animates; }

 private:
  float _alpha(const SceneNode& node, float parentAlpha) const {
    // Groups multiply down: drawing each into a texture of its own would cost more than a frame's
    // time.
    return parentAlpha * std::clamp(node.alpha.at(_now), 0.0F, 1.0F);
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
    }
    for (const SceneNode& child : node.children) {
      if (!_findCover(child, alpha)) return false;
    }
    return true;
  }

  /// False when the walk has reached its end.
  bool _paint(const SceneNode& node, float parentAlpha) {
    if (node.alpha.isRunning(_now)) _animates = true;
    const float alpha = _alpha(node, parentAlpha);
    const bool visible = alpha > 0;
    for (const auto& element : node.elements) {
      if (&element == _end) return false;
      if (&element == _cover) _hidden = false;
      if (visible && !_hidden)
        std::visit([&](const auto& kind) { _draw(kind, &element, node.frame, alpha); }, element);
    }
    for (const SceneNode& child : node.children) {
      if (!_paint(child, alpha)) return false;
    }
    return true;
  }

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
    if (bar.state == platform::TransportState::Loading) _animates = true;
    _black = false;
    drawTransportBar(_canvas, bar, frame, _now, alpha);
  }
  void _draw(const platform::VideoElement& element, const void*, const Rect& frame, float alpha) {
    _drawVideo(element.output.get(), frame, alpha);
  }
  void _draw(const platform::LayerElement& element, const void*, const Rect& frame, float alpha) {
    _drawVideo(framesOf(element).get(), frame, alpha);
  }
  void _drawVideo(const platform::VideoOutput* output, const Rect& frame, float alpha);
  void _draw(const platform::BlurElement& element, const void* self, const Rect& frame,
             float alpha);

  SceneRenderer& _renderer;
  Canvas& _canvas;
  const Scene& _scene;
  const platform::TimePoint _now;
  const void* const _end;        // null: to the end of the scene
  const void* _cover = nullptr;  // nothing is drawn before it
  bool _hidden = false;          // the cover is still to come
  bool _animates = false;
  bool _black = true;  // so far, everywhere
};

void SceneRenderer::Walk::_drawVideo(const platform::VideoOutput* output, const Rect& frame,
                                     float alpha) {
  const SDL_FRect area = _canvas.pixels(frame);
  SDL_FRect place{area.x, area.y, 0, 0};
  // On black, a picture that is darkened looks the same as one that lets the black through, and
  // costs a fraction of it where the processor does the blending.
  const bool darkens = alpha < 1 && _black;
  std::string subtitle;
  if (output) {
    const Video& video = _renderer._video(*output);
    place = video.texture.draw(_canvas.renderer(), area, darkens ? 1 : alpha);
    subtitle = video.subtitle();
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
  _canvas.fillPixels({area.x, area.y, area.w, place.y - area.y}, platform::kBlack, alpha);
  _canvas.fillPixels({area.x, bottom, area.w, area.y + area.h - bottom}, platform::kBlack, alpha);
  _canvas.fillPixels({area.x, place.y, place.x - area.x, place.h}, platform::kBlack, alpha);
  _canvas.fillPixels({right, place.y, area.x + area.w - right, place.h}, platform::kBlack, alpha);
  if (!subtitle.empty()) drawSubtitle(_canvas, subtitle, frame, alpha);
}

void SceneRenderer::Walk::_draw(const platform::BlurElement&, const void* self, const Rect& frame,
                                float alpha) {
  _black = false;
  const auto paint = [&] {
    Walk beneath(_renderer, _scene, _now, self);
    beneath.run();
    _animates = _animates || beneath._animates;
  };
  // A blur beneath a blur is only dark: nobody sees the difference.
  if (_end ||
      !_renderer._blur.draw(_canvas.renderer(), _canvas.outputWidth(), _canvas.outputHeight(),
                            _canvas.pixels(frame), theme::kBlurDarkening, alpha, paint)) {
    _canvas.fill(frame, theme::kBlurDarkening, alpha);
  }
}

SceneRenderer::SceneRenderer(SDL_Renderer* renderer, TextRenderer& texts)
    : _renderer(renderer), _texts(texts), _canvas(renderer, texts, _shapes) {}

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
  return walk.animates();
}

void SceneRenderer::didPresent() {
  for (const auto& frame : _fresh) frame->wasShown();
  _fresh.clear();
}

void SceneRenderer::forgetTextures() {
  _texts.clear();
  _shapes.clear();
  _videos.clear();
  _blur.clear();
}

SceneRenderer::Video& SceneRenderer::_video(const platform::VideoOutput& output) {
  Video& video = _videos[&output];
  const auto* frames = dynamic_cast<const VideoFrames*>(&output);
  if (!frames) return video;
  const std::uint64_t serial = frames->serial();
  if (serial == video.serial) return video;
  // The serial is read first: a picture that comes in between is taken again, never missed.
  video.serial = serial;
  const auto frame = frames->latest();
  video.time = frame ? frame->time : -1;
  video.subtitles = frame ? frame->subtitles : nullptr;
  if (frame) {
    if (video.texture.update(_renderer, *frame)) _fresh.push_back(frame);
  } else {
    video.texture.clear();
  }
  return video;
}

void SceneRenderer::_dropUnusedVideos() {
  std::erase_if(_videos, [](const auto& entry) { return !entry.second.used; });
}

std::vector<std::shared_ptr<VideoFrames>> videosOf(const Scene& scene) {
  std::vector<std::shared_ptr<VideoFrames>> videos;
  visitVideos(scene.nodes, [&](const auto& output) {
    auto frames = std::dynamic_pointer_cast<VideoFrames>(output);
    if (frames && std::find(videos.begin(), videos.end(), frames) == videos.end())
      videos.push_back(frames);
  });
  return videos;
}

}  // namespace box
