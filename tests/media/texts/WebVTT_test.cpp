// WebVTT by the parsing rules of its standard.

#include <cmath>

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

TEST(WebVTT, TimeStampsDivideTheTextIntoPastAndFuture) {
  const struct {
    const char* what;
    const char* text;
    const char* cue;
  } cases[]{
      {"a text", "a<00:01.250>b<00:01.500>c",
       "abc [a past0.25()] [b future0.25() past0.5()] [c future0.5()]"},
      {"elements", "<00:01.250><c.x>a</c><00:01.500><i>b</i>",
       "ab [a future0.25() past0.5()] [b italic future0.5( italic)]"},
      {"an element with a time stamp in it", "<v Ann>a<00:01.500><b>b</b></v>",
       "ab [ab] [a past0.5()] [b bold future0.5( bold)]"},
      {"time stamps that go back", "a<00:01.500>b<00:01.250>c",
       "abc [a past0.5()] [b future0.5()] [c future0.5()]"},
      {"no time stamps", "<00:1>a<3 b<00:01.500", "a<3 b<00:01.500"},
      {"ruby", "<ruby>a<00:01.500>b<rt>c</rt></ruby>",
       "ab [ab] [a past0.5()] [b future0.5()] [ab ruby=c future0.5()]"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf(std::string("00:01.000 --> 00:02.000\n") + testCase.text),
              std::string("1+1 ") + testCase.cue)
        << testCase.what;
  std::string texts;
  std::string elements;
  for (int second = 10; second < 50; ++second) {
    texts += "<00:" + std::to_string(second) + ".000>a";
    elements += "<b>b</b>";
  }
  const SubtitleCue both = cueOfMarkup(texts + elements, Markup::WebVTT);
  EXPECT_EQ(both.spans.size(), 64U);
  EXPECT_EQ(both.spans.back().element, "b") << "elements are kept before texts between time stamps";
  std::string many;
  for (int second = 0; second < 5000; ++second)
    many += "<" + std::to_string(10 + second) + ":00:00.000>a";
  EXPECT_LE(WebVTTReader().read("WEBVTT\n\n00:01.000 --> 00:02.000\n" + many).at(0).spans.size(),
            64U);
}

TEST(WebVTT, StyleSheetsSelectByTimeAndLanguage) {
  const std::string text = "00:01.000 --> 00:02.000\n<lang en-GB>a</lang><00:01.500><c.x>b</c>";
  const struct {
    const char* sheet;
    const char* cue;  // after the text, with the looks that differ from none
  } cases[]{
      {"::cue(:past) { color: red }", "[a past0.5( c1,0,0,1)] [b future0.5()]"},
      {"::cue(:future) { visibility: hidden }", "[a past0.5()] [b future0.5( hidden)]"},
      {"::cue(.x:future), ::cue(b) { color: red }", "[a past0.5()] [b future0.5( c1,0,0,1)]"},
      {"::cue(c:past) { color: red }", "[a past0.5()] [b future0.5()]"},
      {"::cue(.x) { color: red } ::cue(:future) { color: lime }",
       "[a past0.5()] [b c1,0,0,1 future0.5( c0,1,0,1)]"},
      {"::cue(:future) { color: lime } ::cue(.x) { color: red }",
       "[a past0.5()] [b c1,0,0,1 future0.5( c1,0,0,1)]"},
      {"::cue(:lang(en)) { color: red }", "[a c1,0,0,1 past0.5( c1,0,0,1)] [b future0.5()]"},
      {"::cue(:lang('EN-gb'):past, b) { color: red }", "[a past0.5( c1,0,0,1)] [b future0.5()]"},
      {"::cue(:lang(e)), ::cue(:lang(en-GB-x)), ::cue(:lang()) { color: red }",
       "[a past0.5()] [b future0.5()]"},
      {"::cue(:hover), ::cue(:past:first-child), ::cue(b :past) { color: red }",
       "[a past0.5()] [b future0.5()]"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf("STYLE\n" + std::string(testCase.sheet) + "\n\n" + text),
              std::string("1+1 ab ") + testCase.cue)
        << testCase.sheet;
}

TEST(WebVTT, TimeStampsOfContainersAreRelativeOrNot) {
  using TimeStamps = WebVTTReader::TimeStamps;
  const struct {
    double start;
    TimeStamps timeStamps;
    const char* stamp;
    const char* moments;
  } cases[]{{10, TimeStamps::OfTrack, "00:11.000", "[a past1()] [b future1()]"},
            {1, TimeStamps::OfTrack, "00:02.000", "[a past1()] [b future1()]"},
            {10, TimeStamps::OfCue, "00:01.000", "[a past1()] [b future1()]"},
            {10, TimeStamps::OfCue, "00:11.000", "[a past1()] [b future1()]"}};
  for (const auto& each : cases) {
    const auto cue = WebVTTReader().readPayload(std::string("\n\na<") + each.stamp + ">b",
                                                each.start, 4, each.timeStamps);
    ASSERT_TRUE(cue);
    EXPECT_EQ(described(*cue), std::to_string(std::lround(each.start)) + "+4 ab " + each.moments);
  }
  EXPECT_FALSE(WebVTTReader().readPayload("a\nline:0", 1, 4, TimeStamps::OfCue));
}

TEST(WebVTT, MomentsSettleAtTheirTimes) {
  const SubtitleCue cue = WebVTTReader()
                              .read(
                                  "WEBVTT\n\nSTYLE\n::cue(:past) { color: red }\n"
                                  "::cue(:future) { visibility: hidden }\n\n"
                                  "00:01.000 --> 00:02.000\na<00:01.250>b<00:01.500>c")
                              .at(0);
  const struct {
    double time;
    int passed;
    const char* cue;
  } cases[]{{1, 0, "[a] [b hidden] [c hidden]"},
            {1.25, 2, "[a c1,0,0,1] [b] [c hidden]"},
            {1.5, 4, "[a c1,0,0,1] [b c1,0,0,1] [c]"}};
  for (const auto& testCase : cases) {
    SubtitleCue settled = cue;
    settleMoments(settled, testCase.time);
    EXPECT_EQ(described(settled), std::string("1+1 abc ") + testCase.cue);
    EXPECT_EQ(passedMoments(cue, testCase.time), testCase.passed);
  }
}

TEST(WebVTT, HostileTextsCostBoundedWork) {
  const std::string many = [] {
    std::string text;
    for (int number = 0; number < 100000; ++number) text += "00:01.000 --> 00:02.000\na\n\n";
    return text;
  }();
  EXPECT_EQ(WebVTTReader().read("WEBVTT\n\n" + many).size(), 20000U);
  for (const char* unit :
       {"<a", "<1", "<00:01.000>a", "<ruby><rt>", "<rt>x", "{\\", "&amp", "<b></b>", "<c.a.b.c>"}) {
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
