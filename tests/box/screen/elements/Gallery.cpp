#include "tests/box/screen/elements/Gallery.h"

#include <cstring>
#include <string>
#include <utility>

#include "TVVorlane/strings/StringTable.h"
#include "media/output/SubtitleStyles.h"
#include "platform/foundation/Value.h"
#include "platform/ui/controllers/DigitEntryViewController.h"
#include "platform/ui/player/PlayerTexts.h"
#include "tests/box/screen/Pictures.h"

namespace box::test {

namespace {

using namespace platform;

/// Texts that come from senders, media and the system, in one of the languages.
struct Words {
  const char* title;
  std::vector<std::string> languages;  // some are long and have a common prefix
  const char* subtitle;
  const char* shortSubtitle;
  const char* emphasized;  // a part of `subtitle`
};

const Words kWords[]{
    {"The Mountain in Winter",
     {"English", "English (with audio description) – Stereo",
      "English (with audio description) – Surround 5.1, quiet", "French", "German", "Italian",
      "Japanese", "Arabic", "Spanish"},
     "There is a path up there,\nif you know where to look.",
     "Look up there.",
     "if you know"},
    {"الجبل في الشتاء",
     {"الإنجليزية", "الإنجليزية (مع وصف صوتي) – Stereo",
      "الإنجليزية (مع وصف صوتي) – Surround 5.1, quiet", "الفرنسية", "الألمانية", "الإيطالية",
      "اليابانية", "العربية", "الإسبانية"},
     "هناك طريق في الأعلى،\nإن كنت تعرف أين تبحث.",
     "انظر إلى الأعلى.",
     "إن كنت"},
    {"冬の山、雪に覆われた直線の道",
     {"英語", "英語（音声解説付き） – Stereo", "英語（音声解説付き） – Surround 5.1, quiet",
      "フランス語", "ドイツ語", "イタリア語", "日本語", "アラビア語", "スペイン語"},
     "あの上に道があるんだ。\nどこを探せばいいか知っていればね。",
     "上を見て。",
     "知っていれば"}};

constexpr MemoryFrame::Yuv kBright{235, 128, 128};
constexpr MemoryFrame::Yuv kDark{60, 140, 120};

std::shared_ptr<MemoryFrame> picture(int width, int height) {
  return std::make_shared<MemoryFrame>(media::VideoFormat::NV12, width, height, kDark, kBright);
}

/// Returns the nodes on top of the background picture of the gallery.
Scene over(std::vector<SceneNode> nodes) {
  Scene scene;
  scene.nodes.push_back(node(kScreenBounds, FillElement{{0.45F, 0.6F, 0.75F, 1}}));
  scene.nodes.push_back(node({0, 420, 1920, 660}, FillElement{{0.95F, 0.96F, 1, 1}}));
  scene.nodes.push_back(node({1100, 240, 420, 180}, FillElement{{0.25F, 0.3F, 0.38F, 1}}));
  for (SceneNode& each : nodes) scene.nodes.push_back(std::move(each));
  return scene;
}
Scene over(SceneElement element) { return over({node(kScreenBounds, std::move(element))}); }

/// Returns a video with subtitles; `width` determines its aspect ratio.
Scene withTexts(int width, const std::vector<media::SubtitleCue>& cues,
                std::shared_ptr<const media::SubtitleStyles> styles = nullptr) {
  const auto frame = picture(width, 200);
  const auto texts = std::make_shared<media::SubtitleCues>();
  for (const media::SubtitleCue& each : cues) texts->add(each);
  texts->show(media::SubtitleCues::Source::Media);
  texts->setStyles(std::move(styles));
  frame->time = 1;
  frame->subtitles = texts;
  return sceneOf({VideoElement{videoOf(frame)}});
}

/// Returns the PIN screen over a video.
Scene withCode(const std::string& title, const std::string& code) {
  DigitEntryViewController digits(4);
  digits.titleLabel()->setText(title);
  digits.titleLabel()->setTextColor(kWhite);
  digits.digitGroupView()->setText(code);
  digits.view()->layoutIfNeeded();
  Scene scene = sceneOf({VideoElement{videoOf(picture(356, 200))}, BlurElement{}});
  scene.nodes.push_back(digits.view()->sceneNode({}));
  return scene;
}

Scene mirrored(int width, int height) {
  return sceneOf({LayerElement{std::make_shared<TestLayer>(picture(width, height))}});
}

}  // namespace

std::vector<Scene> gallery(const char* language) {
  std::size_t index = 0;
  while (std::strcmp(kGalleryLanguages[index], language) != 0) ++index;
  const Words& words = kWords[index];
  const auto text = [&](std::string_view key) {
    for (const auto& entry : TVVorlaneStrings::tableForLocale(language).entries)
      if (entry.key == key) return std::string(entry.text);
    throw std::out_of_range(std::string(key));
  };

  const Rect middle{900, 480, 120, 120};
  SpinnerElement spinner{TimePoint{} - std::chrono::milliseconds(300)};
  SpinnerElement percentage = spinner;
  percentage.text = text("TVVorlanePlayerPercent");
  percentage.text.replace(percentage.text.find("{}"), 2, "42");

  const auto bar = [&](TransportState state, double elapsed) {
    TransportBarElement element;
    element.title = words.title;
    element.state = state;
    element.elapsed = elapsed;
    element.duration = 5400;
    element.loaded = {{0, 0.7}};
    element.liveText = text("TVVorlanePlayerLive");
    if (state == TransportState::Paused) element.stateText = text("TVVorlanePlayerPaused");
    return element;
  };
  const auto titled = [](TransportBarElement element, std::string title) {
    element.title = std::move(title);
    return element;
  };
  const auto chaptered = [&](double elapsed) {
    TransportBarElement element = bar(TransportState::Playing, elapsed);
    element.chapters = {0, 0.12, 0.35, 0.61, 0.8};
    return element;
  };
  PlayerTexts texts;
  texts.seconds = text("TVVorlanePlayerSeconds");
  const auto skipping = [&](double elapsed, double skipped) {
    TransportBarElement element = chaptered(elapsed);
    element.seeking = true;
    element.skipped = skipped;
    element.skipText = texts.skipText(skipped);
    return element;
  };
  const auto scanning = [&](double elapsed, double rate) {
    TransportBarElement element = chaptered(elapsed);
    element.state = rate < 0 ? TransportState::ScanningBackward : TransportState::ScanningForward;
    element.rate = rate;
    element.seeking = true;
    return element;
  };
  const auto live = [&](bool behind, bool focused) {
    TransportBarElement element = bar(TransportState::Playing, 754);
    element.live = true;
    element.duration = behind ? std::optional(900.0) : std::nullopt;
    if (behind) element.goToLiveText = text("TVVorlanePlayerGoToLive");
    element.goToLiveFocused = focused;
    return element;
  };
  const auto stopped = [&](const char* message, const char* hint) {
    // The video has been removed.
    return sceneOf({FillElement{kBlack}, MessageElement{text(message), hint ? text(hint) : ""}});
  };
  std::string longTitle = words.title;
  while (longTitle.size() < 150) longTitle += std::string(" – ") + words.title;

  std::vector<std::string> subtitles = words.languages;
  subtitles.insert(subtitles.begin(), text("TVVorlanePlayerOff"));
  subtitles.erase(subtitles.begin() + 2, subtitles.begin() + 4);
  const std::vector<std::string> sounds(words.languages.begin(), words.languages.begin() + 4);
  const std::string soundTitle = text("TVVorlanePlayerSound");
  const std::string subtitlesTitle = text("TVVorlanePlayerSubtitles");

  const std::string alertTitle = text("VorlaneSecurityVerifyFailureDialogLabel");
  const std::string alertText = text("VorlaneSecurityVerifyFailureDialogText");
  const std::string ok = text("TVVorlaneOK");

  const media::SubtitleCue plain{1, 1, words.subtitle};
  media::SubtitleCue marked = plain;
  marked.look.edge = media::TextEdge::DropShadow;
  marked.spans.resize(1);
  marked.spans[0].begin = plain.text.find(words.emphasized);
  marked.spans[0].end = marked.spans[0].begin + std::strlen(words.emphasized);
  marked.spans[0].look.italic = true;
  marked.spans[0].look.color = Color{1, 0.85F, 0.3F, 1};
  const media::SubtitleCue brief{1, 1, words.shortSubtitle};
  media::SubtitleCue above{1, 1, words.title};
  above.layout.line = 0;
  media::SubtitleCue drawn{1, 1};
  drawn.images = {{1920, 1080, 660, 880, 600, 90, std::vector<std::uint32_t>(54000)}};
  // Two rows of boxes that look like words.
  for (std::size_t i = 0; i < 54000; ++i) {
    const std::size_t x = i % 600, y = i / 600;
    if (y % 50 < 34 && x % 25 < 20 && (x + 125 * (y / 50)) % 200 < 160)
      drawn.images[0].pixels[i] = 0xFFFFE060;
  }
  const auto customStyles = media::subtitleStylesOf(Array{Dictionary{
      {"foregroundColor", "yellow"}, {"backgroundColor", "#101040"}, {"relativeSize", 120}}});
  Scene belowBar = withTexts(356, {plain});
  belowBar.nodes.push_back(node(kScreenBounds, bar(TransportState::Playing, 2400)));

  return {
      over({node(kScreenBounds, FillElement{kBlack}), node(middle, spinner)}),
      over({node(kScreenBounds, bar(TransportState::Loading, 2400)), node(middle, spinner)}),
      over({node(kScreenBounds, bar(TransportState::Loading, 2400)), node(middle, percentage)}),

      over(bar(TransportState::Playing, 2400)),
      over(bar(TransportState::Paused, 2400)),
      over(titled(bar(TransportState::Paused, 2400), longTitle)),

      over(chaptered(2400)),
      over(skipping(2450, 50)),
      over(skipping(80, -140)),

      over(scanning(3725, 8)),
      over(scanning(95, -4)),
      over(live(false, false)),

      over(live(true, false)),
      over(live(true, true)),
      over(OptionPanelElement{{{subtitlesTitle, {subtitles[0], subtitles[1]}, 0, 0}}}),

      over(OptionPanelElement{{{soundTitle, sounds, 0, 1}, {subtitlesTitle, subtitles, 1, {}}}}),
      over(OptionPanelElement{{{soundTitle, sounds, 3, {}}, {subtitlesTitle, subtitles, 4, 7}}}),
      over(OptionPanelElement{{{soundTitle, sounds, 2, 2}}}),

      stopped("TVVorlanePlayerNoConnection", "TVVorlanePlayerRetryHint"),
      stopped("TVVorlanePlayerNotAllowed", "TVVorlanePlayerRetryHint"),
      stopped("TVVorlanePlayerEnded", "TVVorlanePlayerReplayHint"),

      stopped("TVVorlanePlayerEnded", nullptr),
      over(AlertElement{alertTitle, alertText, {ok}, 0}),
      withCode(text("TVVorlanePINTitle"), "2718"),

      withCode(text("TVVorlanePINTitle"), "31415926"),
      mirrored(356, 200),
      mirrored(200, 356),

      withTexts(356, {plain}),
      withTexts(478, {brief}),
      withTexts(478, {plain}),

      withTexts(800, {plain}),
      withTexts(356, {marked, above}),
      withTexts(356, {plain}, customStyles),

      withTexts(356, {drawn}),
      std::move(belowBar),
  };
}

}  // namespace box::test
