// Hindi.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "अपने डिवाइस पर यह कोड दर्ज करें"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "कनेक्ट नहीं हो सका"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "इस डिवाइस की पुष्टि नहीं हो सकी। इसका सॉफ़्टवेयर अपडेट करके फिर से कोशिश करें।"},
    {"TVVorlaneOK", "ठीक है"},
};
}  // namespace

const Table hi{"hi", kEntries};

}  // namespace TVVorlaneStrings
