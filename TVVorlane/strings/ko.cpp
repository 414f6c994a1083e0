#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kKoreanTexts[] = {
    {"TVVorlanePINTitle", "사용 중인 기기에 이 코드를 입력하세요"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "연결할 수 없음"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "이 기기를 확인할 수 없습니다.\n소프트웨어를 업데이트한 후 다시 시도하세요."},
    {"TVVorlaneOK", "확인"},
    {"TVVorlanePlayerLive", "라이브"},
    {"TVVorlanePlayerGoToLive", "라이브로 이동"},
    {"TVVorlanePlayerSound", "오디오"},
    {"TVVorlanePlayerSubtitles", "자막"},
    {"TVVorlanePlayerOff", "끔"},
    {"TVVorlanePlayerUnknownLanguage", "알 수 없는 언어"},
    {"TVVorlanePlayerHardOfHearing", "청각 장애인용"},
    {"TVVorlanePlayerAudioDescription", "화면 해설 포함"},
    {"TVVorlanePlayerCommentary", "코멘터리"},
    {"TVVorlanePlayerPercent", "{}%"},
    {"TVVorlanePlayerSeconds", "{}초"},
    {"TVVorlanePlayerPaused", "일시 정지됨"},
    {"TVVorlanePlayerEnded", "비디오가 끝났습니다."},
    {"TVVorlanePlayerNotFound", "이 비디오를 찾을 수 없습니다."},
    {"TVVorlanePlayerNoConnection", "이 비디오에 연결되어 있지 않습니다."},
    {"TVVorlanePlayerTimedOut", "이 비디오의 응답이 너무 오래 걸립니다."},
    {"TVVorlanePlayerUnknownFormat", "이 비디오의 형식은 지원되지 않습니다."},
    {"TVVorlanePlayerNotAllowed", "이 비디오는 여기에서 재생할 수 없습니다. 권한이 없습니다."},
    {"TVVorlanePlayerFailed", "이 비디오를 재생할 수 없습니다."},
    {"TVVorlanePlayerReplayHint", "다시 보려면 재생 버튼을, 나가려면 홈 버튼을 누르세요."},
    {"TVVorlanePlayerRetryHint", "다시 시도하려면 재생 버튼을, 나가려면 홈 버튼을 누르세요."},
};
}  // namespace

const Table ko{"ko", kKoreanTexts};

}  // namespace TVVorlaneStrings
