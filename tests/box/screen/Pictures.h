#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "box/screen/drawing/CairoTexture.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/elements/SceneRenderer.h"
#include "media/output/FrameLayer.h"
#include "media/output/VideoFrames.h"
#include "platform/ui/scene/Scene.h"

namespace box::test {

using platform::Color;
using platform::FillElement;
using platform::kScreenBounds;
using platform::LayerElement;
using platform::Scene;
using platform::VideoElement;

struct Pixel {
  int red = 0;
  int green = 0;
  int blue = 0;
  /// The largest difference of any channel.
  int distance(const Pixel& other) const;
  int brightness() const { return (red + green + blue) / 3; }
};

/// A video frame that owns its planes.
class MemoryFrame final : public media::VideoFrame {
 public:
  struct Yuv {
    std::uint8_t y;
    std::uint8_t u;
    std::uint8_t v;
  };
  /// A frame of one colour. With `leftHalf`, the left half has that colour.
  MemoryFrame(media::VideoFormat pixelFormat, int pixelWidth, int pixelHeight, Yuv color,
              std::optional<Yuv> leftHalf = std::nullopt);

 private:
  std::vector<std::uint8_t> _bytes;
};

std::shared_ptr<media::VideoFrames> videoOf(std::shared_ptr<const media::VideoFrame> frame);

class TestLayer final : public media::FrameLayer {
 public:
  explicit TestLayer(std::shared_ptr<const media::VideoFrame> frame)
      : _frames(videoOf(std::move(frame))) {}
  std::string path() const override { return "/test"; }
  void close() override {}
  const std::shared_ptr<media::VideoFrames>& frames() const override { return _frames; }

 private:
  const std::shared_ptr<media::VideoFrames> _frames;
};

/// A scene rendered in memory, without a window.
class Picture {
 public:
  Picture(const platform::Scene& scene, int width, int height, platform::TimePoint now = {},
          AccessOptions access = {}, const std::string& language = {});

  /// Valid as long as this object.
  CairoSurfacePtr cairoSurface() const;

  Pixel at(int x, int y) const;
  /// Whether the renderer reported that the scene is animated.
  bool animated() const { return _animated; }
  /// Bounding box of the pixels that are not almost black.
  struct Bounds {
    int left, top, right, bottom;
    bool empty() const { return left > right; }
  };
  Bounds inked(int minimum = 24) const;

 private:
  SurfacePtr _surface;
  bool _animated = false;
};

/// The brightness of white below a blur.
int whiteBelowBlur();

/// Returns a scene of one node that covers the screen.
platform::Scene sceneOf(std::vector<platform::SceneElement> elements);
platform::SceneNode node(platform::Rect frame, platform::SceneElement element, float alpha = 1);

}  // namespace box::test
