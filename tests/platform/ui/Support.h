#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/controllers/Window.h"
#include "platform/ui/views/View.h"
#include "sim/Box.h"

namespace platform {

using std::chrono::milliseconds;
using std::chrono::seconds;

inline InputEvent press(PressType type, bool repeated = false) { return {type, repeated}; }
inline InputEvent swipe(SwipeDirection direction) { return {direction}; }

/// "left" is a press, "left.." a repeat, "~left" a swipe.
inline InputEvent eventOf(std::string word) {
  if (word[0] == '~') return swipe(*swipeDirectionFromName(word.substr(1)));
  const bool repeated = word.ends_with("..");
  if (repeated) word.resize(word.size() - 2);
  return press(*pressTypeFromName(word), repeated);
}

/// Visits the elements of visible views, back to front.
template <typename Visit>
void visitElements(const std::vector<SceneNode>& nodes, const Visit& visit) {
  for (const auto& node : nodes) {
    for (const auto& element : node.elements) visit(element);
    visitElements(node.children, visit);
  }
}

/// The first element of type Element.
template <typename Element>
std::optional<Element> findElement(const std::vector<SceneNode>& nodes) {
  std::optional<Element> first;
  visitElements(nodes, [&](const SceneElement& element) {
    if (const auto* found = std::get_if<Element>(&element); found && !first) first = *found;
  });
  return first;
}

/// A window on the current sim::Box, and the scenes that it has committed.
struct WindowFixture {
  explicit WindowFixture(std::shared_ptr<ViewController> root)
      : window(box.mainQueue(), std::move(root),
               [this](std::shared_ptr<const Scene> scene) { scenes.push_back(std::move(scene)); }) {
    box.run();
  }
  const Scene& scene() const { return *scenes.back(); }
  template <typename Element>
  std::optional<Element> shown() const {
    return findElement<Element>(scene().nodes);
  }

  sim::Box& box = current();
  std::vector<std::shared_ptr<const Scene>> scenes;
  Window window;

 private:
  static sim::Box& current() { return dynamic_cast<sim::Box&>(Platform::current()); }
};

}  // namespace platform
