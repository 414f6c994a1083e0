#pragma once

#include <cstddef>
#include <string_view>

namespace streaming {

inline constexpr std::size_t kContentSniffBytes = 64;

/// Returns whether a resource that starts with `bytes` is an HTML page or an image. Motion JPEG
/// starts like a JPEG image: it is an image if the Content-Type of the response says so.
bool isHTMLOrImage(std::string_view bytes, std::string_view contentType);

}  // namespace streaming
