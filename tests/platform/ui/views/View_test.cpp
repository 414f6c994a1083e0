#include "platform/ui/views/View.h"

#include <gtest/gtest.h>

#include "platform/ui/controllers/DigitEntryViewController.h"
#include "platform/ui/views/ActivityIndicatorView.h"
#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

using Views = std::vector<std::shared_ptr<View>>;

TEST(View, OrderOfSubviews) {
  const auto top = std::make_shared<View>();
  const auto other = std::make_shared<View>();
  const auto a = std::make_shared<View>(), b = std::make_shared<View>(),
             c = std::make_shared<View>();
  top->addSubview(a);
  top->insertSubview(b, 0);
  top->insertSubview(c, 99);
  EXPECT_EQ(top->subviews(), (Views{b, a, c}));
  top->insertSubviewBelow(c, *a);
  EXPECT_EQ(top->subviews(), (Views{b, c, a}));
  top->insertSubviewBelow(b, *a);
  EXPECT_EQ(top->subviews(), (Views{c, b, a}));
  top->addSubview(c);
  EXPECT_EQ(top->subviews(), (Views{b, a, c}));

  other->addSubview(a);
  EXPECT_EQ(top->subviews(), (Views{b, c}));
  EXPECT_EQ(a->superview(), other.get());
  a->removeFromSuperview();
  a->removeFromSuperview();
  EXPECT_EQ(a->superview(), nullptr);
  EXPECT_TRUE(other->subviews().empty());

  const sim::AssertionsThrow throws;
  EXPECT_THROW(b->addSubview(top), sim::AssertionError);
  EXPECT_THROW(top->insertSubviewBelow(a, *other), sim::AssertionError);
}

TEST(View, SubviewsOutliveTheirSuperview) {
  const auto view = std::make_shared<View>();
  {
    const auto top = std::make_shared<View>();
    top->addSubview(view);
  }
  EXPECT_EQ(view->superview(), nullptr);
  EXPECT_EQ(view->window(), nullptr);
}

TEST(View, SceneNodeHoldsWhatIsVisible) {
  const auto top = std::make_shared<View>(Rect{10, 20, 100, 100});
  const auto shown = std::make_shared<View>(Rect{1, 2, 30, 40});
  const auto hidden = std::make_shared<View>();
  const auto transparent = std::make_shared<View>();
  const auto inner = std::make_shared<View>(Rect{5, 5, 1, 1});
  hidden->setHidden(true);
  transparent->setAlpha(0);
  shown->setBackgroundColor(kBlack);
  shown->addSubview(inner);
  for (const auto& view : {hidden, shown, transparent}) top->addSubview(view);

  const SceneNode node = top->sceneNode({1000, 0});
  EXPECT_EQ(node.frame, (Rect{1010, 20, 100, 100}));
  EXPECT_TRUE(node.elements.empty());
  ASSERT_EQ(node.children.size(), 1U);
  EXPECT_EQ(node.children[0].frame, (Rect{1011, 22, 30, 40}));
  EXPECT_EQ(node.children[0].elements, (std::vector<SceneElement>{FillElement{kBlack}}));
  EXPECT_EQ(node.children[0].children.at(0).frame, (Rect{1016, 27, 1, 1}));
}

TEST(View, ResizesWithItsSuperview) {
  const auto top = std::make_shared<View>(Rect{0, 0, 10, 10});
  const auto resizing = std::make_shared<View>();
  const auto inner = std::make_shared<View>();
  const auto fixed = std::make_shared<View>(Rect{1, 1, 1, 1});
  resizing->setResizesWithSuperview(true);
  inner->setResizesWithSuperview(true);
  resizing->addSubview(inner);
  top->addSubview(resizing);
  top->addSubview(fixed);
  top->layoutIfNeeded();
  EXPECT_EQ(inner->frame(), (Rect{0, 0, 10, 10}));
  top->setFrame({5, 5, 70, 80});
  top->layoutIfNeeded();
  EXPECT_EQ(resizing->frame(), (Rect{0, 0, 70, 80}));
  EXPECT_EQ(inner->frame(), (Rect{0, 0, 70, 80}));
  EXPECT_EQ(fixed->frame(), (Rect{1, 1, 1, 1}));
}

TEST(View, AnimationCompletesOnce) {
  sim::Box box;
  std::string trace;
  auto view = std::make_shared<View>();
  const auto animate = [&](float alpha, int duration, char name) {
    view->animateAlpha(alpha, milliseconds(duration), [&trace, name] { trace += name; });
  };

  view->setAlpha(0);
  animate(1, 300, 'a');
  EXPECT_EQ(view->alpha(), 1);
  EXPECT_EQ(view->animatedAlpha().at(box.clock().now()), 0);
  box.advance(milliseconds(299));
  EXPECT_EQ(trace, "");
  box.advance(milliseconds(1));
  EXPECT_EQ(trace, "a");

  // A replaced animation completes in the next turn. The new one starts from the current opacity.
  animate(0, 300, 'b');
  box.advance(milliseconds(150));
  animate(1, 300, 'c');
  EXPECT_EQ(trace, "a");
  EXPECT_FLOAT_EQ(view->animatedAlpha().from, 0.5F);
  box.run();
  EXPECT_EQ(trace, "ab");
  box.advance(milliseconds(100));
  animate(0, 300, 'd');
  box.advance(milliseconds(250));  // the timers of replaced animations do not end it
  EXPECT_EQ(trace, "abc");
  EXPECT_GT(view->animatedAlpha().at(box.clock().now()), 0);
  view->setAlpha(0.25F);
  box.advance(seconds(1));
  EXPECT_EQ(trace, "abcd");
  EXPECT_EQ(view->animatedAlpha(), AnimatedAlpha::constant(0.25F));

  // Completions are asynchronous even without a duration, and are called for a destroyed view.
  animate(1, 0, 'e');
  EXPECT_EQ(trace, "abcd");
  box.run();
  animate(0, 300, 'f');
  view.reset();
  box.advance(milliseconds(300));
  EXPECT_EQ(trace, "abcdef");
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

TEST(View, SpinnerAndDigits) {
  sim::Box box;
  box.advance(seconds(7));
  const auto spinner = std::make_shared<ActivityIndicatorView>(20);
  EXPECT_EQ(spinner->style(), 20);
  EXPECT_TRUE(spinner->sceneNode({}).elements.empty());
  spinner->startAnimating();
  box.advance(seconds(1));
  spinner->startAnimating();
  const SpinnerElement turning{TimePoint(seconds(7))};
  EXPECT_EQ(spinner->sceneNode({}).elements, (std::vector<SceneElement>{turning}));
  spinner->stopAnimating();
  EXPECT_FALSE(spinner->isAnimating());
  EXPECT_TRUE(spinner->sceneNode({}).elements.empty());
  const Size size = ActivityIndicatorView::defaultSize(20);
  spinner->centerIn({0, 0, size.width + 101, size.height + 20});
  EXPECT_EQ(spinner->frame(), (Rect{50, 10, size.width, size.height}));

  const auto digits = std::make_shared<DigitEntryViewController>(4);
  digits->setEditable(false);
  digits->titleLabel()->setText("Code");
  digits->titleLabel()->setTextColor(kWhite);
  digits->digitGroupView()->setText("12345");
  digits->view()->layoutIfNeeded();
  const std::vector<SceneNode> nodes{digits->view()->sceneNode({})};
  EXPECT_EQ(findElement<DigitsElement>(nodes), (DigitsElement{"12345", 4, "Code", kWhite}));
}

}  // namespace
}  // namespace platform
