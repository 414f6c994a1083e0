#pragma once

#include <string>

#include "platform/foundation/Object.h"

namespace platform {

/// A surface that another process draws into. The box knows the type behind it; the path names it
/// to that process.
///
/// Threads: main, but for path() and the destruction, which any thread may do: the value that takes
/// a layer to that process, and the scene that shows it, hold it too.
class Layer : public Object {
 public:
  std::string className() const override { return "Layer"; }
  /// Where the other process finds it.
  virtual std::string path() const = 0;
  /// Ends its use: the other process is cut off and finds it no more. What it shows last stays as
  /// long as the layer is shown. Nothing to do the second time.
  virtual void close() = 0;
};

}  // namespace platform
