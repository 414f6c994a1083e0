// Spanish.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Introduce este código en tu dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "No se puede conectar"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "No se ha podido verificar este dispositivo. Actualiza su software e inténtalo de nuevo."},
    {"TVVorlaneOK", "Aceptar"},
};
}  // namespace

const Table es{"es", kEntries};

}  // namespace TVVorlaneStrings
