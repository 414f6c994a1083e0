#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kSpanishTexts[] = {
    {"TVVorlanePINTitle", "Introduce este código en tu dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "No se puede conectar"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "No se ha podido verificar este dispositivo.\nActualiza su software e inténtalo de nuevo."},
    {"TVVorlaneOK", "Aceptar"},
    {"TVVorlanePlayerLive", "EN DIRECTO"},
    {"TVVorlanePlayerGoToLive", "Ir al directo"},
    {"TVVorlanePlayerSound", "Audio"},
    {"TVVorlanePlayerSubtitles", "Subtítulos"},
    {"TVVorlanePlayerOff", "Desactivados"},
    {"TVVorlanePlayerUnknownLanguage", "Idioma desconocido"},
    {"TVVorlanePlayerHardOfHearing", "para personas sordas"},
    {"TVVorlanePlayerAudioDescription", "con audiodescripción"},
    {"TVVorlanePlayerCommentary", "comentarios"},
    {"TVVorlanePlayerPercent", "{} %"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "En pausa"},
    {"TVVorlanePlayerEnded", "El vídeo ha terminado."},
    {"TVVorlanePlayerNotFound", "No se ha encontrado este vídeo."},
    {"TVVorlanePlayerNoConnection", "No hay conexión con este vídeo."},
    {"TVVorlanePlayerTimedOut", "Este vídeo ha tardado demasiado en responder."},
    {"TVVorlanePlayerUnknownFormat", "El formato de este vídeo no es compatible."},
    {"TVVorlanePlayerNotAllowed", "Este vídeo no se puede ver aquí: acceso denegado."},
    {"TVVorlanePlayerFailed", "No se puede reproducir este vídeo."},
    {"TVVorlanePlayerReplayHint", "Pulsa Reproducir para verlo otra vez o Inicio para salir."},
    {"TVVorlanePlayerRetryHint", "Pulsa Reproducir para volver a intentarlo o Inicio para salir."},
};
}  // namespace

const Table es{"es", kSpanishTexts};

}  // namespace TVVorlaneStrings
