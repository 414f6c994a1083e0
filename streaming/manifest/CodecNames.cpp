#include "streaming/manifest/CodecNames.h"

#include <algorithm>
#include <initializer_list>

namespace streaming {
namespace {

bool isNamedAmong(std::string_view codec, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), codec.substr(0, codec.find('.'))) != names.end();
}

}  // namespace

bool isVideoCodec(std::string_view codec) {
  return isNamedAmong(
      codec, {"avc1", "avc2", "avc3", "avc4", "hvc1", "hev1", "dvh1", "dvhe", "dvav", "dva1", "vp8",
              "vp08", "vp9", "vp09", "av01", "mp4v", "vvc1", "vvi1"});
}

bool isAudioCodec(std::string_view codec) {
  return isNamedAmong(
      codec, {"mp4a", "ac-3", "ec-3", "ac-4", "opus", "Opus", "fLaC", "flac", "alac", "mp3",
              "vorbis", "dtsc", "dtse", "dtsh", "dtsl", "dtsx", "mhm1"});
}

bool isTextCodec(std::string_view codec) { return isNamedAmong(codec, {"stpp", "wvtt", "tx3g"}); }

std::vector<std::string> partsOfList(std::string_view text) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    std::string_view part = text.substr(0, text.find(','));
    text.remove_prefix(std::min(text.size(), part.size() + 1));
    part.remove_prefix(std::min(part.find_first_not_of(" \t"), part.size()));
    part = part.substr(0, part.find_last_not_of(" \t") + 1);
    if (!part.empty()) parts.emplace_back(part);
  }
  return parts;
}

}  // namespace streaming
