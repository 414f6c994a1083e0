#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kFrenchTexts[] = {
    {"TVVorlanePINTitle", "Saisissez ce code sur votre appareil"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Connexion impossible"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Cet appareil n’a pas pu être vérifié.\nMettez son logiciel à jour et réessayez."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "DIRECT"},
    {"TVVorlanePlayerGoToLive", "Revenir au direct"},
    {"TVVorlanePlayerSound", "Son"},
    {"TVVorlanePlayerSubtitles", "Sous-titres"},
    {"TVVorlanePlayerOff", "Désactivés"},
    {"TVVorlanePlayerUnknownLanguage", "Langue inconnue"},
    {"TVVorlanePlayerHardOfHearing", "pour malentendants"},
    {"TVVorlanePlayerAudioDescription", "avec audiodescription"},
    {"TVVorlanePlayerCommentary", "commentaires"},
    {"TVVorlanePlayerPercent", "{} %"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "En pause"},
    {"TVVorlanePlayerEnded", "Cette vidéo est terminée."},
    {"TVVorlanePlayerNotFound", "Cette vidéo est introuvable."},
    {"TVVorlanePlayerNoConnection", "La connexion à cette vidéo est impossible."},
    {"TVVorlanePlayerTimedOut", "Cette vidéo met trop de temps à répondre."},
    {"TVVorlanePlayerUnknownFormat", "Le format de cette vidéo n’est pas pris en charge."},
    {"TVVorlanePlayerNotAllowed", "Cette vidéo ne peut pas être lue ici : accès refusé."},
    {"TVVorlanePlayerFailed", "Impossible de lire cette vidéo."},
    {"TVVorlanePlayerReplayHint",
     "Appuyez sur Lecture pour la revoir,\nou sur Accueil pour quitter."},
    {"TVVorlanePlayerRetryHint",
     "Appuyez sur Lecture pour réessayer,\nou sur Accueil pour quitter."},
};
}  // namespace

const Table fr{"fr", kFrenchTexts};

}  // namespace TVVorlaneStrings
