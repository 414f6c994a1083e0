#include "platform/foundation/Error.h"

namespace platform {

std::string Error::description() const {
  return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" +
         localizedDescription.value_or("(null)") + "\"";
}

}  // namespace platform
