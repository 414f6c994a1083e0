#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kDutchTexts[] = {
    {"TVVorlanePINTitle", "Voer deze code in op je apparaat"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Kan geen verbinding maken"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Dit apparaat kan niet worden geverifieerd.\nWerk de software bij en probeer het opnieuw."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "LIVE"},
    {"TVVorlanePlayerGoToLive", "Naar live"},
    {"TVVorlanePlayerSound", "Geluid"},
    {"TVVorlanePlayerSubtitles", "Ondertiteling"},
    {"TVVorlanePlayerOff", "Uit"},
    {"TVVorlanePlayerUnknownLanguage", "Onbekende taal"},
    {"TVVorlanePlayerHardOfHearing", "voor slechthorenden"},
    {"TVVorlanePlayerAudioDescription", "met audiodescriptie"},
    {"TVVorlanePlayerCommentary", "commentaar"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "Gepauzeerd"},
    {"TVVorlanePlayerEnded", "Deze video is afgelopen."},
    {"TVVorlanePlayerNotFound", "Deze video is niet gevonden."},
    {"TVVorlanePlayerNoConnection", "Er is geen verbinding met deze video."},
    {"TVVorlanePlayerTimedOut", "Deze video reageerde te lang niet."},
    {"TVVorlanePlayerUnknownFormat", "De indeling van deze video wordt niet ondersteund."},
    {"TVVorlanePlayerNotAllowed", "Deze video mag hier niet worden afgespeeld."},
    {"TVVorlanePlayerFailed", "Deze video kan niet worden afgespeeld."},
    {"TVVorlanePlayerReplayHint",
     "Druk op Afspelen om opnieuw te kijken of op Home om af te sluiten."},
    {"TVVorlanePlayerRetryHint",
     "Druk op Afspelen om het opnieuw te proberen of op Home om af te sluiten."},
};
}  // namespace

const Table nl{"nl", kDutchTexts};

}  // namespace TVVorlaneStrings
