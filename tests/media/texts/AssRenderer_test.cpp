// Documents of ASS and SSA as pictures, and hostile ones.

#include "media/texts/ass/AssRenderer.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "media/texts/ass/AlphaBitmaps.h"
#include "media/texts/ass/AssCost.h"

namespace media {
namespace {

/// A script of 640x360 units; a canvas of 1920x1080 has three pixels for each.
const std::string kAssHead =
    "[Script Info]\nScriptType: v4.00+\nPlayResX: 640\nPlayResY: 360\n"
    "ScaledBorderAndShadow: yes\n\n[V4+ Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, "
    "Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, "
    "Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
    "Style: Plain,Noto Sans,20,&H000000FF,&H0000FF00,&H00FF0000,&H00000000,"
    "0,0,0,0,100,100,0,0,1,0,0,2,10,10,10,1\n"
    "Style: Raised,Noto Sans,20,&H00FFFFFF,&H0000FF00,&H00FF0000,&H00000000,"
    "0,0,0,0,100,100,0,0,1,0,0,1,40,10,60,1\n\n[Events]\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

std::string dialogue(const std::string& text, int layer = 0, const std::string& style = "Plain") {
  return "Dialogue: " + std::to_string(layer) + ",0:00:00.00,0:00:10.00," + style + ",,0,0,0,," +
         text + "\n";
}

/// A rectangle of 100x50 units with its upper left corner at (200, 100).
const std::string kBoxTags = "\\an7\\pos(200,100)\\p1";
const std::string kBoxShape = "m 0 0 l 100 0 l 100 50 l 0 50";

std::string drawing(const std::string& tags) { return "{" + kBoxTags + tags + "}" + kBoxShape; }

std::uint32_t pixelOf(const CueImage& image, int x, int y) {
  return image.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                      static_cast<std::size_t>(x)];
}

std::uint32_t pixelAt(const std::vector<CueImage>& images, int x, int y) {
  for (const CueImage& each : images)
    if (x >= each.x && y >= each.y && x < each.x + each.width && y < each.y + each.height)
      return pixelOf(each, x - each.x, y - each.y);
  return 0;
}

/// Left, top, right and bottom of the pixels that are not transparent.
using Bounds = std::array<int, 4>;
Bounds boundsOf(const std::vector<CueImage>& images) {
  Bounds bounds{10000, 10000, -1, -1};
  for (const CueImage& each : images)
    for (int y = 0; y < each.height; ++y)
      for (int x = 0; x < each.width; ++x)
        if (pixelOf(each, x, y) >> 24 > 8)
          bounds = {std::min(bounds[0], each.x + x), std::min(bounds[1], each.y + y),
                    std::max(bounds[2], each.x + x + 1), std::max(bounds[3], each.y + y + 1)};
  return bounds;
}

void expectNear(const Bounds& bounds, const Bounds& expected, int tolerance) {
  for (std::size_t index = 0; index < bounds.size(); ++index)
    EXPECT_NEAR(bounds[index], expected[index], tolerance) << "edge " << index;
}

std::vector<CueImage> imagesOf(const std::string& events, double seconds = 5) {
  AssRenderer renderer;
  renderer.readDocument(kAssHead + events);
  renderer.setPicture({.width = 1280, .height = 720, .aspect = 16.0 / 9});
  return renderer.render(seconds, true).images;
}

TEST(AssRenderer, DrawsColoursAtTheirPlaces) {
  const struct {
    const char* name;
    std::string events;
    double seconds;
    Bounds bounds;
    std::uint32_t color;  // in the middle of the bounds
  } cases[] = {
      {"colour of the style", dialogue(drawing("")), 5, {600, 300, 900, 450}, 0xffff0000},
      {"colour of a tag", dialogue(drawing("\\1c&H00FF00&")), 5, {600, 300, 900, 450}, 0xff00ff00},
      {"opacity", dialogue(drawing("\\1a&H80&")), 5, {600, 300, 900, 450}, 0x7fff0000},
      {"border", dialogue(drawing("\\bord10\\1a&HFF&")), 5, {570, 270, 930, 480}, 0},
      {"shadow",
       dialogue(drawing("\\xshad100\\4c&HFFFFFF&\\clip(300,0,640,360)")),
       5,
       {900, 300, 1200, 450},
       0xffffffff},
      {"move at its start",
       dialogue("{\\an7\\p1\\move(0,0,200,100,0,4000)}" + kBoxShape),
       0,
       {0, 0, 300, 150},
       0xffff0000},
      {"move half way",
       dialogue("{\\an7\\p1\\move(0,0,200,100,0,4000)}" + kBoxShape),
       2,
       {300, 150, 600, 300},
       0xffff0000},
      {"move at its end",
       dialogue("{\\an7\\p1\\move(0,0,200,100,0,4000)}" + kBoxShape),
       4,
       {600, 300, 900, 450},
       0xffff0000},
      {"before a fade in",
       dialogue(drawing("\\fad(2000,2000)")),
       0.5,
       {600, 300, 900, 450},
       0x40ff0000},
      {"between two fades",
       dialogue(drawing("\\fad(2000,2000)")),
       5,
       {600, 300, 900, 450},
       0xffff0000},
      {"at a fade out", dialogue(drawing("\\fad(2000,2000)")), 9, {600, 300, 900, 450}, 0x80ff0000},
      {"transformation",
       dialogue(drawing("\\t(0,4000,\\fscx200)")),
       2,
       {600, 300, 1050, 450},
       0xffff0000},
      {"the higher layer covers",
       dialogue(drawing("\\1c&HFF0000&"), 1) + dialogue(drawing("\\1c&H00FFFF&"), 0),
       5,
       {600, 300, 900, 450},
       0xff0000ff},
      {"the later of a layer covers",
       dialogue(drawing("\\1c&HFF0000&")) + dialogue(drawing("\\1c&H00FFFF&")),
       5,
       {600, 300, 900, 450},
       0xffffff00},
      {"clip", dialogue(drawing("\\clip(200,100,220,110)")), 5, {600, 300, 660, 330}, 0xffff0000},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    const auto images = imagesOf(testCase.events, testCase.seconds);
    const Bounds& bounds = testCase.bounds;
    expectNear(boundsOf(images), bounds, 3);
    const std::uint32_t color =
        pixelAt(images, (bounds[0] + bounds[2]) / 2, (bounds[1] + bounds[3]) / 2);
    for (unsigned shift = 0; shift < 32; shift += 8)
      EXPECT_NEAR(color >> shift & 0xff, testCase.color >> shift & 0xff, 3)
          << std::hex << color << " instead of " << testCase.color;
  }
}

TEST(AssRenderer, AlignsTexts) {
  // The digits of "\an" are arranged like the keys of a numeric keypad.
  for (int key = 1; key <= 9; ++key) {
    SCOPED_TRACE(key);
    const Bounds bounds = boundsOf(imagesOf(dialogue("{\\an" + std::to_string(key) + "}HH")));
    const auto column = static_cast<std::size_t>(key - 1) % 3;
    const auto row = static_cast<std::size_t>(key - 1) / 3;
    const int width = bounds[2] - bounds[0];
    EXPECT_GT(width, 40);
    EXPECT_LT(width, 200);
    constexpr std::array kLefts{30, 960 - 40, 1890 - 80};
    constexpr std::array kTops{990, 520, 45};
    EXPECT_NEAR(bounds[0], kLefts.at(column), 30);
    EXPECT_NEAR(bounds[1], kTops.at(row), 30);
  }
  const Bounds raised = boundsOf(imagesOf(dialogue("HH", 0, "Raised")));
  EXPECT_NEAR(raised[0], 120, 12) << "margin of the style";
  EXPECT_NEAR(raised[3], 890, 30);
}

TEST(AssRenderer, ReadsStreamsOfBothVersions) {
  const std::string ssa =
      "[Script Info]\nScriptType: v4.00\nPlayResX: 640\nPlayResY: 360\n\n[V4 Styles]\n"
      "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, TertiaryColour, "
      "BackColour, Bold, Italic, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, "
      "MarginV, AlphaLevel, Encoding\n"
      "Style: Plain,Noto Sans,20,255,65280,16711680,0,0,0,1,0,0,2,10,10,10,0,1\n\n[Events]\n"
      "Format: Marked, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
  for (const auto& [header, layer] : {std::pair(kAssHead, "0"), {ssa, "Marked=0"}}) {
    AssRenderer renderer;
    renderer.readHeader(header);
    renderer.setPicture({.width = 1280, .height = 720, .aspect = 16.0 / 9});
    const std::string event = std::string(",") + layer + ",Plain,,0,0,0,," + drawing("");
    EXPECT_TRUE(renderer.add(1, 2, "0" + event));
    EXPECT_FALSE(renderer.add(1, 2, "0" + event)) << "repeated after a seek";
    EXPECT_TRUE(renderer.render(0.9, true).images.empty());
    EXPECT_EQ(pixelAt(renderer.render(1, true).images, 750, 375), 0xffff0000U);
    EXPECT_TRUE(renderer.render(3, true).images.empty());
  }
}

TEST(AssRenderer, TellsHowLongARenderingIsValid) {
  AssRenderer renderer;
  renderer.readHeader(kAssHead);
  renderer.setPicture({.width = 720, .height = 576, .aspect = 4.0 / 3});
  const auto add = [&](const std::string& order, double start, const std::string& text) {
    EXPECT_TRUE(renderer.add(start, 2, order + ",0,Plain,,0,0,0,," + text));
  };
  add("0", 1, drawing(""));
  add("1", 2, drawing("\\fad(500,500)"));
  const struct {
    double time, from, until;
    bool isAnimated, hasChanged;
  } cases[] = {{0.5, 0, 1, false, false}, {1.2, 1, 2, false, true},  {1.8, 1, 2, false, false},
               {2.1, 2.1, 3, true, true}, {3.5, 3.5, 4, true, true}, {5, 4, 1e9, false, true}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.time);
    const auto rendering = renderer.render(testCase.time, false);
    EXPECT_NEAR(rendering.from, testCase.from, 0.001);
    EXPECT_NEAR(rendering.until, testCase.until, 0.001);
    EXPECT_EQ(rendering.isAnimated, testCase.isAnimated);
    EXPECT_EQ(rendering.hasChanged, testCase.hasChanged);
    for (const CueImage& each : rendering.images)
      EXPECT_EQ(std::pair(each.canvasWidth, each.canvasHeight), std::pair(1440, 1080));
  }
}

TEST(AssRenderer, EstimatesWithTheResolutionOfLibass) {
  const auto document = [](const std::string& script, const std::string& text) {
    return "[Script Info]\nScriptType: v4.00+\nPlayResX: 1920\nPlayResY: 1080\n" + script +
           "[V4+ Styles]\nFormat: Name, Fontname, Fontsize\nStyle: Plain,Sans,20\n"
           "[Events]\nFormat: Start, End, Style, Text\nDialogue: 0:00:00.00,0:00:10.00,Plain," +
           text + "\n";
  };
  const struct {
    const char* name;
    std::string document;
    bool isShown;
  } cases[] = {
      {"an ordinary text", document("", "x"), true},
      {"borders are in pixels of a layout of 1x1",
       document("LayoutResX: 1\nLayoutResY: 1\nScaledBorderAndShadow: no\n", "{\\bord15}x"), false},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    AssRenderer renderer;
    renderer.readDocument(testCase.document);
    renderer.setPicture({.width = 1920, .height = 1080, .aspect = 16.0 / 9});
    EXPECT_EQ(!renderer.render(5, true).images.empty(), testCase.isShown);
  }
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

TEST(AssRenderer, LeavesOutEventsThatWouldTakeTooMuch) {
  const std::string others =
      dialogue("{\\p1\\blur50\\bord50\\pos(0,0)}m 0 0 l 640 0 l 640 360 l 0 360");
  const struct {
    const char* name;
    std::string events;
  } cases[] = {
      {"size", dialogue("{\\fs100000}Big")},
      {"growing size", dialogue("{" + repeated("\\fs+100", 100) + "}Big")},
      {"scale", dialogue("{\\fscx100000\\fscy100000}Big")},
      {"spacing", dialogue("{\\fsp1e7}" + repeated("wide ", 10))},
      {"border", dialogue("{\\bord1e6}Big")},
      {"shear", dialogue("{\\fax1e5\\fay1e5}Big")},
      {"animated size", dialogue("{\\t(\\fs100000)}Big")},
      {"coordinates", dialogue("{\\p1}m 0 0 l 1e6 0 l 1e6 1e6")},
      {"drawing that is none", dialogue("{\\fs2000\\p0.01}" + repeated("letters ", 100))},
      {"drawing in unknown steps", dialogue("{\\p1e5}m 0 0 l 1e6 0 l 1e6 1e6")},
      {"clip", dialogue("{\\clip(m 0 0 l 1e6 0 l 1e6 1e6)}Text")},
      {"long text", dialogue(repeated("letters ", 20000))},
      {"nested transformations", dialogue("{" + repeated("\\t(", 20000) + "}deep")},
      {"many large shapes", repeated(others, 3000)},
      {"numbers that are none", dialogue("{\\fsnan\\bordinf\\fscx1e999\\blur-1e999}Text")},
      {"unclosed", dialogue("{\\fs(((((((({\\p9999999999")},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    const auto images = imagesOf(dialogue(drawing("\\1c&H00FF00&"), 9) + testCase.events, 5);
    EXPECT_EQ(pixelAt(images, 750, 375), 0xff00ff00U) << "the harmless event is shown";
    std::size_t pixels = 0;
    for (const CueImage& each : images) pixels += each.pixels.size();
    EXPECT_LE(pixels, std::size_t{1920} * 1080);
  }
  const AssStyleFinder plain = [](std::string_view) { return AssLook{.size = 20, .border = 2}; };
  const double ordinary = estimatedPixels("An ordinary line of text, with\\Ntwo rows", plain, 3);
  EXPECT_GT(ordinary, 100e3);
  EXPECT_LT(ordinary, 1e6);
}

TEST(AssRenderer, SurvivesDamagedDocuments) {
  const std::string document =
      kAssHead + dialogue("{\\an8\\t(\\fs40)}Text") + dialogue(drawing(""));
  for (std::size_t at = 0; at < document.size(); at += 41) {
    std::string damaged = document;
    damaged[at] = static_cast<char>(damaged[at] ^ static_cast<char>(at * 41 + 1));
    for (const std::string& each : {damaged, document.substr(0, at)}) {
      AssRenderer renderer;
      if (at % 2 == 0)
        renderer.readDocument(each);
      else
        renderer.readHeader(each);
      renderer.setPicture({.width = 320, .height = 180, .aspect = 16.0 / 9});
      renderer.add(0, 10, each.substr(std::min(at, each.size())));
      for (const CueImage& image : renderer.render(5, true).images)
        ASSERT_EQ(image.pixels.size(), static_cast<std::size_t>(image.width * image.height));
    }
  }
  EXPECT_TRUE(isAss("\ufeff\r\n[SCRIPT info]\n"));
  EXPECT_FALSE(isAss("WEBVTT\n\n[Script Info]"));
  EXPECT_FALSE(isAss("[Script"));
}

TEST(AlphaBitmaps, AreBlendedInTheirOrderAndCutAtTheCanvas) {
  const std::vector<std::uint8_t> full(64, 255);
  const std::vector<std::uint8_t> half(64, 128);
  const auto bitmap = [](int x, int y, const std::vector<std::uint8_t>& alpha,
                         std::uint32_t color) {
    return AlphaBitmap{.x = x,
                       .y = y,
                       .width = 8,
                       .height = 8,
                       .stride = 8,
                       .alpha = alpha.data(),
                       .color = color};
  };
  constexpr int kFar = 2147483647;
  const AlphaBitmap bitmaps[] = {bitmap(-4, -4, full, 0xffff0000), bitmap(0, 0, half, 0xff0000ff),
                                 bitmap(96, 46, half, 0x80ffffff), bitmap(kFar, kFar, full, ~0U),
                                 bitmap(-kFar, 0, full, ~0U)};
  const auto images = blend(bitmaps, 100, 50);
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(boundsOf(images), (Bounds{0, 0, 100, 50}));
  EXPECT_EQ(pixelAt(images, 0, 0), 0xff7f0080U);
  EXPECT_EQ(pixelAt(images, 7, 7), 0x800000ffU);
  EXPECT_EQ(pixelAt(images, 99, 49), 0x40ffffffU);
  std::vector<AlphaBitmap> many;
  for (int index = 0; index < 100; ++index)
    many.push_back(bitmap(index * 37 % 100, index * 23 % 50, half, 0xff00ff00));
  std::size_t pixels = 0;
  for (const CueImage& each : blend(many, 100, 50)) pixels += each.pixels.size();
  EXPECT_LE(pixels, 5000u);
}

}  // namespace
}  // namespace media
