#pragma once

#include <memory>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/video/YuvConversion.h"
#include "media/output/VideoFrames.h"

namespace box {

/// The largest place for a picture of the given shape in the middle of `area`.
SDL_FRect fittedRect(const SDL_FRect& area, double pictureWidth, double pictureHeight);

/// What a picture that is enlarged by a whole number looks like: softened like every other, as
/// films want it, or each of its pixels a square of its own, as texts and lines of another screen
/// do.
enum class Enlarging { Soft, Exact };

/// The texture behind one video: made for a format and size, refilled for each new picture, so that
/// a picture is copied once and can be let go at once. Where the processor draws, that copy is the
/// conversion of its colours; elsewhere the renderer takes the planes from where the decoder left
/// them.
///
/// Threads: the screen's own. Must go before its renderer.
class FrameTexture {
 public:
  /// Takes the picture over; false when it cannot be shown, and then there is none.
  bool update(SDL_Renderer* renderer, const media::VideoFrame& frame);
  void clear();
  bool hasPicture() const { return _hasPicture; }

  /// Draws the picture in the middle of `area` (the renderer's coordinates) at its own aspect, and
  /// returns the place it took. Nothing is drawn around it.
  SDL_FRect draw(SDL_Renderer* renderer, const SDL_FRect& area, float alpha,
                 Enlarging enlarging = Enlarging::Soft) const;
  /// The same, but filling the area; what does not fit is drawn beyond its edges.
  void drawOver(SDL_Renderer* renderer, const SDL_FRect& area) const;
  /// As it is shown.
  bool isPortrait() const;

 private:
  enum class Colors { Own, Matrix601, Matrix709, FullRange601 };

  bool _make(SDL_Renderer* renderer, const media::VideoFrame& frame);
  bool _fill(const media::VideoFrame& frame);
  bool _isSideways() const { return _rotation == 90 || _rotation == 270; }
  /// Of the picture as it is shown.
  double _shownWidth() const { return _isSideways() ? _height : _width * _pixelAspect; }
  double _shownHeight() const { return _isSideways() ? _width * _pixelAspect : _height; }
  void _setConversion() const;
  void _copy(SDL_Renderer* renderer, const SDL_FRect& place) const;

  TexturePtr _texture;
  bool _convertsHere = false;  // the texture holds pixels, not planes
  StudioRange _studioRange;
  media::VideoFormat _format = media::VideoFormat::I420;
  int _width = 0;
  int _height = 0;
  double _pixelAspect = 1;
  int _rotation = 0;
  Colors _colors = Colors::Own;  // what the renderer makes of the planes
  bool _hasPicture = false;
};

}  // namespace box
