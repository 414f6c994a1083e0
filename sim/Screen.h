#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "platform/ui/scene/Screen.h"

namespace sim {

/// A display that shows nothing: it keeps the scenes, and does with open() and capture() what it
/// was told.
///
/// Threads: main.
class Screen final : public platform::Screen {
 public:
  enum class Opening { Succeeds, Refuses, NeverAnswers };

  explicit Screen(platform::MainQueue& mainQueue);

  // What the application does with it.
  void open(std::function<void(std::optional<platform::Error>)> completion) override;
  void close() override;
  bool isOpen() const override { return _open; }
  void setScene(std::shared_ptr<const platform::Scene> scene) override;
  void setInputHandler(std::function<void(const platform::InputEvent&)> handler) override;
  void setClosedHandler(std::function<void()> handler) override;
  void capture(std::function<void(std::shared_ptr<const platform::Bytes>)> completion) override;

  // What a test does with it.

  /// How the next open() calls end, and how long after the call. Without a delay: on the next turn.
  void setOpening(Opening opening, platform::Duration delay = platform::Duration::zero());
  /// What capture() gives while the window is open; null: nothing, as where reading back fails.
  void setPicture(std::shared_ptr<const platform::Bytes> picture) { _picture = std::move(picture); }
  /// A press or swipe of the remote. False when the window is closed or nobody listens.
  bool send(const platform::InputEvent& event);
  /// The window goes away by itself; told on the next turn.
  void closeByItself();

  /// Of the whole life, oldest first.
  const std::vector<std::shared_ptr<const platform::Scene>>& scenes() const { return _scenes; }
  /// What is on screen: null when the window is closed, or has shown nothing yet.
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
  std::function<void(std::optional<platform::Error>)> _completion;  // of the open() under way
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
