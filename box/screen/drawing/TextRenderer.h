#pragma once

#include <memory>
#include <string>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "box/screen/drawing/Theme.h"
#include "platform/ui/scene/Scene.h"

struct _PangoContext;  // NOLINT(bugprone-reserved-identifier): the library's name

namespace box {

/// A text to draw. Sizes are points of the scene.
struct TextRun {
  std::string text;
  double size = theme::kMinFontSize;
  bool bold = false;
  platform::Color color = theme::kText;
  platform::TextAlignment alignment = platform::TextAlignment::Leading;
  double width = 0;    ///< wraps, or ends in an ellipsis, here
  double height = 0;   ///< ends in an ellipsis here; zero: one line
  double outline = 0;  ///< width of the dark line around the letters, for text over pictures
};

/// A rendered text. The texture covers the ink rectangle only.
struct TextPicture {
  TexturePtr texture;  ///< null when there is nothing to see
  // Ink rectangle within the text's area.
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  int lineHeight = 0;  ///< height of all lines together
};

/// Size of a text in points.
struct TextExtent {
  double width = 0;   ///< of the longest line
  double height = 0;  ///< of all lines
  // Ink rectangle within that height.
  double inkTop = 0;
  double inkHeight = 0;
  bool cut = false;  ///< it ends in an ellipsis
};

/// Lays out and renders text of any script with Pango, and caches the textures. Thread: the
/// screen's. Call clear() before the renderer is destroyed. The fonts stay loaded.
class TextRenderer {
 public:
  /// `language` is a locale name. It selects the regional glyph variants of Han characters.
  explicit TextRenderer(const std::string& language = {});
  ~TextRenderer();
  TextRenderer(const TextRenderer&) = delete;
  TextRenderer& operator=(const TextRenderer&) = delete;

  /// Loads the fonts, so that the first text is not delayed.
  void warmUp();

  /// `scale`: pixels per point. The reference is valid until the next call.
  const TextPicture& picture(SDL_Renderer* renderer, const TextRun& run, double scale);

  TextExtent measure(const TextRun& run, double scale);

  /// The Pango context with the fonts.
  ::_PangoContext* context() const;

  void clear() { _cache.clear(); }
  std::size_t cachedCount() const { return _cache.size(); }

 private:
  struct Impl;
  const std::unique_ptr<Impl> _impl;
  TextureCache<TextPicture> _cache;
  TextureCache<TextExtent> _extents;
};

}  // namespace box
