#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kItalianTexts[] = {
    {"TVVorlanePINTitle", "Inserisci questo codice sul dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Impossibile connettersi"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Non è stato possibile verificare questo dispositivo.\nAggiorna il software e riprova."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "IN DIRETTA"},
    {"TVVorlanePlayerGoToLive", "Vai alla diretta"},
    {"TVVorlanePlayerSound", "Audio"},
    {"TVVorlanePlayerSubtitles", "Sottotitoli"},
    {"TVVorlanePlayerOff", "Disattivati"},
    {"TVVorlanePlayerUnknownLanguage", "Lingua sconosciuta"},
    {"TVVorlanePlayerHardOfHearing", "per non udenti"},
    {"TVVorlanePlayerAudioDescription", "con audiodescrizione"},
    {"TVVorlanePlayerCommentary", "commento"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "In pausa"},
    {"TVVorlanePlayerEnded", "Il video è terminato."},
    {"TVVorlanePlayerNotFound", "Impossibile trovare questo video."},
    {"TVVorlanePlayerNoConnection", "Nessuna connessione a questo video."},
    {"TVVorlanePlayerTimedOut", "Questo video ha impiegato troppo tempo a rispondere."},
    {"TVVorlanePlayerUnknownFormat", "Il formato di questo video non è supportato."},
    {"TVVorlanePlayerNotAllowed", "Questo video non può essere riprodotto qui: accesso negato."},
    {"TVVorlanePlayerFailed", "Impossibile riprodurre questo video."},
    {"TVVorlanePlayerReplayHint", "Premi Play per rivederlo o Home per uscire."},
    {"TVVorlanePlayerRetryHint", "Premi Play per riprovare o Home per uscire."},
};
}  // namespace

const Table it{"it", kItalianTexts};

}  // namespace TVVorlaneStrings
