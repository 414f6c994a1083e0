#pragma once

#include <vector>

#include "platform/ui/scene/Scene.h"

namespace box::test {

/// The languages of the gallery.
inline constexpr const char* kGalleryLanguages[]{"en", "ar", "ja"};

/// Returns a scene for each element and state, in the order of docs/look.md, on a picture that is
/// bright behind texts.
std::vector<platform::Scene> gallery(const char* language);

}  // namespace box::test
