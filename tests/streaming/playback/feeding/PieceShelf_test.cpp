#include "streaming/playback/feeding/PieceShelf.h"

#include <thread>

#include <gtest/gtest.h>

namespace streaming::test {
namespace {

TrackPiece pieceAt(double start, double duration, std::size_t bytes = 0) {
  TrackPiece piece;
  piece.segment.start = start;
  piece.segment.duration = duration;
  if (bytes == 0) {
    piece.kind = TrackPiece::Kind::Gap;
    return piece;
  }
  auto media = std::make_shared<SegmentBytes>();
  media->append(std::string(bytes, 'a'));
  media->complete();
  piece.media = std::move(media);
  return piece;
}

TEST(PieceShelf, AReaderWaitsForItsPieceAndAGateEndsTheWait) {
  int wakes = 0;
  PieceShelf shelf([&] { ++wakes; });
  ReadGate gate;
  std::vector<double> starts;
  std::thread reader([&] {
    while (const auto piece = shelf.next(gate)) starts.push_back(piece->segment.start);
  });
  const auto first = shelf.add(pieceAt(0, 4), std::nullopt);
  shelf.answerSeek(first);
  shelf.add(pieceAt(4, 4), first);
  while (shelf.countAhead() > 0) std::this_thread::yield();
  gate.setClosed(true);
  reader.join();
  EXPECT_EQ(starts, (std::vector<double>{0, 4}));
  EXPECT_GE(wakes, 2);
}

TEST(PieceShelf, APieceThatDoesNotFollowIsNotReadAfterTheOneBeforeIt) {
  PieceShelf shelf([] {});
  const auto first = shelf.add(pieceAt(0, 4), std::nullopt);
  shelf.add(pieceAt(8, 4), std::nullopt);
  shelf.answerSeek(first);
  EXPECT_TRUE(shelf.take());
  EXPECT_FALSE(shelf.take());
  const auto second = shelf.add(pieceAt(4, 4), first);
  EXPECT_EQ(shelf.take()->segment.start, 4);
  EXPECT_FALSE(shelf.take());
  EXPECT_TRUE(shelf.join(second, pieceAt(8, 4).segment));
  EXPECT_EQ(shelf.take()->segment.start, 8);
}

TEST(PieceShelf, TrimmingTakesTheFarthestAndNeverTheFutureOfTheReader) {
  PieceShelf shelf([] {});
  std::optional<PieceShelf::ID> last;
  for (int i = 0; i < 10; ++i) last = shelf.add(pieceAt(i * 4, 4, 100), last);
  shelf.seek(20);
  EXPECT_EQ(shelf.take()->segment.start, 20);
  shelf.trim(800, 20);
  EXPECT_EQ(shelf.loaded(), (std::vector<platform::TimeRange>{{8, 32}}));
  shelf.trim(0, 20);
  EXPECT_EQ(shelf.loaded(), (std::vector<platform::TimeRange>{{20, 20}}));
  EXPECT_EQ(shelf.countAhead(), 4u);
}

TEST(PieceShelf, WhatIsDistrustedAnswersNoSeek) {
  PieceShelf shelf([] {});
  shelf.answerSeek(shelf.add(pieceAt(0, 4), std::nullopt));
  shelf.setTrusted(false);
  EXPECT_TRUE(shelf.take());
  shelf.seek(1);
  EXPECT_FALSE(shelf.take());
  EXPECT_EQ(shelf.takeSeek(), 1);
  EXPECT_FALSE(shelf.takeSeek());
}

TEST(PieceShelf, TheEndIsReadAsOftenAsOneAsks) {
  PieceShelf shelf([] {});
  const auto only = shelf.add(pieceAt(0, 4), std::nullopt);
  shelf.answerSeek(only);
  TrackPiece end;
  end.kind = TrackPiece::Kind::End;
  shelf.terminate(only, end);
  EXPECT_EQ(shelf.take()->kind, TrackPiece::Kind::Gap);
  EXPECT_EQ(shelf.take()->kind, TrackPiece::Kind::End);
  EXPECT_EQ(shelf.take()->kind, TrackPiece::Kind::End);
  shelf.seek(2);
  EXPECT_EQ(shelf.take()->kind, TrackPiece::Kind::Gap);
}

}  // namespace
}  // namespace streaming::test
