// Traditional Chinese.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "請在您的裝置上輸入此代碼"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "無法連線"},
    {"VorlaneSecurityVerifyFailureDialogText", "無法驗證此裝置。請更新其軟體，然後再試一次。"},
    {"TVVorlaneOK", "好"},
};
}  // namespace

const Table zh_Hant{"zh_Hant", kEntries};

}  // namespace TVVorlaneStrings
