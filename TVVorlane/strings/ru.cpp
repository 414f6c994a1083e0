#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kRussianTexts[] = {
    {"TVVorlanePINTitle", "Введите этот код на своём устройстве"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Не удалось подключиться"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Не удалось проверить это устройство.\n"
     "Обновите его программное обеспечение и повторите попытку."},
    {"TVVorlaneOK", "ОК"},
    {"TVVorlanePlayerLive", "ЭФИР"},
    {"TVVorlanePlayerGoToLive", "К прямому эфиру"},
    {"TVVorlanePlayerSound", "Звук"},
    {"TVVorlanePlayerSubtitles", "Субтитры"},
    {"TVVorlanePlayerOff", "Выкл."},
    {"TVVorlanePlayerUnknownLanguage", "Неизвестный язык"},
    {"TVVorlanePlayerHardOfHearing", "для слабослышащих"},
    {"TVVorlanePlayerAudioDescription", "с тифлокомментариями"},
    {"TVVorlanePlayerCommentary", "комментарии"},
    {"TVVorlanePlayerPercent", "{} %"},
    {"TVVorlanePlayerSeconds", "{} с"},
    {"TVVorlanePlayerPaused", "Пауза"},
    {"TVVorlanePlayerEnded", "Видео закончилось."},
    {"TVVorlanePlayerNotFound", "Видео не найдено."},
    {"TVVorlanePlayerNoConnection", "Нет соединения с этим видео."},
    {"TVVorlanePlayerTimedOut", "Видео слишком долго не отвечает."},
    {"TVVorlanePlayerUnknownFormat", "Формат этого видео не поддерживается."},
    {"TVVorlanePlayerNotAllowed", "Это видео нельзя воспроизводить здесь."},
    {"TVVorlanePlayerFailed", "Не удаётся воспроизвести видео."},
    {"TVVorlanePlayerReplayHint",
     "Нажмите «Воспроизведение», чтобы посмотреть снова,\nили «Домой», чтобы выйти."},
    {"TVVorlanePlayerRetryHint",
     "Нажмите «Воспроизведение», чтобы повторить попытку,\nили «Домой», чтобы выйти."},
};
}  // namespace

const Table ru{"ru", kRussianTexts};

}  // namespace TVVorlaneStrings
