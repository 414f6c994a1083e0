// Italian.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Inserisci questo codice sul dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Impossibile connettersi"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Non è stato possibile verificare questo dispositivo. Aggiorna il software e riprova."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table it{"it", kEntries};

}  // namespace TVVorlaneStrings
