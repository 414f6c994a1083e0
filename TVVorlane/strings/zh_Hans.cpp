// Simplified Chinese.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "请在您的设备上输入此代码"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "无法连接"},
    {"VorlaneSecurityVerifyFailureDialogText", "无法验证此设备。请更新其软件，然后重试。"},
    {"TVVorlaneOK", "好"},
};
}  // namespace

const Table zh_Hans{"zh_Hans", kEntries};

}  // namespace TVVorlaneStrings
