// Hebrew.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "יש להזין את הקוד הזה במכשיר שלך"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "לא ניתן להתחבר"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "לא ניתן לאמת את המכשיר הזה. יש לעדכן את התוכנה שלו ולנסות שוב."},
    {"TVVorlaneOK", "אישור"},
};
}  // namespace

const Table he{"he", kEntries};

}  // namespace TVVorlaneStrings
