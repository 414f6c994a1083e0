#include "platform/ui/controllers/ViewServiceHost.h"

#include <algorithm>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "platform/foundation/Value.h"
#include "tests/platform/ui/Support.h"

namespace platform {
namespace {

/// The recorded events: 'B' presentation begins, 'E' presentation ends, '+' request succeeds,
/// '-' request fails, '~' root destroyed, 'i' input.
using Trace = std::string;

class TracedRoot final : public ViewServiceViewController {
 public:
  explicit TracedRoot(Trace& trace) : _trace(trace) {}
  ~TracedRoot() override { _trace += '~'; }
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
    return takesInput;
  }
  void dismiss() {
    inDismiss = true;
    if (const auto proxy = hostProxy()) proxy->dismissWithResult(Value());
    inDismiss = false;
  }

  bool takesInput = true;
  bool endsAtOnce = true;
  bool dismissesAtOnce = false;
  bool inDismiss = false;
  std::function<void()> ended;

 private:
  Trace& _trace;
};

/// A host, and the actions of the test cases by name.
struct Hosted {
  using Opening = sim::Screen::Opening;

  Hosted() {
    host.setRootViewControllerFactory([this]() -> std::shared_ptr<TracedRoot> {
      if (noRoots) return nullptr;
      auto next = std::make_shared<TracedRoot>(trace);
      next->endsAtOnce = !lazyRoots && !(everyOtherRootIsLazy && made % 2 == 1);
      next->dismissesAtOnce = hastyRoots;
      ++made;
      root = next;
      return next;
    });
  }
  void act(const std::string& words) {
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
      if (std::isdigit(word[0])) {
        box.advance(milliseconds(std::stoi(word)));
      } else if (const auto action = actions.find(word); action != actions.end()) {
        action->second();
      } else {
        box.screen().send(eventOf(word));
      }
    }
  }
  void request() {
    host.requestPresentation(
        [this, since = box.clock().now()](bool success, const std::optional<Error>& error) {
          EXPECT_EQ(success, !error.has_value());
          EXPECT_LE(box.clock().now() - since, seconds(5));
          EXPECT_TRUE(!success || host.isPresenting());
          trace += success ? '+' : '-';
          EXPECT_EQ(error.value_or(Error{}).code, success ? 0 : -6700);
          if (endsOnAnswer) host.endPresentation();
        });
  }

  sim::Box box{sim::BoxOptions{.logLevel = 3}};
  ViewServiceHost& host = box.viewServiceHost();
  Trace trace;
  std::weak_ptr<TracedRoot> root;
  std::function<void()> late;  // the stored end completion of a root
  bool noRoots = false, lazyRoots = false, everyOtherRootIsLazy = false, hastyRoots = false;
  bool endsOnAnswer = false;
  int made = 0;
  const std::map<std::string, std::function<void()>> actions{
      {"request", [this] { request(); }},
      {"run", [this] { box.run(); }},
      {"show", [this] { act("request run"); }},
      {"end", [this] { host.endPresentation(); }},
      {"dismiss", [this] { root.lock()->dismiss(); }},
      {"deaf", [this] { root.lock()->takesInput = false; }},
      {"drop",
       [this] {
         host.close();
         box.screen().close();
       }},
      {"late", [this] { late = root.lock()->ended; }},
      {"ended", [this] { late(); }},
      {"lazy", [this] { lazyRoots = true; }},
      {"hasty", [this] { hastyRoots = true; }},
      {"rootless", [this] { noRoots = true; }},
      {"end-on-answer", [this] { endsOnAnswer = true; }},
      {"close", [this] { box.screen().closeUnexpectedly(); }},
      {"refuse", [this] { box.screen().setOpening(Opening::Refuses, milliseconds(20)); }},
      {"stall", [this] { box.screen().setOpening(Opening::NeverAnswers); }},
      {"slow", [this] { box.screen().setOpening(Opening::Succeeds, seconds(6)); }},
  };
};

TEST(ViewServiceHostTest, PresentsAndEnds) {
  const struct {
    const char* name;
    std::vector<std::pair<const char*, Trace>> steps;
  } cases[] = {
      {"the root dismisses itself, then a new presentation",
       {{"~left request", ""},
        {"run", "+B"},
        {"menu ~left", "ii"},
        {"dismiss", ""},
        {"run", "E~"},
        {"show", "+B"},
        {"end run", "E~"}}},
      {"Home ends the presentation; an ending root gets no input",
       {{"lazy show", "+B"},
        {"home.. run", ""},
        {"home home run", "E"},
        {"menu late", ""},
        {"ended run", "~"}}},
      {"an unhandled Menu press ends the presentation",
       {{"show deaf select ~left menu.. run", "+Biii"}, {"menu run", "iE~"}}},
      {"close() makes no callbacks, also while the screen opens",
       {{"show drop run", "+B~"}, {"slow request drop 10000", ""}}},
      {"the screen fails to open", {{"refuse show 20", "-"}}},
      {"the screen never completes open()", {{"stall show 4999", ""}, {"1", "-"}}},
      {"the screen opens too late", {{"slow show 10000", "-"}}},
      {"the factory returns null", {{"rootless show", "-"}}},
      {"the end has a time limit, and the next request waits for the end",
       {{"lazy show end run 2000 show", "+BE"}, {"2999", ""}, {"1", "~+B"}, {"end 5000", "E~"}}},
      {"a late end completion does not end the next presentation",
       {{"lazy show end run late 5000", "+BE~"}, {"show end run ended run", "+BE"}, {"5000", "~"}}},
      {"end without a presentation", {{"end run", ""}}},
      {"end between request completion and begin", {{"end-on-answer show run", "+BE~"}}},
      {"end during begin", {{"hasty show run", "+BE~"}}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    Hosted hosted;
    for (const auto& [actions, trace] : test.steps) {
      hosted.act(actions);
      EXPECT_EQ(std::exchange(hosted.trace, ""), trace) << actions;
      EXPECT_EQ(hosted.host.rootViewController(), hosted.root.lock()) << actions;
    }
    EXPECT_FALSE(hosted.host.isPresenting());
    EXPECT_EQ(hosted.host.window(), nullptr);
    EXPECT_FALSE(hosted.box.screen().isOpen());
    EXPECT_FALSE(hosted.box.mainQueue().nextDeadline());
  }
}

/// Each request completes once and in time, each root begins and ends once, and the screen is
/// closed at the end.
TEST(ViewServiceHostTest, AllSequencesOfFiveSteps) {
  const std::string kinds[] = {"request ", "end ", "run ", "1000 ", "close ", "stall "};
  const std::size_t count = std::size(kinds);
  for (std::size_t number = 0; number < count * count * count * count * count; ++number) {
    std::string steps;
    std::ptrdiff_t asked = 0;
    for (std::size_t step = 0, rest = number; step < 5; ++step, rest /= count) {
      steps += kinds[rest % count];
      asked += rest % count == 0;
    }
    Hosted hosted;
    hosted.everyOtherRootIsLazy = true;
    hosted.act(steps + "20000 end 20000");
    const auto times = [&](char what) {
      return std::count(hosted.trace.begin(), hosted.trace.end(), what);
    };
    ASSERT_EQ(times('+') + times('-'), asked) << steps;
    ASSERT_EQ(hosted.made, times('+')) << steps;
    Trace expected;
    for (int i = 0; i < hosted.made; ++i) expected += "BE";
    std::erase_if(hosted.trace, [](char what) { return what != 'B' && what != 'E'; });
    ASSERT_EQ(hosted.trace, expected) << steps;
    ASSERT_FALSE(hosted.box.screen().isOpen()) << steps;
    ASSERT_FALSE(hosted.host.isPresenting()) << steps;
    ASSERT_FALSE(hosted.box.mainQueue().nextDeadline()) << steps;
  }
}

}  // namespace
}  // namespace platform
