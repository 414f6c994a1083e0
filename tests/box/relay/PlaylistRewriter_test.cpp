#include "box/relay/PlaylistRewriter.h"

#include <vector>

#include <gtest/gtest.h>

namespace box {
namespace {

PlaylistContext contextOf(const std::string& url, bool inheritsQuery = false) {
  PlaylistContext context;
  context.url = url;
  context.inheritsQuery = inheritsQuery;
  context.relayed = [](const std::string& of, RelayPath::Kind kind) {
    return "R" + RelayPath{"0", kind, of}.make();
  };
  return context;
}

/// In pieces of `size` bytes.
std::optional<std::string> rewritten(PlaylistRewriter& rewriter, const std::string& text,
                                     std::size_t size) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); at += size) {
    const auto part = rewriter.feed(std::string_view(text).substr(at, size));
    if (!part) return {};
    result += *part;
  }
  const auto rest = rewriter.finish();
  if (!rest) return {};
  return result + *rest;
}

struct RewriteCase {
  std::string text;
  std::string expected;
};

void check(PlaylistKind kind, const PlaylistContext& context,
           const std::vector<RewriteCase>& cases) {
  for (const RewriteCase& c : cases)
    for (const std::size_t size : {1u, 7u, 100000u}) {
      const auto rewriter = PlaylistRewriter::make(kind, context);
      EXPECT_EQ(rewritten(*rewriter, c.text, size).value_or("refused"), c.expected)
          << "in pieces of " << size;
    }
}

TEST(PlaylistRewriter, KnowsPlaylistsByTheirBeginning) {
  struct Kind {
    const char* type;
    const char* bytes;
    PlaylistKind kind;
  };
  for (const Kind& k : {
           Kind{"text/plain", "#EXTM3U\n#EXT-X-V", PlaylistKind::HLS},
           Kind{"", "\xEF\xBB\xBF#EXTM3U", PlaylistKind::HLS},
           Kind{"application/vnd.apple.mpegurl", "<html>not here", PlaylistKind::None},
           Kind{"audio/mpegurl", "http://radio/on", PlaylistKind::None},
           Kind{"Application/DASH+xml; charset=x", "<?xml version=\"1.", PlaylistKind::DASH},
           Kind{"video/mp4", "<MPD xmlns=\"urn:", PlaylistKind::DASH},
           Kind{"application/ttml+xml", "<?xml version=\"1.", PlaylistKind::None},
           Kind{"application/dash+xml",
                "\0\0\0\x1c"
                "ftypiso5",
                PlaylistKind::None},
       })
    EXPECT_EQ(playlistKindOf(k.type, k.bytes), k.kind) << k.type << " " << k.bytes;
}

TEST(PlaylistRewriter, SendsEverythingThatHLSNamesOverTheRelay) {
  check(PlaylistKind::HLS, contextOf("https://h/a/m.m3u8?t=1"),
        {
            {"#EXTM3U\nseg.ts\n", "#EXTM3U\nR/0/r/https/h/a/seg.ts\n"},
            {"\xEF\xBB\xBF#EXTM3U\r\n \t../s.ts\r\n\r\nlast.ts",
             "#EXTM3U\r\nR/0/r/https/h/s.ts\r\n\r\nR/0/r/https/h/a/last.ts"},
            {"# URI=\"x\"\n#EXTINF:4,URI=\"x\"\nx-demo://s?a=1&b=2\n",
             "# URI=\"x\"\n#EXTINF:4,URI=\"x\"\nR/0/r/x-demo/s?~=a%3D1%26b%3D2\n"},
            {"#EXT-X-KEY:METHOD=AES-128,IV=0x1,URI=\"skd://k/1\"\n",
             "#EXT-X-KEY:METHOD=AES-128,IV=0x1,URI=\"R/0/k/skd/k/1\"\n"},
            {"#EXT-X-SESSION-KEY:METHOD=SAMPLE-AES,URI=\"k\",KEYFORMAT=\"a\"\n",
             "#EXT-X-SESSION-KEY:METHOD=SAMPLE-AES,URI=\"R/0/k/https/h/a/k\",KEYFORMAT=\"a\"\n"},
            {"#EXT-X-KEY:METHOD=AES-128,URI=\"data:,0123\"\n#EXT-X-KEY:METHOD=NONE\n",
             "#EXT-X-KEY:METHOD=AES-128,URI=\"data:,0123\"\n#EXT-X-KEY:METHOD=NONE\n"},
            {"#EXT-X-MEDIA:NAME=\"a,URI=b\",URI=\"//c/d\",X-URI=\"e\"\n",
             "#EXT-X-MEDIA:NAME=\"a,URI=b\",URI=\"R/0/r/https/c/d\",X-URI=\"e\"\n"},
            {"#EXT-X-MAP:URI=\"i.mp4\",BYTERANGE=\"9@0\"\n#EXT-X-PART:DURATION=1,URI=\"p\"\n",
             "#EXT-X-MAP:URI=\"R/0/r/https/h/a/i.mp4\",BYTERANGE=\"9@0\"\n"
             "#EXT-X-PART:DURATION=1,URI=\"R/0/r/https/h/a/p\"\n"},
            {"#EXT-X-I-FRAME-STREAM-INF:URI=\"\"\n#EXT-X-MEDIA:URI=\"open\n#EXT-X-MEDIA\n",
             "#EXT-X-I-FRAME-STREAM-INF:URI=\"\"\n#EXT-X-MEDIA:URI=\"R/0/r/https/h/a/open\n"
             "#EXT-X-MEDIA\n"},
            {"#EXT-X-DEFINE:NAME=\"v\",VALUE=\"x/y\"\n#EXT-X-DEFINE:QUERYPARAM=\"t\"\n{$v}{$t}{$w}",
             "#EXT-X-DEFINE:NAME=\"v\",VALUE=\"x/y\"\n#EXT-X-DEFINE:QUERYPARAM=\"t\"\n"
             "R/0/r/https/h/a/x/y1%257B$w%257D"},
        });
  check(PlaylistKind::HLS, contextOf("https://h/m.m3u8?t=1", true),
        {{"a.ts\nb.ts?own\nhttp://c/d#e\n",
          "R/0/r/https/h/a.ts?t=1\nR/0/r/https/h/b.ts?own\nR/0/r/http/c/d?t=1\n"}});
}

TEST(PlaylistRewriter, TellsWhatGoesBesideThePicture) {
  PlaylistContext context = contextOf("http://h/a/m");
  std::string told;
  context.alternate = [&](const std::string& url, const std::string& type) {
    told += type + " " + url + "\n";
  };
  EXPECT_TRUE(rewritten(*PlaylistRewriter::make(PlaylistKind::HLS, context),
                        "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,URI=\"en\"\n#EXT-X-MEDIA:TYPE=AUDIO\n"
                        "#EXT-X-MEDIA:TYPE=SUBTITLES,URI=\"t\"\n"
                        "#EXT-X-STREAM-INF:BANDWIDTH=1\nlow\n",
                        9));
  EXPECT_EQ(told, "AUDIO http://h/a/en\nSUBTITLES http://h/a/t\n");
}

std::string listed(const StreamOffers& offers) {
  std::string text;
  for (const StreamOffer& each : offers.streams) {
    text += each.stream + ':' + each.name + ':' + each.language + (each.forced ? ":forced" : "") +
            (each.byDefault ? ":default" : "");
    for (const std::string& characteristic : each.characteristics) text += ':' + characteristic;
    text += '\n';
  }
  for (const MediaVariant& each : offers.variants)
    text += each.name + '=' + std::to_string(static_cast<int>(each.bitrate)) + '\n';
  return text;
}

TEST(PlaylistRewriter, TellsWhatIsOnOffer) {
  const struct {
    PlaylistKind kind;
    const char* text;
    const char* offers;
  } cases[] = {
      {PlaylistKind::HLS,
       "#EXTM3U\n#EXT-X-DEFINE:NAME=\"v\",VALUE=\"1\"\n"
       "#EXT-X-MEDIA:TYPE=AUDIO,NAME=\"A\",LANGUAGE=\"en\",DEFAULT=YES,URI=\"a\"\n"
       "#EXT-X-MEDIA:TYPE=SUBTITLES,NAME=\"S\",FORCED=YES,AUTOSELECT=NO,URI=\"s\","
       "CHARACTERISTICS=\"public.easy-to-read,public.accessibility.transcribes-spoken-dialog\"\n"
       "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,NAME=\"C\",LANGUAGE=\"fr\",INSTREAM-ID=\"CC3\"\n"
       "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1,BANDWIDTH=20\nlow\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=30\nhigh",
       "audio-A:A:en:default\n"
       "text-S:S::forced:public.easy-to-read:transcribes-spoken-dialog:auxiliary\n"
       "CC3:C:fr\nhttp://h/low=20\nhttp://h/high=30\n"},
      {PlaylistKind::DASH,
       "<MPD><Period><AdaptationSet contentType='video'><Accessibility value='CC1=eng;CC3=fra' "
       "schemeIdUri='urn:scte:dash:cc:cea-608:2015'/><Representation id='v' bandwidth='9'/>"
       "</AdaptationSet><AdaptationSet lang='de'><Label>T\u00f6ne</Label>"
       "<Role schemeIdUri='urn:mpeg:dash:role:2011' value='main'/><Accessibility value='1' "
       "schemeIdUri='urn:tva:metadata:cs:AudioPurposeCS:2007'/>"
       "<Representation mimeType='audio/mp4'/></AdaptationSet><AdaptationSet mimeType='text/vtt'>"
       "<Role schemeIdUri='urn:mpeg:dash:role:2011' value='forced-subtitle'/></AdaptationSet>"
       "</Period><Period><AdaptationSet/></Period></MPD>",
       "CC1::eng\nCC3::fra\nvideo-0::\naudio-1:T\u00f6ne:de:default:describes-video\n"
       "text-2:::forced\nv=9\n=0\n"}};
  for (const auto& each : cases) {
    const auto rewriter = PlaylistRewriter::make(each.kind, contextOf("http://h/m"));
    EXPECT_TRUE(rewritten(*rewriter, each.text, 7));
    ASSERT_TRUE(rewriter->offers());
    EXPECT_EQ(listed(*rewriter->offers()), each.offers);
    PlaylistContext child = contextOf("http://h/c");
    child.master = rewriter->offers();
    const auto media = PlaylistRewriter::make(PlaylistKind::HLS, child);
    EXPECT_EQ(rewritten(*media, "#EXT-X-DEFINE:IMPORT=\"v\"\n{$v}", 3),
              "#EXT-X-DEFINE:IMPORT=\"v\"\nR/0/r/http/h/" +
                  std::string(each.kind == PlaylistKind::HLS ? "1" : "%257B$v%257D"));
    EXPECT_FALSE(media->offers());
  }
}

TEST(PlaylistRewriter, SendsEverythingThatDASHNamesOverTheRelay) {
  check(
      PlaylistKind::DASH, contextOf("https://h/a/m.mpd?t=1&u=2"),
      {
          {"<?xml version=\"1.0\"?><!-- <BaseURL>x</BaseURL> --><MPD>\n<Period/></MPD>",
           "<?xml version=\"1.0\"?><!-- <BaseURL>x</BaseURL> --><MPD>\n"
           "<BaseURL>R/0/r/https/h/a/</BaseURL><Period/></MPD>"},
          {"<d:MPD><d:BaseURL a='1'> <![CDATA[../b/]]>\n</d:BaseURL><d:BaseURL>http://c</d:BaseURL>"
           "<d:Period><d:BaseURL>/p/</d:BaseURL><X><BaseURL>q/</BaseURL></X></d:Period></d:MPD>",
           "<d:MPD><d:BaseURL "
           "a='1'>R/0/r/https/h/b/</d:BaseURL><d:BaseURL>R/0/r/http/c/</d:BaseURL>"
           "<d:Period><d:BaseURL>R/0/r/https/h/p/</d:BaseURL><X><BaseURL>q/</BaseURL></X>"
           "</d:Period></d:MPD>"},
          {"<MPD><BaseURL>b/</BaseURL><Location>n.mpd?x&amp;y</Location>"
           "<Period xlink:href=\"urn:mpeg:dash:resolve-to-zero:2013\">"
           "<SegmentTemplate media=\"$Number%05d$.m4s\" "
           "initialization='http://c/d$/$Time$?a=1&amp;b'"
           "/><SegmentTemplate media=\"//c/$Number$\" index='/x?$RepresentationID$'/>"
           "<SegmentURL media = \"http://c/1\" mediaRange='0-1' index=\"i\"/>"
           "<Initialization sourceURL='https://c/&#x3b1;?x=1&amp;y=2'/></Period></MPD>",
           "<MPD><BaseURL>R/0/r/https/h/a/b/</BaseURL>"
           "<Location>R/0/r/https/h/a/n.mpd?~=x%26y</Location>"
           "<Period xlink:href=\"urn:mpeg:dash:resolve-to-zero:2013\">"
           "<SegmentTemplate media=\"$Number%05d$.m4s\" initialization='R/0/r/http/c/d$/$Time$"
           "?~=a%3D1%26b'/><SegmentTemplate media=\"R/0/r/https/c/$Number$\" "
           "index='R/0/r/https/h/x?$RepresentationID$'/>"
           "<SegmentURL media = \"R/0/r/http/c/1\" mediaRange='0-1' index=\"i\"/>"
           "<Initialization sourceURL='R/0/r/https/c/%25CE%25B1?~=x%3D1%26y%3D2'/></Period></MPD>"},
          {"<smil><BaseURL>http://c/</BaseURL></smil>",
           "<smil><BaseURL>http://c/</BaseURL></smil>"},
          {"<MPD></MPD></MPD><BaseURL",
           "<MPD><BaseURL>R/0/r/https/h/a/</BaseURL></MPD></MPD><BaseURL"},
      });
  check(PlaylistKind::DASH, contextOf("https://h/m.mpd?a=1&b=2", true),
        {{"<MPD><Period><BaseURL>v.mp4</BaseURL><BaseURL>c/</BaseURL>"
          "<SegmentTemplate media='$Number$.m4s' initialization='i?own'/></Period></MPD>",
          "<MPD><BaseURL>R/0/r/https/h/</BaseURL><Period><BaseURL>v.mp4?~=a%3D1%26b%3D2</BaseURL>"
          "<BaseURL>c/</BaseURL><SegmentTemplate media='$Number$.m4s?~=a%3D1%26b%3D2' "
          "initialization='i?own'/></Period></MPD>"}});
}

TEST(PlaylistRewriter, RefusesWhatIsBeyondTheLimits) {
  const std::string longName(70'000, 'a');
  std::string lines = "#EXTM3U\n", tags = "<MPD>", deep;
  while (lines.size() < 9'000'000) lines += "#" + std::string(5000, 'a') + "\n";
  while (tags.size() < 9'000'000) tags += "<Period id='" + std::string(5000, 'a') + "'/>";
  for (int i = 0; i < 100; ++i) deep += "<MPD>";
  const auto passes = [](PlaylistKind kind, const std::string& text) {
    return rewritten(*PlaylistRewriter::make(kind, contextOf("http://h/")), text, 16384)
        .has_value();
  };
  EXPECT_FALSE(passes(PlaylistKind::HLS, longName));
  EXPECT_FALSE(passes(PlaylistKind::HLS, lines));
  EXPECT_FALSE(passes(PlaylistKind::DASH, "<MPD a='" + longName));
  EXPECT_FALSE(passes(PlaylistKind::DASH, "<MPD><BaseURL>" + longName));
  EXPECT_FALSE(passes(PlaylistKind::DASH, tags));
  EXPECT_FALSE(passes(PlaylistKind::DASH, deep));
  EXPECT_TRUE(passes(PlaylistKind::HLS, lines.substr(0, 8'000'000)));
}

}  // namespace
}  // namespace box
