#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kTraditionalChineseTexts[] = {
    {"TVVorlanePINTitle", "請在您的裝置上輸入此代碼"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "無法連線"},
    {"VorlaneSecurityVerifyFailureDialogText", "無法驗證此裝置。\n請更新其軟體，然後再試一次。"},
    {"TVVorlaneOK", "好"},
    {"TVVorlanePlayerLive", "直播"},
    {"TVVorlanePlayerGoToLive", "前往直播"},
    {"TVVorlanePlayerSound", "音訊"},
    {"TVVorlanePlayerSubtitles", "字幕"},
    {"TVVorlanePlayerOff", "關閉"},
    {"TVVorlanePlayerUnknownLanguage", "未知語言"},
    {"TVVorlanePlayerHardOfHearing", "供聽障人士使用"},
    {"TVVorlanePlayerAudioDescription", "含口述影像"},
    {"TVVorlanePlayerCommentary", "評論音軌"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{}秒"},
    {"TVVorlanePlayerPaused", "已暫停"},
    {"TVVorlanePlayerEnded", "此影片已播放完畢。"},
    {"TVVorlanePlayerNotFound", "找不到此影片。"},
    {"TVVorlanePlayerNoConnection", "無法連線到此影片。"},
    {"TVVorlanePlayerTimedOut", "此影片長時間沒有回應。"},
    {"TVVorlanePlayerUnknownFormat", "不支援此影片的格式。"},
    {"TVVorlanePlayerNotAllowed", "此影片不允許在這裡播放。"},
    {"TVVorlanePlayerFailed", "無法播放此影片。"},
    {"TVVorlanePlayerReplayHint", "按播放鍵重新觀看，或按主畫面鍵離開。"},
    {"TVVorlanePlayerRetryHint", "按播放鍵重試，或按主畫面鍵離開。"},
};
}  // namespace

const Table zh_Hant{"zh_Hant", kTraditionalChineseTexts};

}  // namespace TVVorlaneStrings
