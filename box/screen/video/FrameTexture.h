#pragma once

#include <memory>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/video/YuvConversion.h"
#include "media/output/VideoFrames.h"

namespace box {

/// Returns the largest centered rectangle in `area` with the given aspect ratio.
SDL_FRect fittedRect(const SDL_FRect& area, double pictureWidth, double pictureHeight);

/// Sampling of a picture that is enlarged by an integer factor: linear (Smooth), for video, or
/// nearest (PixelExact), for text and lines of a mirrored screen.
enum class Scaling { Smooth, PixelExact };

/// The texture of a video. It is created for a format and size and updated with each picture, so
/// that the frame can be released at once. With a software renderer the update converts the
/// colours; other renderers get the decoder's planes. Thread: the screen's. Must be destroyed
/// before its renderer.
class FrameTexture {
 public:
  /// Uploads the frame. Returns false on failure; then there is no picture.
  bool update(SDL_Renderer* renderer, const media::VideoFrame& frame);
  void clear();
  bool hasPicture() const { return _hasPicture; }

  /// Draws the picture centered in `area` (renderer coordinates) with its aspect ratio. Returns its
  /// rectangle. The rest of the area is not drawn.
  SDL_FRect draw(SDL_Renderer* renderer, const SDL_FRect& area, float alpha,
                 Scaling scaling = Scaling::Smooth) const;
  /// Draws the picture so that it covers the area; parts outside the area are drawn too.
  void drawOver(SDL_Renderer* renderer, const SDL_FRect& area) const;
  /// Whether the displayed picture is portrait, including rotation.
  bool isPortrait() const;

 private:
  enum class Colors { Own, Matrix601, Matrix709, FullRange601 };

  bool _make(SDL_Renderer* renderer, const media::VideoFrame& frame);
  bool _fill(const media::VideoFrame& frame);
  bool _isSideways() const { return _rotation == 90 || _rotation == 270; }
  // Size of the picture as displayed.
  double _shownWidth() const { return _isSideways() ? _height : _width * _pixelAspect; }
  double _shownHeight() const { return _isSideways() ? _width * _pixelAspect : _height; }
  void _setConversion() const;
  void _copy(SDL_Renderer* renderer, const SDL_FRect& place) const;

  TexturePtr _texture;
  bool _convertsHere = false;  // whether the texture holds RGB instead of planes
  StudioRange _studioRange;
  media::VideoFormat _format = media::VideoFormat::I420;
  int _width = 0;
  int _height = 0;
  double _pixelAspect = 1;
  int _rotation = 0;
  Colors _colors = Colors::Own;  // how the renderer converts the planes
  bool _hasPicture = false;
};

}  // namespace box
