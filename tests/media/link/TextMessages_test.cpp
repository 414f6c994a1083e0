#include "media/link/TextMessages.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "media/link/TextMirror.h"

namespace media {
namespace {

using Kind = TextChange::Kind;
using Source = SubtitleCues::Source;

SubtitleCue everything() {
  SubtitleCue cue;
  cue.start = 1.5;
  cue.duration = 2;
  cue.text = "Voilà\nquoi";
  cue.identifier = "7";
  cue.look.color = platform::Color{1, 0.5F, 0.25F, 1};
  cue.look.edge = TextEdge::Raised;
  SubtitleSpan span;
  span.begin = 0;
  span.end = 6;
  span.element = "c";
  span.classes = {"loud", "red"};
  span.annotation = "Anna";
  span.look.background = platform::Color{0, 0, 0, 0.5F};
  span.look.size = 1.25;
  span.look.bold = true;
  span.look.italic = false;
  span.look.underline = true;
  span.look.isHidden = true;
  span.ruby = "vwa.la";
  span.look.emphasis = U'\u2022';
  span.look.annotationSide = AnnotationSide::Outside;
  span.moments = {{SpanMoment::Kind::Future, 0.25, {}}, {SpanMoment::Kind::Past, 0.75, {}}};
  span.moments[1].look.italic = true;
  cue.spans = {span};
  cue.layout.writing = CueLayout::Writing::VerticalToLeft;
  cue.layout.rowAlignment = CueLayout::Alignment::Start;
  cue.layout.shear = 0.25;
  cue.layout.readsDownwards = true;
  cue.layout.background = platform::Color{0, 0, 1, 1};
  cue.layout.region = CueRegion{.left = 0.1,
                                .width = 0.8,
                                .y = 0.9,
                                .anchor = 1,
                                .height = 0.2,
                                .lines = 3,
                                .texts = CueAnchor::Middle,
                                .paddingBefore = 0.01,
                                .paddingAfter = 0.02,
                                .scrolls = true,
                                .background = platform::Color{0, 1, 0, 1}};
  cue.layout.left = 0.25;
  cue.layout.width = 0.5;
  cue.layout.alignment = CueLayout::Alignment::Right;
  cue.layout.anchor = CueLayout::Anchor::Middle;
  cue.layout.y = 0.75;
  cue.layout.line = -2;
  cue.images = {{1920, 1080, -4, 900, 2, 1, {0x80ff00aa, 0x01020304}}};
  cue.endsAtNext = true;
  cue.order = 3;
  return cue;
}

TextChange changeOf(Kind kind, std::vector<SubtitleCue> cues = {}) {
  TextChange change{9, kind, Source::Media, {}};
  for (SubtitleCue& each : cues)
    change.cues.push_back(std::make_shared<const SubtitleCue>(std::move(each)));
  return change;
}

std::vector<std::byte> encoded(const TextChange& change) {
  WireWriter writer;
  write(writer, change);
  return writer.take();
}

std::optional<TextChange> decoded(std::span<const std::byte> bytes) {
  WireReader reader(bytes);
  return readTextChange(reader);
}

TEST(TextMessages, EncodingAndDecodingPreserveCues) {
  for (int number = 0; number <= static_cast<int>(Kind::Destroyed); ++number) {
    const TextChange change = changeOf(static_cast<Kind>(number), {everything(), {}});
    const auto found = decoded(encoded(change));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->identity, 9U);
    EXPECT_EQ(found->kind, change.kind);
    EXPECT_EQ(found->source, change.source);
    ASSERT_EQ(found->cues.size(), 2U);
    EXPECT_EQ(*found->cues[0], everything());
    EXPECT_EQ(*found->cues[1], SubtitleCue{});
  }
}

TEST(TextMessages, CuesWithinTheLimitsAreAccepted) {
  const std::string invalid(1000, '\xff');
  SubtitleCue cue;
  cue.text = "text";
  cue.identifier = invalid;
  SubtitleSpan& span = cue.spans.emplace_back();
  span.end = 4;
  span.element = invalid;
  span.classes = {invalid};
  span.annotation = invalid;
  span.ruby = invalid;
  bound(cue);
  const auto found = decoded(encoded(changeOf(Kind::Add, {cue})));
  ASSERT_TRUE(found);
  EXPECT_EQ(*found->cues.at(0), cue);
}

TEST(TextMessages, RejectsInvalidMessages) {
  const auto good = encoded(changeOf(Kind::Add, {everything()}));
  // All shorter messages, and a longer one.
  for (std::size_t size = 0; size < good.size(); ++size)
    EXPECT_FALSE(decoded(std::span(good).first(size))) << size;
  auto longer = good;
  longer.push_back(std::byte{0});
  EXPECT_FALSE(decoded(longer));
  // Any other change is rejected, or the decoded cue is within its limits.
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const unsigned value : {0x00U, 0x7fU, 0xffU}) {
      auto wrong = good;
      wrong[at] = static_cast<std::byte>(value);
      const auto found = decoded(wrong);
      if (!found) continue;
      for (const auto& cue : found->cues) {
        SubtitleCue again = *cue;
        bound(again);
        EXPECT_EQ(again, *cue) << at;
        EXPECT_TRUE(std::isfinite(cue->start) && std::isfinite(cue->duration)) << at;
        EXPECT_LE(std::abs(cue->layout.y.value_or(0)), 100) << at;
      }
    }
  }

  using Change = std::function<void(SubtitleCue&)>;
  const struct {
    const char* name;
    Change change;
  } cases[]{
      {"a time that is not a number", [](auto& cue) { cue.start = std::nan(""); }},
      {"an infinite duration",
       [](auto& cue) { cue.duration = std::numeric_limits<double>::infinity(); }},
      {"too many spans", [](auto& cue) { cue.spans.resize(65); }},
      {"too many images", [](auto& cue) { cue.images.resize(17); }},
      {"an image far outside of the canvas", [](auto& cue) { cue.images[0].x = 1 << 20; }},
  };
  for (const auto& testCase : cases) {
    SubtitleCue cue = everything();
    testCase.change(cue);
    EXPECT_FALSE(decoded(encoded(changeOf(Kind::Add, {cue})))) << testCase.name;
  }
  TextChange nobodys = changeOf(Kind::Clear);
  nobodys.identity = 0;
  EXPECT_FALSE(decoded(encoded(nobodys)));
}

TEST(TextMessages, CutsValuesAboveTheLimits) {
  SubtitleCue cue = everything();
  cue.spans[0].annotation = std::string(255, 'x') + "é";
  cue.spans[0].classes.assign(100, std::string(1000, 'y'));
  cue.images[0] = {8192, 8192, 0, 0, 4096, 1025, std::vector<std::uint32_t>(4096 * 1025)};
  const auto found = decoded(encoded(changeOf(Kind::Add, {cue})));
  ASSERT_TRUE(found);
  const SubtitleCue& cut = *found->cues[0];
  EXPECT_EQ(cut.text, cue.text);
  EXPECT_EQ(cut.spans[0].annotation, std::string(255, 'x'));
  EXPECT_EQ(cut.spans[0].classes, std::vector(16, std::string(256, 'y')));
  EXPECT_TRUE(cut.images.empty());
}

/// The texts of a media process, and the copy that the box makes of them.
class TextMirrorTest : public testing::Test {
 protected:
  std::shared_ptr<SubtitleCues> make() {
    return std::make_shared<SubtitleCues>([this](const TextChange& change) {
      for (const TextChange& part : splitChange(change)) {
        const auto bytes = encoded(part);
        largest = std::max(largest, bytes.size());
        const auto found = decoded(bytes);
        ASSERT_TRUE(found);
        mirror.apply(*found);
      }
    });
  }
  static SubtitleCue cueOf(double start, std::string text) {
    SubtitleCue cue;
    cue.start = start;
    cue.duration = 1;
    cue.text = std::move(text);
    return cue;
  }

  TextMirror mirror;
  std::size_t largest = 0;
};

TEST_F(TextMirrorTest, ShowsTheSameTexts) {
  const auto texts = make();
  const auto mirrored = mirror.of(texts->identity());
  const auto expect = [&](double time, const std::string& text) {
    EXPECT_EQ(texts->textAt(time), text);
    EXPECT_EQ(mirrored->textAt(time), text);
  };
  texts->add(cueOf(1, "media"));
  texts->add(cueOf(1, "media"));
  texts->addCaption(cueOf(1, "pictures"));
  texts->setExternal({cueOf(1, "beside")});
  expect(1.5, "");
  texts->show(Source::Media);
  expect(1.5, "media");
  texts->show(Source::Captions);
  expect(1.5, "pictures");
  texts->show(Source::External);
  expect(1.5, "beside");
  texts->addExternal({cueOf(0.5, "earlier")});
  expect(1.2, "earlier\nbeside");
  texts->setExternal({});
  expect(1.5, "");
  texts->show(Source::Media);
  texts->clear();
  expect(1.5, "");
  texts->show(Source::Captions);
  texts->clearCaptions();
  expect(1.5, "");
}

TEST_F(TextMirrorTest, ShowsTheNewestRenderings) {
  const auto texts = make();
  const auto mirrored = mirror.of(texts->identity());
  const auto rendering = [](double start, double duration, int size) {
    SubtitleCue cue;
    cue.start = start;
    cue.duration = duration;
    cue.images.push_back(
        {.canvasWidth = size,
         .canvasHeight = size,
         .width = size,
         .height = size,
         .pixels = std::vector<std::uint32_t>(static_cast<std::size_t>(size * size))});
    if (size == 0) cue.images.clear();
    return cue;
  };
  const auto expect = [&](double time, int size) {
    for (const auto& each : {texts, mirrored}) {
      const auto cues = each->at(time);
      EXPECT_EQ(cues.empty() ? 0 : cues.at(0)->images.at(0).width, size) << time;
    }
  };
  texts->show(Source::Media);
  texts->addRendering(Source::External, rendering(0, 9, 1));
  expect(1, 0);
  texts->addRendering(Source::Media, rendering(0, 10, 1));
  texts->addRendering(Source::Media, rendering(2, 2, 2));
  texts->addRendering(Source::Media, rendering(3, 1, 0));
  expect(1, 1);
  expect(2.5, 2);
  expect(3.5, 0);
  expect(5, 1);
  for (int index = 0; index < 20; ++index)
    texts->addRendering(Source::Media, rendering(20 + index, 1, 3));
  expect(1, 0);
  expect(20 + 20 - static_cast<double>(SubtitleCues::kRenderingLimit), 3);
  texts->addRendering(Source::Media, rendering(50, 1, 2048));
  texts->addRendering(Source::Media, rendering(51, 1, 2000));
  expect(50, 0);
  expect(51, 2000);
  texts->clear();
  expect(51, 0);
  texts->addRendering(Source::Media, rendering(0, 9, 1));
  texts->show(Source::None);
  texts->show(Source::Media);
  expect(1, 0);
}

TEST_F(TextMirrorTest, SplitsManyTextsIntoMessagesOfModerateSize) {
  const auto texts = make();
  std::vector<SubtitleCue> cues;
  for (int number = 0; number < 3000; ++number)
    cues.push_back(cueOf(number, std::to_string(number) + std::string(3000, '.')));
  texts->setExternal(std::move(cues));
  texts->show(Source::External);
  const auto mirrored = mirror.of(texts->identity());
  for (const double time : {0.0, 1500.0, 2999.0})
    EXPECT_EQ(mirrored->textAt(time), texts->textAt(time)) << time;
  EXPECT_LT(largest, std::size_t{2} << 20);
}

TEST_F(TextMirrorTest, DropsDestroyedAndOldTexts) {
  const auto styles = std::make_shared<const SubtitleStyles>();
  const auto first = mirror.of(1000);
  mirror.setStyles(styles);
  EXPECT_EQ(first->styles(), styles);
  for (std::uint64_t identity = 1001; identity < 1000 + TextMirror::kLimit; ++identity)
    mirror.of(identity);
  EXPECT_EQ(mirror.of(1000), first);
  mirror.of(1010);
  EXPECT_EQ(mirror.of(1000), first) << "used more recently than the dropped one";
  EXPECT_EQ(mirror.of(1010)->styles(), styles);

  auto texts = make();
  const std::uint64_t identity = texts->identity();
  texts->add(cueOf(0, "x"));
  const std::weak_ptr<SubtitleCues> mirrored = mirror.of(identity);
  texts.reset();
  EXPECT_TRUE(mirrored.expired());
}

TEST_F(TextMirrorTest, KeepsTheOrderOfConcurrentChanges) {
  const auto texts = make();
  texts->show(Source::Media);
  std::thread other([&] {
    for (int number = 0; number < 500; ++number) texts->clear();
  });
  for (int number = 0; number < 500; ++number)
    texts->add(cueOf(number % 7 * 10, std::to_string(number)));
  other.join();
  const auto mirrored = mirror.of(texts->identity());
  for (int number = 0; number < 7; ++number)
    EXPECT_EQ(mirrored->textAt(number * 10), texts->textAt(number * 10));
}

}  // namespace
}  // namespace media
