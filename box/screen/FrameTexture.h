#pragma once

#include <memory>

#include "box/media/VideoFrames.h"
#include "box/screen/Sdl.h"

namespace box {

/// The largest place for a picture of the given shape in the middle of `area`.
SDL_FRect fittedRect(const SDL_FRect& area, double pictureWidth, double pictureHeight);

/// The texture behind one video: made for a format and size, refilled for each new picture, so that
/// a picture is copied once and can be let go at once.
///
/// Threads: the screen's own. Must go before its renderer.
class FrameTexture {
 public:
  /// Takes the picture over; false when it cannot be shown, and then there is none.
  bool update(SDL_Renderer* renderer, const VideoFrame& frame);
  void clear();
  bool hasPicture() const { return _hasPicture; }

  /// Draws the picture in the middle of `area` (the renderer's coordinates) at its own aspect, and
  /// returns the place it took. Nothing is drawn around it.
  SDL_FRect draw(SDL_Renderer* renderer, const SDL_FRect& area, float alpha) const;

 private:
  void _setConversion() const;

  TexturePtr _texture;
  VideoFormat _format = VideoFormat::I420;
  int _width = 0;
  int _height = 0;
  double _pixelAspect = 1;
  int _rotation = 0;
  VideoMatrix _matrix = VideoMatrix::BT709;
  bool _fullRange = false;
  bool _hasPicture = false;
};

}  // namespace box
