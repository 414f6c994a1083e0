#include "streaming/transfer/Transfer.h"

#include "streaming/transfer/URLText.h"

namespace streaming {

std::string ResponseHead::field(std::string_view name) const {
  for (const auto& [key, value] : fields)
    if (http::isSameName(key, name)) return value;
  return {};
}

}  // namespace streaming
