#pragma once

#include <vector>

#include "platform/ui/scene/Scene.h"

namespace box::test {

/// The languages of the gallery.
inline constexpr const char* kGalleryLanguages[]{"en", "ar", "ja"};

/// Returns a scene for each element and state, on a picture that is bright behind texts. docs/look
/// has them in rows of three.
std::vector<platform::Scene> gallery(const char* language);

}  // namespace box::test
