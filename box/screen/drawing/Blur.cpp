#include "box/screen/drawing/Blur.h"

#include <algorithm>
#include <cmath>

namespace box {
namespace {

constexpr int kFirstDivisor = 4;
/// The level that is shown. The smaller levels spread the colours.
constexpr std::size_t kShownLevel = 1;

}  // namespace

bool Blur::capture(SDL_Renderer* renderer, int width, int height, platform::Color tint,
                   const std::function<void()>& paint) {
  _captured = false;
  if (!_prepare(renderer, width, height)) return false;
  SDL_Texture* const screen = SDL_GetRenderTarget(renderer);
  SDL_SetRenderTarget(renderer, _levels[0].get());
  SDL_SetRenderDrawColor(renderer, 0, 0, 0, 255);
  SDL_RenderClear(renderer);
  // Each render target has its own scale, which SDL restores when the target changes.
  SDL_RenderSetScale(renderer, 1.0F / kFirstDivisor, 1.0F / kFirstDivisor);
  paint();
  SDL_RenderSetScale(renderer, 1, 1);

  const auto copy = [&](std::size_t from, std::size_t to) {
    SDL_SetRenderTarget(renderer, _levels[to].get());
    SDL_RenderCopy(renderer, _levels[from].get(), nullptr, nullptr);
  };
  for (std::size_t i = 1; i < kLevels; ++i) copy(i - 1, i);
  for (std::size_t i = kLevels - 1; i > kShownLevel; --i) copy(i, i - 1);
  // Darken it at this small size: a full-size fill takes milliseconds with a software renderer.
  SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(renderer, colorLevel(tint.red), colorLevel(tint.green),
                         colorLevel(tint.blue), colorLevel(tint.alpha));
  SDL_RenderFillRect(renderer, nullptr);
  SDL_SetRenderTarget(renderer, screen);
  _captured = true;
  return true;
}

bool Blur::draw(SDL_Renderer* renderer, int width, int height, const SDL_FRect& place,
                float alpha) {
  if (!hasContentFor(width, height)) return false;
  _drawn = true;
  SDL_Texture* const blurred = _levels[kShownLevel].get();
  int blurredWidth = 0;
  int blurredHeight = 0;
  SDL_QueryTexture(blurred, nullptr, nullptr, &blurredWidth, &blurredHeight);
  const auto scaled = [](float length, int whole, int pixels) {
    const double share = static_cast<double>(length) / whole;
    return static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * pixels));
  };
  const int left = scaled(place.x, width, blurredWidth);
  const int top = scaled(place.y, height, blurredHeight);
  const SDL_Rect source{left, top, scaled(place.x + place.w, width, blurredWidth) - left,
                        scaled(place.y + place.h, height, blurredHeight) - top};
  if (source.w <= 0 || source.h <= 0) return true;
  SDL_SetTextureBlendMode(blurred, alpha >= 1 ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetTextureAlphaMod(blurred, colorLevel(alpha));
  SDL_RenderCopyF(renderer, blurred, &source, &place);
  SDL_SetTextureBlendMode(blurred, SDL_BLENDMODE_NONE);
  SDL_SetTextureAlphaMod(blurred, 255);
  return true;
}

void Blur::clear() {
  for (TexturePtr& level : _levels) level.reset();
  _width = 0;
  _height = 0;
  _captured = false;
}

bool Blur::_prepare(SDL_Renderer* renderer, int width, int height) {
  if (width == _width && height == _height) return true;
  clear();
  for (std::size_t i = 0; i < kLevels; ++i) {
    // The pixel format of windows: software renderers convert other formats with extra copies when
    // scaling.
    _levels[i].reset(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_RGB888, SDL_TEXTUREACCESS_TARGET,
                                       std::max((width / kFirstDivisor) >> i, 1),
                                       std::max((height / kFirstDivisor) >> i, 1)));
    if (!_levels[i]) {
      clear();
      return false;
    }
    SDL_SetTextureScaleMode(_levels[i].get(), SDL_ScaleModeLinear);
    SDL_SetTextureBlendMode(_levels[i].get(), SDL_BLENDMODE_NONE);
  }
  _width = width;
  _height = height;
  return true;
}

}  // namespace box
