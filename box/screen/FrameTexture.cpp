#include "box/screen/FrameTexture.h"

#include <algorithm>
#include <cmath>

namespace box {
namespace {

/// Whether the planes hold what the size promises: a wrong one would be read beyond its end.
bool isConsistent(const VideoFrame& frame) {
  if (frame.width <= 0 || frame.height <= 0) return false;
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t halfWidth = (width + 1) / 2;
  const std::size_t halfHeight = (height + 1) / 2;
  const auto holds = [](const VideoPlane& plane, std::size_t rowBytes, std::size_t rows) {
    return plane.data && plane.rowBytes >= rowBytes && plane.rows >= rows &&
           plane.stride >= rowBytes && plane.stride <= 1U << 24;
  };
  if (frame.format == VideoFormat::BGRA) {
    return frame.planeCount >= 1 && holds(frame.planes[0], 4 * width, height);
  }
  if (!holds(frame.planes[0], width, height)) return false;
  if (frame.format == VideoFormat::NV12) {
    return frame.planeCount >= 2 && holds(frame.planes[1], 2 * halfWidth, halfHeight);
  }
  return frame.planeCount >= 3 && holds(frame.planes[1], halfWidth, halfHeight) &&
         holds(frame.planes[2], halfWidth, halfHeight);
}

Uint32 sdlFormat(VideoFormat format) {
  switch (format) {
    case VideoFormat::NV12:
      return SDL_PIXELFORMAT_NV12;
    case VideoFormat::I420:
      return SDL_PIXELFORMAT_IYUV;
    case VideoFormat::BGRA:
      break;
  }
  // The fourth byte is no opacity.
  return SDL_BYTEORDER == SDL_LIL_ENDIAN ? SDL_PIXELFORMAT_RGB888 : SDL_PIXELFORMAT_BGRX8888;
}

/// 0, or SDL's failure.
int upload(SDL_Texture* texture, const VideoFrame& frame) {
  const auto data = [&](std::size_t plane) { return frame.planes[plane].data; };
  const auto pitch = [&](std::size_t plane) {
    return static_cast<int>(frame.planes[plane].stride);
  };
  switch (frame.format) {
    case VideoFormat::NV12:
      return SDL_UpdateNVTexture(texture, nullptr, data(0), pitch(0), data(1), pitch(1));
    case VideoFormat::I420:
      return SDL_UpdateYUVTexture(texture, nullptr, data(0), pitch(0), data(1), pitch(1), data(2),
                                  pitch(2));
    case VideoFormat::BGRA:
      break;
  }
  return SDL_UpdateTexture(texture, nullptr, data(0), pitch(0));
}

bool fitsRenderer(SDL_Renderer* renderer, int width, int height) {
  SDL_RendererInfo info{};
  if (SDL_GetRendererInfo(renderer, &info) != 0) return false;
  // Zero is no limit.
  return (info.max_texture_width <= 0 || width <= info.max_texture_width) &&
         (info.max_texture_height <= 0 || height <= info.max_texture_height);
}

}  // namespace

SDL_FRect fittedRect(const SDL_FRect& area, double pictureWidth, double pictureHeight) {
  if (!(pictureWidth > 0) || !(pictureHeight > 0) || area.w <= 0 || area.h <= 0)
    return {area.x, area.y, 0, 0};
  const double scale = std::min(static_cast<double>(area.w) / pictureWidth,
                                static_cast<double>(area.h) / pictureHeight);
  // Whole pixels: a picture edge between two pixels would be blurred.
  const auto width = static_cast<float>(std::round(pictureWidth * scale));
  const auto height = static_cast<float>(std::round(pictureHeight * scale));
  return {area.x + std::floor((area.w - width) / 2), area.y + std::floor((area.h - height) / 2),
          width, height};
}

bool FrameTexture::update(SDL_Renderer* renderer, const VideoFrame& frame) {
  _hasPicture = false;
  if (!isConsistent(frame) || !fitsRenderer(renderer, frame.width, frame.height)) return false;
  if (!_texture || _format != frame.format || _width != frame.width || _height != frame.height) {
    _texture.reset(SDL_CreateTexture(renderer, sdlFormat(frame.format), SDL_TEXTUREACCESS_STREAMING,
                                     frame.width, frame.height));
    if (!_texture) return false;
    SDL_SetTextureScaleMode(_texture.get(), SDL_ScaleModeLinear);
  }
  _format = frame.format;
  _width = frame.width;
  _height = frame.height;
  _rotation = ((frame.rotationDegrees % 360) + 360) % 360;
  _matrix = frame.matrix;
  _fullRange = frame.fullRange;
  const bool validAspect = frame.pixelAspectNumerator > 0 && frame.pixelAspectDenominator > 0;
  _pixelAspect =
      validAspect ? static_cast<double>(frame.pixelAspectNumerator) / frame.pixelAspectDenominator
                  : 1;

  _setConversion();
  _hasPicture = upload(_texture.get(), frame) == 0;
  return _hasPicture;
}

void FrameTexture::clear() {
  _texture.reset();
  _hasPicture = false;
}

SDL_FRect FrameTexture::draw(SDL_Renderer* renderer, const SDL_FRect& area, float alpha) const {
  if (!_hasPicture) return {area.x, area.y, 0, 0};
  const bool sideways = _rotation == 90 || _rotation == 270;
  const double width = _width * _pixelAspect;
  const double height = _height;
  const SDL_FRect place =
      // NOLINTNEXTLINE(readability-suspicious-call-argument): a turned picture swaps them
      sideways ? fittedRect(area, height, width) : fittedRect(area, width, height);
  // The renderer turns around the middle of a rectangle that is given as if nothing were turned.
  const SDL_FRect unturned = sideways
                                 ? SDL_FRect{place.x + (place.w - place.h) / 2,
                                             place.y + (place.h - place.w) / 2, place.h, place.w}
                                 : place;
  _setConversion();
  const bool opaque = alpha >= 1;
  SDL_SetTextureBlendMode(_texture.get(), opaque ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetTextureAlphaMod(_texture.get(),
                         static_cast<Uint8>(std::lround(std::clamp(alpha, 0.0F, 1.0F) * 255)));
  if (_rotation == 0) {
    SDL_RenderCopyF(renderer, _texture.get(), nullptr, &unturned);
  } else {
    SDL_RenderCopyExF(renderer, _texture.get(), nullptr, &unturned, _rotation, nullptr,
                      SDL_FLIP_NONE);
  }
  return place;
}

void FrameTexture::_setConversion() const {
  // There is no mode for full-range BT.709: wrong levels are seen sooner than slightly wrong hues.
  const SDL_YUV_CONVERSION_MODE mode = _fullRange                      ? SDL_YUV_CONVERSION_JPEG
                                       : _matrix == VideoMatrix::BT601 ? SDL_YUV_CONVERSION_BT601
                                                                       : SDL_YUV_CONVERSION_BT709;
  SDL_SetYUVConversionMode(mode);
}

}  // namespace box
