#pragma once

#include <cstddef>
#include <string_view>

namespace streaming {

inline constexpr std::size_t kContentSniffBytes = 64;

/// A resource that starts with `bytes` is an HTML page or an image.
bool isHTMLOrImage(std::string_view bytes);

}  // namespace streaming
