#include "platform/ui/ViewServiceHost.h"

#include <gtest/gtest.h>

#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

/// What the roots and the requests of a test have seen. 'B' begun, 'E' told to end, '+' a request
/// that succeeded, '-' one that did not, '~' a root that has died.
using Trace = std::string;

class Root final : public ViewServiceViewController {
 public:
  explicit Root(Trace& trace) : _trace(trace) {}
  ~Root() override { _trace += '~'; }
  void viewServiceBeginPresentationWithOptions(const Dictionary& options) override {
    EXPECT_TRUE(options.empty());
    _trace += 'B';
    if (dismissesAtOnce) dismiss();
  }
  void viewServiceEndPresentationWithOptions(const Dictionary& options,
                                             std::function<void()> completion) override {
    EXPECT_TRUE(options.empty());
    EXPECT_FALSE(inDismiss);
    _trace += 'E';
    ended = std::move(completion);
    if (endsAtOnce) ended();
  }
  bool handleInput(const InputEvent&) override {
    _trace += 'i';
    return true;
  }
  void dismiss() {
    inDismiss = true;
    if (const auto proxy = hostProxy()) proxy->dismissWithResult(Value());
    inDismiss = false;
  }
  std::shared_ptr<ViewServiceHostProxy> proxy() const { return hostProxy(); }

  bool endsAtOnce = false;
  bool dismissesAtOnce = false;
  bool inDismiss = false;
  std::function<void()> ended;

 private:
  Trace& _trace;
};

struct ViewServiceHostTest : ::testing::Test {
  ViewServiceHostTest() {
    host.setRootViewControllerFactory([this] {
      auto root = std::make_shared<Root>(trace);
      root->endsAtOnce = rootsEndAtOnce;
      root->dismissesAtOnce = rootsDismissAtOnce;
      current = root;
      return root;
    });
  }
  void request() {
    host.requestPresentation(
        [this, since = box.clock().now()](bool success, std::optional<Error> error) {
          EXPECT_EQ(success, !error.has_value());
          EXPECT_LE(box.clock().now() - since, seconds(5));
          trace += success ? '+' : '-';
          if (error) lastError = *error;
          if (onAnswer) onAnswer();
        });
  }
  void requestAndRun() {
    request();
    box.run();
  }
  Trace take() { return std::exchange(trace, {}); }

  sim::Box box;
  sim::Screen& screen = box.screen();
  ViewServiceHost& host = box.viewServiceHost();
  Trace trace;
  std::weak_ptr<Root> current;
  Error lastError;
  std::function<void()> onAnswer;
  bool rootsEndAtOnce = true;
  bool rootsDismissAtOnce = false;
};

TEST_F(ViewServiceHostTest, PresentsAndEnds) {
  EXPECT_FALSE(host.handleInput(press(PressType::Select)));
  onAnswer = [&] {
    // Answered first, begun on a later turn.
    EXPECT_EQ(trace, "+");
    EXPECT_TRUE(host.isPresenting());
  };
  request();
  EXPECT_EQ(trace, "");
  box.run();
  EXPECT_EQ(take(), "+B");
  EXPECT_EQ(host.rootViewController(), current.lock());
  EXPECT_EQ(host.window()->rootViewController(), current.lock());
  EXPECT_NE(screen.scene(), nullptr);

  EXPECT_TRUE(screen.send(press(PressType::Select)));
  EXPECT_TRUE(host.handleInput(swipe(SwipeDirection::Left)));
  EXPECT_EQ(take(), "ii");

  current.lock()->dismiss();
  EXPECT_EQ(take(), "");
  box.run();
  EXPECT_EQ(take(), "E~");
  EXPECT_FALSE(host.isPresenting());
  EXPECT_EQ(host.rootViewController(), nullptr);
  EXPECT_EQ(host.window(), nullptr);
  EXPECT_FALSE(screen.isOpen());
  EXPECT_FALSE(box.mainQueue().nextDeadline());

  requestAndRun();
  EXPECT_EQ(take(), "+B");
  EXPECT_EQ(screen.timesOpened(), 2);
}

TEST_F(ViewServiceHostTest, HomeEndsAndIsNeverDelivered) {
  requestAndRun();
  rootsEndAtOnce = false;
  current.lock()->endsAtOnce = false;
  take();
  EXPECT_TRUE(screen.send(press(PressType::Home, true)));
  box.run();
  EXPECT_EQ(take(), "");
  EXPECT_TRUE(screen.send(press(PressType::Home)));
  EXPECT_TRUE(screen.send(press(PressType::Home)));
  box.run();
  EXPECT_EQ(take(), "E");
  // What is on its way out gets no more input.
  EXPECT_TRUE(screen.send(press(PressType::Menu)));
  EXPECT_EQ(take(), "");
  const auto root = current.lock();
  root->ended();
  root->ended();
  box.run();
  EXPECT_FALSE(host.isPresenting());
}

TEST_F(ViewServiceHostTest, FailuresToOpen) {
  screen.setOpening(sim::Screen::Opening::Refuses, milliseconds(20));
  requestAndRun();
  box.advance(milliseconds(20));
  EXPECT_EQ(take(), "-");

  screen.setOpening(sim::Screen::Opening::NeverAnswers);
  requestAndRun();
  box.advance(milliseconds(4'999));
  EXPECT_EQ(trace, "");
  box.advance(milliseconds(1));
  EXPECT_EQ(take(), "-");
  EXPECT_EQ(lastError.domain, kStatusCodeErrorDomain);
  EXPECT_EQ(lastError.code, -6700);
  EXPECT_TRUE(lastError.localizedDescription);

  screen.setOpening(sim::Screen::Opening::Succeeds, seconds(6));
  requestAndRun();
  box.advance(seconds(10));
  EXPECT_EQ(take(), "-");
  EXPECT_FALSE(screen.isOpen());

  host.setRootViewControllerFactory([] { return nullptr; });
  screen.setOpening(sim::Screen::Opening::Succeeds);
  requestAndRun();
  EXPECT_EQ(take(), "-");
  EXPECT_FALSE(screen.isOpen());
  EXPECT_FALSE(host.isPresenting());
}

TEST_F(ViewServiceHostTest, EndIsBounded) {
  requestAndRun();
  current.lock()->endsAtOnce = false;
  take();
  host.endPresentation();
  box.run();
  box.advance(seconds(2));
  requestAndRun();  // waits for the end, which comes after 3 s
  box.advance(milliseconds(2'999));
  EXPECT_EQ(take(), "E");
  box.advance(milliseconds(1));
  EXPECT_EQ(take(), "~+B");

  // An end that comes too late is not taken for the next one's.
  const auto late = current.lock();
  late->endsAtOnce = false;
  host.endPresentation();
  box.advance(seconds(5));
  requestAndRun();
  current.lock()->endsAtOnce = false;
  host.endPresentation();
  box.run();
  EXPECT_EQ(take(), "E+BE");
  late->ended();
  box.run();
  EXPECT_TRUE(host.isPresenting());
}

TEST_F(ViewServiceHostTest, EndAtOddTimes) {
  host.endPresentation();
  box.run();
  EXPECT_EQ(take(), "");

  // Between the answer and the beginning: begun, then ended.
  onAnswer = [&] { host.endPresentation(); };
  requestAndRun();
  EXPECT_EQ(take(), "+BE~");
  onAnswer = nullptr;

  // From inside the beginning.
  rootsDismissAtOnce = true;
  requestAndRun();
  EXPECT_EQ(take(), "+BE~");
}

/// Every sequence of five steps: each request is answered once and in time, each root begins and
/// ends in turn, and in the end nothing is left open.
TEST(ViewServiceHostSequences, EveryOrderOfFiveSteps) {
  std::optional<sim::Box> box;
  int asked = 0, answered = 0, succeeded = 0, made = 0;
  std::string steps;
  const std::pair<const char*, std::function<void()>> kinds[] = {
      {"request",
       [&] {
         ++asked;
         box->viewServiceHost().requestPresentation(
             [&, since = box->clock().now()](bool success, std::optional<Error>) {
               EXPECT_LE(box->clock().now() - since, seconds(5)) << steps;
               ++answered;
               succeeded += success;
             });
       }},
      {"end", [&] { box->viewServiceHost().endPresentation(); }},
      {"turn", [&] { box->run(); }},
      {"second", [&] { box->advance(seconds(1)); }},
      {"close", [&] { box->screen().closeByItself(); }},
      {"stall", [&] { box->screen().setOpening(sim::Screen::Opening::NeverAnswers); }},
  };
  const std::size_t count = std::size(kinds);
  for (std::size_t number = 0; number < count * count * count * count * count; ++number) {
    Trace trace;
    asked = answered = succeeded = made = 0;
    steps.clear();
    box.emplace(sim::BoxOptions{.logLevel = 3});
    box->viewServiceHost().setRootViewControllerFactory([&] {
      auto root = std::make_shared<Root>(trace);
      root->endsAtOnce = ++made % 2 == 1;  // every other one never answers
      return root;
    });
    for (std::size_t step = 0, rest = number; step < 5; ++step, rest /= count) {
      steps += std::string(kinds[rest % count].first) + " ";
      kinds[rest % count].second();
    }
    box->advance(seconds(20));
    box->viewServiceHost().endPresentation();
    box->advance(seconds(20));
    Trace expected;
    for (int i = 0; i < succeeded; ++i) expected += "BE";
    std::erase(trace, '~');
    ASSERT_EQ(trace, expected) << steps;
    ASSERT_EQ(answered, asked) << steps;
    ASSERT_EQ(made, succeeded) << steps;
    ASSERT_FALSE(box->screen().isOpen()) << steps;
    ASSERT_FALSE(box->viewServiceHost().isPresenting()) << steps;
    ASSERT_FALSE(box->mainQueue().nextDeadline()) << steps;
  }
}

}  // namespace
}  // namespace platform
