// Arabic.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "أدخل هذا الرمز على جهازك"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "يتعذر الاتصال"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "تعذر التحقق من هذا الجهاز. حدّث برنامجه ثم حاول مرة أخرى."},
    {"TVVorlaneOK", "حسنًا"},
};
}  // namespace

const Table ar{"ar", kEntries};

}  // namespace TVVorlaneStrings
