#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kJapaneseTexts[] = {
    {"TVVorlanePINTitle", "お使いのデバイスで\nこのコードを入力してください"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "接続できません"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "このデバイスを確認できませんでした。\n"
     "ソフトウェアをアップデートして、\nもう一度お試しください。"},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "ライブ"},
    {"TVVorlanePlayerGoToLive", "ライブに移動"},
    {"TVVorlanePlayerSound", "音声"},
    {"TVVorlanePlayerSubtitles", "字幕"},
    {"TVVorlanePlayerOff", "オフ"},
    {"TVVorlanePlayerUnknownLanguage", "不明な言語"},
    {"TVVorlanePlayerHardOfHearing", "聴覚障がい者向け"},
    {"TVVorlanePlayerAudioDescription", "音声解説付き"},
    {"TVVorlanePlayerCommentary", "コメンタリー"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{}秒"},
    {"TVVorlanePlayerPaused", "一時停止中"},
    {"TVVorlanePlayerEnded", "ビデオは終了しました。"},
    {"TVVorlanePlayerNotFound", "このビデオは見つかりませんでした。"},
    {"TVVorlanePlayerNoConnection", "このビデオに接続できません。"},
    {"TVVorlanePlayerTimedOut", "このビデオからの応答がありません。"},
    {"TVVorlanePlayerUnknownFormat", "このビデオの形式には対応していません。"},
    {"TVVorlanePlayerNotAllowed", "このビデオをここで再生することは\n許可されていません。"},
    {"TVVorlanePlayerFailed", "このビデオは再生できません。"},
    {"TVVorlanePlayerReplayHint",
     "もう一度見るには再生ボタン、\n終了するにはホームボタンを押してください。"},
    {"TVVorlanePlayerRetryHint",
     "やり直すには再生ボタン、\n終了するにはホームボタンを押してください。"},
};
}  // namespace

const Table ja{"ja", kJapaneseTexts};

}  // namespace TVVorlaneStrings
