// English.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Enter this code on your device"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Unable to Connect"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "This device could not be verified. Update its software and try again."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table en{"en", kEntries};

}  // namespace TVVorlaneStrings
