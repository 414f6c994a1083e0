#include "platform/foundation/Object.h"

#include <cstdio>

namespace platform {

std::string Object::description() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + className() + ": " + address + ">";
}

}  // namespace platform
