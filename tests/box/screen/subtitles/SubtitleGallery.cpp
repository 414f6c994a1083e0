#include "tests/box/screen/subtitles/SubtitleGallery.h"

namespace box::test {
namespace {

std::string vtt(const std::string& body) { return "WEBVTT\n\n" + body; }

/// One cue from 1 to 2 s.
std::string cue(const std::string& settings, const std::string& text) {
  return "00:01.000 --> 00:02.000 " + settings + "\n" + text + "\n\n";
}

const std::string kScrollRegion =
    "REGION\nid:up\nwidth:50%\nlines:3\nregionanchor:0%,100%\nviewportanchor:10%,90%\nscroll:"
    "up\n\n";
const std::string kScrollCues =
    "00:00.000 --> 00:09.000 region:up align:left\nfirst line\n\n"
    "00:00.500 --> 00:09.000 region:up align:left\nsecond line\n\n"
    "00:00.800 --> 00:09.000 region:up align:left\nthird line\n\n"
    "00:01.400 --> 00:09.000 region:up align:left\nfourth line\n\n";

std::string ttml(const std::string& head, const std::string& body,
                 const std::string& attributes = "") {
  return "<tt xmlns='http://www.w3.org/ns/ttml' " + attributes + "><head>" + head +
         "</head><body>" + body + "</body></tt>";
}

/// A region in the middle, and a paragraph in it.
std::string inRegion(const std::string& region, const std::string& paragraph,
                     const std::string& text) {
  return ttml(
      "<layout><region xml:id='r' tts:origin='20% 20%' tts:extent='60% 60%' "
      "tts:backgroundColor='#00000080' " +
          region + "/></layout>",
      "<p region='r' begin='1s' end='2s' " + paragraph + ">" + text + "</p>");
}

}  // namespace

std::vector<SubtitleExample> webVTTExamples() {
  const std::string rl = "日本語の縦書き、\nABC と 12 です。";
  return {
      {"a cue", vtt(cue("", "Well, here we are\nagain."))},
      {"overlapping cues: the later one above",
       vtt("00:00.000 --> 00:03.000\nthe first cue\n\n" + cue("", "the second cue"))},
      {"overlapping cues at the top", vtt(cue("line:0", "first") + cue("line:0", "second"))},
      {"line:-3, one line", vtt(cue("line:-3", "the third line from below"))},
      {"line:50%,center", vtt(cue("line:50%,center", "in the middle\nof the picture"))},
      {"position:10%,line-left align:left size:35%",
       vtt(cue("position:10%,line-left align:left size:35%", "a narrow box that wraps its text"))},
      {"align:right", vtt(cue("align:right", "at the right\nedge"))},
      {"two speakers side by side",
       vtt(cue("position:5%,line-left size:45% align:left", "- on the left") +
           cue("position:95%,line-right size:45% align:right", "on the right -"))},
      {"style sheet",
       vtt("STYLE\n::cue(.loud) { color: #ff0; font-size: 150%; font-weight: bold }\n"
           "::cue(i) { background-color: #008 }\n\n" +
           cue("", "quiet <c.loud>loud</c>\n<i>with a background</i>"))},
      {"default colours", vtt(cue("", "<c.yellow.bg_blue>yellow on blue</c>\n<c.lime>lime</c>"))},
      {"vertical:rl", vtt(cue("vertical:rl line:0 align:left", rl))},
      {"vertical:lr", vtt(cue("vertical:lr line:0 align:left", rl))},
      {"vertical:rl, last line", vtt(cue("vertical:rl", rl))},
      {"vertical text with ruby",
       vtt(cue("vertical:rl line:0", "<ruby>漢字<rt>かんじ</rt></ruby>を読む\n二行目です"))},
      {"vertical:rl in Latin letters",
       vtt(cue("vertical:rl line:0", "Latin letters lie\non their side"))},
      {"ruby", vtt(cue("",
                       "これは<ruby>漢字<rt>かんじ</rt></ruby>です\n<ruby>東<rt>とう</"
                       "rt>京<rt>きょう</rt></ruby>へ行く"))},
      {"ruby that is wider than its base",
       vtt(cue("", "the <ruby>WHO<rt>World Health Organization</rt></ruby> says"))},
      {"right-to-left text", vtt(cue("", "שלום, עולם! (1)\nمرحبا بالعالم، 12"))},
      {"both directions in a line",
       vtt(cue("", "He said “שלום, עולם” twice.\nהוא אמר “hello” אתמול."))},
      {"align:start in both directions",
       vtt(cue("align:start position:50%,center", "begins at the left\nמתחיל מימין"))},
      {"region with three lines", vtt(kScrollRegion + kScrollCues), 1.3},
      {"region while it scrolls", vtt(kScrollRegion + kScrollCues), 1.5},
      {"region after it has scrolled", vtt(kScrollRegion + kScrollCues), 2.5},
      {"karaoke: the past in colour, half way",
       vtt("STYLE\n::cue(:past) { color: #ff0 }\n::cue(c:future) { color: #bbb }\n\n" +
           cue("",
               "<c>Row, </c><00:01.250><c>row, </c><00:01.500><c>row </c><00:01.750><c>your "
               "boat</c>\n<c>gently</c>"))},
      {"the future is hidden", vtt("STYLE\n::cue(:future) { visibility: hidden }\n\n" +
                                   cue("",
                                       "Words <00:01.250>appear <00:01.400>as they <00:01.600>are "
                                       "spoken,\n<00:01.800>and keep their places"))},
      {"by language", vtt("STYLE\n::cue(:lang(fr)) { font-style: italic; color: #8ff }\n\n" +
                          cue("", "He said <lang fr-CA>bonjour</lang> and left."))},
      {"a text that is too long becomes smaller",
       vtt("STYLE\n::cue { font-size: 300% }\n\n" +
           cue("",
               "A text of three times the usual size that has so many words that they do not "
               "fit into two fifths of the height"))},
  };
}

std::vector<SubtitleExample> ttmlExamples() {
  const std::string image =
      "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAYAAAD0In+"
      "KAAAADklEQVR42mP4z8AAQg0AD3oDfmqBMeEAAAAASUVORK5CYII"
      "=";
  const std::string rubyText =
      "<span tts:ruby='container'><span tts:ruby='base'>漢字</span><span "
      "tts:ruby='delimiter'>(</span>"
      "<span tts:ruby='text'>かんじ</span><span tts:ruby='delimiter'>)</span></span>を読む";
  return {
      {"without a region", ttml("",
                                "<p begin='1s' end='2s'>first paragraph</p>"
                                "<p begin='1s' end='2s'>second paragraph</p>")},
      {"region, displayAlign after", inRegion("tts:displayAlign='after'", "tts:textAlign='center'",
                                              "at the lower edge<br/>of a region")},
      {"two paragraphs in a region",
       ttml("<layout><region xml:id='r' tts:origin='10% 10%' tts:extent='80% 80%' "
            "tts:displayAlign='center'/></layout>",
            "<div region='r'><p begin='1s' end='2s' tts:color='yellow'>- yes</p>"
            "<p begin='1s' end='2s' tts:backgroundColor='#800000'>- no</p></div>")},
      {"a region that refers to a style",
       ttml("<styling><style xml:id='s' tts:origin='50% 10%' tts:extent='40% 20%' "
            "tts:textAlign='right' tts:color='cyan'/></styling>"
            "<layout><region xml:id='r' style='s'/></layout>",
            "<p region='r' begin='1s' end='2s'>at the upper right,<br/>in cyan</p>")},
      {"sizes in cells, pixels, em and percent",
       ttml(
           "<layout><region xml:id='r' tts:origin='64px 36px' tts:extent='1152px 648px'/></layout>",
           "<div region='r'><p begin='1s' end='2s' tts:fontSize='1c'>1c</p>"
           "<p begin='1s' end='2s' tts:fontSize='48px'>48px is as large</p>"
           "<p begin='1s' end='2s' tts:fontSize='50%'>50%, <span "
           "tts:fontSize='2em'>2em</span></p></div>",
           "tts:extent='1280px 720px'")},
      {"multiRowAlign start, textAlign center",
       inRegion("", "tts:textAlign='center' ebutts:multiRowAlign='start'",
                "the longest line of all<br/>short<br/>a bit longer")},
      {"multiRowAlign end, textAlign start",
       inRegion("", "ebutts:multiRowAlign='end'",
                "the longest line of all<br/>short<br/>a bit longer")},
      {"ruby without its brackets", inRegion("", "", rubyText)},
      {"ruby after the base", inRegion("", "tts:rubyPosition='after'", rubyText)},
      {"ruby outside of two lines",
       inRegion("", "tts:rubyPosition='outside'", rubyText + "<br/>" + rubyText)},
      {"textEmphasis", inRegion("", "",
                                "<span tts:textEmphasis='filled dot'>強調</span>と"
                                "<span tts:textEmphasis='open circle after'>下の点</span>")},
      {"textEmphasis of Latin letters",
       inRegion("", "tts:textEmphasis='filled sesame'", "every letter, no space")},
      {"shear", inRegion("", "tts:shear='16.67%'", "リーダーの声<br/>Off-screen voice")},
      {"shear, vertical",
       inRegion("tts:writingMode='tbrl'", "tts:shear='16.67%'", "縦書きの声<br/>二行目")},
      {"writingMode tbrl",
       inRegion("tts:writingMode='tbrl'", "", "縦書きの文字、「引用」。<br/>二行目 ABC")},
      {"writingMode tblr",
       inRegion("tts:writingMode='tblr'", "", "縦書きの文字、「引用」。<br/>二行目 ABC")},
      {"tbrl at the left edge of the region",
       inRegion("tts:writingMode='tbrl' tts:displayAlign='after'", "tts:textAlign='end'",
                rubyText)},
      {"direction rtl", inRegion("", "tts:direction='rtl'", "(1) ABC, שלום!<br/>12 - ABC")},
      {"bidiOverride",
       inRegion("", "",
                "ABC <span tts:direction='rtl' tts:unicodeBidi='bidiOverride'>ABC</span> ABC")},
      {"an image",
       ttml("<metadata><smpte:image xml:id='i' encoding='Base64'>" + image +
                "</smpte:image></metadata><layout><region xml:id='r' tts:origin='25% 50%' "
                "tts:extent='50% 25%'/></layout>",
            "<div region='r' begin='1s' end='2s' smpte:backgroundImage='#i'/>")},
      {"set: the second word is hidden, the third one is red",
       inRegion("", "tts:fontSize='150%'",
                "one <span><set begin='0.2s' tts:visibility='hidden'/>two</span> "
                "<span><set begin='0.2s' tts:color='red'/>three</span> four")},
      {"set: the region moves and changes its colour",
       ttml("<layout><region xml:id='r' tts:origin='10% 10%' tts:extent='30% 30%'>"
            "<set begin='1.2s' tts:origin='60% 50%' tts:backgroundColor='#004080'/>"
            "</region></layout>",
            "<p region='r' begin='1s' end='2s'>moved</p>")},
      {"a paragraph before the text that changes",
       inRegion("", "",
                "first <span begin='0.3s'>that changes</span></p>"
                "<p region='r' begin='1.2s' end='2s' tts:color='yellow'>second")},
      {"padding of the region",
       inRegion("tts:padding='10% 5%'", "tts:backgroundColor='#004000'", "inside the padding")},
      {"opacity, and a background of letters",
       inRegion("", "tts:opacity='0.5'", "half, <span tts:backgroundColor='red'>on red</span>")},
  };
}

}  // namespace box::test
