#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kTurkishTexts[] = {
    {"TVVorlanePINTitle", "Bu kodu aygıtınıza girin"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Bağlanılamıyor"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Bu aygıt doğrulanamadı.\nYazılımını güncelleyip yeniden deneyin."},
    {"TVVorlaneOK", "Tamam"},
    {"TVVorlanePlayerLive", "CANLI"},
    {"TVVorlanePlayerGoToLive", "Canlı yayına git"},
    {"TVVorlanePlayerSound", "Ses"},
    {"TVVorlanePlayerSubtitles", "Altyazılar"},
    {"TVVorlanePlayerOff", "Kapalı"},
    {"TVVorlanePlayerUnknownLanguage", "Bilinmeyen dil"},
    {"TVVorlanePlayerHardOfHearing", "işitme engelliler için"},
    {"TVVorlanePlayerAudioDescription", "sesli betimlemeli"},
    {"TVVorlanePlayerCommentary", "yorum"},
    {"TVVorlanePlayerPercent", "%{}"},
    {"TVVorlanePlayerSeconds", "{} sn"},
    {"TVVorlanePlayerPaused", "Duraklatıldı"},
    {"TVVorlanePlayerEnded", "Video sona erdi."},
    {"TVVorlanePlayerNotFound", "Bu video bulunamadı."},
    {"TVVorlanePlayerNoConnection", "Bu videoya bağlantı yok."},
    {"TVVorlanePlayerTimedOut", "Bu video çok uzun süre yanıt vermedi."},
    {"TVVorlanePlayerUnknownFormat", "Bu videonun biçimi desteklenmiyor."},
    {"TVVorlanePlayerNotAllowed", "Bu videonun burada oynatılmasına izin verilmiyor."},
    {"TVVorlanePlayerFailed", "Bu video oynatılamıyor."},
    {"TVVorlanePlayerReplayHint", "Yeniden izlemek için Oynat’a, çıkmak için Ana Ekran’a basın."},
    {"TVVorlanePlayerRetryHint", "Yeniden denemek için Oynat’a, çıkmak için Ana Ekran’a basın."},
};
}  // namespace

const Table tr{"tr", kTurkishTexts};

}  // namespace TVVorlaneStrings
