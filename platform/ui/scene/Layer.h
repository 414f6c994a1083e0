#pragma once

#include <string>

#include "platform/foundation/Object.h"

namespace platform {

/// A surface into which another process draws. The platform implements it.
///
/// Threads: main. path() and the destructor may run on any thread, because scenes and values hold
/// references.
class Layer : public Object {
 public:
  std::string className() const override { return "Layer"; }
  /// The path of the socket to which the other process connects.
  virtual std::string path() const = 0;
  /// Disconnects the other process and rejects new connections. The last frame remains visible.
  /// Does nothing if the layer is closed.
  virtual void close() = 0;
};

}  // namespace platform
