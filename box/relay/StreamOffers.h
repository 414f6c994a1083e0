#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace box {

/// What a playlist says of a stream that it offers, and the media themselves do not.
struct StreamOffer {
  std::string stream;    ///< what the engine calls it, "audio-English"; "CC1" for captions
  std::string name;      ///< for people; empty when there is none
  std::string language;  ///< as the author wrote it; empty when unknown
  bool forced = false;
  bool byDefault = false;
  std::vector<std::string> characteristics;  ///< platform::kMediaOption…, or the author's own
};

/// One of the forms in which the same media are to be had.
struct MediaVariant {
  std::string name;    ///< the URL of its playlist; or the identifier of the representation
  double bitrate = 0;  ///< bits a second, at most
};

/// Of a master playlist, or of a manifest.
struct StreamOffers {
  static constexpr std::size_t kMost = 256;  ///< of each
  std::vector<StreamOffer> streams;
  std::vector<MediaVariant> variants;
  /// What the playlists that it names may import.
  std::map<std::string, std::string, std::less<>> variables;
};

}  // namespace box
