#pragma once

#include <vector>

#include "platform/ui/scene/Scene.h"

namespace box::test {

/// The languages that the gallery is in: `en`, `ar` and `ja`.
inline constexpr const char* kGalleryLanguages[]{"en", "ar", "ja"};

/// Every element in every state, over a picture that is bright where texts are; in the order of
/// docs/look.md.
std::vector<platform::Scene> gallery(const char* language);

}  // namespace box::test
