// Russian.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Введите этот код на своём устройстве"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Не удалось подключиться"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Не удалось проверить это устройство. Обновите его программное обеспечение и повторите "
     "попытку."},
    {"TVVorlaneOK", "ОК"},
};
}  // namespace

const Table ru{"ru", kEntries};

}  // namespace TVVorlaneStrings
