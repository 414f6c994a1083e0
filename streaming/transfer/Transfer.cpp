#include "streaming/transfer/Transfer.h"

#include "streaming/foundation/Text.h"

namespace streaming {

std::string ResponseHead::field(std::string_view name) const {
  for (const auto& [key, value] : fields)
    if (isSameName(key, name)) return value;
  return {};
}

}  // namespace streaming
