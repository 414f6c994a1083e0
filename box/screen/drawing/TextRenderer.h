#pragma once

#include <memory>
#include <string>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "box/screen/drawing/Theme.h"
#include "platform/ui/scene/Scene.h"

struct _PangoContext;  // NOLINT(bugprone-reserved-identifier): the library's name

namespace box {

/// A piece of text to be drawn. Sizes are points of the scene.
struct TextRun {
  std::string text;
  double size = theme::kSmallestText;
  bool bold = false;
  platform::Color color = theme::kText;
  platform::TextAlignment alignment = platform::TextAlignment::Leading;
  double width = 0;    ///< wraps, or ends in an ellipsis, here
  double height = 0;   ///< ends in an ellipsis here; zero: one line
  double outline = 0;  ///< width of the dark line around the letters, for text over pictures
};

/// A text as pixels. The texture covers the inked part only.
struct TextPicture {
  TexturePtr texture;  ///< null when there is nothing to see
  // Where the texture lies within the text's area, and its size.
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  int lineHeight = 0;  ///< height of all lines together
};

/// What a text takes, in points.
struct TextExtent {
  double width = 0;   ///< of the longest line
  double height = 0;  ///< of all lines
  // Where the letters are within that height.
  double inkTop = 0;
  double inkHeight = 0;
  bool cut = false;  ///< it ends in an ellipsis
};

/// Whether the first letters that have a direction run from right to left.
bool runsRightToLeft(const std::string& text);

/// Shapes and draws text of any script with Pango, and keeps the textures of what was used last.
///
/// Threads: the screen's own. Lifetime: textures go with clear(), which must come before their
/// renderer's end. The fonts stay loaded.
class TextRenderer {
 public:
  /// `language` is a locale's name, as the texts of the box are in; what Chinese, Japanese and
  /// Korean write with the same characters looks as each is used to.
  explicit TextRenderer(const std::string& language = {});
  ~TextRenderer();
  TextRenderer(const TextRenderer&) = delete;
  TextRenderer& operator=(const TextRenderer&) = delete;

  /// Loads the fonts, which the first text would wait for otherwise.
  void warmUp();

  /// `scale` is pixels a point. The reference is good until the next call.
  const TextPicture& picture(SDL_Renderer* renderer, const TextRun& run, double scale);

  TextExtent measure(const TextRun& run, double scale);

  /// The fonts, for whoever sets text in another way.
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
