#include "streaming/playback/SegmentBytes.h"

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace streaming {
namespace {

TEST(SegmentBytes, AreReadWhileTheyArrive) {
  SegmentBytes bytes;
  const ReadGate gate;
  std::string read;
  std::thread reader([&] {
    std::array<std::byte, 3> piece;
    while (const std::size_t count = bytes.read(read.size(), piece, gate))
      read.append(reinterpret_cast<const char*>(piece.data()), count);
  });
  bytes.append("one ");
  bytes.append("two ");
  bytes.append("three");
  bytes.complete();
  reader.join();
  EXPECT_EQ(read, "one two three");
  EXPECT_TRUE(bytes.waitUntilComplete(gate));
}

TEST(SegmentBytes, AClosedGateCancelsARead) {
  SegmentBytes bytes;
  ReadGate gate;
  std::size_t count = 1;
  bool complete = true;
  std::thread reader([&] {
    std::array<std::byte, 3> piece;
    count = bytes.read(0, piece, gate);
    complete = bytes.waitUntilComplete(gate);
  });
  gate.setClosed(true);
  reader.join();
  EXPECT_EQ(count, 0u);
  EXPECT_FALSE(complete);
}

TEST(SegmentBytes, StayReadableAfterAFailure) {
  SegmentBytes bytes;
  const ReadGate gate;
  bytes.append("half");
  bytes.fail(platform::Error::status(1));
  std::array<std::byte, 8> piece;
  EXPECT_EQ(bytes.read(0, piece, gate), 4u);
  EXPECT_EQ(bytes.read(4, piece, gate), 0u);
  EXPECT_FALSE(bytes.waitUntilComplete(gate));
  EXPECT_EQ(bytes.error(), platform::Error::status(1));
}

TEST(SegmentBytes, KeepAWindowOfALongSegment) {
  SegmentBytes bytes({.whole = 100, .ahead = 50, .behind = 10, .near = 5});
  std::string body;
  for (int number = 0; body.size() < 1000; ++number) body += std::to_string(number);
  const ReadGate gate;
  std::vector<std::uint64_t> jumps;
  std::uint64_t sent = 0;
  std::uint64_t mostHeld = 0;
  const auto send = [&] {
    if (const auto wanted = bytes.requestedOffset()) {
      jumps.push_back(*wanted);
      bytes.restart(*wanted);
      sent = *wanted;
    }
    while (sent < body.size() && !bytes.isFull()) {
      const std::string piece = body.substr(static_cast<std::size_t>(sent), 10);
      bytes.append(piece);
      sent += piece.size();
      mostHeld = std::max(mostHeld, bytes.bytesInMemory());
    }
    if (sent == body.size()) bytes.complete();
  };
  const auto readFrom = [&](std::uint64_t offset, std::size_t most) {
    std::string read;
    std::array<std::byte, 7> piece;
    while (read.size() < most) {
      const std::size_t count = bytes.read(offset + read.size(), piece, gate);
      if (count == 0) break;
      read.append(reinterpret_cast<const char*>(piece.data()), count);
    }
    return read;
  };
  bytes.setTotal(body.size(), true);
  bytes.setSource(send);
  send();
  EXPECT_EQ(bytes.bytesInMemory(), 50u);
  EXPECT_EQ(readFrom(0, 2000), body);
  EXPECT_TRUE(jumps.empty());
  EXPECT_LE(mostHeld, 80u);
  EXPECT_FALSE(bytes.waitUntilComplete(gate));
  for (const std::uint64_t place : {0, 700, 702, 690, 743, 990})
    EXPECT_EQ(readFrom(place, 7), body.substr(static_cast<std::size_t>(place), 7)) << place;
  EXPECT_EQ(jumps, std::vector<std::uint64_t>({0, 700, 690, 990}));
  bytes.setSource({});
  EXPECT_EQ(readFrom(0, 7), "");
}

}  // namespace
}  // namespace streaming
