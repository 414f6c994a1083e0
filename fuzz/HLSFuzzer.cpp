// Playlists of HLS: the playlist of an item, two versions of a media playlist, and a sibling.

#include <memory>
#include <string_view>
#include <variant>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/IndexWalk.h"
#include "fuzz/support/TextMutator.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/timeline/Dates.h"

namespace fuzz {
namespace {

using streaming::MediaPlaylist;

void walkPlaylist(const MediaPlaylist& playlist, const streaming::ManifestOrigin& origin) {
  walkIndex(*playlist.segments);
  if (playlist.reload) streaming::reloadURL(origin.url, *playlist.reload);
  static_cast<void>(streaming::dateAt(playlist.dates, 1));
  static_cast<void>(streaming::positionOf(playlist.dates, {1.7e9}));
}

/// The parts of the input: the playlist of the item, the next version, a sibling.
void readPlaylists(Bytes input) {
  const bool inheritsQuery = (takeByte(input) & 1) != 0;
  const streaming::ManifestOrigin origin{
      "http://host/path/main.m3u8?token=1", {1.7e9}, inheritsQuery};
  std::string_view rest = textOf(input);
  streaming::PlaylistContext context;
  static_cast<void>(streaming::detectManifestType(rest, true));
  const auto result = streaming::readHLS(takePart(rest), origin);
  if (const auto* const manifest = std::get_if<streaming::HLSManifest>(&result)) {
    context.variables = manifest->variables;
    context.previous = manifest->mediaPlaylist;
    if (context.previous) walkPlaylist(*context.previous, origin);
  }
  for (int version = 0; version < 2 && !rest.empty(); ++version) {
    const auto next = streaming::readMediaPlaylist(takePart(rest), origin, context);
    const auto* const playlist = std::get_if<std::shared_ptr<const MediaPlaylist>>(&next);
    if (!playlist) continue;
    walkPlaylist(**playlist, origin);
    context.sibling = *playlist;
    context.previous = nullptr;
  }
}

constexpr std::string_view kTags[] = {
    "#EXTM3U",
    "#EXTINF:%n,\na%n.ts",
    "#EXTINF:%n,%w",
    "a.ts",
    "{$v}",
    "%w",
    "#EXT-X-TARGETDURATION:%n",
    "#EXT-X-MEDIA-SEQUENCE:%n",
    "#EXT-X-DISCONTINUITY-SEQUENCE:%n",
    "#EXT-X-DISCONTINUITY",
    "#EXT-X-BYTERANGE:%n@%n",
    "#EXT-X-BYTERANGE:%n",
    "#EXT-X-GAP",
    "#EXT-X-KEY:METHOD=AES-128,URI=\"k%n\",IV=0x%n",
    "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"%w\"",
    "#EXT-X-KEY:METHOD=NONE",
    "#EXT-X-MAP:URI=\"%w\",BYTERANGE=\"%n@%n\"",
    "#EXT-X-PROGRAM-DATE-TIME:2024-02-29T23:59:%nZ",
    "#EXT-X-PROGRAM-DATE-TIME:%w",
    "#EXT-X-DATERANGE:ID=\"%w\",START-DATE=\"2024-01-01T00:00:00Z\",DURATION=%n,X-A=\"%w\"",
    "#EXT-X-DATERANGE:ID=\"%w\",CLASS=\"%w\",END-ON-NEXT=YES,START-DATE=\"%w\"",
    "#EXT-X-PART:DURATION=%n,URI=\"%w\",BYTERANGE=\"%n@%n\",INDEPENDENT=YES",
    "#EXT-X-PART:DURATION=%n,URI=\"p%n\",GAP=YES",
    "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"%w\",BYTERANGE-START=%n,BYTERANGE-LENGTH=%n",
    "#EXT-X-PART-INF:PART-TARGET=%n",
    "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,CAN-SKIP-UNTIL=%n,HOLD-BACK=%n,PART-HOLD-BACK=%n",
    "#EXT-X-SKIP:SKIPPED-SEGMENTS=%n,RECENTLY-REMOVED-DATERANGES=\"a\tb\"",
    "#EXT-X-START:TIME-OFFSET=%n",
    "#EXT-X-ENDLIST",
    "#EXT-X-PLAYLIST-TYPE:EVENT",
    "#EXT-X-PLAYLIST-TYPE:VOD",
    "#EXT-X-I-FRAMES-ONLY",
    "#EXT-X-DEFINE:NAME=\"v\",VALUE=\"%w\"",
    "#EXT-X-DEFINE:IMPORT=\"v\"",
    "#EXT-X-DEFINE:QUERYPARAM=\"token\"",
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"%w\",NAME=\"%w\",LANGUAGE=\"en\",URI=\"%w\"",
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"%w\",NAME=\"%w\",URI=\"%w\",FORCED=YES",
    "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"%w\",NAME=\"%w\",INSTREAM-ID=\"CC%n\"",
    "#EXT-X-STREAM-INF:BANDWIDTH=%n,AVERAGE-BANDWIDTH=%n,RESOLUTION=%nx%n,CODECS=\"%w,%w\","
    "AUDIO=\"%w\",SUBTITLES=\"%w\",CLOSED-CAPTIONS=\"%w\",FRAME-RATE=%n\n%w",
    "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=%n,URI=\"%w\"",
    "\x1e#EXTM3U"};
constexpr std::string_view kWords[] = {"a",
                                       "b",
                                       "v",
                                       "{$v}",
                                       "{$v}{$v}{$v}{$v}",
                                       "YES",
                                       "NONE",
                                       "avc1.4d401f",
                                       "mp4a.40.2",
                                       "wvtt",
                                       "a.ts?x#y",
                                       "../../a",
                                       "//host/x",
                                       "http://other/x",
                                       "data:,a",
                                       "2024-01-01T00:00:00.5+0100"};

void mutatePlaylists(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Lines, kTags, kWords};
  mutateText(input, random, grammar);
}

const Registration hls({"HLS",
                        &readPlaylists,
                        {.heap = {std::size_t{8} << 20, 2000}, .steps = {4'000'000, 4000}},
                        &mutatePlaylists});

}  // namespace
}  // namespace fuzz
