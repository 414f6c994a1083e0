// Selection of streams, with descriptions only.

#include "media/pipeline/StreamCatalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using media::StreamCatalog;
using media::StreamDescription;
using testing::ElementsAre;
using Selection = StreamCatalog::Selection;

StreamDescription stream(std::string id, GstStreamType type, std::string language = {},
                         bool forced = false) {
  StreamDescription description;
  description.id = std::move(id);
  description.type = type;
  description.language = std::move(language);
  description.forced = forced;
  return description;
}

/// A film with one video, two audio and three text streams. Video and the first audio stream play.
class StreamCatalogTest : public testing::Test {
 protected:
  StreamCatalogTest() {
    EXPECT_TRUE(catalog.update(streams));
    EXPECT_FALSE(catalog.update(streams)) << "the same collection again";
  }
  /// One character for each track: '+' or '-'.
  std::string enabled() const {
    std::string text;
    for (const auto& track : catalog.tracks()) text += track.enabled ? '+' : '-';
    return text;
  }
  /// The selected option of a group, or "none".
  std::string selected(std::string_view characteristic) const {
    for (const auto& group : catalog.groups()) {
      if (group.characteristic == characteristic && group.selected)
        return group.options[*group.selected].identifier;
    }
    return "none";
  }
  bool choose(const std::optional<StreamCatalog::Choice>& choice) {
    if (choice) catalog.choose(*choice);
    return choice.has_value();
  }

  const std::vector<StreamDescription> streams{stream("v", GST_STREAM_TYPE_VIDEO),
                                               stream("a-en", GST_STREAM_TYPE_AUDIO, "en"),
                                               stream("a-fr", GST_STREAM_TYPE_AUDIO, "fr"),
                                               stream("t-en", GST_STREAM_TYPE_TEXT, "en"),
                                               stream("t-fr", GST_STREAM_TYPE_TEXT, "fr"),
                                               stream("f-fr", GST_STREAM_TYPE_TEXT, "fr", true)};
  StreamCatalog catalog;
};

TEST_F(StreamCatalogTest, TextTrackIsEnabledWhileItIsShown) {
  EXPECT_EQ(enabled(), "++----");
  // A text stream that flows is not shown yet.
  catalog.updateSelection({"v", "a-en", "t-en"});
  EXPECT_EQ(enabled(), "++----");
  EXPECT_FALSE(catalog.plays(GST_STREAM_TYPE_TEXT));

  ASSERT_TRUE(choose(catalog.withTrack(4, true)));
  EXPECT_EQ(enabled(), "++-+--");
  EXPECT_EQ(selected("legible"), "t-en");
  // Only one stream of each kind plays.
  ASSERT_TRUE(choose(catalog.withTrack(5, true)));
  EXPECT_EQ(enabled(), "++--+-");
  EXPECT_FALSE(catalog.withTrack(5, true)) << "already enabled";
  EXPECT_FALSE(catalog.withTrack(9, true)) << "unknown track";

  // A deselected text stream still flows.
  const auto off = catalog.withTrack(5, false);
  ASSERT_TRUE(off);
  EXPECT_FALSE(catalog.changesStreams(*off));
  catalog.choose(*off);
  EXPECT_EQ(enabled(), "++----");
  EXPECT_EQ(selected("legible"), "none");
}

TEST_F(StreamCatalogTest, LastStreamCannotBeDisabled) {
  ASSERT_TRUE(choose(catalog.withTrack(1, false)));
  EXPECT_EQ(enabled(), "-+----");
  EXPECT_FALSE(catalog.withTrack(2, false)) << "the last stream";
  EXPECT_TRUE(catalog.hasMedia());
}

TEST_F(StreamCatalogTest, ForcedTextsFollowTheAudioUnlessTheUserHasSelected) {
  ASSERT_TRUE(choose(catalog.withOption("audible", "a-fr")));
  EXPECT_EQ(enabled(), "+-+--+");
  ASSERT_TRUE(choose(catalog.withOption("audible", "a-en")));
  EXPECT_EQ(enabled(), "++----");
  ASSERT_TRUE(choose(catalog.withOption("legible", "t-en")));
  ASSERT_TRUE(choose(catalog.withOption("audible", "a-fr")));
  EXPECT_EQ(enabled(), "+-++--");
  ASSERT_TRUE(choose(catalog.withOption("legible", std::nullopt)));
  EXPECT_EQ(enabled(), "+-+---");
  EXPECT_FALSE(catalog.withOption("legible", "unknown"));
  EXPECT_FALSE(catalog.withOption("smell", std::nullopt));
}

TEST_F(StreamCatalogTest, PrefersTheUsersLanguages) {
  EXPECT_TRUE(catalog.knowsLanguages());
  const auto french = catalog.preferred({"de", "fr-CA"});
  ASSERT_TRUE(french);
  EXPECT_THAT(french->streams, ElementsAre("v", "a-fr", "f-fr"));
  EXPECT_TRUE(french->showsText && french->textFollowsSound);
  EXPECT_FALSE(catalog.preferred({"de"})) << "the first audio stream plays already";

  auto described = streams;
  described[1].characteristics = {std::string(platform::kMediaOptionDescribesVideo)};
  catalog.update(described);
  ASSERT_TRUE(choose(catalog.preferred({"en"})));
  EXPECT_EQ(selected("audible"), "a-fr") << "audio descriptions are not selected by default";
  described[1].language.clear();
  catalog.update(described);
  EXPECT_FALSE(catalog.knowsLanguages());
}

TEST_F(StreamCatalogTest, TracksHaveTheNumbersOfTheContainer) {
  auto numbered = streams;
  for (std::size_t i = 0; i < numbered.size(); ++i)
    numbered[i].number = static_cast<std::uint32_t>(100 + i);
  catalog.update(numbered);
  EXPECT_EQ(catalog.tracks()[3].trackID, 103U);
  ASSERT_TRUE(choose(catalog.withTrack(103, true)));
  EXPECT_EQ(enabled(), "++-+--");
  numbered[5].number = 100;
  catalog.update(numbered);
  EXPECT_EQ(catalog.tracks()[3].trackID, 4U);
}

}  // namespace
