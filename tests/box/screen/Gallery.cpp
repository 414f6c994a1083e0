#include "tests/box/screen/Gallery.h"

#include <cstring>
#include <string>
#include <utility>

#include "tests/box/screen/Pictures.h"

namespace box::test {

namespace {

using namespace platform;

struct Words {
  const char* title;
  const char* percent;
  const char* message;
  const char* hint;
  const char* live;
  const char* goToLive;
  const char* sound;
  std::vector<std::string> sounds;
  const char* subtitles;
  std::vector<std::string> texts;
  const char* code;
  const char* alertTitle;
  const char* alertMessage;
  std::vector<std::string> buttons;
};

const Words kWords[]{
    {"The Mountain in Winter",
     "42%",
     "The video could not be found.",
     "Press Menu to go back.",
     "LIVE",
     "Go to live",
     "Sound",
     {"English", "French", "English, audio description"},
     "Subtitles",
     {"Off", "English", "French", "German", "Italian", "Japanese", "Arabic", "Spanish"},
     "Enter this code on your device",
     "Unable to Connect",
     "This device could not be verified. Update its software and try again.",
     {"Cancel", "OK"}},
    {"الجبل في الشتاء",
     "٤٢٪",
     "تعذر العثور على الفيديو.",
     "اضغط على زر القائمة للرجوع.",
     "مباشر",
     "الانتقال إلى البث المباشر",
     "الصوت",
     {"الإنجليزية", "الفرنسية", "English, audio description"},
     "الترجمة",
     {"إيقاف", "الإنجليزية", "الفرنسية", "الألمانية", "الإيطالية", "اليابانية", "العربية",
      "الإسبانية"},
     "أدخل هذا الرمز على جهازك",
     "يتعذر الاتصال",
     "تعذر التحقق من هذا الجهاز. حدّث برنامجه ثم حاول مرة أخرى.",
     {"إلغاء", "حسنًا"}},
    {"冬の山、雪に覆われた直線の道",
     "42%",
     "ビデオが見つかりませんでした。",
     "メニューボタンを押すと戻ります。",
     "ライブ",
     "ライブに移動",
     "音声",
     {"英語", "フランス語", "英語（音声解説）"},
     "字幕",
     {"オフ", "英語", "フランス語", "ドイツ語", "イタリア語", "日本語", "アラビア語", "スペイン語"},
     "お使いのデバイスでこのコードを入力してください",
     "接続できません",
     "このデバイスを確認できませんでした。ソフトウェアをアップデートして、もう一度お試しください。",
     {"キャンセル", "OK"}}};

Scene over(std::vector<SceneNode> nodes) {
  Scene scene;
  scene.nodes.push_back(node(kScreenBounds, FillElement{{0.45F, 0.6F, 0.75F, 1}}));
  scene.nodes.push_back(node({0, 420, 1920, 660}, FillElement{{0.95F, 0.96F, 1, 1}}));
  scene.nodes.push_back(node({1100, 240, 420, 180}, FillElement{{0.25F, 0.3F, 0.38F, 1}}));
  for (SceneNode& each : nodes) scene.nodes.push_back(std::move(each));
  return scene;
}
Scene over(SceneElement element) { return over({node(kScreenBounds, std::move(element))}); }

}  // namespace

std::vector<Scene> gallery(const char* language) {
  std::size_t index = 0;
  while (std::strcmp(kGalleryLanguages[index], language) != 0) ++index;
  const Words& words = kWords[index];
  const SpinnerElement spinner{TimePoint{} - std::chrono::milliseconds(300)};
  const Rect middle{900, 480, 120, 120};
  const auto bar = [&](TransportState state, double elapsed) {
    TransportBarElement element;
    element.title = words.title;
    element.state = state;
    element.elapsed = elapsed;
    element.duration = 5400;
    element.loaded = {{0, 0.7}};
    element.liveText = words.live;
    return element;
  };
  const auto moving = [&](TransportState state, double elapsed, double rate) {
    TransportBarElement element = bar(state, elapsed);
    element.rate = rate;
    element.seeking = true;
    element.chapters = {0, 0.12, 0.35, 0.61, 0.8};
    return element;
  };
  const auto live = [&](const char* goToLive, bool focused) {
    TransportBarElement element = bar(TransportState::Playing, 754);
    element.live = true;
    if (*goToLive) {
      element.duration = 900;
      element.goToLiveText = goToLive;
    } else {
      element.duration.reset();
    }
    element.goToLiveFocused = focused;
    return element;
  };
  TransportBarElement chapters = bar(TransportState::Playing, 2400);
  chapters.chapters = {0, 0.12, 0.35, 0.61, 0.8};
  TransportBarElement stopped = bar(TransportState::Stopped, 5400);
  while (stopped.title.size() < 150) stopped.title += std::string(" – ") + words.title;
  TransportBarElement scanning = bar(TransportState::ScanningForward, 3725);
  scanning.rate = 8;
  const OptionListElement sound{words.sound, words.sounds, 0, 1};
  const OptionListElement subtitles{words.subtitles, words.texts, 1, std::nullopt};
  const OptionListElement scrolled{words.subtitles, words.texts, 4, 6};
  const auto line = [&](double y, TextStyle style) {
    return node({192, y, 1536, 120}, TextElement{words.alertMessage, style});
  };

  return {
      over({node(kScreenBounds, FillElement{platform::kBlack}), node(middle, spinner)}),
      over({node(middle, spinner)}),
      over({node(middle, SpinnerElement{spinner.started, words.percent})}),
      over(bar(TransportState::Loading, 0)),
      over(bar(TransportState::Playing, 2400)),
      over(bar(TransportState::Paused, 2400)),
      over(chapters),
      over(moving(TransportState::ScanningForward, 3725, 8)),
      over(moving(TransportState::ScanningBackward, 95, -4)),
      over(moving(TransportState::Playing, 5380, 1)),
      over(scanning),
      over(stopped),
      over(live("", false)),
      over(live(words.goToLive, false)),
      over(live(words.goToLive, true)),
      over(OptionPanelElement{{sound, subtitles}}),
      over({node(kScreenBounds, bar(TransportState::Playing, 2400)),
            node(kScreenBounds, OptionPanelElement{{scrolled}})}),
      over(MessageElement{words.message, words.hint}),
      over(MessageElement{words.alertMessage}),
      over(AlertElement{words.alertTitle, words.alertMessage, {words.buttons[1]}, 0}),
      over(AlertElement{words.alertTitle, words.alertMessage, words.buttons, 1}),
      over({node(kScreenBounds, BlurElement{}),
            node({96, 310, 1728, 200}, TextElement{words.code, TextStyle::Title, platform::kWhite,
                                                   TextAlignment::Center}),
            node({96, 570, 1728, 200}, DigitsElement{"2718", 4})}),
      over({node(kScreenBounds, BlurElement{}),
            node({96, 570, 1728, 200}, DigitsElement{"31415926", 4})}),
      over({node(kScreenBounds, FillElement{platform::kBlack}), line(180, TextStyle::Title),
            line(380, TextStyle::Headline), line(540, TextStyle::Body),
            line(700, TextStyle::Caption)}),
  };
}

}  // namespace box::test
