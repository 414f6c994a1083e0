#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kHindiTexts[] = {
    {"TVVorlanePINTitle", "अपने डिवाइस पर यह कोड दर्ज करें"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "कनेक्ट नहीं हो सका"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "इस डिवाइस की पुष्टि नहीं हो सकी।\nइसका सॉफ़्टवेयर अपडेट करके फिर से कोशिश करें।"},
    {"TVVorlaneOK", "ठीक है"},
    {"TVVorlanePlayerLive", "लाइव"},
    {"TVVorlanePlayerGoToLive", "लाइव पर जाएँ"},
    {"TVVorlanePlayerSound", "ऑडियो"},
    {"TVVorlanePlayerSubtitles", "सबटाइटल"},
    {"TVVorlanePlayerOff", "बंद"},
    {"TVVorlanePlayerUnknownLanguage", "अज्ञात भाषा"},
    {"TVVorlanePlayerHardOfHearing", "कम सुनने वालों के लिए"},
    {"TVVorlanePlayerAudioDescription", "ऑडियो विवरण के साथ"},
    {"TVVorlanePlayerCommentary", "कमेंट्री"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{} से॰"},
    {"TVVorlanePlayerPaused", "रुका हुआ"},
    {"TVVorlanePlayerEnded", "यह वीडियो समाप्त हो गया।"},
    {"TVVorlanePlayerNotFound", "यह वीडियो नहीं मिला।"},
    {"TVVorlanePlayerNoConnection", "इस वीडियो से कोई कनेक्शन नहीं है।"},
    {"TVVorlanePlayerTimedOut", "इस वीडियो ने जवाब देने में बहुत समय लिया।"},
    {"TVVorlanePlayerUnknownFormat", "इस वीडियो का फ़ॉर्मैट समर्थित नहीं है।"},
    {"TVVorlanePlayerNotAllowed", "इस वीडियो को यहाँ चलाने की अनुमति नहीं है।"},
    {"TVVorlanePlayerFailed", "यह वीडियो नहीं चलाया जा सकता।"},
    {"TVVorlanePlayerReplayHint", "फिर से देखने के लिए प्ले दबाएँ,\nया बाहर जाने के लिए होम दबाएँ।"},
    {"TVVorlanePlayerRetryHint", "फिर से कोशिश करने के लिए प्ले दबाएँ,\nया बाहर जाने के लिए होम दबाएँ।"},
};
}  // namespace

const Table hi{"hi", kHindiTexts};

}  // namespace TVVorlaneStrings
