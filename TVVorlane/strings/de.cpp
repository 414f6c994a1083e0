#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kGermanTexts[] = {
    {"TVVorlanePINTitle", "Gib diesen Code auf deinem Gerät ein"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Verbindung nicht möglich"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Dieses Gerät konnte nicht überprüft werden.\n"
     "Aktualisiere seine Software und versuche es erneut."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "LIVE"},
    {"TVVorlanePlayerGoToLive", "Zum Live-Bild"},
    {"TVVorlanePlayerSound", "Ton"},
    {"TVVorlanePlayerSubtitles", "Untertitel"},
    {"TVVorlanePlayerOff", "Aus"},
    {"TVVorlanePlayerUnknownLanguage", "Unbekannte Sprache"},
    {"TVVorlanePlayerHardOfHearing", "für Hörgeschädigte"},
    {"TVVorlanePlayerAudioDescription", "mit Audiodeskription"},
    {"TVVorlanePlayerCommentary", "Kommentar"},
    {"TVVorlanePlayerPercent", "{} %"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "Pausiert"},
    {"TVVorlanePlayerEnded", "Das Video ist zu Ende."},
    {"TVVorlanePlayerNotFound", "Das Video wurde nicht gefunden."},
    {"TVVorlanePlayerNoConnection", "Es besteht keine Verbindung zu diesem Video."},
    {"TVVorlanePlayerTimedOut", "Das Video hat zu lange nicht geantwortet."},
    {"TVVorlanePlayerUnknownFormat", "Das Format dieses Videos wird nicht unterstützt."},
    {"TVVorlanePlayerNotAllowed", "Dieses Video darf hier nicht abgespielt werden."},
    {"TVVorlanePlayerFailed", "Dieses Video kann nicht abgespielt werden."},
    {"TVVorlanePlayerReplayHint", "Mit Wiedergabe noch einmal ansehen, mit Home verlassen."},
    {"TVVorlanePlayerRetryHint", "Mit Wiedergabe noch einmal versuchen, mit Home verlassen."},
};
}  // namespace

const Table de{"de", kGermanTexts};

}  // namespace TVVorlaneStrings
