#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/Error.h"
#include "platform/ui/scene/Press.h"
#include "platform/ui/scene/Scene.h"

namespace platform {

/// The display. Its window is open during a presentation.
///
/// Threads: main. Callbacks are asynchronous and run on the main thread.
class Screen {
 public:
  virtual ~Screen() = default;

  /// Opens the window. `completion` is called once, with an error if there is no display or close()
  /// is called first.
  virtual void open(std::function<void(std::optional<Error>)> completion) = 0;
  /// Does nothing if the window is closed.
  virtual void close() = 0;
  virtual bool isOpen() const = 0;

  /// Sets the contents. The scene is drawn on another thread.
  virtual void setScene(std::shared_ptr<const Scene> scene) = 0;

  /// Called for each input event while the window is open. Null removes the handler.
  virtual void setInputHandler(std::function<void(const InputEvent&)> handler) = 0;
  /// Called when the user has closed the window. Not called when the display is lost: the window
  /// returns with it. Null removes the handler.
  virtual void setClosedHandler(std::function<void()> handler) = 0;

  /// Takes a screenshot in PNG format; null if there is no window. `completion` is called once,
  /// within 2 s.
  virtual void capture(std::function<void(std::shared_ptr<const Bytes> png)> completion) = 0;
};

}  // namespace platform
