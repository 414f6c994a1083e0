#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kPortugueseTexts[] = {
    {"TVVorlanePINTitle", "Introduza este código no seu dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Não foi possível ligar"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Não foi possível verificar este dispositivo.\nAtualize o software e tente novamente."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "EM DIRETO"},
    {"TVVorlanePlayerGoToLive", "Ir para o direto"},
    {"TVVorlanePlayerSound", "Áudio"},
    {"TVVorlanePlayerSubtitles", "Legendas"},
    {"TVVorlanePlayerOff", "Desativadas"},
    {"TVVorlanePlayerUnknownLanguage", "Idioma desconhecido"},
    {"TVVorlanePlayerHardOfHearing", "para pessoas surdas"},
    {"TVVorlanePlayerAudioDescription", "com audiodescrição"},
    {"TVVorlanePlayerCommentary", "comentários"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "Em pausa"},
    {"TVVorlanePlayerEnded", "O vídeo terminou."},
    {"TVVorlanePlayerNotFound", "Não foi possível encontrar este vídeo."},
    {"TVVorlanePlayerNoConnection", "Não há ligação a este vídeo."},
    {"TVVorlanePlayerTimedOut", "Este vídeo demorou demasiado a responder."},
    {"TVVorlanePlayerUnknownFormat", "O formato deste vídeo não é suportado."},
    {"TVVorlanePlayerNotAllowed", "Este vídeo não pode ser reproduzido aqui: acesso negado."},
    {"TVVorlanePlayerFailed", "Não é possível reproduzir este vídeo."},
    {"TVVorlanePlayerReplayHint", "Prima Reproduzir para ver de novo ou Início para sair."},
    {"TVVorlanePlayerRetryHint", "Prima Reproduzir para tentar de novo ou Início para sair."},
};
}  // namespace

const Table pt{"pt", kPortugueseTexts};

}  // namespace TVVorlaneStrings
