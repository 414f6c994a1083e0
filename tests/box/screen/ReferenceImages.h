#pragma once

#include <string>

#include <cairo.h>

namespace box::test {

/// Compares a picture with a file in docs/look, block by block. With VORLANE_UPDATE_PICTURES in the
/// environment, the file is written first.
///
/// docs/look/drawn-with.txt names the system that drew the files. On that system the comparison is
/// strict. On other systems glyphs differ slightly, so larger blocks are compared.
void expectReference(cairo_surface_t* drawn, const std::string& file);

}  // namespace box::test
