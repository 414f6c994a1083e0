// TTML of the text and image profiles of IMSC 1.1.

#include <glib.h>
#include <gtest/gtest.h>

#include "media/texts/PngImage.h"
#include "media/texts/TTMLText.h"
#include "tests/media/texts/CueDescription.h"

namespace media {
namespace {

/// 2 by 1 pixels: red, and blue that is half transparent.
constexpr const char* kPng =
    "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAYAAAD0In+"
    "KAAAADklEQVR42mP4z8AAQg0AD3oDfmqBMeEAAAAASUVORK5CYII=";

std::string decodedBase64(const char* text) {
  gsize size = 0;
  guchar* bytes = g_base64_decode(text, &size);
  std::string result(reinterpret_cast<char*>(bytes), size);
  g_free(bytes);
  return result;
}

std::string document(const std::string& attributes, const std::string& head,
                     const std::string& body) {
  return "<tt xmlns='http://www.w3.org/ns/ttml' " + attributes + "><head>" + head +
         "</head><body>" + body + "</body></tt>";
}

std::string cuesOf(const std::string& attributes, const std::string& head,
                   const std::string& body) {
  return described(cuesOfTTML(document(attributes, head, body)));
}

TEST(TTML, StylesAndRegionsMayReferToStyles) {
  const std::string region = "left0.1~0.8 region0.1~0.8,0.5~0.3B";
  const struct {
    const char* what;
    std::string head;
    std::string cues;
  } cases[]{
      {"a reference of the region",
       "<styling><style xml:id='a' tts:origin='10% 50%' tts:extent='80% 30%' tts:textAlign='right' "
       "tts:displayAlign='after' tts:color='red'/></styling>"
       "<layout><region xml:id='r' style='a'/></layout>",
       "1+1 x c1,0,0,1 " + region + " align4"},
      {"a style in the region that has a reference",
       "<layout><region xml:id='r'><style style='a'/><style tts:extent='80% 30%'/></region>"
       "</layout><styling><style xml:id='a'/></styling>",
       "1+1 x left0~0.8 region0~0.8,0~0.3T align0"},
      {"styles refer to each other in any order",
       "<styling><style xml:id='a' style='b' tts:textAlign='right'/>"
       "<style xml:id='b' style='c' tts:origin='10% 50%' tts:textAlign='left'/>"
       "<style xml:id='c' tts:origin='0% 0%' tts:extent='80% 30%' tts:displayAlign='after'/>"
       "</styling><layout><region xml:id='r' style='a'/></layout>",
       "1+1 x " + region + " align4"},
      {"styles refer to each other in a circle",
       "<styling><style xml:id='a' style='b' tts:color='red'/>"
       "<style xml:id='b' style='a' tts:fontStyle='italic'/></styling>"
       "<layout><region xml:id='r' style='a'/></layout>",
       "1+1 x c1,0,0,1 italic left0~1 region0~1,0~1T align0"},
      {"padding and position",
       "<layout><region xml:id='r' tts:extent='50% 50%' tts:position='center bottom' "
       "tts:padding='10% 5%' tts:backgroundColor='blue'/></layout>",
       "1+1 x left0.3~0.4 region0.25~0.5,0.5~0.5T padding0.1~0.1 regionbg0,0,1,1 align0"},
      {"an unknown region", "", "1+1 x"},
  };
  for (const auto& testCase : cases)
    EXPECT_EQ(cuesOf("", testCase.head, "<p region='r' begin='1s' end='2s'>x</p>"), testCase.cues)
        << testCase.what;
}

TEST(TTML, LengthsHaveAllUnits) {
  const struct {
    const char* origin;
    const char* left;  // and top
  } origins[]{{"10% 20%", "left0.1~0.9 region0.1~0.9,0.2~0.8T"},
              {"64px 72px", "left0.1~0.9 region0.1~0.9,0.2~0.8T"},
              {"4c 3c", "left0.1~0.9 region0.1~0.9,0.2~0.8T"},
              {"10rw 20rh", "left0.1~0.9 region0.1~0.9,0.2~0.8T"},
              {"900% -5%", "left1~0 region1~0,0~1T"},
              {"nan% 1e999px", "left0~1 region0~1,0~1T"},
              {"10q 20q", "left0~1 region0~1,0~1T"}};
  const auto at = [](const std::string& region, const std::string& paragraph) {
    return cuesOf("tts:extent='640px 360px' ttp:cellResolution='40 15'",
                  "<layout><region xml:id='r' tts:extent='100% 100%' " + region + "/></layout>",
                  "<p region='r' begin='1s' end='2s' " + paragraph + "</p>");
  };
  for (const auto& each : origins)
    EXPECT_EQ(at(std::string("tts:origin='") + each.origin + "'", ">x"),
              std::string("1+1 x ") + each.left + " align0")
        << each.origin;
  // Sizes are relative to the screen's own size, 4.5 % of the height; 1c is a 15th.
  const struct {
    const char* region;
    const char* paragraph;
    const char* look;
  } sizes[]{{"", "tts:fontSize='16.2px'>x", "x x1"},
            {"", "tts:fontSize='1c'>x", "x x1.481"},
            {"", "tts:fontSize='9rh'>x", "x x2"},
            {"", "tts:fontSize='67.5%'>x", "x x1"},
            {"", "tts:fontSize='2c 0.675c'>x", "x x1"},
            {"tts:fontSize='1.35em'", "tts:fontSize='0.5em'>x", "x x1"},
            {"tts:fontSize='50%'", ">x <span tts:fontSize='2em'>y</span>", "x y x0.741 [y x2]"},
            {"", ">x<span tts:fontSize='2em'>y<span tts:fontSize='50%'>z</span></span>",
             "xyz [yz x2] [z x0.5]"},
            {"", "tts:fontSize='999999em'>x", "x x4"},
            {"", "tts:fontSize='-1em'>x", "x"},
            {"", "tts:fontSize='nanem'>x", "x"}};
  for (const auto& each : sizes)
    EXPECT_EQ(at(each.region, each.paragraph),
              std::string("1+1 ") + each.look + " left0~1 region0~1,0~1T align0")
        << each.region << each.paragraph;
}

TEST(TTML, LayoutOfLines) {
  const struct {
    const char* attributes;
    const char* cue;
  } cases[]{
      {"ebutts:multiRowAlign='start' tts:textAlign='center'", "x rows0"},
      {"tts:shear='16.6667%'", "x shear0.268"},
      {"tts:shear='nan%'", "x"},
      {"tts:fontShear='15%'", "x italic"},
      {"tts:textEmphasis='filled circle after'", "x mark25cf side1"},
      {"tts:textEmphasis='open sesame outside red'", "x markfe46 side2"},
      {"tts:textEmphasis='auto'", "x mark2022"},
      {"tts:textEmphasis='none'", "x mark0"},
      {"tts:writingMode='tbrl'", "x rl"},
      {"tts:writingMode='tblr'", "x lr"},
      {"tts:direction='rtl'", "\u200fx"},
      {"tts:opacity='0.5' tts:backgroundColor='red'", "x c1,1,1,0.5 bg1,0,0,0.5"},
      {"tts:visibility='hidden'", "x hidden"},
      {"tts:display='none'", ""},
  };
  for (const auto& each : cases)
    EXPECT_EQ(cuesOf("", "", std::string("<p begin='1s' end='2s' ") + each.attributes + ">x</p>"),
              *each.cue ? std::string("1+1 ") + each.cue : "")
        << each.attributes;
}

TEST(TTML, Ruby) {
  const struct {
    const char* text;
    const char* cue;
  } cases[]{
      {"<span tts:ruby='container'><span tts:ruby='base'>漢字</span>"
       "<span tts:ruby='delimiter'>(</span><span tts:ruby='text'>かんじ</span>"
       "<span tts:ruby='delimiter'>)</span></span>!",
       "漢字! [漢字] [漢字] [漢字 ruby=かんじ]"},
      {"<span tts:ruby='container'><span tts:ruby='baseContainer'><span tts:ruby='base'>漢</span>"
       "<span tts:ruby='base'>字</span></span><span tts:ruby='textContainer'>"
       "<span tts:ruby='text' tts:color='red'>かん</span><span "
       "tts:ruby='text'>じ</span></span></span>",
       "漢字 [漢字] [漢字] [漢] [字] [漢 c1,0,0,1 ruby=かん] [字 ruby=じ]"},
      {"<span tts:ruby='text'>x</span>y", "y"},
  };
  for (const auto& each : cases)
    EXPECT_EQ(cuesOf("", "", std::string("<p begin='1s' end='2s'>") + each.text + "</p>"),
              std::string("1+1 ") + each.cue);
}

TEST(TTML, TimesOfSpansAndSequences) {
  const struct {
    const char* body;
    const char* cues;
  } cases[]{
      {"<p begin='1s' end='5s'>a<span begin='1s' end='2s'>b</span><span begin='2s'>c</span></p>",
       "1+1 a; 2+1 ab [b]; 3+2 ac [c]"},
      {"<p><span begin='1s' end='2s'>a</span> <span begin='2s' end='3s'>b</span></p>",
       "1+1 a [a]; 2+1 b [b]"},
      {"<div timeContainer='seq' begin='10s'><p dur='1s'>a</p><p begin='1s' dur='2s'>b</p>"
       "<p dur='1s'>c</p></div>",
       "10+1 a; 12+2 b; 14+1 c"},
      {"<p begin='1s' dur='9s' end='3s'>a</p>", "1+2 a"},
      {"<p begin='1s'>a</p>", "1+-1 a"},
  };
  for (const auto& each : cases) EXPECT_EQ(cuesOf("", "", each.body), each.cues);
}

TEST(TTML, StylesAreSetForATime) {
  const std::string red = "<set begin='1s' end='2s' tts:color='red'/>";
  const auto paragraph = [](const std::string& content) {
    return "<p region='r' begin='1s' end='5s'>" + content + "</p>";
  };
  const std::string plain = "left0~1 region0~1,0~1T";
  const struct {
    const char* what;
    std::string region;  // attributes and content of the region
    std::string body;
    std::string cues;
  } cases[]{
      {"of a paragraph", "", paragraph(red + "a"), "1+1 a; 2+1 a c1,0,0,1; 3+2 a"},
      {"of a span", "",
       paragraph("a<span tts:visibility='hidden'><set begin='1s' tts:visibility='visible'/>b"
                 "</span>"),
       "1+1 ab [b hidden]; 2+3 ab [b shown]"},
      {"of a timed span", "",
       paragraph("a<span begin='1s' end='3s'><set begin='1s' tts:fontWeight='bold'/>b</span>"),
       "1+1 a; 2+1 ab [b]; 3+1 ab [b bold]; 4+1 a"},
      {"of the elements around it", "",
       "<div><set begin='2s' end='3s' tts:display='none'/>" + paragraph("a") + "</div>",
       "1+1 a; 3+2 a"},
      {"the later one of two", "", paragraph(red + "<set tts:color='blue' begin='1s'/>a"),
       "1+1 a; 2+3 a c0,0,1,1"},
      {"in a sequence", "",
       "<div timeContainer='seq'><set begin='1s' tts:color='red'/><p dur='2s'>a</p>"
       "<p dur='1s'>b</p></div>",
       "0+1 a; 1+1 a c1,0,0,1; 2+1 b c1,0,0,1"},
      {"without effect", "", paragraph("<set begin='1s' tts:unknown='1'/>a"), "1+4 a"},
      {"outside of the time of the paragraph", "", paragraph("<set begin='4s' tts:color='red'/>a"),
       "1+4 a"},
      {"of a region", "xml:id='r'><set begin='2s' tts:backgroundColor='red'/>", paragraph("a"),
       "1+1 a " + plain + " align0; 2+3 a " + plain + " regionbg1,0,0,1 align0"},
      {"place of a region", "xml:id='r'><set begin='3s' tts:origin='50% 0%'/>", paragraph("a"),
       "1+2 a " + plain + " align0; 3+2 a left0.5~0.5 region0.5~0.5,0~1T align0"},
      {"the time of a region", "xml:id='r' begin='2s' end='4s'>", paragraph("a"),
       "2+2 a " + plain + " align0"},
      {"a region that is never active", "xml:id='r' begin='7s'>", paragraph("a"), ""},
  };
  for (const auto& each : cases) {
    const std::string region = each.region.empty() ? "xml:id='none'>" : each.region;
    EXPECT_EQ(cuesOf("", "<layout><region " + region + "</region></layout>", each.body), each.cues)
        << each.what;
  }
}

TEST(TTML, ParagraphsStayInOrderWhenOneOfThemChanges) {
  SubtitleCues shown;
  shown.setExternal(
      cuesOfTTML(document("", "",
                          "<p begin='1s' end='5s'>first<span begin='2s'> changes</span></p>"
                          "<p begin='2s' end='5s'>second</p>")));
  shown.show(SubtitleCues::Source::External);
  EXPECT_EQ(shown.textAt(2.5), "first\nsecond");
  EXPECT_EQ(shown.textAt(4), "first changes\nsecond");
}

TEST(TTML, ImagesAreInTheDocumentOrBehindIt) {
  const std::string region =
      "<layout><region xml:id='r' tts:origin='20px 30px' tts:extent='2px 1px'/></layout>";
  const std::string attributes = "tts:extent='200px 100px'";
  const std::string data = ">" + std::string(kPng) + "</";
  const struct {
    const char* what;
    std::string head;
    std::string body;
    const char* cues;
  } cases[]{
      {"SMPTE-TT, data in the head",
       "<metadata><smpte:image xml:id='i' imagetype='PNG' encoding='Base64'" + data +
           "smpte:image></metadata>" + region,
       "<div region='r' begin='1s' end='2s' smpte:backgroundImage='#i'/>",
       "1+1  image2x1@20,30/200x100"},
      {"data after the element that shows them", region,
       "<div region='r' begin='1s' end='2s' smpte:backgroundImage='#i'><metadata>"
       "<smpte:image xml:id='i' imagetype='PNG' encoding='Base64'" +
           data + "smpte:image></metadata></div>",
       "1+1  image2x1@20,30/200x100"},
      {"TTML 2, data in the image", region,
       "<div region='r' begin='1s' end='2s'><image><source><data type='image/png' "
       "encoding='base64'" +
           data + "data></source></image></div>",
       "1+1  image2x1@20,30/200x100"},
      {"TTML 2, a named resource",
       "<resources><image xml:id='i'><source><data encoding='base64'" + data +
           "data></source></image></resources>" + region,
       "<div region='r' begin='1s' end='2s'><image src='#i'/></div>",
       "1+1  image2x1@20,30/200x100"},
      {"no data", region, "<div region='r' begin='1s' end='2s' smpte:backgroundImage='#i'/>", ""},
      {"broken data",
       "<metadata><smpte:image xml:id='i' "
       "encoding='Base64'>iVBORw0KGgoAAA</smpte:image></metadata>",
       "<div begin='1s' end='2s' smpte:backgroundImage='#i'/>", ""},
  };
  for (const auto& each : cases)
    EXPECT_EQ(cuesOf(attributes, each.head, each.body), each.cues) << each.what;
  const std::string inPercent =
      "<layout><region xml:id='r' tts:origin='50% 25%' tts:extent='1% 1%'/></layout>";
  const std::string png = decodedBase64(kPng);
  const auto sample = [&](const char* number) {
    return document("", inPercent,
                    "<div region='r' begin='1s' end='2s' smpte:backgroundImage='urn:mpeg:14496-30:"
                    "subs:" +
                        std::string(number) + "'/>") +
           png + png;
  };
  EXPECT_EQ(described(cuesOfTTMLSample(sample("2"))), "1+1  image2x1@100,25/200x100");
  EXPECT_EQ(described(cuesOfTTMLSample(sample("3"))), "");
}

TEST(TTML, PngImagesOfEveryKindAreDecoded) {
  const struct {
    const char* what;
    const char* base64;
    std::vector<std::uint32_t> pixels;  // empty: refused
  } cases[]{
      {"RGBA", kPng, {0xFFFF0000, 0x800000FF}},
      {"RGB",
       "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAIAAAB7QOjdAAAADUlEQVR42mP4zwAE/wEHAAH/"
       "PX2MSQAAAABJRU5ErkJggg==",
       {0xFFFF0000, 0xFF0000FF}},
      {"palette of two colours",
       "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABAQMAAADO7O3JAAAABlBMVEX/AAAAAP9sof2OAAAAAnRSTlP/"
       "gAgPs2oAAAAKSURBVHjaY3AAAABCAEGEv45iAAAAAElFTkSuQmCC",
       {0xFFFF0000, 0x800000FF}},
      {"black and white",
       "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABAQAAAADcWUInAAAACklEQVR42mNoAAAAggCB2kUIOwAAAABJRU5ErkJggg="
       "=",
       {0xFFFFFFFF, 0xFF000000}},
      {"grey with alpha",
       "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAQAAABeK7cBAAAADUlEQVR42mP4/7/BAQAIPgK/"
       "uyCj+gAAAABJRU5ErkJggg==",
       {0xFFFFFFFF, 0x40808080}},
      {"RGBA of 16 bits",
       "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABEAYAAACksqPJAAAAEUlEQVR42mP4/"
       "58BCGBkQwMAOlgG+xFEegYAAAAASUVORK5CYII=",
       {0xFFFF0000, 0x800000FF}},
      {"60000 by 60000",
       "iVBORw0KGgoAAAANSUhEUgAA6mAAAOpgCAIAAAAPsOIVAAAACUlEQVR42mMAAAABAAGxDbaTAAAAAElFTkSuQmCC",
       {}},
      {"no image", "aGVsbG8=", {}},
  };
  for (const auto& each : cases) {
    const std::string bytes = decodedBase64(each.base64);
    const auto image = decodePng(bytes, 1000);
    EXPECT_EQ(image ? image->pixels : std::vector<std::uint32_t>(), each.pixels) << each.what;
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const auto part = decodePng(std::string_view(bytes).substr(0, size), 1000);
      if (part) {
        EXPECT_LE(part->pixels.size(), 2U);
      }
    }
  }
  EXPECT_FALSE(decodePng(decodedBase64(kPng), 1));
}

TEST(TTML, HostileDocumentsCostBoundedWork) {
  const auto repeated = [](const std::string& unit, int count) {
    std::string text;
    for (int number = 0; number < count; ++number) text += unit;
    return text;
  };
  const std::string image = "<metadata><smpte:image xml:id='i' encoding='Base64'>" +
                            std::string(kPng) + "</smpte:image></metadata>";
  std::string attributes;
  for (int number = 0; number < 500; ++number) attributes += " a" + std::to_string(number) + "=''";
  const std::string wide = "<p begin='1s' end='2s'>" + repeated("<span>x</span>", 20000) + "</p>";
  const struct {
    const char* what;
    std::string text;
    std::size_t cues;
  } cases[]{
      {"nested spans", document("", "", "<p begin='1s'>" + repeated("<span>", 100000)), 0},
      {"spans beside each other", document("", "", wide), 1},
      {"cues", document("", "", repeated("<p begin='1s' end='2s'>x</p>", 22000)), 20000},
      {"timed spans",
       document("", "", "<p end='9s'>" + repeated("<span begin='1s'>x</span>", 20000) + "</p>"), 2},
      {"attributes", "<tt><body><p begin='1s' end='2s'" + attributes + ">x</p></body></tt>", 1},
      {"images",
       document("", image,
                repeated("<div begin='1s' end='2s' smpte:backgroundImage='#i'/>", 22000)),
       20000},
      {"changes of every paragraph",
       document("",
                "<layout><region xml:id='r'>" +
                    repeated("<set begin='1s' tts:color='red'/>", 20000) + "</region></layout>",
                repeated("<p region='r' end='2s'><set begin='0.5s' tts:opacity='0'/>x</p>", 5000)),
       15000},
      {"changes around every paragraph",
       document("", "",
                repeated("<div>" + repeated("<set begin='1s' tts:color='red'/>", 64), 20) +
                    repeated("<p tts:display='none' end='2s'>x</p>", 20000)),
       0},
      {"line breaks", document("", "", "<p end='1s'>x" + repeated("<br/>", 20000) + "</p>"), 1},
      {"references",
       document("",
                "<styling>" + repeated("<style xml:id='a' style='a a a a a a a a'/>", 20000) +
                    "</styling>",
                "<p end='1s' style='a a a'>x</p>"),
       1},
  };
  for (const auto& each : cases) {
    const auto cues = cuesOfTTML(each.text);
    EXPECT_EQ(cues.size(), each.cues) << each.what;
    for (const SubtitleCue& cue : cues) {
      ASSERT_LE(cue.text.size(), 4000U) << each.what;
      ASSERT_LE(cue.spans.size(), 64U) << each.what;
    }
  }
}

}  // namespace
}  // namespace media
