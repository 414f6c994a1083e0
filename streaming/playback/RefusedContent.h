#pragma once

#include <cstddef>
#include <string_view>

namespace streaming {

/// So many bytes tell.
inline constexpr std::size_t kRefusalSniffBytes = 64;

/// Whether a resource that begins with `bytes` is a page or a picture, which are no media.
bool isPageOrPicture(std::string_view bytes);

}  // namespace streaming
