#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "streaming/playback/ResourceReader.h"

namespace media {

/// The name under which a resource can be played while this exists. Playback that has begun goes on
/// without it.
class ResourceURI {
 public:
  ResourceURI() = default;
  ~ResourceURI() { reset(); }
  ResourceURI(ResourceURI&& other) noexcept
      : _number(std::exchange(other._number, 0)), _extension(std::move(other._extension)) {}
  ResourceURI& operator=(ResourceURI&& other) noexcept {
    std::swap(_number, other._number);
    std::swap(_extension, other._extension);
    return *this;
  }

  /// `vorlane-resource://N`, followed by a file name whose extension tells the form, if it is
  /// known. Empty if no resource is registered.
  std::string text() const;
  void reset();

 private:
  friend ResourceURI registerResource(std::shared_ptr<streaming::ResourceReader> reader);
  std::uint64_t _number = 0;
  std::string _extension;
};

/// For a `uri` property of GStreamer. Any thread.
ResourceURI registerResource(std::shared_ptr<streaming::ResourceReader> reader);

/// Registers the element "vorlaneresourcesrc", which reads a resource.
///
/// A demuxer pulls from it and reads at any place, as in a file, where the resource is seekable and
/// its size is known. Any other resource is pushed. That of a radio station comes as
/// application/x-icy, with its name and genre as tags.
///
/// An error message of this element says only that there was one; the owner of the resource knows
/// more.
void registerResourceSource();

}  // namespace media
