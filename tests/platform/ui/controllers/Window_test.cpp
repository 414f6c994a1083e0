#include "platform/ui/controllers/Window.h"

#include <sstream>

#include <gtest/gtest.h>

#include "platform/ui/controllers/AlertController.h"
#include "platform/ui/views/Label.h"
#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

/// Records input and containment calls. Consumes input if `takes` is set.
class Listener final : public ViewController {
 public:
  Listener(std::string name, std::string& trace) : _name(std::move(name)), _trace(trace) {}
  bool handleInput(const InputEvent&) override {
    _trace += _name + " ";
    if (onInput) onInput();
    return takes;
  }
  std::shared_ptr<View> preferredFocusedView() override { return focus; }
  void willMoveToParent(ViewController* parent) override {
    _trace += _name + (parent ? ":will+ " : ":will- ");
  }
  void didMoveToParent(ViewController* parent) override {
    _trace += _name + (parent ? ":did+ " : ":did- ");
  }

  bool takes = false;
  std::function<void()> onInput;
  std::shared_ptr<View> focus;

 private:
  const std::string _name;
  std::string& _trace;
};

class Recognizer final : public GestureRecognizer {
 public:
  Recognizer(std::string name, std::string& trace) : _name(std::move(name)), _trace(trace) {}
  std::string className() const override { return "Recognizer"; }
  bool handle(const InputEvent&) override {
    _trace += _name + " ";
    return takes;
  }
  bool takes = false;

 private:
  const std::string _name;
  std::string& _trace;
};

struct WindowTest : ::testing::Test {
  std::shared_ptr<Listener> makeListener(const char* name) {
    return std::make_shared<Listener>(name, trace);
  }
  std::string traceOf(const char* event, bool taken) {
    trace.clear();
    EXPECT_EQ(fixture.window.handleInput(eventOf(event)), taken);
    return trace;
  }
  void addChild() {
    root->addChild(child);
    root->view()->addSubview(child->view());
    child->didMoveToParent(root.get());
  }

  sim::Box box;
  std::string trace;
  std::shared_ptr<Listener> root = makeListener("root");
  std::shared_ptr<Listener> child = makeListener("child");
  WindowFixture fixture{root};
};

TEST_F(WindowTest, InputIsSentFromTheFocusedViewUpwards) {
  addChild();
  const auto focus = std::make_shared<View>();
  const auto beside = std::make_shared<View>();
  child->view()->addSubview(focus);
  child->view()->addSubview(beside);
  std::vector<std::shared_ptr<Recognizer>> recognizers;
  const auto attach = [&](View& view, const char* name) {
    recognizers.push_back(std::make_shared<Recognizer>(name, trace));
    view.addGestureRecognizer(recognizers.back());
  };
  attach(*focus, "f1");
  attach(*focus, "f2");
  attach(*child->view(), "c1");
  attach(*root->view(), "r1");
  attach(*beside, "no");

  root->focus = focus;
  EXPECT_EQ(fixture.window.focusedView(), root->view());
  child->setNeedsFocusUpdate();
  EXPECT_EQ(fixture.window.focusedView(), focus);

  EXPECT_EQ(traceOf("menu", false), "f1 f2 c1 child r1 root ");
  root->takes = true;
  EXPECT_EQ(traceOf("menu", true), "f1 f2 c1 child r1 root ");
  child->takes = true;
  EXPECT_EQ(traceOf("~up", true), "f1 f2 c1 child ");
  recognizers[0]->takes = true;
  EXPECT_EQ(traceOf("menu", true), "f1 ");
}

TEST_F(WindowTest, ARemovedViewLosesTheFocus) {
  addChild();
  root->focus = child->view();
  fixture.window.updateFocus();
  EXPECT_EQ(traceOf("select", false), "child root ");
  child->view()->removeFromSuperview();
  EXPECT_EQ(traceOf("select", false), "root ");
  EXPECT_EQ(fixture.window.focusedView(), root->view());
}

TEST_F(WindowTest, HandlersMayChangeTheTree) {
  addChild();
  root->focus = child->view();
  fixture.window.updateFocus();
  child->onInput = [&] {
    child->view()->removeFromSuperview();
    child->removeFromParent();
    child.reset();
  };
  EXPECT_EQ(traceOf("select", false), "child child:did- root ");
}

TEST_F(WindowTest, ScenesAreCoalescedAndNeverRepeated) {
  ASSERT_EQ(fixture.scenes.size(), 1U);
  const auto label = std::make_shared<Label>(Rect{0, 0, 100, 50});
  root->view()->addSubview(label);
  label->setText("a");
  label->setText("b");
  root->view()->setBackgroundColor(kBlack);
  EXPECT_EQ(fixture.scenes.size(), 1U);
  box.run();
  ASSERT_EQ(fixture.scenes.size(), 2U);
  EXPECT_EQ(fixture.shown<TextElement>()->text, "b");

  // No visible change.
  label->setText("c");
  label->setText("b");
  root->view()->setNeedsLayout();
  root->view()->addSubview(std::make_shared<View>());
  root->view()->subviews().back()->setHidden(true);
  box.run();
  EXPECT_EQ(fixture.scenes.size(), 2U);
  EXPECT_FALSE(box.mainQueue().nextDeadline());

  // An animation commits one scene, and another one if the view becomes invisible at the end.
  label->animateAlpha(0.5F, milliseconds(300));
  box.advance(seconds(1));
  EXPECT_EQ(fixture.scenes.size(), 3U);
  label->animateAlpha(0, milliseconds(300));
  box.advance(seconds(1));
  EXPECT_EQ(fixture.scenes.size(), 5U);
  EXPECT_FALSE(fixture.shown<TextElement>());

  label->removeFromSuperview();
  label->setText("unseen");
  box.run();
  EXPECT_EQ(fixture.scenes.size(), 5U);
}

TEST_F(WindowTest, ViewsOutliveTheWindow) {
  {
    WindowFixture other(child);
    child->view()->setBackgroundColor(kBlack);
  }
  child->view()->setBackgroundColor(kWhite);
  EXPECT_EQ(child->view()->window(), nullptr);
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

// Alerts.

struct AlertTest : WindowTest {
  std::shared_ptr<AlertController> makeAlert() {
    const auto alert = std::make_shared<AlertController>("Title", "Message");
    alert->addAction({"Go", AlertActionStyle::Default, [this] { note("go"); }});
    alert->addAction({"OK", AlertActionStyle::Cancel, [this] { note("ok"); }});
    return alert;
  }
  /// Adds "!" if the alert is still presented while its handler runs.
  void note(const char* name) { trace += name + std::string(child->presented() ? "!" : "") + " "; }
};

TEST_F(AlertTest, ReceivesAllInputAndActivatesItsButtons) {
  addChild();
  const std::pair<const char*, const char*> cases[] = {
      {"select", "go "},       {"menu", "ok "},         {"right select", "ok "},
      {"~down select", "ok "}, {"left select", "go "},  {"down right up select", "go "},
      {"playpause", ""},       {"select.. menu..", ""},
  };
  for (const auto& [words, expected] : cases) {
    child->present(makeAlert(), true);
    trace.clear();
    std::istringstream stream(words);
    for (std::string word; stream >> word;) EXPECT_TRUE(fixture.window.handleInput(eventOf(word)));
    EXPECT_EQ(trace, expected) << words;
    child->dismissPresented(false);
  }
  EXPECT_EQ(traceOf("menu", false), "root ");
}

TEST_F(AlertTest, IsAboveAllViewsAndFades) {
  addChild();
  const auto alert = makeAlert();
  child->present(alert, true);
  box.run();
  ASSERT_EQ(fixture.scene().nodes.size(), 2U);
  const auto& fading = fixture.scene().nodes[1].alpha;
  EXPECT_EQ(fading, (AnimatedAlpha{0, 1, box.clock().now(), milliseconds(300)}));
  EXPECT_EQ(fixture.shown<AlertElement>(), (AlertElement{"Title", "Message", {"Go", "OK"}, 0}));

  alert->setTitle("T2");
  alert->setMessage("M2");
  fixture.window.handleInput(press(PressType::Right));
  box.run();
  EXPECT_EQ(fixture.shown<AlertElement>(), (AlertElement{"T2", "M2", {"Go", "OK"}, 1}));

  box.advance(seconds(1));
  child->dismissPresented(true);
  EXPECT_EQ(child->presented(), nullptr);
  box.run();
  EXPECT_EQ(fixture.scene().nodes.at(1).alpha.to, 0);
  EXPECT_EQ(traceOf("select", false), "root ");
  box.advance(milliseconds(300));
  EXPECT_EQ(fixture.scene().nodes.size(), 1U);

  // Presented again while it fades out.
  child->present(alert, true);
  child->dismissPresented(true);
  child->present(alert, true);
  fixture.window.setNeedsDisplay();
  box.run();
  EXPECT_EQ(fixture.scene().nodes.size(), 2U);
  box.advance(seconds(1));
  EXPECT_EQ(fixture.scene().nodes.size(), 2U);
  EXPECT_EQ(fixture.scene().nodes[1].alpha.to, 1);

  const sim::AssertionsThrow throws;
  EXPECT_THROW(child->present(makeAlert(), false), sim::AssertionError);
}

TEST_F(AlertTest, AHandlerMayDestroyTheController) {
  addChild();
  auto alert = std::make_shared<AlertController>("", "");
  alert->addAction({"Bye", AlertActionStyle::Cancel, [&] {
                      child->view()->removeFromSuperview();
                      child->removeFromParent();
                      child.reset();
                      alert.reset();
                    }});
  child->present(alert, true);
  EXPECT_TRUE(fixture.window.handleInput(press(PressType::Menu)));
  box.advance(seconds(1));
  EXPECT_EQ(fixture.scene().nodes.size(), 1U);
}

}  // namespace
}  // namespace platform
