#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "media/texts/TTMLStyle.h"

namespace media {

/// The images of a TTML document: base64 elements in it, or PNG images that follow it in a sample.
///
/// Limits: 1024 images, and the pixels of all decoded images.
class TTMLImages {
 public:
  /// The images after the document in a sample have the names "urn:mpeg:14496-30:subs:1" and so on.
  explicit TTMLImages(std::span<const std::string_view> images);

  void beginData(std::string identifier);
  void append(std::string_view base64);
  void endData();
  bool isInData() const { return _open.has_value(); }

  /// Returns the image at its place in the box of `style`. `reference` is "#identifier" or the name
  /// of an image after the document. Returns nullopt if there is no such image.
  std::optional<CueImage> place(std::string_view reference, const TTMLStyle& style,
                                const TTMLRoot& root);

 private:
  struct Entry {
    std::string bytes;
    std::optional<CueImage> decoded;
  };
  const CueImage* _find(std::string_view reference);

  std::map<std::string, Entry, std::less<>> _images;
  std::optional<std::pair<std::string, std::string>> _open;  // identifier and base64
  std::size_t _pixels = 0;
};

}  // namespace media
