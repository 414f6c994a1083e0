#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

inline const ManifestOrigin kManifestOrigin{"http://host/dir/main.mpd?t=1", {}, false};

inline std::shared_ptr<const Presentation> presentationOf(const std::string& text) {
  const auto result = readDASH(text, kManifestOrigin, nullptr);
  const auto* presentation = std::get_if<std::shared_ptr<const Presentation>>(&result);
  return presentation ? *presentation : nullptr;
}

inline std::string mpd(
    const std::string& content,
    const std::string& attributes = "type=\"static\" mediaPresentationDuration=\"PT10S\"") {
  return "<?xml version=\"1.0\"?>\n<!-- c --><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" " +
         attributes + ">" + content + "</MPD>";
}

inline std::string video(const std::string& content, const std::string& representation = {}) {
  return "<Period><AdaptationSet mimeType=\"video/mp4\" codecs=\"avc1.4d\">" + content +
         "<Representation id=\"v\" bandwidth=\"500\">" + representation +
         "</Representation></AdaptationSet></Period>";
}

/// The URL relative to the folder of the manifest.
inline std::string nameOf(const std::string& url) {
  constexpr std::string_view kFolder = "http://host/dir/";
  return url.starts_with(kFolder) ? url.substr(kFolder.size()) : url;
}

/// "START+DURATION NAME[@OFFSET]" of each segment.
inline std::string segmentTextOf(const SegmentIndex& index, platform::Date now = {}) {
  std::string actual;
  auto next = index.first(now);
  for (int count = 0; next && count < 12; ++count) {
    char times[64];
    std::snprintf(times, sizeof times, "%g+%g ", next->start, next->duration);
    actual += times + (next->resource.urls.empty() ? "none" : nameOf(next->resource.urls[0]));
    if (next->resource.span) actual += '@' + std::to_string(next->resource.span->offset);
    actual += '\n';
    next = index.after(*next);
  }
  return actual;
}

}  // namespace streaming
