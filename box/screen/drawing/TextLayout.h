#pragma once

#include <memory>
#include <string>

#include <pango/pangocairo.h>

namespace box {

struct PangoDeleter {
  void operator()(PangoFontMap* fonts) const { g_object_unref(fonts); }
  void operator()(PangoContext* context) const { g_object_unref(context); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  void operator()(PangoAttrList* list) const { pango_attr_list_unref(list); }
  void operator()(PangoLayoutIter* iter) const { pango_layout_iter_free(iter); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
using PangoFontMapPtr = std::unique_ptr<PangoFontMap, PangoDeleter>;
using PangoContextPtr = std::unique_ptr<PangoContext, PangoDeleter>;
using PangoLayoutPtr = std::unique_ptr<PangoLayout, PangoDeleter>;
using PangoAttrListPtr = std::unique_ptr<PangoAttrList, PangoDeleter>;
using PangoLayoutIterPtr = std::unique_ptr<PangoLayoutIter, PangoDeleter>;

struct TextFont {
  double pixels = 0;  ///< size
  PangoWeight weight = PANGO_WEIGHT_NORMAL;
  bool italic = false;
  double largestSpan = 1;  ///< the largest size that an attribute sets, as a multiple of `pixels`
};

/// Creates a layout of `text` (valid UTF-8) with the fonts of the theme. Direction and language are
/// detected from the text. Lines break between words; text that exceeds the area ends in an
/// ellipsis. The caller sets the area. `attributes` may be null.
PangoLayoutPtr makeTextLayout(PangoContext* context, const std::string& text, const TextFont& font,
                              PangoAlignment alignment, PangoAttrListPtr attributes);

}  // namespace box
