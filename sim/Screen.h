#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "platform/ui/scene/Screen.h"

namespace sim {

/// A screen without a display. Keeps the scenes. A test sets the results of open() and capture().
/// Main thread.
class Screen final : public platform::Screen {
 public:
  enum class Opening { Succeeds, Refuses, NeverAnswers };

  explicit Screen(platform::MainQueue& mainQueue);

  // Interface for the application.
  void open(std::function<void(std::optional<platform::Error>)> completion) override;
  void close() override;
  bool isOpen() const override { return _open; }
  void setScene(std::shared_ptr<const platform::Scene> scene) override;
  void setInputHandler(std::function<void(const platform::InputEvent&)> handler) override;
  void setClosedHandler(std::function<void()> handler) override;
  void capture(std::function<void(std::shared_ptr<const platform::Bytes>)> completion) override;

  // Interface for tests.

  /// Sets the result of the next open() calls, and the delay until they complete. Without a delay
  /// they complete on the next turn.
  void setOpening(Opening opening, platform::Duration delay = platform::Duration::zero());
  /// The result of capture() while the window is open. Null means that reading back failed.
  void setPicture(std::shared_ptr<const platform::Bytes> picture) { _picture = std::move(picture); }
  /// Sends a press or a swipe of the remote. Returns false if the window is closed or there is no
  /// handler.
  bool send(const platform::InputEvent& event);
  /// Closes the window as a window manager would. The handler is called on the next turn.
  void closeUnexpectedly();

  /// All scenes, oldest first.
  const std::vector<std::shared_ptr<const platform::Scene>>& scenes() const { return _scenes; }
  /// The visible scene. Null if the window is closed or has no scene yet.
  std::shared_ptr<const platform::Scene> scene() const;
  int timesOpened() const { return _timesOpened; }
  int timesClosed() const { return _timesClosed; }

 private:
  void _answer(std::optional<platform::Error> error);
  void _closed();

  platform::MainQueue& _mainQueue;
  Opening _opening = Opening::Succeeds;
  platform::Duration _delay{};
  std::shared_ptr<const platform::Bytes> _picture;

  bool _open = false;
  std::function<void(std::optional<platform::Error>)> _completion;  // of the pending open()
  platform::Token _answering;
  platform::Token _closing;
  std::function<void(const platform::InputEvent&)> _inputHandler;
  std::function<void()> _closedHandler;
  std::vector<std::shared_ptr<const platform::Scene>> _scenes;
  std::size_t _firstSceneSinceOpened = 0;
  int _timesOpened = 0;
  int _timesClosed = 0;
};

}  // namespace sim
