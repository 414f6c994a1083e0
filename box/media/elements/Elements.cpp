#include "box/media/elements/Elements.h"

#include <mutex>

#include "box/media/elements/ResourceSource.h"

namespace box {

void registerElements() {
  static std::once_flag once;
  std::call_once(once, registerResourceSource);
}

}  // namespace box
