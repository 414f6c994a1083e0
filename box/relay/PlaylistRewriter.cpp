#include "box/relay/PlaylistRewriter.h"

#include <algorithm>
#include <array>
#include <utility>

#include "box/relay/DASHRewriter.h"
#include "box/relay/HLSRewriter.h"

namespace box {
namespace {

/// In lower case, without parameters.
std::string mediaType(std::string_view contentType) {
  std::string type(contentType.substr(0, contentType.find(';')));
  std::erase_if(type, [](char c) { return c == ' ' || c == '\t'; });
  std::transform(type.begin(), type.end(), type.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return type;
}

}  // namespace

PlaylistKind playlistKindOf(std::string_view contentType, std::string_view firstBytes) {
  if (firstBytes.starts_with("\xEF\xBB\xBF")) firstBytes.remove_prefix(3);
  firstBytes.remove_prefix(std::min(firstBytes.find_first_not_of(" \t\r\n"), firstBytes.size()));
  if (firstBytes.starts_with("#EXTM3U")) return PlaylistKind::HLS;
  if (!firstBytes.starts_with('<')) return PlaylistKind::None;
  if (firstBytes.find("<MPD") != firstBytes.npos) return PlaylistKind::DASH;

  // Any XML may turn out to be a manifest; what does not passes through the rewriter as it is.
  static constexpr std::array<std::string_view, 8> types = {
      "application/dash+xml", "video/vnd.mpeg.dash.mpd",  "application/xml",     "text/xml",
      "text/plain",           "application/octet-stream", "binary/octet-stream", ""};
  const bool isXML = firstBytes.starts_with("<?xml") || firstBytes.starts_with("<!--");
  const bool mayBe = std::find(types.begin(), types.end(), mediaType(contentType)) != types.end();
  return isXML && mayBe ? PlaylistKind::DASH : PlaylistKind::None;
}

std::unique_ptr<PlaylistRewriter> PlaylistRewriter::make(PlaylistKind kind,
                                                         PlaylistContext context) {
  switch (kind) {
    case PlaylistKind::HLS:
      return std::make_unique<HLSRewriter>(std::move(context));
    case PlaylistKind::DASH:
      return std::make_unique<DASHRewriter>(std::move(context));
    case PlaylistKind::None:
      break;
  }
  return nullptr;
}

}  // namespace box
