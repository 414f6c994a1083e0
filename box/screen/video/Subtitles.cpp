#include "box/screen/video/Subtitles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "box/screen/drawing/Theme.h"
#include "media/output/SubtitleStyles.h"

namespace box {
namespace {

constexpr std::size_t kCachedCues = 16;
constexpr std::size_t kCachedCuePixels = std::size_t{16} * 1024 * 1024;
/// Canvases up to this width are stretched to the picture, whatever their pixel aspect ratio.
constexpr int kStretchedWidth = 768;

/// `moments` is how many moments of the cue have passed.
std::string cacheKey(const void* cue, int moments, const void* styles, const SubtitleFrame& frame) {
  char key[160];
  std::snprintf(key, sizeof key, "%p %d %p %.0f %.0f %.0f %.0f %.3f", cue, moments, styles,
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

/// The order in which texts are placed: that of WebVTT, and paragraphs of one text from the last to
/// the first.
std::vector<std::size_t> placingOrder(const media::SubtitleCues::Cues& cues, std::size_t count) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto endOf = [](const media::SubtitleCue& cue) {
    return cue.duration == media::SubtitleCue::kUntilNext ? HUGE_VAL : cue.start + cue.duration;
  };
  std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    const media::SubtitleCue& one = *cues[left];
    const media::SubtitleCue& other = *cues[right];
    const bool isReversed = one.layout.readsDownwards && other.layout.readsDownwards;
    if (isReversed) return left > right;
    if (one.layout.readsDownwards != other.layout.readsDownwards)
      return other.layout.readsDownwards;
    if (one.start != other.start) return one.start < other.start;
    return endOf(one) != endOf(other) ? endOf(one) > endOf(other) : left < right;
  });
  return order;
}

void copy(SDL_Renderer* renderer, SDL_Texture* texture, const SDL_FRect& target, float alpha) {
  if (!texture) return;
  SDL_SetTextureAlphaMod(texture, static_cast<Uint8>(std::lround(255 * alpha)));
  SDL_RenderCopyF(renderer, texture, nullptr, &target);
}

/// How long a new text of a scrolling region moves, in seconds (WebVTT: 0.433).
constexpr double kScrollSeconds = 0.433;

/// Draws within a rectangle until it is destroyed.
class ClipScope {
 public:
  ClipScope(SDL_Renderer* renderer, const SDL_FRect& rect) : _renderer(renderer) {
    _wasClipping = SDL_RenderIsClipEnabled(renderer) == SDL_TRUE;
    SDL_RenderGetClipRect(renderer, &_before);
    const SDL_Rect clip{static_cast<int>(std::floor(rect.x)), static_cast<int>(std::floor(rect.y)),
                        static_cast<int>(std::ceil(rect.w)) + 1,
                        static_cast<int>(std::ceil(rect.h)) + 1};
    SDL_RenderSetClipRect(renderer, &clip);
  }
  ~ClipScope() { SDL_RenderSetClipRect(_renderer, _wasClipping ? &_before : nullptr); }
  ClipScope(const ClipScope&) = delete;
  ClipScope& operator=(const ClipScope&) = delete;

 private:
  SDL_Renderer* const _renderer;
  SDL_Rect _before{};
  bool _wasClipping = false;
};

/// `lineDepth` is the height of a line of its texts, in pixels.
SDL_FRect boxOf(const media::CueRegion& region, const SDL_FRect& picture, int lineDepth) {
  const float height = std::max(static_cast<float>(region.height) * picture.h,
                                static_cast<float>(region.lines) * static_cast<float>(lineDepth));
  return {picture.x + static_cast<float>(region.left) * picture.w,
          picture.y + static_cast<float>(region.y) * picture.h -
              static_cast<float>(region.anchor) * height,
          static_cast<float>(region.width) * picture.w, height};
}

void fill(SDL_Renderer* renderer, const SDL_FRect& rect,
          const std::optional<platform::Color>& color, float alpha) {
  if (!color) return;
  const auto level = [](float value) {
    return static_cast<Uint8>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
  };
  SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(renderer, level(color->red), level(color->green), level(color->blue),
                         level(color->alpha * alpha));
  SDL_RenderFillRectF(renderer, &rect);
}

}  // namespace

Subtitles::Subtitles(const TextRenderer& texts)
    : _texts(texts), _cache(kCachedCues, kCachedCuePixels) {}

Subtitles::DrawnPtr Subtitles::_drawn(SDL_Renderer* renderer,
                                      const std::shared_ptr<const media::SubtitleCue>& cue,
                                      const std::shared_ptr<const media::SubtitleStyles>& styles,
                                      const SubtitleFrame& frame) {
  const std::string key = cacheKey(cue.get(), passedMoments(*cue, frame.time), styles.get(), frame);
  if (const DrawnPtr* cached = _cache.find(key)) return *cached;
  media::SubtitleCue styled = *cue;
  if (styles) styles->applyTo(styled);
  settleMoments(styled, frame.time);
  Drawn drawn{.cue = cue, .styles = styles, .layout = styled.layout, .text = {}, .images = {}};
  if (styled.look.isHidden.value_or(false)) drawn.layout.background.reset();
  std::size_t pixels = imageBytesOf(*cue) / sizeof(std::uint32_t);
  for (const media::CueImage& each : cue->images) drawn.images.push_back(textureOf(renderer, each));
  if (!styled.text.empty()) {
    SubtitleArea area = _areaOf(styled.layout, frame);
    drawn.text = drawSubtitleText(renderer, _texts, styled, area);
    const auto safe =
        static_cast<int>(static_cast<double>(frame.area.w) * (1 - 2 * platform::kSafeAreaFraction));
    if (drawn.text.width > safe && !styled.layout.region &&
        styled.layout.writing == media::CueLayout::Writing::Horizontal) {
      // Lines at both edges of the screen.
      area.length = safe - (drawn.text.width - std::min(drawn.text.width, area.length));
      drawn.layout.left.reset();
      drawn.text = drawSubtitleText(renderer, _texts, styled, area);
    }
    pixels +=
        static_cast<std::size_t>(drawn.text.width) * static_cast<std::size_t>(drawn.text.height);
  }
  return _cache.insert(key, std::make_shared<const Drawn>(std::move(drawn)), pixels);
}

SubtitleArea Subtitles::_areaOf(const media::CueLayout& layout, const SubtitleFrame& frame) {
  const bool isVertical = layout.writing != media::CueLayout::Writing::Horizontal;
  const auto along = [&](const SDL_FRect& rect) {
    return static_cast<double>(isVertical ? rect.h : rect.w);
  };
  const auto across = [&](const SDL_FRect& rect) {
    return static_cast<double>(isVertical ? rect.w : rect.h);
  };
  const double length = layout.width ? *layout.width * along(frame.picture)
                                     : theme::kSubtitleWidth * along(frame.area);
  double depth = across(frame.area) * theme::kSubtitleHeight;
  if (layout.region) {
    const double share = isVertical ? layout.region->width : layout.region->height;
    depth = std::max(depth, std::clamp(share, 0.0, 1.0) * across(frame.picture));
  }
  // The sizes of a region and of the texts in it refer to the picture.
  const auto height = static_cast<double>(layout.region ? frame.picture.h : frame.area.h);
  // Not so short that text wraps after each letter.
  return {.length = static_cast<int>(
              std::clamp(length, theme::kSubtitleMinWidth * along(frame.area), along(frame.area))),
          .depth = static_cast<int>(depth),
          .size = height * media::kSubtitleFontSize * frame.textSize,
          .frame = static_cast<double>(frame.area.h)};
}

void Subtitles::draw(SDL_Renderer* renderer, const media::SubtitleCues::Cues& cues,
                     const std::shared_ptr<const media::SubtitleStyles>& styles,
                     const SubtitleFrame& frame, float alpha) {
  const std::size_t count = std::min(cues.size(), kCachedCues);
  std::vector<DrawnPtr> all;
  for (std::size_t index = 0; index < count; ++index)
    all.push_back(_drawn(renderer, cues[index], styles, frame));
  float heightAtTop = 0;
  float heightAtBottom = 0;
  for (const DrawnPtr& drawn : all) {
    const media::CueLayout& layout = drawn->layout;
    const bool isVertical = layout.writing != media::CueLayout::Writing::Horizontal;
    if (!drawn->text.texture || layout.y || layout.region || isVertical) continue;
    float& height = isAtLastLine(layout) ? heightAtBottom : heightAtTop;
    // Count at least two lines, so that texts of one and two lines are on the same side of the
    // picture's edge.
    height = std::max(height + static_cast<float>(drawn->text.boxHeight),
                      2 * static_cast<float>(drawn->text.lineDepth));
  }
  SubtitlePlacement placement(frame, heightAtTop, heightAtBottom);
  std::vector<DrawnPtr> inRegions;
  for (const DrawnPtr& drawn : all) {
    for (std::size_t image = 0; image < drawn->images.size(); ++image)
      copy(renderer, drawn->images[image].get(), placeOf(drawn->cue->images[image], frame.picture),
           alpha);
    if (drawn->text.texture && drawn->layout.region) inRegions.push_back(drawn);
  }
  while (!inRegions.empty()) {
    // All texts of the first one's region.
    std::vector<DrawnPtr> group;
    const media::CueLayout first = inRegions.front()->layout;
    std::erase_if(inRegions, [&](const DrawnPtr& drawn) {
      const media::CueLayout& layout = drawn->layout;
      if (layout.region != first.region || layout.writing != first.writing) return false;
      group.push_back(drawn);
      return true;
    });
    _drawRegion(renderer, group, frame, alpha, placement);
  }
  for (const std::size_t index : placingOrder(cues, count)) {
    const Drawn& drawn = *all[index];
    if (!drawn.text.texture || drawn.layout.region) continue;
    _drawText(renderer, drawn, placement.place(drawn.layout, drawn.text), alpha);
  }
}

void Subtitles::_drawText(SDL_Renderer* renderer, const Drawn& drawn, const SDL_FRect& box,
                          float alpha) {
  fill(renderer, box, drawn.layout.background, alpha);
  copy(renderer, drawn.text.texture.get(),
       {box.x + static_cast<float>(drawn.text.x), box.y + static_cast<float>(drawn.text.y),
        static_cast<float>(drawn.text.width), static_cast<float>(drawn.text.height)},
       alpha);
}

void Subtitles::_drawRegion(SDL_Renderer* renderer, const std::vector<DrawnPtr>& group,
                            const SubtitleFrame& frame, float alpha, SubtitlePlacement& placement) {
  using Writing = media::CueLayout::Writing;
  const media::CueRegion& region = *group.front()->layout.region;
  const Writing writing = group.front()->layout.writing;
  const bool isVertical = writing != Writing::Horizontal;
  const SDL_FRect& picture = frame.picture;
  float depth = 0;
  double newest = -HUGE_VAL;
  float newestDepth = 0;
  for (const DrawnPtr& each : group) {
    const auto own = static_cast<float>(isVertical ? each->text.boxWidth : each->text.boxHeight);
    depth += own;
    if (each->cue->start >= newest) {
      newest = each->cue->start;
      newestDepth = own;
    }
  }
  const SDL_FRect box = boxOf(region, picture, group[0]->text.lineDepth);
  const float across = isVertical ? picture.w : picture.h;
  const float before = static_cast<float>(region.paddingBefore) * across;
  const float after = static_cast<float>(region.paddingAfter) * across;
  const float room = (isVertical ? box.w : box.h) - before - after - depth;
  float offset = before + (region.texts == media::CueAnchor::Top      ? 0
                           : region.texts == media::CueAnchor::Middle ? room / 2
                                                                      : room);
  SDL_FRect shown = box;
  if (!isVertical) {
    // Another element at the lower edge moves the region up.
    const float bottom = frame.area.y + frame.area.h - frame.covered;
    const float top = box.y + offset;
    shown.y -= std::max(0.0F, std::min(top + depth - bottom, top - frame.area.y));
  }
  fill(renderer, shown, region.background, alpha);
  // Only the lines of a scrolling text that are moving out are cut off.
  std::optional<ClipScope> clip;
  if (region.lines > 0) clip.emplace(renderer, shown);
  if (region.scrolls && group.size() > 1) {
    const double progress = std::clamp((frame.time - newest) / kScrollSeconds, 0.0, 1.0);
    offset += newestDepth * static_cast<float>(1 - theme::eased(progress));
  }
  for (const DrawnPtr& each : group) {
    const auto width = static_cast<float>(each->text.boxWidth);
    const auto length = static_cast<float>(each->text.boxHeight);
    const auto along = static_cast<float>(each->layout.left.value_or(0));
    SDL_FRect place{picture.x + along * picture.w, shown.y + offset, width, length};
    if (isVertical) {
      place.y = picture.y + along * picture.h;
      place.x = writing == Writing::VerticalToRight ? shown.x + offset
                                                    : shown.x + shown.w - offset - width;
    }
    offset += isVertical ? width : length;
    place.x = std::round(place.x);
    place.y = std::round(place.y);
    _drawText(renderer, *each, place, alpha);
    placement.reserve(
        {place.x + static_cast<float>(each->text.x), place.y + static_cast<float>(each->text.y),
         static_cast<float>(each->text.width), static_cast<float>(each->text.height)});
  }
}

}  // namespace box
