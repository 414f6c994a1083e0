#include "box/screen/video/FrameTexture.h"

#include <algorithm>
#include <cmath>

#include "box/screen/drawing/RendererChoice.h"

namespace box {
namespace {

/// Checks that the planes are large enough for the frame size, so that no upload reads out of
/// bounds.
bool isConsistent(const media::VideoFrame& frame) {
  if (frame.width <= 0 || frame.height <= 0) return false;
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t halfWidth = (width + 1) / 2;
  const std::size_t halfHeight = (height + 1) / 2;
  const auto holds = [](const media::VideoPlane& plane, std::size_t rowBytes, std::size_t rows) {
    return plane.data && plane.rowBytes >= rowBytes && plane.rows >= rows &&
           plane.stride >= rowBytes && plane.stride <= 1U << 24;
  };
  if (frame.format == media::VideoFormat::BGRA) {
    return frame.planeCount >= 1 && holds(frame.planes[0], 4 * width, height);
  }
  if (!holds(frame.planes[0], width, height)) return false;
  if (frame.format == media::VideoFormat::NV12) {
    return frame.planeCount >= 2 && holds(frame.planes[1], 2 * halfWidth, halfHeight);
  }
  return frame.planeCount >= 3 && holds(frame.planes[1], halfWidth, halfHeight) &&
         holds(frame.planes[2], halfWidth, halfHeight);
}

Uint32 sdlFormat(media::VideoFormat format) {
  switch (format) {
    case media::VideoFormat::NV12:
      return SDL_PIXELFORMAT_NV12;
    case media::VideoFormat::I420:
      return SDL_PIXELFORMAT_IYUV;
    case media::VideoFormat::BGRA:
      break;
  }
  // The fourth byte is not alpha.
  return SDL_BYTEORDER == SDL_LIL_ENDIAN ? SDL_PIXELFORMAT_RGB888 : SDL_PIXELFORMAT_BGRX8888;
}

/// Returns 0 or SDL's error.
int upload(SDL_Texture* texture, media::VideoFormat format,
           const std::array<media::VideoPlane, 3>& planes) {
  const auto data = [&](std::size_t plane) { return planes[plane].data; };
  const auto pitch = [&](std::size_t plane) { return static_cast<int>(planes[plane].stride); };
  switch (format) {
    case media::VideoFormat::NV12:
      return SDL_UpdateNVTexture(texture, nullptr, data(0), pitch(0), data(1), pitch(1));
    case media::VideoFormat::I420:
      return SDL_UpdateYUVTexture(texture, nullptr, data(0), pitch(0), data(1), pitch(1), data(2),
                                  pitch(2));
    case media::VideoFormat::BGRA:
      break;
  }
  return SDL_UpdateTexture(texture, nullptr, data(0), pitch(0));
}

bool fitsRenderer(SDL_Renderer* renderer, int width, int height) {
  SDL_RendererInfo info{};
  if (SDL_GetRendererInfo(renderer, &info) != 0) return false;
  // Zero means no limit.
  return (info.max_texture_width <= 0 || width <= info.max_texture_width) &&
         (info.max_texture_height <= 0 || height <= info.max_texture_height);
}

bool isWhole(double number) { return std::abs(number - std::round(number)) < 1e-6; }

}  // namespace

SDL_FRect fittedRect(const SDL_FRect& area, double pictureWidth, double pictureHeight) {
  if (!(pictureWidth > 0) || !(pictureHeight > 0) || area.w <= 0 || area.h <= 0)
    return {area.x, area.y, 0, 0};
  const double scale = std::min(static_cast<double>(area.w) / pictureWidth,
                                static_cast<double>(area.h) / pictureHeight);
  // Whole pixels: an edge between two pixels would be blurred.
  const auto width = static_cast<float>(std::round(pictureWidth * scale));
  const auto height = static_cast<float>(std::round(pictureHeight * scale));
  return {area.x + std::floor((area.w - width) / 2), area.y + std::floor((area.h - height) / 2),
          width, height};
}

bool FrameTexture::update(SDL_Renderer* renderer, const media::VideoFrame& frame) {
  _hasPicture = false;
  if (!isConsistent(frame) || !fitsRenderer(renderer, frame.width, frame.height)) return false;
  if (!_make(renderer, frame)) return false;
  _rotation = ((frame.rotationDegrees % 360) + 360) % 360;
  const bool validAspect = frame.pixelAspectNumerator > 0 && frame.pixelAspectDenominator > 0;
  _pixelAspect =
      validAspect ? static_cast<double>(frame.pixelAspectNumerator) / frame.pixelAspectDenominator
                  : 1;
  _hasPicture = _fill(frame);
  return _hasPicture;
}

bool FrameTexture::_make(SDL_Renderer* renderer, const media::VideoFrame& frame) {
  // A software renderer would copy the planes before it converts them.
  const bool convertsHere = frame.format != media::VideoFormat::BGRA && !isAccelerated(renderer);
  const Colors colors = frame.format == media::VideoFormat::BGRA || convertsHere ? Colors::Own
                        : frame.matrix == media::VideoMatrix::BT709              ? Colors::Matrix709
                        : frame.fullRange ? Colors::FullRange601
                                          : Colors::Matrix601;
  if (_texture && _format == frame.format && _width == frame.width && _height == frame.height &&
      _colors == colors)
    return true;
  _convertsHere = convertsHere;
  _colors = colors;
  _format = frame.format;
  _width = frame.width;
  _height = frame.height;
  // Some renderers use the conversion mode at the time of the texture's creation.
  _setConversion();
  _texture.reset(SDL_CreateTexture(
      renderer, sdlFormat(_convertsHere ? media::VideoFormat::BGRA : frame.format),
      SDL_TEXTUREACCESS_STREAMING, frame.width, frame.height));
  return _texture != nullptr;
}

bool FrameTexture::_fill(const media::VideoFrame& frame) {
  if (_convertsHere) {
    void* pixels = nullptr;
    int pitch = 0;
    if (SDL_LockTexture(_texture.get(), nullptr, &pixels, &pitch) != 0) return false;
    convertToRgb(frame, static_cast<std::uint8_t*>(pixels), static_cast<std::size_t>(pitch));
    SDL_UnlockTexture(_texture.get());
    return true;
  }
  _setConversion();
  // SDL has no full-range BT.709 mode.
  const bool needsStudioRange = frame.fullRange && _colors == Colors::Matrix709;
  return upload(_texture.get(), frame.format,
                needsStudioRange ? _studioRange.convert(frame) : frame.planes) == 0;
}

void FrameTexture::clear() {
  _texture.reset();
  _hasPicture = false;
}

bool FrameTexture::isPortrait() const { return _hasPicture && _shownHeight() > _shownWidth(); }

SDL_FRect FrameTexture::draw(SDL_Renderer* renderer, const SDL_FRect& area, float alpha,
                             Scaling scaling) const {
  if (!_hasPicture) return {area.x, area.y, 0, 0};
  const SDL_FRect place = fittedRect(area, _shownWidth(), _shownHeight());
  const bool opaque = alpha >= 1;
  SDL_SetTextureBlendMode(_texture.get(), opaque ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetTextureAlphaMod(_texture.get(),
                         static_cast<Uint8>(std::lround(std::clamp(alpha, 0.0F, 1.0F) * 255)));
  float scaleX = 1;
  float scaleY = 1;
  SDL_RenderGetScale(renderer, &scaleX, &scaleY);
  const double timesX = static_cast<double>(place.w * scaleX) / _shownWidth();
  const double timesY = static_cast<double>(place.h * scaleY) / _shownHeight();
  const bool exact = scaling == Scaling::PixelExact && isWhole(timesX) && isWhole(timesY) &&
                     std::min(timesX, timesY) >= 1;
  SDL_SetTextureScaleMode(_texture.get(), exact ? SDL_ScaleModeNearest : SDL_ScaleModeLinear);
  _copy(renderer, place);
  return place;
}

void FrameTexture::drawOver(SDL_Renderer* renderer, const SDL_FRect& area) const {
  if (!_hasPicture) return;
  const double scale = std::max(static_cast<double>(area.w) / _shownWidth(),
                                static_cast<double>(area.h) / _shownHeight());
  const auto width = static_cast<float>(_shownWidth() * scale);
  const auto height = static_cast<float>(_shownHeight() * scale);
  SDL_SetTextureBlendMode(_texture.get(), SDL_BLENDMODE_NONE);
  SDL_SetTextureAlphaMod(_texture.get(), 255);
  SDL_SetTextureScaleMode(_texture.get(), SDL_ScaleModeLinear);
  _copy(renderer, {area.x + (area.w - width) / 2, area.y + (area.h - height) / 2, width, height});
}

void FrameTexture::_copy(SDL_Renderer* renderer, const SDL_FRect& place) const {
  _setConversion();
  if (_rotation == 0) {
    SDL_RenderCopyF(renderer, _texture.get(), nullptr, &place);
  } else {
    // SDL rotates around the center of the unrotated destination rectangle.
    const SDL_FRect unturned = _isSideways()
                                   ? SDL_FRect{place.x + (place.w - place.h) / 2,
                                               place.y + (place.h - place.w) / 2, place.h, place.w}
                                   : place;
    SDL_RenderCopyExF(renderer, _texture.get(), nullptr, &unturned, _rotation, nullptr,
                      SDL_FLIP_NONE);
  }
  // Some renderers read the mode when they execute the copy. The next picture may need another
  // mode.
  if (_colors != Colors::Own) SDL_RenderFlush(renderer);
}

void FrameTexture::_setConversion() const {
  switch (_colors) {
    case Colors::Own:
      return;
    case Colors::Matrix601:
      return SDL_SetYUVConversionMode(SDL_YUV_CONVERSION_BT601);
    case Colors::Matrix709:
      return SDL_SetYUVConversionMode(SDL_YUV_CONVERSION_BT709);
    case Colors::FullRange601:
      return SDL_SetYUVConversionMode(SDL_YUV_CONVERSION_JPEG);
  }
}

}  // namespace box
