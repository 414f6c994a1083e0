#include <algorithm>

#include "streaming/foundation/Text.h"
#include "streaming/manifest/ManifestErrors.h"
#include "streaming/manifest/hls/HLSMediaReader.h"
#include "streaming/manifest/hls/HLSMultivariant.h"

namespace streaming {
namespace {

using platform::Error;

std::string extensionOf(const std::string& url) {
  const std::string_view path = std::string_view(url).substr(0, url.find_first_of("?#"));
  const auto dot = path.rfind('.');
  if (dot == path.npos || path.find('/', dot) != path.npos) return {};
  return lowercase(path.substr(dot + 1));
}

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), text) != names.end();
}

std::optional<Error> errorOf(const HLSLines& lines, const HLSMediaReader& media) {
  if (media.isBeyondLimits()) return unusableManifest("The playlist has too many segments.");
  if (lines.isBeyondLimits())
    return unusableManifest("The playlist has lines or variables that are too long.");
  if (!lines.isPlaylist()) return unusableManifest("A playlist does not begin with EXTM3U.");
  return std::nullopt;
}

/// Wraps a media playlist into a presentation. The media kind is derived from the file extension of
/// the first segment.
ReadResult<HLSManifest> presentationOf(std::shared_ptr<const MediaPlaylist> playlist,
                                       const ManifestOrigin& origin) {
  const auto first = playlist->segments->first({});
  if (!first && !playlist->isLive) return unusableManifest("The playlist has no segments.");
  const std::string extension =
      first && !first->resource.urls.empty() ? extensionOf(first->resource.urls.front()) : "";
  if (isOneOf(extension, {"vtt", "webvtt", "ttml", "srt"}))
    return unusableManifest("The playlist has subtitles only.");
  auto representation = std::make_shared<Representation>();
  representation->id = origin.url;
  representation->playlistURL = origin.url;
  auto presentation = std::make_shared<Presentation>();
  presentation->startOffset = playlist->startOffset;
  std::vector<Track>& tracks = presentation->periods.emplace_back().tracks;
  Track sound;
  sound.kind = MediaKind::Audio;
  sound.id = "audio";
  if (isOneOf(extension, {"aac", "mp3", "ac3", "ec3", "m4a", "flac", "ogg", "opus"})) {
    sound.representations.push_back(std::move(representation));
  } else {
    representation->includesAudio = true;
    Track picture;
    picture.id = "video";
    picture.representations.push_back(std::move(representation));
    tracks.push_back(std::move(picture));
    sound.isMuxedIntoVideo = true;
  }
  tracks.push_back(std::move(sound));
  return HLSManifest{std::move(presentation), {}, std::move(playlist)};
}

}  // namespace

ReadResult<HLSManifest> readHLS(std::string_view text, const ManifestOrigin& origin) {
  if (text.size() > kMaxManifestBytes) return unusableManifest("The playlist is too long.");
  const PlaylistContext context;
  HLSLines lines(text, origin.url, context.variables);
  HLSMultivariant variants(origin);
  HLSMediaReader media(origin, context);
  while (const auto line = media.isBeyondLimits() ? std::nullopt : lines.next()) {
    if (line->tag.empty()) {
      // The type of the playlist may not be known yet, so both readers get every line.
      variants.addURI(line->value);
      media.addURI(line->value);
    } else {
      variants.addTag(line->tag, line->value);
      media.addTag(line->tag, line->value);
    }
  }
  if (auto error = errorOf(lines, media)) return *std::move(error);
  if (variants.isMultivariant()) {
    auto presentation = variants.finish();
    if (!presentation) return unusableManifest("The playlist has no variant.");
    return HLSManifest{std::move(presentation), lines.variables(), nullptr};
  }
  if (!media.isMedia()) return unusableManifest("The playlist has neither variants nor segments.");
  auto playlist = media.finish();
  if (!playlist) return unusableManifest("The playlist is a delta update without a base.");
  return presentationOf(std::move(playlist), origin);
}

ReadResult<std::shared_ptr<const MediaPlaylist>> readMediaPlaylist(std::string_view text,
                                                                   const ManifestOrigin& origin,
                                                                   const PlaylistContext& context) {
  if (text.size() > kMaxManifestBytes) return unusableManifest("The playlist is too long.");
  HLSLines lines(text, origin.url, context.variables);
  HLSMediaReader media(origin, context);
  bool isMultivariant = false;
  while (const auto line = media.isBeyondLimits() ? std::nullopt : lines.next()) {
    if (line->tag.empty())
      media.addURI(line->value);
    else
      media.addTag(line->tag, line->value);
    isMultivariant = isMultivariant || line->tag == "EXT-X-STREAM-INF";
  }
  if (auto error = errorOf(lines, media)) return *std::move(error);
  if (isMultivariant || !media.isMedia())
    return unusableManifest("The media playlist has no segments.");
  auto playlist = media.finish();
  if (!playlist) return unusableManifest("The playlist is a delta update without a base.");
  return playlist;
}

std::string reloadURL(const std::string& url, const ReloadRule& rule) {
  std::string directives;
  const auto add = [&](const std::string& directive) {
    directives += (directives.empty() ? "" : "&") + directive;
  };
  if (rule.awaitedNumber) add("_HLS_msn=" + std::to_string(*rule.awaitedNumber));
  if (rule.awaitedNumber && rule.awaitedPart) add("_HLS_part=" + std::to_string(*rule.awaitedPart));
  if (rule.maySkip) add("_HLS_skip=YES");
  if (directives.empty()) return url;
  return url + (url.find('?') == url.npos ? '?' : '&') + directives;
}

}  // namespace streaming
