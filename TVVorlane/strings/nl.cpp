// Dutch.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Voer deze code in op je apparaat"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Kan geen verbinding maken"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Dit apparaat kan niet worden geverifieerd. Werk de software bij en probeer het opnieuw."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table nl{"nl", kEntries};

}  // namespace TVVorlaneStrings
