#include "streaming/playback/feeding/TrackBuffer.h"

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

TEST(TrackBuffer, NextWaitsForAPieceUntilTheGateCloses) {
  int wakes = 0;
  TrackBuffer buffer([&] { ++wakes; });
  ReadGate gate;
  std::vector<double> starts;
  std::thread reader([&] {
    while (const auto piece = buffer.next(gate)) starts.push_back(piece->segment.start);
  });
  const auto first = buffer.add(pieceAt(0, 4), std::nullopt);
  buffer.answerSeek(first);
  buffer.add(pieceAt(4, 4), first);
  while (buffer.countAhead() > 0) std::this_thread::yield();
  gate.setClosed(true);
  reader.join();
  EXPECT_EQ(starts, (std::vector<double>{0, 4}));
  EXPECT_GE(wakes, 2);
}

TEST(TrackBuffer, ReturnsOnlyConsecutivePieces) {
  TrackBuffer buffer([] {});
  const auto first = buffer.add(pieceAt(0, 4), std::nullopt);
  buffer.add(pieceAt(8, 4), std::nullopt);
  buffer.answerSeek(first);
  EXPECT_TRUE(buffer.take());
  EXPECT_FALSE(buffer.take());
  const auto second = buffer.add(pieceAt(4, 4), first);
  EXPECT_EQ(buffer.take()->segment.start, 4);
  EXPECT_FALSE(buffer.take());
  EXPECT_TRUE(buffer.join(second, pieceAt(8, 4).segment));
  EXPECT_EQ(buffer.take()->segment.start, 8);
}

TEST(TrackBuffer, TrimRemovesTheFarthestPiecesThatAreNotNeeded) {
  TrackBuffer buffer([] {});
  std::optional<TrackBuffer::ID> last;
  for (int i = 0; i < 10; ++i) last = buffer.add(pieceAt(i * 4, 4, 100), last);
  buffer.seek(20);
  EXPECT_EQ(buffer.take()->segment.start, 20);
  buffer.trim(800, 20);
  EXPECT_EQ(buffer.loaded(), (std::vector<platform::TimeRange>{{8, 32}}));
  buffer.trim(0, 20);
  EXPECT_EQ(buffer.loaded(), (std::vector<platform::TimeRange>{{20, 20}}));
  EXPECT_EQ(buffer.countAhead(), 4u);
}

TEST(TrackBuffer, DoesNotAnswerSeeksAfterATrackChange) {
  TrackBuffer buffer([] {});
  buffer.answerSeek(buffer.add(pieceAt(0, 4), std::nullopt));
  buffer.setAnswersSeeks(false);
  EXPECT_TRUE(buffer.take());
  buffer.seek(1);
  EXPECT_FALSE(buffer.take());
  EXPECT_EQ(buffer.takeSeek(), 1);
  EXPECT_FALSE(buffer.takeSeek());
}

TEST(TrackBuffer, ReturnsTheEndRepeatedly) {
  TrackBuffer buffer([] {});
  const auto only = buffer.add(pieceAt(0, 4), std::nullopt);
  buffer.answerSeek(only);
  TrackPiece end;
  end.kind = TrackPiece::Kind::End;
  buffer.terminate(only, end);
  EXPECT_EQ(buffer.take()->kind, TrackPiece::Kind::Gap);
  EXPECT_EQ(buffer.take()->kind, TrackPiece::Kind::End);
  EXPECT_EQ(buffer.take()->kind, TrackPiece::Kind::End);
  buffer.seek(2);
  EXPECT_EQ(buffer.take()->kind, TrackPiece::Kind::Gap);
}

}  // namespace
}  // namespace streaming::test
