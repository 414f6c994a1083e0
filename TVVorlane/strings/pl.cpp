#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kPolishTexts[] = {
    {"TVVorlanePINTitle", "Wprowadź ten kod na swoim urządzeniu"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Nie można się połączyć"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Nie udało się zweryfikować tego urządzenia.\n"
     "Zaktualizuj jego oprogramowanie i spróbuj ponownie."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "NA ŻYWO"},
    {"TVVorlanePlayerGoToLive", "Przejdź na żywo"},
    {"TVVorlanePlayerSound", "Dźwięk"},
    {"TVVorlanePlayerSubtitles", "Napisy"},
    {"TVVorlanePlayerOff", "Wyłączone"},
    {"TVVorlanePlayerUnknownLanguage", "Nieznany język"},
    {"TVVorlanePlayerHardOfHearing", "dla niesłyszących"},
    {"TVVorlanePlayerAudioDescription", "z audiodeskrypcją"},
    {"TVVorlanePlayerCommentary", "komentarz"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "Wstrzymano"},
    {"TVVorlanePlayerEnded", "Film się zakończył."},
    {"TVVorlanePlayerNotFound", "Nie znaleziono tego filmu."},
    {"TVVorlanePlayerNoConnection", "Brak połączenia z tym filmem."},
    {"TVVorlanePlayerTimedOut", "Ten film zbyt długo nie odpowiadał."},
    {"TVVorlanePlayerUnknownFormat", "Format tego filmu nie jest obsługiwany."},
    {"TVVorlanePlayerNotAllowed", "Tego filmu nie wolno tu odtwarzać."},
    {"TVVorlanePlayerFailed", "Nie można odtworzyć tego filmu."},
    {"TVVorlanePlayerReplayHint", "Naciśnij Odtwórz, aby obejrzeć ponownie,\nlub Dom, aby wyjść."},
    {"TVVorlanePlayerRetryHint", "Naciśnij Odtwórz, aby spróbować ponownie,\nlub Dom, aby wyjść."},
};
}  // namespace

const Table pl{"pl", kPolishTexts};

}  // namespace TVVorlaneStrings
