// Polish.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Wprowadź ten kod na swoim urządzeniu"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Nie można się połączyć"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Nie udało się zweryfikować tego urządzenia. Zaktualizuj jego oprogramowanie i spróbuj "
     "ponownie."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table pl{"pl", kEntries};

}  // namespace TVVorlaneStrings
