#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/ui/scene/Press.h"
#include "platform/ui/scene/Scene.h"

namespace platform {

/// The box's display: a window that exists while something is presented.
///
/// Threads: all calls on the main thread, all callbacks there too, never from inside a call.
class Screen {
 public:
  virtual ~Screen() = default;

  /// Opens the window; answers exactly once, with an error when there is no display to open it on.
  /// A close() before the answer makes it an error.
  virtual void open(std::function<void(std::optional<Error>)> completion) = 0;
  /// Closes it. Nothing to do when it is closed.
  virtual void close() = 0;
  virtual bool isOpen() const = 0;

  /// What to show from now on. Cheap: the scene is drawn on the screen's own thread.
  virtual void setScene(std::shared_ptr<const Scene> scene) = 0;

  /// Presses and swipes of the remote while the window is open. Null removes it.
  virtual void setInputHandler(std::function<void(const InputEvent&)> handler) = 0;
  /// Called when the window went away by itself (its close button, the display's end). Null removes
  /// it.
  virtual void setClosedHandler(std::function<void()> handler) = 0;

  /// A PNG of what is on screen now, or nothing when there is no window. Answers once, within 2 s.
  virtual void capture(std::function<void(std::shared_ptr<const Bytes> png)> completion) = 0;
};

}  // namespace platform
