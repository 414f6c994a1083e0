#pragma once

#include <functional>
#include <string>

#include <cairo.h>

#include "tests/box/screen/Pictures.h"

namespace box::test {

/// Draws pictures in three columns, each scaled to 480x270. `picture` returns one of them, 16:9.
CairoSurfacePtr drawContactSheet(int pictures, const std::function<Picture(int)>& picture);

/// Compares a picture with a file in docs/look, block by block. With VORLANE_UPDATE_PICTURES in the
/// environment, the file is written first.
///
/// docs/look/drawn-with.txt names the system that drew the files. On that system the comparison is
/// strict. On other systems glyphs differ slightly, so larger blocks are compared.
void expectReference(cairo_surface_t* drawn, const std::string& file);

}  // namespace box::test
