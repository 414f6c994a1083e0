// Korean.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "사용 중인 기기에 이 코드를 입력하세요"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "연결할 수 없음"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "이 기기를 확인할 수 없습니다. 소프트웨어를 업데이트한 후 다시 시도하세요."},
    {"TVVorlaneOK", "확인"},
};
}  // namespace

const Table ko{"ko", kEntries};

}  // namespace TVVorlaneStrings
