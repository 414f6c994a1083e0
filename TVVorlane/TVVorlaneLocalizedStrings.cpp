#include "TVVorlane/TVVorlaneLocalizedStrings.h"

#include <algorithm>

#include "TVVorlane/strings/StringTable.h"
#include "platform/services/Platform.h"

std::string TVVorlaneLocalizedString(std::string_view key) {
  const auto& table =
      TVVorlaneStrings::tableForLocale(platform::Platform::current().device().language());
  const auto found = std::find_if(table.entries.begin(), table.entries.end(),
                                  [&](const auto& entry) { return entry.key == key; });
  return found != table.entries.end() ? std::string(found->text) : std::string();
}
