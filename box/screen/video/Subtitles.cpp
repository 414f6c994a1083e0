#include "box/screen/video/Subtitles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "box/screen/drawing/Theme.h"
#include "media/output/SubtitleStyles.h"

namespace box {
namespace {

using Anchor = media::CueLayout::Anchor;

constexpr std::size_t kCachedCues = 16;
constexpr std::size_t kCachedCuePixels = std::size_t{16} * 1024 * 1024;
/// Canvases up to this width are stretched to the picture, whatever their pixel aspect ratio.
constexpr int kStretchedWidth = 768;

std::string cacheKey(const void* cue, const void* styles, const SubtitleFrame& frame) {
  char key[160];
  std::snprintf(key, sizeof key, "%p %p %.0f %.0f %.0f %.0f %.3f", cue, styles,
                static_cast<double>(frame.area.w), static_cast<double>(frame.area.h),
                static_cast<double>(frame.picture.w), static_cast<double>(frame.picture.h),
                frame.textSize);
  return key;
}

TexturePtr textureOf(SDL_Renderer* renderer, const media::CueImage& image) {
  TexturePtr texture(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC,
                                       image.width, image.height));
  if (!texture ||
      SDL_UpdateTexture(texture.get(), nullptr, image.pixels.data(), image.width * 4) != 0)
    return nullptr;
  SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_BLEND);
  SDL_SetTextureScaleMode(texture.get(), SDL_ScaleModeLinear);
  return texture;
}

SDL_FRect placeOf(const media::CueImage& image, const SDL_FRect& picture) {
  const float scaleX = picture.w / static_cast<float>(image.canvasWidth);
  const bool stretches = image.canvasWidth <= kStretchedWidth;
  const float scaleY = stretches ? picture.h / static_cast<float>(image.canvasHeight) : scaleX;
  // A canvas that is taller than the picture includes letterbox bars.
  const float top = picture.y + (picture.h - scaleY * static_cast<float>(image.canvasHeight)) / 2;
  return {picture.x + scaleX * static_cast<float>(image.x),
          top + scaleY * static_cast<float>(image.y), scaleX * static_cast<float>(image.width),
          scaleY * static_cast<float>(image.height)};
}

/// Whether the cue is stacked from the lower edge upwards. The last such cue is the lowest.
bool isAtLowerEdge(const media::CueLayout& layout) {
  return !layout.y && layout.line.value_or(-1) < 0;
}

/// Places texts without overlaps.
class Placement {
 public:
  /// The heights are those of all lines at the upper and at the lower edge.
  Placement(const SubtitleFrame& frame, float heightAtTop, float heightAtBottom) : _frame(frame) {
    const auto inset = static_cast<float>(platform::kSafeAreaFraction);
    const SDL_FRect& area = frame.area;
    _left = area.x + inset * area.w;
    _right = area.x + area.w - inset * area.w;
    _top = area.y + inset * area.h;
    const float margin =
        std::max(static_cast<float>(theme::kSubtitleMargin) * area.h, frame.covered);
    _bottom = area.y + area.h - margin;
    // Lines at an edge are all placed outside or all inside the picture, never across its edge.
    const SDL_FRect& picture = frame.picture;
    const float pictureBottom = picture.y + picture.h;
    if (_top + heightAtTop > picture.y) _top = std::max(_top, picture.y + inset * picture.h);
    if (_bottom - heightAtBottom < pictureBottom) {
      const float inside = static_cast<float>(theme::kSubtitleMargin) * picture.h;
      _bottom = std::min(_bottom, pictureBottom - inside);
    }
  }

  SDL_FRect place(const media::CueLayout& layout, const SubtitlePicture& text, int areaWidth) {
    const auto height = static_cast<float>(text.textHeight);
    const auto width = static_cast<float>(areaWidth);
    const SDL_FRect& area = _frame.area;
    float x = area.x + (area.w - width) / 2;
    if (layout.left) x = _frame.picture.x + static_cast<float>(*layout.left) * _frame.picture.w;
    // Clamp by the ink, not by the line box.
    const auto inkLeft = static_cast<float>(text.x);
    const auto inkWidth = static_cast<float>(text.width);
    x = std::clamp(x + inkLeft, _left, std::max(_left, _right - inkWidth)) - inkLeft;
    SDL_FRect rect{x + inkLeft, _topOf(layout, text), inkWidth, height};
    rect.y = std::clamp(rect.y, _top, std::max(_top, _bottom - height));
    _avoidOverlaps(rect, layout.anchor == Anchor::Top);
    _occupied.push_back(rect);
    return {std::round(x), std::round(rect.y), width, height};
  }

 private:
  float _topOf(const media::CueLayout& layout, const SubtitlePicture& text) const {
    const auto height = static_cast<float>(text.textHeight);
    if (layout.y) {
      const float at = _frame.picture.y + static_cast<float>(*layout.y) * _frame.picture.h;
      return at - (layout.anchor == Anchor::Top      ? 0
                   : layout.anchor == Anchor::Middle ? height / 2
                                                     : height);
    }
    const int line = layout.line.value_or(-1);
    const auto lineHeight = static_cast<float>(text.lineHeight);
    if (line >= 0) return _top + static_cast<float>(line) * lineHeight;
    return _bottom + static_cast<float>(line + 1) * lineHeight - height;
  }

  void _avoidOverlaps(SDL_FRect& rect, bool downwards) const {
    for (std::size_t tries = 0; tries <= _occupied.size(); ++tries) {
      const auto other =
          std::find_if(_occupied.begin(), _occupied.end(), [&](const SDL_FRect& each) {
            return rect.x < each.x + each.w && each.x < rect.x + rect.w &&
                   rect.y < each.y + each.h - 1 && each.y < rect.y + rect.h - 1;
          });
      if (other == _occupied.end()) return;
      rect.y = downwards ? other->y + other->h : other->y - rect.h;
    }
  }

  const SubtitleFrame& _frame;
  float _left, _right, _top, _bottom;
  std::vector<SDL_FRect> _occupied;
};

void copy(SDL_Renderer* renderer, SDL_Texture* texture, const SDL_FRect& target, float alpha) {
  if (!texture) return;
  SDL_SetTextureAlphaMod(texture, static_cast<Uint8>(std::lround(255 * alpha)));
  SDL_RenderCopyF(renderer, texture, nullptr, &target);
}

}  // namespace

Subtitles::Subtitles(const TextRenderer& texts)
    : _texts(texts), _cache(kCachedCues, kCachedCuePixels) {}

const Subtitles::Drawn& Subtitles::_drawn(
    SDL_Renderer* renderer, const std::shared_ptr<const media::SubtitleCue>& cue,
    const std::shared_ptr<const media::SubtitleStyles>& styles, const SubtitleFrame& frame) {
  const std::string key = cacheKey(cue.get(), styles.get(), frame);
  if (const Drawn* cached = _cache.find(key)) return *cached;
  media::SubtitleCue styled = *cue;
  if (styles) styles->applyTo(styled);
  Drawn drawn{.cue = cue, .styles = styles, .layout = styled.layout, .text = {}, .images = {}};
  std::size_t pixels = imageBytesOf(*cue) / sizeof(std::uint32_t);
  for (const media::CueImage& each : cue->images) drawn.images.push_back(textureOf(renderer, each));
  if (!styled.text.empty()) {
    const double width = styled.layout.width
                             ? *styled.layout.width * static_cast<double>(frame.picture.w)
                             : theme::kSubtitleWidth * static_cast<double>(frame.area.w);
    // A minimum width, so that text does not wrap after each letter.
    drawn.areaWidth = static_cast<int>(
        std::max(width, theme::kSubtitleMinWidth * static_cast<double>(frame.area.w)));
    const auto height = static_cast<double>(frame.area.h);
    drawn.text = drawSubtitleText(renderer, _texts, styled,
                                  {.width = drawn.areaWidth,
                                   .height = static_cast<int>(height * theme::kSubtitleHeight),
                                   .size = height * theme::kSubtitleSize * frame.textSize,
                                   .frame = height});
    pixels +=
        static_cast<std::size_t>(drawn.text.width) * static_cast<std::size_t>(drawn.text.height);
  }
  return _cache.insert(key, std::move(drawn), pixels);
}

void Subtitles::draw(SDL_Renderer* renderer, const media::SubtitleCues::Cues& cues,
                     const std::shared_ptr<const media::SubtitleStyles>& styles,
                     const SubtitleFrame& frame, float alpha) {
  const std::size_t count = std::min(cues.size(), kCachedCues);
  float heightAtTop = 0;
  float heightAtBottom = 0;
  for (std::size_t index = 0; index < count; ++index) {
    const Drawn& drawn = _drawn(renderer, cues[index], styles, frame);
    if (!drawn.text.texture || drawn.layout.y) continue;
    float& height = isAtLowerEdge(drawn.layout) ? heightAtBottom : heightAtTop;
    // Count at least two lines, so that texts of one and two lines are on the same side of the
    // picture's edge.
    height = std::max(height + static_cast<float>(drawn.text.textHeight),
                      2 * static_cast<float>(drawn.text.lineHeight));
  }
  Placement placement(frame, heightAtTop, heightAtBottom);
  const auto drawText = [&](const Drawn& drawn) {
    const SDL_FRect area = placement.place(drawn.layout, drawn.text, drawn.areaWidth);
    copy(renderer, drawn.text.texture.get(),
         {area.x + static_cast<float>(drawn.text.x), area.y + static_cast<float>(drawn.text.y),
          static_cast<float>(drawn.text.width), static_cast<float>(drawn.text.height)},
         alpha);
  };
  for (std::size_t index = count; index-- > 0;) {
    const Drawn& drawn = _drawn(renderer, cues[index], styles, frame);
    for (std::size_t image = 0; image < drawn.images.size(); ++image)
      copy(renderer, drawn.images[image].get(), placeOf(drawn.cue->images[image], frame.picture),
           alpha);
    if (drawn.text.texture && isAtLowerEdge(drawn.layout)) drawText(drawn);
  }
  for (std::size_t index = 0; index < count; ++index) {
    const Drawn& drawn = _drawn(renderer, cues[index], styles, frame);
    if (drawn.text.texture && !isAtLowerEdge(drawn.layout)) drawText(drawn);
  }
}

}  // namespace box
