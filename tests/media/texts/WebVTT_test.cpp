// WebVTT by the parsing rules of its standard.

#include <gtest/gtest.h>

#include "media/texts/SubtitleMarkup.h"
#include "media/texts/WebVTTText.h"
#include "tests/media/texts/CueDescription.h"

namespace media {
namespace {

std::string cuesOf(const std::string& body) {
  return described(WebVTTReader().read("WEBVTT\n\n" + body));
}

TEST(WebVTT, BlocksAreSeparatedAsInTheStandard) {
  const struct {
    const char* what;
    std::string body;
    std::string cues;
  } cases[]{
      {"times in a text begin a cue", "00:01.000 --> 00:02.000\na\n00:03.000 --> 00:04.000\nb",
       "1+1 a; 3+1 b"},
      {"a line with a space is not empty", "00:01.000 --> 00:02.000\na\n \nb", "1+1 a\n \nb"},
      {"an identifier of two lines is none", "x\ny\n00:01.000 --> 00:02.000\na", "1+1 a"},
      {"no space around the arrow", "00:01.000-->00:02.000\na", "1+1 a"},
      {"a style after a cue is ignored",
       "00:01.000 --> 00:02.000\na\n\nSTYLE\n::cue { color: red }\n\n00:03.000 --> 00:04.000\nb",
       "1+1 a; 3+1 b"},
      {"a note is ignored", "NOTE\na\n\n00:01.000 --> 00:02.000\nb", "1+1 b"},
      {"a cue without a text", "00:01.000 --> 00:02.000\n\n00:03.000 --> 00:04.000\nb", "3+1 b"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf(testCase.body), testCase.cues) << testCase.what;
}

TEST(WebVTT, TimesNeedAllDigits) {
  const struct {
    const char* times;
    const char* cues;
  } cases[]{
      {"00:01.000 --> 00:02.500", "1+1.5 a"},
      {"123:00:01.000 --> 123:00:02.000", "442801+1 a"},
      {"1:00:01.000 --> 1:00:02.000", "3601+1 a"},
      {"00:01.00 --> 00:02.000", ""},
      {"00:1.000 --> 00:02.000", ""},
      {"00:01,000 --> 00:02,000", ""},
      {"0:01.000 --> 00:02.000", ""},
      {"00:60.000 --> 02:00.000", ""},
      {"00:61:01.000 --> 02:00:00.000", ""},
      {"-0:01.000 --> 00:02.000", ""},
      {"99999999999:00:01.000 --> 99999999999:00:02.000", ""},
      {"00:02.000 --> 00:02.000", ""},
      {"00:01.000 -> 00:02.000", ""},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf(std::string(testCase.times) + "\na"), testCase.cues) << testCase.times;
}

TEST(WebVTT, SettingsPlaceTheCue) {
  const std::string regions =
      "REGION\nid:up\nwidth:50%\nlines:4\nregionanchor:50%,100%\nviewportanchor:50%,90%\n"
      "scroll:up\n\nREGION\nid:plain\n\n";
  const struct {
    const char* settings;
    const char* layout;
  } cases[]{
      {"line:0", " line0"},
      {"line:-3", " line-3"},
      {"line:1e3", ""},
      {"line:99999999999999", " line1000"},
      {"line:30%,center", " y0.3M"},
      {"line:30%,middle", ""},
      {"line:5,end", " line5"},
      {"line:nan", ""},
      {"vertical:rl line:0", " rl line0"},
      {"vertical:lr size:40%", " lr left0.3~0.4"},
      {"vertical:up", ""},
      {"align:left", " left0~1 align3"},
      {"align:start position:10%", " left0.1~0.9 align0"},
      {"align:end position:90%,line-right size:50%", " left0.4~0.5 align2"},
      {"position:20%,center size:80%", " left0~0.4"},
      {"position:20%,left", ""},
      {"position:120%", ""},
      {"size:1e1%", ""},
      {"align:middle", ""},
      {"region:up", " left0.25~0.5 region0.25~0.5,0.9@1~4linesB scroll"},
      {"region:up align:left", " left0.25~0.5 region0.25~0.5,0.9@1~4linesB scroll align3"},
      {"region:up line:0", " line0"},
      {"region:up size:50%", " left0.25~0.5"},
      {"region:plain vertical:rl", " rl"},
      {"region:none", ""},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf(regions + "00:01.000 --> 00:02.000 " + testCase.settings + "\na"),
              std::string("1+1 a") + testCase.layout)
        << testCase.settings;
  EXPECT_EQ(cuesOf("00:01.000 --> 00:02.000 align:start\nשלום"), "1+1 שלום left0~0.5 align0")
      << "ends in the middle, where a left-to-right text begins";
}

TEST(WebVTT, RubyIsASpanOfItsBase) {
  const struct {
    const char* text;
    const char* cue;
  } cases[]{
      {"<ruby>漢<rt>かん</rt>字<rt>じ</rt></ruby>!",
       "1+1 漢字! [漢字] [漢 ruby=かん] [字 ruby=じ]"},
      {"a <ruby>b<rt>c</ruby> d", "1+1 a b d [b] [b ruby=c]"},
      {"<ruby>b<rp>(</rp><rt><b>c</b></rt><rp>)</rp></ruby>d", "1+1 bd [b] [b ruby=c]"},
      {"<ruby>b<rt>c<rt>d", "1+1 b [b] [b ruby=c]"},
      {"{\\an8}kept", "1+1 {\\an8}kept"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf(std::string("00:01.000 --> 00:02.000\n") + testCase.text), testCase.cue);
}

TEST(WebVTT, HostileTextsCostBoundedWork) {
  const std::string many = [] {
    std::string text;
    for (int number = 0; number < 100000; ++number) text += "00:01.000 --> 00:02.000\na\n\n";
    return text;
  }();
  EXPECT_EQ(WebVTTReader().read("WEBVTT\n\n" + many).size(), 20000U);
  for (const char* unit : {"<a", "<ruby><rt>", "<rt>x", "{\\", "&amp", "<b></b>", "<c.a.b.c>"}) {
    std::string text;
    while (text.size() < 1'000'000) text += unit;
    for (const Markup kind : {Markup::WebVTT, Markup::SubRip}) {
      const SubtitleCue cue = cueOfMarkup(text, kind);
      EXPECT_LE(cue.text.size(), 4000U) << unit;
      EXPECT_LE(cue.spans.size(), 64U) << unit;
    }
  }
}

}  // namespace
}  // namespace media
