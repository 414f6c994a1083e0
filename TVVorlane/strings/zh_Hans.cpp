#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kSimplifiedChineseTexts[] = {
    {"TVVorlanePINTitle", "请在您的设备上输入此代码"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "无法连接"},
    {"VorlaneSecurityVerifyFailureDialogText", "无法验证此设备。\n请更新其软件，然后重试。"},
    {"TVVorlaneOK", "好"},
    {"TVVorlanePlayerLive", "直播"},
    {"TVVorlanePlayerGoToLive", "回到直播"},
    {"TVVorlanePlayerSound", "音频"},
    {"TVVorlanePlayerSubtitles", "字幕"},
    {"TVVorlanePlayerOff", "关闭"},
    {"TVVorlanePlayerUnknownLanguage", "未知语言"},
    {"TVVorlanePlayerHardOfHearing", "供听障人士使用"},
    {"TVVorlanePlayerAudioDescription", "含音频描述"},
    {"TVVorlanePlayerCommentary", "评论音轨"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{}秒"},
    {"TVVorlanePlayerPaused", "已暂停"},
    {"TVVorlanePlayerEnded", "此视频已播完。"},
    {"TVVorlanePlayerNotFound", "找不到此视频。"},
    {"TVVorlanePlayerNoConnection", "无法连接到此视频。"},
    {"TVVorlanePlayerTimedOut", "此视频长时间没有响应。"},
    {"TVVorlanePlayerUnknownFormat", "不支持此视频的格式。"},
    {"TVVorlanePlayerNotAllowed", "此视频不允许在这里播放。"},
    {"TVVorlanePlayerFailed", "无法播放此视频。"},
    {"TVVorlanePlayerReplayHint", "按播放键重新观看，或按主页键离开。"},
    {"TVVorlanePlayerRetryHint", "按播放键重试，或按主页键离开。"},
};
}  // namespace

const Table zh_Hans{"zh_Hans", kSimplifiedChineseTexts};

}  // namespace TVVorlaneStrings
