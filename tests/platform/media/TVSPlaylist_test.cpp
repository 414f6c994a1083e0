#include "platform/media/TVSPlaylist.h"

#include <gmock/gmock.h>

#include "sim/AssertionsThrow.h"
#include "tests/player/PlayerEvents.h"

namespace {

using testing::ElementsAre;

/// The URLs of all items; the current one in brackets.
std::string textOf(const TVSPlaylist& playlist) {
  std::string text;
  for (const auto& item : playlist.trackList()) {
    text += item == playlist.currentItem() ? "[" + item->url() + "]" : item->url();
  }
  return text;
}

class TVSPlaylistTest : public testing::Test {
 protected:
  void observe(TVSPlaylist& playlist) {
    _token = playlist.addObserver([this, &playlist](const TVSPlaylist::Change& change) {
      const char* kinds[] = {"inserted ", "removed ", "current "};
      changes.push_back(kinds[static_cast<int>(change.kind)] + change.item->url() +
                        std::to_string(change.index) + (change.wasCurrent ? " was current " : " ") +
                        textOf(playlist));
    });
  }
  Texts changes;

 private:
  platform::Token _token;
};

TEST_F(TVSPlaylistTest, InsertionsAndRemovalsKeepTheCurrentItem) {
  auto playlist = playlistOf({"a", "b"}, false);
  observe(*playlist);
  playlist->insertMediaItem(mediaItem("c"), 0);
  playlist->insertMediaItem(mediaItem("d"), 2);
  playlist->appendMediaItem(mediaItem("e"));
  EXPECT_EQ(textOf(*playlist), "c[a]dbe");
  playlist->removeMediaItemAtIndex(0);
  playlist->removeMediaItemAtIndex(1);
  EXPECT_EQ(textOf(*playlist), "[a]be");
  EXPECT_EQ(playlist->nextItem()->url(), "b");
  EXPECT_THAT(changes, ElementsAre("inserted c0 c[a]b", "inserted d2 c[a]db", "inserted e4 c[a]dbe",
                                   "removed c0 [a]dbe", "removed d1 [a]be"));
}

TEST_F(TVSPlaylistTest, RemovingTheCurrentItemMakesTheNextOneCurrent) {
  auto playlist = playlistOf({"a", "b"}, false);
  observe(*playlist);
  playlist->removeMediaItemAtIndex(0);
  playlist->insertMediaItem(mediaItem("x"), 0);
  playlist->removeMediaItemAtIndex(1);
  EXPECT_EQ(playlist->currentItem(), nullptr);
  EXPECT_FALSE(playlist->advance());
  EXPECT_FALSE(playlist->retreat());
  playlist->insertMediaItem(mediaItem("y"), 0);
  EXPECT_EQ(playlist->currentItem(), nullptr);
  playlist->appendMediaItem(mediaItem("c"));
  EXPECT_THAT(changes, ElementsAre("removed a0 was current [b]", "inserted x0 x[b]",
                                   "removed b1 was current x", "inserted y0 yx",
                                   "inserted c2 yx[c]", "current c2 yx[c]"));
}

TEST_F(TVSPlaylistTest, AdvanceAndRetreat) {
  auto playlist = playlistOf({"a", "b"}, false);
  observe(*playlist);
  EXPECT_FALSE(playlist->retreat());
  EXPECT_TRUE(playlist->advance());
  EXPECT_FALSE(playlist->advance());
  EXPECT_TRUE(playlist->retreat());
  EXPECT_THAT(changes, ElementsAre("current b1 a[b]", "current a0 [a]b"));
}

TEST_F(TVSPlaylistTest, AWindowedPlaylistRemovesThePreviousItem) {
  auto playlist = playlistOf({"a", "b"});
  observe(*playlist);
  EXPECT_TRUE(playlist->advance());
  EXPECT_FALSE(playlist->advance());
  EXPECT_THAT(changes, ElementsAre("current b0 [b]", "removed a0 [b]"));
}

TEST_F(TVSPlaylistTest, AssertsIndices) {
  const sim::AssertionsThrow assertionsThrow;
  auto playlist = playlistOf({"a"});
  EXPECT_THROW(playlist->insertMediaItem(mediaItem("b"), 2), sim::AssertionError);
  EXPECT_THROW(playlist->removeMediaItemAtIndex(1), sim::AssertionError);
  EXPECT_THROW(playlist->appendMediaItem(nullptr), sim::AssertionError);
  EXPECT_THROW(TVSPlaylist({mediaItem("a")}, 1, false), sim::AssertionError);
  EXPECT_EQ(TVSPlaylist({}, 3, true).currentItem(), nullptr);
}

}  // namespace
