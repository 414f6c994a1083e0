#pragma once

#include <string>

#include "platform/foundation/Object.h"

namespace platform {

/// A surface that another process draws into. The box knows the type behind it; the path names it
/// to that process. Main thread.
class Layer : public Object {
 public:
  std::string className() const override { return "Layer"; }
  /// Where the other process finds it.
  virtual std::string path() const = 0;
};

}  // namespace platform
