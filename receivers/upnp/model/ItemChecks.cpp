#include "receivers/upnp/model/ItemChecks.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace upnp {

namespace {

constexpr std::array kImageExtensions{".jpg", ".jpeg", ".png", ".gif", ".bmp", ".webp", ".tiff"};

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return lower;
}

bool isImage(const Item& item) {
  if (!item.mimeType.empty() && item.mimeType != "*") {
    return lowerCase(item.mimeType).starts_with("image/");
  }
  const std::string path = lowerCase(item.uri.substr(0, item.uri.find_first_of("?#")));
  return std::any_of(kImageExtensions.begin(), kImageExtensions.end(),
                     [&](std::string_view extension) { return path.ends_with(extension); });
}

bool hasSpaceOrControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char letter) {
    return static_cast<unsigned char>(letter) <= 0x20 || letter == 0x7f;
  });
}

}  // namespace

bool isFetchable(const std::string& uri) {
  const std::string scheme = lowerCase(uri.substr(0, 8));
  const bool isHttp = scheme.starts_with("http://") || scheme.starts_with("https://");
  return isHttp && uri.size() <= kMaximumUriBytes && !hasSpaceOrControl(uri);
}

Failure checkItem(const Item& item) {
  if (item.uri.size() > kMaximumUriBytes) return Error::InvalidArgs;
  if (item.metadata.size() > kMaximumMetadataBytes) return Error::InvalidArgs;
  if (!isFetchable(item.uri)) return Error::ResourceNotFound;
  if (isImage(item)) return Error::IllegalMimeType;
  return std::nullopt;
}

}  // namespace upnp
