#include "streaming/playback/SegmentBytes.h"

#include <array>
#include <thread>

#include <gtest/gtest.h>

namespace streaming {
namespace {

TEST(SegmentBytes, AreReadAsTheyArrive) {
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

TEST(SegmentBytes, AClosedGateEndsAWait) {
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

TEST(SegmentBytes, WhatCameBeforeAFailureStaysReadable) {
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

}  // namespace
}  // namespace streaming
