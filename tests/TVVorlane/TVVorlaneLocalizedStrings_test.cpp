#include "TVVorlane/TVVorlaneLocalizedStrings.h"

#include <set>

#include "TVVorlane/strings/StringTable.h"
#include "tests/TVVorlane/Support.h"

namespace {

const std::set<std::string_view> kKeys{"TVVorlanePINTitle",
                                       "VorlaneSecurityVerifyFailureDialogLabel",
                                       "VorlaneSecurityVerifyFailureDialogText",
                                       "TVVorlaneOK",
                                       "TVVorlanePlayerLive",
                                       "TVVorlanePlayerGoToLive",
                                       "TVVorlanePlayerSound",
                                       "TVVorlanePlayerSubtitles",
                                       "TVVorlanePlayerOff",
                                       "TVVorlanePlayerUnknownLanguage",
                                       "TVVorlanePlayerHardOfHearing",
                                       "TVVorlanePlayerAudioDescription",
                                       "TVVorlanePlayerCommentary",
                                       "TVVorlanePlayerPercent",
                                       "TVVorlanePlayerSeconds",
                                       "TVVorlanePlayerPaused",
                                       "TVVorlanePlayerEnded",
                                       "TVVorlanePlayerNotFound",
                                       "TVVorlanePlayerNoConnection",
                                       "TVVorlanePlayerTimedOut",
                                       "TVVorlanePlayerUnknownFormat",
                                       "TVVorlanePlayerNotAllowed",
                                       "TVVorlanePlayerFailed",
                                       "TVVorlanePlayerReplayHint",
                                       "TVVorlanePlayerRetryHint"};

TEST(TVVorlaneLocalizedStringsTest, EveryTableHasEveryKeyAndNoOther) {
  std::set<std::string_view> languages;
  for (const auto* table : TVVorlaneStrings::allTables()) {
    EXPECT_TRUE(languages.insert(table->language).second) << table->language;
    std::set<std::string_view> keys;
    for (const auto& entry : table->entries) {
      EXPECT_TRUE(keys.insert(entry.key).second) << table->language << " " << entry.key;
      EXPECT_FALSE(entry.text.empty()) << table->language << " " << entry.key;
      EXPECT_EQ(entry.text.find("{}") != std::string_view::npos,
                entry.key == "TVVorlanePlayerPercent" || entry.key == "TVVorlanePlayerSeconds")
          << table->language << " " << entry.key;
    }
    EXPECT_EQ(keys, kKeys) << table->language;
  }
  EXPECT_EQ(languages.size(), 17U);
  EXPECT_EQ(TVVorlaneStrings::allTables().front()->language, "en");
}

TEST(TVVorlaneLocalizedStringsTest, TranslationsDifferFromEnglish) {
  // Many languages share "OK", "LIVE", "Audio" and the abbreviation of seconds. Only sentences must
  // differ.
  std::set<std::string_view> words;
  for (const auto& entry : TVVorlaneStrings::en.entries) {
    if (entry.text.find(' ') == std::string_view::npos || entry.text == "{} s")
      words.insert(entry.key);
  }
  std::set<std::string_view> english;
  for (const auto& entry : TVVorlaneStrings::en.entries)
    if (!words.contains(entry.key)) english.insert(entry.text);
  for (const auto* table : TVVorlaneStrings::allTables().subspan(1)) {
    for (const auto& entry : table->entries)
      EXPECT_FALSE(english.contains(entry.text)) << table->language << ": " << entry.text;
  }
}

TEST(TVVorlaneLocalizedStringsTest, TableByLocale) {
  constexpr std::pair<const char*, const char*> kCases[] = {{"de_DE.UTF-8", "de"},
                                                            {"de", "de"},
                                                            {"de@euro", "de"},
                                                            {"pt_BR.UTF-8", "pt"},
                                                            {"iw_IL", "he"},
                                                            {"he_IL.UTF-8", "he"},
                                                            {"zh_CN.UTF-8", "zh_Hans"},
                                                            {"zh", "zh_Hans"},
                                                            {"zh_SG", "zh_Hans"},
                                                            {"zh_TW.UTF-8", "zh_Hant"},
                                                            {"zh_HK", "zh_Hant"},
                                                            {"zh_MO", "zh_Hant"},
                                                            {"zh_Hant_SG", "zh_Hant"},
                                                            {"zh-TW", "zh_Hant"},
                                                            {"zh-Hans-CN", "zh_Hans"},
                                                            {"zh_Hans_HK", "zh_Hans"},
                                                            {"C", "en"},
                                                            {"C.UTF-8", "en"},
                                                            {"POSIX", "en"},
                                                            {"", "en"},
                                                            {"xx_YY", "en"},
                                                            {"en_GB.UTF-8", "en"},
                                                            {"deu", "en"},
                                                            {"_DE", "en"}};
  for (const auto& [locale, language] : kCases)
    EXPECT_EQ(TVVorlaneStrings::tableForLocale(locale).language, language) << locale;
}

TEST(TVVorlaneLocalizedStringsTest, LooksUpInTheUsersLanguage) {
  sim::Box box;
  EXPECT_EQ(TVVorlaneLocalizedString("TVVorlaneOK"), "OK");
  EXPECT_EQ(TVVorlaneLocalizedString("unknown"), "");
  box.device().setLanguage("ja_JP.UTF-8");
  EXPECT_NE(TVVorlaneLocalizedString("TVVorlanePINTitle"), "Enter this code on your device");
  EXPECT_NE(TVVorlaneLocalizedString("TVVorlanePINTitle"), "");
}

}  // namespace
