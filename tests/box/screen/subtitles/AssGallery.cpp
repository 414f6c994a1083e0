// Documents of ASS and SSA for the golden pictures.

#include "tests/box/screen/subtitles/SubtitleGallery.h"

namespace box::test {
namespace {

/// A script of 1280x720 units. `style` is the end of the style "Main", from its colours on.
std::string ass(const std::string& events, const std::string& style =
                                               "&H00FFFFFF,&H0000FFFF,&H00000000,&H80000000,"
                                               "0,0,0,0,100,100,0,0,1,3,2,2,60,60,50,1") {
  return "[Script Info]\nScriptType: v4.00+\nPlayResX: 1280\nPlayResY: 720\n"
         "ScaledBorderAndShadow: yes\n\n[V4+ Styles]\n"
         "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
         "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, "
         "BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
         "Style: Main,Noto Sans,56," +
         style +
         "\n\n[Events]\n"
         "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n" +
         events;
}

std::string line(const std::string& text, const std::string& effect = "") {
  return "Dialogue: 0,0:00:01.00,0:00:03.00,Main,,0,0,0," + effect + "," + text + "\n";
}

std::string nineAlignments() {
  std::string events;
  for (int key = 1; key <= 9; ++key)
    events += line("{\\an" + std::to_string(key) + "}an" + std::to_string(key));
  return ass(events);
}

const char* const kOldScript =
    "[Script Info]\nScriptType: v4.00\nPlayResX: 640\nPlayResY: 360\n\n[V4 Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, TertiaryColour, "
    "BackColour, Bold, Italic, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, "
    "MarginV, AlphaLevel, Encoding\n"
    "Style: Main,Noto Sans,28,65535,65280,0,0,-1,0,1,2,1,6,30,30,20,0,1\n\n[Events]\n"
    "Format: Marked, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
    "Dialogue: Marked=0,0:00:01.00,0:00:03.00,Main,,0,0,0,,SSA, top center\n"
    "Dialogue: Marked=0,0:00:01.00,0:00:03.00,Main,,0,0,0,,{\\a9}{\\i1}left, middle\n";

}  // namespace

std::vector<SubtitleExample> assExamples() {
  const std::string plain = "&H00FFFFFF,&H0000FFFF,&H00000000,&H00000000,";
  // With its fonts: systems replace missing letters from different fonts.
  const std::string shalom =
      "{\\fnNoto Sans Hebrew}שלום{\\fnNoto Sans}, {\\fnNoto Sans Hebrew}עולם{\\fnNoto Sans}";
  return {
      {"outline and shadow", ass(line("Two lines of a dialogue\\Nwith outline and shadow"))},
      {"all alignments", nineAlignments()},
      {"two events at once: the later one above", ass(line("first event") + line("second event"))},
      {"an opaque box", ass(line("A box behind the text\\Nof two lines"),
                            plain + "0,0,0,0,100,100,0,0,3,6,0,2,60,60,50,1")},
      {"wide border, colored shadow, blur",
       ass(line("{\\an5\\fs110\\bord8\\3c&H0000AA&\\shad10\\4c&HFFAA00&\\4a&H40&\\blur3}Loud"))},
      {"letters: bold, italic, underlined, struck out, spaced, wide",
       ass(line("{\\b1}bold{\\b0} {\\i1}italic{\\i0} {\\u1}under{\\u0} {\\s1}out{\\s0}\\N"
                "{\\fsp12}spaced{\\fsp0} {\\fscx160}wide{\\fscx100\\fscy160} tall"))},
      {"rotated around three axes", ass(line("{\\an5\\pos(320,360)\\frz30\\fs80}frz 30") +
                                        line("{\\an5\\pos(900,200)\\fry50\\fs80}fry 50") +
                                        line("{\\an5\\pos(900,520)\\frx50\\fs80}frx 50"))},
      {"karaoke: three kinds, half way",
       ass(line("{\\an8\\k50}Row, {\\k50}row, {\\k50}row {\\k50}your boat") +
           line("{\\an5\\kf50}Row, {\\kf50}row, {\\kf50}row {\\kf50}your boat") +
           line("{\\an2\\ko50}Row, {\\ko50}row, {\\ko50}row {\\ko50}your boat")),
       1.75},
      {"a transformation, half way",
       ass(line("{\\an5\\fs40\\t(0,2000,\\fs160\\1c&H00FF00&\\frz40)}grows")), 2},
      {"a move that fades out, at its end",
       ass(line("{\\an5\\move(200,150,1080,570)\\fad(0,1000)}moving away")), 2.5},
      {"a clip and a drawing",
       ass(line("{\\an7\\pos(120,120)\\p1\\1c&H3030E0&\\bord4}m 0 0 l 400 0 l 400 200 "
                "b 300 300 100 300 0 200") +
           line("{\\an5\\pos(900,360)\\fs120\\clip(m 760 400 l 900 300 l 1040 400)}"
                "clipped"))},
      {"right to left",
       ass(line(shalom + "! (1)\\N{\\fnNoto Sans Arabic}مرحبا بالعالم،{\\fnNoto Sans} 12") +
               line("{\\an8}He said “" + shalom + "” twice."),
           plain + "0,0,0,0,100,100,0,0,1,3,2,2,60,60,50,-1")},
      {"a vertical font", ass(line("{\\an5\\pos(1000,360)\\fn@Noto Sans CJK JP\\frz-90}縦書きの"
                                   "字幕「引用」です。") +
                              line("{\\an5\\pos(400,360)\\fnNoto Sans CJK JP}横書きの字幕です。"))},
      {"an attached font", ass(line("{\\fnZoto Serif}letters of an attached font\\N"
                                    "{\\fnNoto Sans}letters of the usual font"))},
      {"margins and wrapping",
       ass("Dialogue: 0,0:00:01.00,0:00:03.00,Main,,500,60,50,,A long text in the right half wraps "
           "into lines of about the same length\n" +
           line(
               "{\\an7\\q2}This text is not wrapped, however long it is, and leaves the picture"))},
      {"a script of version 4", kOldScript},
      {"a scrolling effect",
       ass(line("Banner from the right to the left", "Banner;10;0;50") +
           line("{\\an8}Scroll up", "Scroll up;100;400;10")),
       2.5},
      {"transparent letters with an opaque outline",
       ass(line("{\\an5\\fs120\\1a&HFF&\\bord5\\3c&H00FFFF&\\shad0}hollow"))},
  };
}

}  // namespace box::test
