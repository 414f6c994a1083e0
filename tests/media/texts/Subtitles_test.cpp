// Text subtitles as bytes: the cues that are read, and the handling of errors.

#include <gtest/gtest.h>

#include "media/output/SubtitleStyles.h"
#include "media/texts/SubtitleMarkup.h"
#include "media/texts/TextFormats.h"
#include "platform/foundation/Value.h"
#include "tests/media/texts/CueDescription.h"

namespace media {
namespace {

const std::string kVTT =
    "WEBVTT - a title\r\n\r\nSTYLE\r\n::cue(.loud), ::cue(v[voice=\"Ann\"]) { color: #f00; "
    "font-weight: bold }\r\n::cue { background-color: rgba(0,0,0,0.5); size: 3 }\r\n\r\n"
    "REGION\nid:low width:40% lines:2 regionanchor:0%,100% viewportanchor:10%,90%\n\n"
    "NOTE 00:00.000 --> 00:01.000\nnothing\n\n"
    "one\n00:01.000 --> 00:02.500 line:10% position:20%,line-left align:start size:50%\n"
    "<v Ann>Hi</v> <c.loud>&lt;you&gt;</c> <00:01.500>&#9786; 1 < 2\n\n"
    "00:00:03.000 --> 01:00:04.000 line:-2 region:none\n<i.yellow>a</i><u>b\n\n"
    "00:05.000 --> 00:06.000 region:low\nlow\n\n"
    "00:07.000 --> 00:06.000\nbackwards\n\n00:08.000 --> nonsense\nbroken\n\n"
    "00:09.000 --> 00:10.000 line:x position:200% align:up\nlast";

const std::string kTTML =
    "<?xml version='1.0'?><!DOCTYPE tt><tt:tt xmlns:tt='a' xmlns:tts='b' ttp:frameRate='25' "
    "ttp:tickRate='1000' tts:extent='1280px 720px'><tt:head><tt:styling>"
    "<tt:style xml:id='s' tts:color='#ffff00ff' tts:fontSize='150%'/></tt:styling><tt:layout>"
    "<tt:region xml:id='r' tts:origin='10% 72px' tts:extent='80% 20%' tts:displayAlign='after'/>"
    "<tt:region xml:id='p' tts:origin='128px 360px' tts:extent='640px 72px'>"
    "<tt:style tts:textAlign='center'/></tt:region>"
    "</tt:layout></tt:head><tt:body><tt:div begin='10s'>"
    "<tt:p begin='0.5s' end='00:00:02:05' region='r' style='s unknown'>  Hello\n <tt:span "
    "tts:fontStyle='italic' tts:backgroundColor='black'>all&amp;sundry</tt:span>"
    "<tt:br/>line </tt:p>"
    "<tt:p begin='3000t' dur='50f' region='p' tts:textOutline='none'>two</tt:p>"
    "<tt:p begin='9s' end='8s'>backwards</tt:p></tt:div>"
    "<tt:p begin='1m' end='0.02h'>late</tt:p></tt:body></tt:tt>";

const std::string kSRT =
    "\xef\xbb\xbf"
    "1\r\n00:00:01,000 --> 00:00:02,250\r\n{\\an8}<font color=\"#00ff00\">Green</font>\r\n"
    "<b>bold</b>\r\n\r\n2\r\nbroken\r\n\r\n3\r\n00:01:00,5 --> 00:01:01,000 X1:1\r\n"
    "<3 & {brace}\r\n\r\n";

std::string utf16Of(std::string_view text) {
  std::string bytes = "\xff\xfe";
  for (const char each : text) bytes += {each, '\0'};
  return bytes;
}

TEST(Subtitles, AreReadWithStylesAndLayout) {
  const struct {
    const char* what;
    std::string text;
    std::string cues;
  } cases[] = {
      {"WebVTT", kVTT,
       "1+1.5 Hi <you> \u263a 1 < 2 bg0,0,0,0.5 [Hi c1,0,0,1 bold past0.5( c1,0,0,1 bold)] "
       "[  past0.5()] [<you> c1,0,0,1 bold past0.5( c1,0,0,1 bold)] [  past0.5()] "
       "[\u263a 1 < 2 future0.5()] left0.2~0.5 y0.1T align0; "
       "3+3601 ab bg0,0,0,0.5 [a c1,1,0,1 italic] [b under] line-2; "
       "5+1 low bg0,0,0,0.5 left0.1~0.4 region0.1~0.4,0.9@1~2linesB; 9+1 last bg0,0,0,0.5"},
      {"TTML", kTTML,
       "10.5+1.7 Hello all&sundry\nline c1,1,0,1 x2.222 [all&sundry bg0,0,0,1 italic] "
       "left0.1~0.8 region0.1~0.8,0.1~0.2B align0; "
       "13+2 two edge0 left0.1~0.5 region0.1~0.5,0.5~0.1T; 60+12 late"},
      {"SubRip", kSRT,
       "1+1.25 Green\nbold [Green c0,1,0,1] [bold bold] line0; 60.5+0.5 <3 & {brace}"},
      {"SubRip in Windows-1252", "00:01,0 --> 00:02,0\nd\xe9j\xe0", "1+1 d\u00e9j\u00e0"},
      {"SubRip in Windows-1251",
       "00:01,0 --> 00:02,0\n\xcf\xf0\xe8\xe2\xe5\xf2, \xea\xe0\xea \xf2\xe2\xee\xe8 "
       "\xe4\xe5\xeb\xe0 \xf1\xe5\xe3\xee\xe4\xed\xff?",
       "1+1 Привет, как твои дела сегодня?"},
      {"SubRip in Shift JIS",
       "00:01,0 --> 00:02,0\n\x82\xb1\x82\xea\x82\xcd\x83\x65\x83\x58\x83\x67\x82\xc5\x82\xb7"
       "\x81\x42\x8e\x9a\x96\x8b\x82\xcc\x95\xb6\x8e\x9a",
       "1+1 これはテストです。字幕の文字"},
      {"WebVTT in UTF-16", utf16Of("WEBVTT\n\n00:01.000 --> 00:02.000\nh"), "1+1 h"},
      {"an invalid unit of UTF-16",
       utf16Of("WEBVTT\n\n00:01.000 --> 00:02.000\nh") + std::string("\0\xd8", 2) +
           std::string("i\0", 2),
       "1+1 h\ufffdi"},
      // uchardet detects UTF-8, and iconv() accepts characters that UTF-8 does not have.
      {"a character above U+10FFFF",
       "\xef\xbb\xbf"
       "00:01,0 --> 00:02,0\n\xd0\xcf\xf4\x90\x80\x80|",
       "1+1 \ufffd\ufffd\ufffd\ufffd\ufffd\ufffd|"},
      {"an unknown format", "#EXTM3U\n", "nothing"},
      {"empty", "", "nothing"},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    EXPECT_EQ(described(cuesOfText(testCase.text)), testCase.cues);
  }
}

TEST(Subtitles, TruncatedAndDamagedTextsStayWithinLimits) {
  for (const std::string& whole : {kVTT, kTTML, kSRT}) {
    std::size_t most = 0;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      std::string damaged = whole;
      damaged[size % whole.size()] = static_cast<char>(size * 37);
      for (const std::string& text : {whole.substr(0, size), damaged}) {
        const auto cues = cuesOfText(text);
        for (const SubtitleCue& each : cues.value_or(std::vector<SubtitleCue>())) {
          ASSERT_TRUE(each.duration > 0 || each.duration == SubtitleCue::kUntilNext) << text;
          for (const SubtitleSpan& span : each.spans) ASSERT_LE(span.end, each.text.size());
        }
        most = std::max(most, cues ? cues->size() : 0);
      }
    }
    EXPECT_GE(most, 2u);
  }
  std::string deep;
  for (int level = 0; level < 5000; ++level) deep += "<b><c.x>w";
  const SubtitleCue cue = cueOfMarkup(deep);
  EXPECT_LE(cue.spans.size(), 64u);
  EXPECT_LE(cue.text.size(), 4000u);
  EXPECT_EQ(described(cuesOfText("<tt>" + deep)), "");
}

TEST(Subtitles, StylesOfTheSenderOverrideThem) {
  using platform::Array;
  using platform::Dictionary;
  const struct {
    const char* what;
    platform::Value rules;
    std::string cue;
  } cases[] = {
      {"all properties",
       Array{Dictionary{{"foregroundColor", Array{1.0, 0.0, 1.0, 0.0}},
                        {"backgroundColor", "#00000080"},
                        {"relativeSize", 150},
                        {"edgeStyle", "raised"},
                        {"italic", true},
                        {"underline", false},
                        {"alignment", "left"},
                        {"linePosition", 10},
                        {"textPosition", 5},
                        {"lineWidth", 60}}},
       "0+-1 Hi you c0,1,0,1 bg0,0,0,0.501961 x1.5 italic bare edge3 [Hi c1,0,0,1] left0.05~0.6 "
       "y0.1T align3"},
      {"for a class: the later rule wins",
       Array{Dictionary{{"selector", ".red"}, {"bold", true}, {"foregroundColor", "lime"}},
             "::cue(c.red) { color: blue } ::cue(.other) { color: lime }"},
       "0+-1 Hi you [Hi c0,0,1,1 bold]"},
      {"for a cue identifier",
       Array{Dictionary{{"selector", "#other"}, {"bold", true}},
             Dictionary{{"selector", "#one"}, {"edgeStyle", "none"}}},
       "0+-1 Hi you edge0 [Hi c1,0,0,1]"},
      {"invalid rules",
       Array{"style", 7, platform::Value::null(), Array{}, "::cue { color", "}{}{",
             Dictionary{{"selector", "a > b"}, {"bold", true}},
             Dictionary{{"foregroundColor", Array{1, 2, 3, 4}},
                        {"relativeSize", -3},
                        {"linePosition", 900},
                        {"edgeStyle", 4},
                        {"alignment", "up"},
                        {"unknown", 1}}},
       "0+-1 Hi you [Hi c1,0,0,1]"},
      {"not an array", "text", "0+-1 Hi you [Hi c1,0,0,1]"},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    SubtitleCue cue = cueOfMarkup("<c.red>Hi</c> you");
    cue.identifier = "one";
    if (const auto styles = subtitleStylesOf(testCase.rules)) styles->applyTo(cue);
    EXPECT_EQ(described(cue), testCase.cue);
  }
}

}  // namespace
}  // namespace media
