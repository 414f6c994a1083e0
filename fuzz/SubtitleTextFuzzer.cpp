// Texts of subtitles: WebVTT, TTML, SubRip, encodings, and style rules.

#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/RandomValue.h"
#include "fuzz/support/TextMutator.h"
#include "media/link/EngineMessages.h"
#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"
#include "media/texts/PngImage.h"
#include "media/texts/SubtitleMarkup.h"
#include "media/texts/TTMLText.h"
#include "media/texts/TextFormats.h"
#include "media/texts/WebVTTText.h"
#include "media/texts/ass/AssCost.h"
#include "platform/foundation/Utf8.h"

namespace fuzz {
namespace {

/// The box has to accept the cues in a message, and shows them.
void checkCues(std::vector<media::SubtitleCue> cues) {
  media::SubtitleCues shown([](const media::SubtitleCues::Change& change) {
    constexpr std::size_t kMostCues = 500;
    if (change.cues.size() > kMostCues) return;
    const auto message = media::encode(media::TextEvent{change});
    require(media::decodeEvent(message).has_value(), "the box accepts the cues of a text");
  });
  for (const media::SubtitleCue& each : cues) {
    require(std::isfinite(each.start) && !std::isnan(each.duration), "times of cues are finite");
    require(platform::isValidText(each.text), "the text of a cue is UTF-8");
    for (const media::SubtitleSpan& span : each.spans) {
      require(span.begin <= span.end && span.end <= each.text.size(), "a span is within the text");
      for (const media::SpanMoment& moment : span.moments)
        require(std::isfinite(moment.time), "the times of a span are finite");
    }
  }
  shown.show(media::SubtitleCues::Source::External);
  shown.setExternal(std::move(cues));
  for (const double time : {0.0, 1.0, 100.0}) static_cast<void>(shown.at(time));
}

/// The parts of the input: a text or segments of it, and the payload of a sample.
void readWebVTT(Bytes input) {
  std::string_view rest = textOf(input);
  media::isWebVTT(rest);
  media::WebVTTReader reader;
  checkCues(reader.read(takePart(rest)));
  if (!rest.empty()) checkCues(reader.read(takePart(rest)));
  if (rest.empty()) return;
  using TimeStamps = media::WebVTTReader::TimeStamps;
  for (const TimeStamps each : {TimeStamps::OfTrack, TimeStamps::OfCue})
    if (auto cue = reader.readPayload(rest, 1, 10, each)) checkCues({*std::move(cue)});
}

void readTTML(Bytes input) {
  const std::string_view text = textOf(input);
  media::isTTML(text);
  checkCues(media::cuesOfTTML(text));
  checkCues(media::cuesOfTTMLSample(text));
}

void readSubRip(Bytes input) {
  checkCues(media::cuesOfSubRip(textOf(input)));
  for (const auto kind : {media::Markup::WebVTT, media::Markup::SubRip}) {
    auto cue = media::cueOfMarkup(textOf(input), kind);
    cue.duration = 1;
    if (platform::isValidText(textOf(input))) checkCues({std::move(cue)});
  }
}

void readText(Bytes input) {
  const std::string text = media::utf8Of(textOf(input));
  require(platform::isValidText(text), "a converted text is UTF-8");
  if (auto content = media::contentOfText(textOf(input))) checkCues(std::move(content->cues));
}

void readStyles(Bytes input) {
  media::SubtitleStyles styles;
  styles.addSheet(textOf(input));
  platform::Dictionary dictionary;
  std::string_view rest = textOf(input);
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view value = line.substr(std::min(colon + 1, line.size()));
    dictionary.set(line.substr(0, colon), platform::Value(value));
    media::SubtitleLook look;
    media::readDeclaration(line.substr(0, colon), value, look);
    media::alignmentOf(line);
  }
  styles.addDictionary(dictionary);
  static_cast<void>(media::subtitleStylesOf(
      platform::Value(platform::Array{platform::Value(dictionary), platform::Value("::cue{}")})));
  media::SubtitleCue cue = media::cueOfMarkup("<c.a>x<v Name>y</v></c>", media::Markup::WebVTT);
  cue.duration = 1;
  styles.applyTo(cue);
}

void estimateAss(Bytes input) {
  const double pixels = media::estimatedPixels(
      textOf(input), [](std::string_view) { return media::AssLook{.size = 40}; }, 2);
  require(pixels >= 0, "an estimate is not negative");
}

void readPng(Bytes input) {
  constexpr std::size_t kPixels = std::size_t{1} << 20;
  std::string_view rest = textOf(input);
  if (const auto image = media::decodePng(media::takePng(rest), kPixels))
    require(image->pixels.size() <= kPixels, "an image has at most as many pixels as allowed");
}

constexpr std::string_view kWebVTTLines[] = {
    "WEBVTT",
    "\n",
    "STYLE\n::cue(%w) { %w: %w; }",
    "REGION\nid:%w width:%n% lines:%n "
    "regionanchor:%n%,%n% viewportanchor:%n%,%n% scroll:up",
    "NOTE %w",
    "00:00:%n.000 --> 00:00:%n.000",
    "00:00:01.000 --> 00:00:09.000 %w %w %w",
    "%n:00:00.000 --> %n:59:59.999 line:%n% position:%n%,line-left size:%n% align:%w region:%w",
    "vertical:rl line:%n,center snap",
    "<b>%w<i>x</b>",
    "<c.%w.%w>%w</c>",
    "<v %w>%w",
    "<ruby>a<rt>%w</rt></ruby>",
    "<00:00:0%n.000>",
    "&amp;&lt;&#%n;&%w;",
    "<lang %w>%w",
    "X-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:%n",
    "1\n00:00:01,000 --> 00:00:02,000",
    "{\\an%n}%w",
    "<font color=\"%w\" size=%n>%w</font>",
    "<span foreground='%w'>x</span>",
    "\x1e"};
constexpr std::string_view kWebVTTWords[] = {"color",
                                             "background-color",
                                             "rgba(%n,1,1,0.5)",
                                             "#ff0000",
                                             "yellow",
                                             "b",
                                             "v[voice=\"N\"]",
                                             "#id",
                                             ".a.b",
                                             "start",
                                             "middle",
                                             "end",
                                             "line:-1",
                                             "line:50%,start",
                                             "position:10%",
                                             "size:%n%",
                                             "align:left",
                                             "region:r",
                                             "r",
                                             "font-size",
                                             "150%",
                                             "\xd7\xa9\xd7\x9c",
                                             "text-decoration",
                                             "\xe6\x97\xa5\xe6\x9c\xac",
                                             "-->",
                                             "::cue"};
constexpr std::string_view kTTMLElements[] = {
    "<tt xmlns=\"http://www.w3.org/ns/ttml\" xmlns:tts=\"http://www.w3.org/ns/ttml#styling\" "
    "xmlns:ttp=\"http://www.w3.org/ns/ttml#parameter\" ttp:frameRate=\"%n\" ttp:tickRate=\"%n\" "
    "ttp:frameRateMultiplier=\"%n %n\" ttp:cellResolution=\"%n %n\" tts:extent=\"%npx %npx\">",
    "</tt>",
    "<head>",
    "</head>",
    "<body>",
    "</body>",
    "<div>",
    "<div region=\"%w\" style=\"%w\">",
    "</div>",
    "<p begin=\"%ns\" end=\"%ns\">",
    "<p begin=\"00:00:%n:%n\" dur=\"%nt\" region=\"%w\">",
    "<p timeContainer=\"seq\">",
    "</p>",
    "<span begin=\"%nms\" style=\"%w %w %w\">",
    "</span>",
    "<br/>",
    "<layout>",
    "</layout>",
    "<styling>",
    "</styling>",
    "<style xml:id=\"%w\" style=\"%w\" tts:color=\"%w\" tts:fontSize=\"%n%w\" "
    "tts:textEmphasis=\"%w %w\"/>",
    "<region xml:id=\"%w\" tts:origin=\"%n% %n%\" tts:extent=\"%n%w %n%w\" "
    "tts:writingMode=\"%w\" tts:displayAlign=\"%w\" tts:padding=\"%n% %npx 1c 1em\">",
    "</region>",
    "<span tts:ruby=\"%w\" tts:rubyPosition=\"%w\">",
    "<set tts:color=\"%w\"/>",
    "<p tts:textAlign=\"%w\" tts:shear=\"%n%\" tts:opacity=\"%n\" tts:textOutline=\"%w %npx\">",
    "<smpte:image xml:id=\"%w\" encoding=\"Base64\">iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJ"
    "AAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==</smpte:image>",
    "<div smpte:backgroundImage=\"#%w\">",
    "<image src=\"#%w\"/>",
    "<![CDATA[%w]]>",
    "&amp;&#%n;%w"};
constexpr std::string_view kTTMLValues[] = {"a",         "b",       "c",         "r1",
                                            "s1",        "red",     "#ff000080", "rgba(%n,2,3,4)",
                                            "px",        "%",       "em",        "c",
                                            "rw",        "rh",      "tbrl",      "lrtb",
                                            "before",    "after",   "center",    "container",
                                            "base",      "text",    "delimiter", "filled",
                                            "sesame",    "outside", "auto",      "\xd7\xa9\xd7\x9c",
                                            "underline", "bold"};
constexpr std::string_view kCSS[] = {"::cue(%w) { %w: %w; %w: %w }",
                                     "::cue { color: %w; }",
                                     "/* %w",
                                     "*/",
                                     "%w: %w",
                                     "::cue(v[voice=\"%w\"])",
                                     "@import %w;",
                                     "background-color: rgba(%n%,%n,%n,%n)",
                                     "font: %w %n% %w",
                                     "fontSize: %n",
                                     "characterEdgeStyle: %w"};
constexpr std::string_view kASS[] = {"{\\fs%n\\fscx%n\\fscy%n\\bord%n\\blur%n\\be%n}%w",
                                     "{\\t(%n,%n,%n,\\fs%n\\t(\\fs%n))}",
                                     "{\\r%w\\p%n}m 0 0 l %n %n b %n %n %n %n %n %n",
                                     "\\N",
                                     "{\\frx%n\\fry%n\\org(%n,%n)}",
                                     "{\\clip(%n,m %n %n l %n %n)}",
                                     "{\\fsp%n\\xbord%n\\ybord%n\\shad%n}",
                                     "{\\pbo%n}",
                                     "}",
                                     "{"};

template <const auto& pieces, const auto& words, TextGrammar::Tokens tokens>
void mutateSubtitles(std::string& input, Random& random) {
  static const TextGrammar grammar{tokens, pieces, words};
  mutateText(input, random, grammar);
}

constexpr auto kLines = TextGrammar::Tokens::Lines;
constexpr auto kMarkup = TextGrammar::Tokens::Markup;
constexpr InputLimits kTextLimits{.heap = {std::size_t{8} << 20, 4000}, .steps = {4'000'000, 6000}};

const Registration webVTT({"WebVTT", &readWebVTT, kTextLimits,
                           &mutateSubtitles<kWebVTTLines, kWebVTTWords, kLines>});
const Registration ttml({"TTML", &readTTML, kTextLimits,
                         &mutateSubtitles<kTTMLElements, kTTMLValues, kMarkup>});
const Registration subRip({"SubRip", &readSubRip, kTextLimits,
                           &mutateSubtitles<kWebVTTLines, kWebVTTWords, kLines>});
const Registration text({"TextEncoding", &readText, kTextLimits,
                         &mutateSubtitles<kWebVTTLines, kWebVTTWords, kLines>});
const Registration styles(
    {"Styles", &readStyles, {}, &mutateSubtitles<kCSS, kWebVTTWords, kLines>});
const Registration assCost(
    {"AssCost", &estimateAss, {}, &mutateSubtitles<kASS, kWebVTTWords, kLines>});
const Registration png({"PNG", &readPng, {.heap = {std::size_t{16} << 20, 400}}});

}  // namespace
}  // namespace fuzz
