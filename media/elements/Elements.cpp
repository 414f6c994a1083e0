#include "media/elements/Elements.h"

#include <mutex>

#include "media/elements/ResourceSource.h"

namespace media {

void registerElements() {
  static std::once_flag once;
  std::call_once(once, registerResourceSource);
}

}  // namespace media
