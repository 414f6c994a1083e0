#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "box/engine/PictureReceiver.h"
#include "frames/FrameMessages.h"
#include "frames/SharedBuffer.h"
#include "frames/vorlane-frames.h"
#include "media/process/PictureSender.h"
#include "sim/Box.h"
#include "tests/box/frames/RawWriter.h"

namespace box::test {
namespace {

using State = PictureReceiver::State;
constexpr std::uint32_t kWidth = 64;
constexpr std::uint32_t kHeight = 36;
constexpr std::size_t kBytes = kWidth * kHeight * 3 / 2;
constexpr int kPatience = 10'000;  // ms

std::array<FileDescriptor, 2> makeSockets() {
  int sockets[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets), 0);
  return {FileDescriptor(sockets[0]), FileDescriptor(sockets[1])};
}

bool waitFor(int descriptor) {
  pollfd input{descriptor, POLLIN, 0};
  return poll(&input, 1, kPatience) == 1;
}

/// A decoded NV12 frame in which all bytes are equal.
struct Decoded : media::VideoFrame {
  Decoded(std::shared_ptr<frames::SharedBuffer> memory, std::uint8_t value, bool isShared = true)
      : _memory(std::move(memory)) {
    std::memset(_memory->data(), value, kBytes);
    format = media::VideoFormat::NV12;
    width = kWidth;
    height = kHeight;
    planeCount = 2;
    planes[0] = {_memory->data(), kWidth, kWidth, kHeight};
    planes[1] = {_memory->data() + std::size_t{kWidth} * kHeight, kWidth, kWidth, kHeight / 2};
    if (isShared) sharedMemory = _memory;
  }
  std::shared_ptr<frames::SharedBuffer> _memory;
};

std::shared_ptr<frames::SharedBuffer> makeBlock() { return frames::SharedBuffer::make(kBytes); }

/// A sender and a receiver without threads.
class PicturesTest : public testing::Test {
 protected:
  PicturesTest() { connect(); }

  void connect() {
    auto sockets = makeSockets();
    receiver = std::make_unique<PictureReceiver>(
        std::move(sockets[0]), shown,
        PictureReceiver::Setup{
            .textsOf =
                [this](std::uint64_t textsID) {
                  askedFor = textsID;
                  return texts;
                },
            .due = [this](double time, platform::TimePoint) { times.push_back(time); }});
    sender = std::make_unique<media::PictureSender>(sockets[1].release(), decoded);
  }
  void put(std::shared_ptr<const media::VideoFrame> frame) {
    decoded->put(ticket, std::move(frame));
  }
  State receive() { return receiver->read(); }
  /// A luma byte of the shown picture, or -1 without a picture.
  int shownByte() const {
    const auto frame = shown->latest();
    return frame ? frame->planes[0].data[5] : -1;
  }

  sim::Box box;  // for its log
  const std::shared_ptr<media::VideoFrames> decoded = std::make_shared<media::VideoFrames>();
  const std::shared_ptr<media::VideoFrames> shown = std::make_shared<media::VideoFrames>();
  const std::shared_ptr<const media::SubtitleCues> texts = std::make_shared<media::SubtitleCues>();
  std::uint64_t askedFor = 0;
  std::vector<double> times;
  std::unique_ptr<PictureReceiver> receiver;
  std::unique_ptr<media::PictureSender> sender;
  std::uint64_t ticket = decoded->open();
};

TEST_F(PicturesTest, ArriveUnchangedWithoutACopy) {
  const auto memory = makeBlock();
  auto frame = std::make_shared<Decoded>(memory, 50);
  frame->pixelAspectNumerator = 64;
  frame->pixelAspectDenominator = 45;
  frame->rotationDegrees = 90;
  frame->matrix = media::VideoMatrix::BT601;
  frame->fullRange = true;
  frame->time = 1.25;
  frame->due = 7.5;
  frame->subtitles = std::make_shared<media::SubtitleCues>();
  put(frame);
  ASSERT_EQ(receive(), State::Open);
  const auto arrived = shown->latest();
  ASSERT_TRUE(arrived);
  EXPECT_EQ(arrived->format, media::VideoFormat::NV12);
  EXPECT_EQ(arrived->width, 64);
  EXPECT_EQ(arrived->height, 36);
  EXPECT_EQ(arrived->pixelAspectNumerator, 64);
  EXPECT_EQ(arrived->pixelAspectDenominator, 45);
  EXPECT_EQ(arrived->rotationDegrees, 90);
  EXPECT_EQ(arrived->matrix, media::VideoMatrix::BT601);
  EXPECT_TRUE(arrived->fullRange);
  EXPECT_EQ(arrived->time, 1.25);
  EXPECT_EQ(arrived->due, 7.5);
  EXPECT_EQ(times, std::vector<double>{1.25});
  EXPECT_EQ(askedFor, frame->subtitles->identity());
  EXPECT_EQ(arrived->subtitles, texts);
  // Both ends map the same memory.
  memory->data()[kBytes - 1] = 99;
  EXPECT_EQ(arrived->planes[1].data[kBytes - 1 - kWidth * kHeight], 99);
}

TEST_F(PicturesTest, AreKeptUntilReleasedWithoutAWakeup) {
  const auto isAwaited = [&] {
    pollfd input{sender->descriptor(), POLLIN, 0};
    return poll(&input, 1, 0) == 1;
  };
  std::vector<std::weak_ptr<const media::VideoFrame>> frames;
  const auto putNext = [&] {
    const auto frame = std::make_shared<Decoded>(makeBlock(), 1);
    frames.emplace_back(frame);
    put(frame);
  };
  for (std::size_t count = 0; count < 10; ++count) {
    putNext();
    ASSERT_EQ(receive(), State::Open);
    EXPECT_FALSE(isAwaited());
    // The release of the one before is read with the next one.
    for (std::size_t index = 0; index <= count; ++index)
      EXPECT_EQ(frames[index].expired(), index + 1 < count) << index << " of " << count;
  }
  // The box does not read, so that the last of these has to wait for a release.
  for (int count = 0; count < 4; ++count) putNext();
  EXPECT_FALSE(isAwaited());
  ASSERT_EQ(receive(), State::Open);
  ASSERT_TRUE(isAwaited());
  ASSERT_TRUE(sender->read());
  ASSERT_EQ(receive(), State::Open);
  EXPECT_FALSE(isAwaited());

  decoded->close();
  EXPECT_FALSE(isAwaited()) << "the box has not released the last picture";
  ASSERT_EQ(receive(), State::Open);
  ASSERT_TRUE(isAwaited());
  ASSERT_TRUE(sender->read());
  EXPECT_FALSE(isAwaited());
  for (const auto& each : frames) EXPECT_TRUE(each.expired());
}

TEST_F(PicturesTest, InOtherMemoryAreCopiedOnce) {
  const auto memory = makeBlock();
  put(std::make_shared<Decoded>(memory, 10, false));
  sender->setEpoch(1);
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 10);
  memory->data()[5] = 11;
  EXPECT_EQ(shownByte(), 10);
  for (int value = 20; value < 60; ++value) {
    const auto before = shown->latest();
    const int old = before->planes[0].data[5];
    put(std::make_shared<Decoded>(memory, static_cast<std::uint8_t>(value), false));
    ASSERT_EQ(receive(), State::Open);
    EXPECT_EQ(shownByte(), value);
    EXPECT_EQ(before->planes[0].data[5], old) << "the screen may still be drawing it";
    EXPECT_TRUE(sender->read());
  }
}

TEST_F(PicturesTest, AreSkippedIfTheReceiverIsSlow) {
  for (std::uint8_t value = 1; value <= 20; ++value)
    put(std::make_shared<Decoded>(makeBlock(), value));
  ASSERT_EQ(receive(), State::Open);
  EXPECT_LT(shownByte(), 20);
  EXPECT_TRUE(sender->read());
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 20);
}

TEST_F(PicturesTest, OfAnEarlierEpochAreDropped) {
  receiver->setMinimumEpoch(2);
  std::weak_ptr<const media::VideoFrame> held;
  {
    const auto frame = std::make_shared<Decoded>(makeBlock(), 1);
    held = frame;
    put(frame);
  }
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), -1);
  EXPECT_TRUE(times.empty());
  // The same picture is sent again.
  sender->setEpoch(2);
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 1);
  EXPECT_TRUE(sender->read());

  // The picture stays while the box waits for a later epoch. It is removed if that epoch has none.
  receiver->setMinimumEpoch(3);
  put(std::make_shared<Decoded>(makeBlock(), 2));
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 1);
  decoded->close();
  sender->setEpoch(3);
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), -1);
  EXPECT_TRUE(sender->read());
  EXPECT_TRUE(held.expired());

  // After the box has removed the picture, the next load is shown again.
  ticket = decoded->open();
  put(std::make_shared<Decoded>(makeBlock(), 3));
  ASSERT_EQ(receive(), State::Open);
  shown->close();
  receiver->setMinimumEpoch(4);
  sender->setEpoch(4);
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 3);
}

TEST_F(PicturesTest, StayUntilTheNextProcessSendsOne) {
  put(std::make_shared<Decoded>(makeBlock(), 1));
  ASSERT_EQ(receive(), State::Open);
  std::vector<int> changes;
  shown->setWakeup([&] { changes.push_back(shownByte()); });
  sender.reset();
  EXPECT_EQ(receive(), State::ClosedByWriter);
  receiver.reset();
  decoded->close();
  connect();
  sender->setEpoch(2);
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(shownByte(), 1) << "no new picture yet";
  ticket = decoded->open();
  put(std::make_shared<Decoded>(makeBlock(), 2));
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(changes, std::vector<int>{2});
  shown->setWakeup(nullptr);
}

TEST_F(PicturesTest, ReuseBufferIndices) {
  std::vector<std::shared_ptr<frames::SharedBuffer>> memories;
  for (std::size_t count = 0; count < frames::kFilmBuffers + 10; ++count)
    memories.push_back(makeBlock());
  for (int round = 0; round < 2; ++round) {
    for (std::size_t index = 0; index < memories.size(); ++index) {
      put(std::make_shared<Decoded>(memories[index], static_cast<std::uint8_t>(index)));
      ASSERT_EQ(receive(), State::Open) << receiver->reason();
      ASSERT_EQ(shownByte(), static_cast<int>(index));
      ASSERT_TRUE(sender->read());
    }
  }
}

TEST_F(PicturesTest, AreUnmappedWhenTheirMemoryIsFreed) {
  const auto mappings = [] {
    std::ifstream file("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(file, line);)
      if (line.find("memfd:vorlane-frames") != std::string::npos) ++count;
    return count;
  };
  const auto last = makeBlock();
  put(std::make_shared<Decoded>(last, 1));
  for (int count = 0; count < 10; ++count) {
    put(std::make_shared<Decoded>(makeBlock(), 2));
    ASSERT_EQ(receive(), State::Open);
    ASSERT_TRUE(sender->read());
  }
  put(std::make_shared<Decoded>(last, 3));
  ASSERT_EQ(receive(), State::Open);
  ASSERT_TRUE(sender->read());
  put(std::make_shared<Decoded>(last, 4));
  ASSERT_EQ(receive(), State::Open);
  EXPECT_EQ(mappings(), 2) << "one at each end";
}

TEST_F(PicturesTest, WorkBetweenThreads) {
  constexpr int kPictures = 250;
  std::thread process([&] {
    for (int number = 1; number <= kPictures; ++number) {
      put(std::make_shared<Decoded>(makeBlock(), static_cast<std::uint8_t>(number)));
      sender->read();
    }
    // The last picture is sent after enough others have been released.
    while (waitFor(sender->descriptor()) && sender->read()) {
    }
  });
  while (shownByte() != kPictures && waitFor(receiver->descriptor()))
    EXPECT_EQ(receive(), State::Open) << receiver->reason();
  EXPECT_EQ(shownByte(), kPictures);
  shown->close();
  receiver.reset();
  process.join();
}

/// Messages of a compromised media process.
TEST_F(PicturesTest, FromACompromisedProcessAreRejected) {
  const auto picture = [](std::uint64_t sequence, std::uint32_t index = 0) {
    frames::FilmMessage message;
    static_cast<frames::FrameMessage&>(message) = pictureMessage(sequence, index);
    return message;
  };
  const FileDescriptor memory = makeMemory(kBytes, true);
  const FileDescriptor shrinkable = makeMemory(kBytes, false);
  const FileDescriptor large = makeMemory(VORLANE_FRAMES_MAXIMUM_BYTES, true);
  const int good = memory.get();
  using Change = std::function<void(frames::FilmMessage&)>;
  const auto refused = [&](Change change) {
    return [&, change = std::move(change)](RawWriter& to) {
      frames::FilmMessage message = picture(1);
      change(message);
      to.send(frames::encode(message), {good});
    };
  };
  struct Case {
    const char* name;
    State expected;
    std::function<void(RawWriter&)> send;
    int byte = -1;
  };
  const Case cases[]{
      {"memory that can shrink", State::Broken,
       [&](RawWriter& to) { to.send(frames::encode(picture(1)), {shrinkable.get()}); }},
      {"buffer index out of range", State::Broken,
       [&](RawWriter& to) { to.send(frames::encode(picture(1, 64)), {good}); }},
      {"memory limit exceeded", State::Broken,
       [&](RawWriter& to) {
         for (std::uint32_t index = 0; index < 17; ++index)
           to.send(frames::encode(picture(index + 1, index)), {large.get()});
       }},
      {"last buffer index", State::Open,
       [&](RawWriter& to) { to.send(frames::encode(picture(1, 63)), {good}); }, 0},
      {"buffer that was removed", State::Broken,
       [&](RawWriter& to) {
         to.send(frames::encode(picture(1)), {good});
         frames::FilmMessage next = picture(2);
         next.gone = 1;
         to.send(frames::encode(next));
       }},
      {"descriptor without a picture", State::Broken,
       [&](RawWriter& to) {
         frames::FilmMessage none = picture(1);
         none.kind = frames::FilmMessage::Kind::None;
         to.send(frames::encode(none), {good});
       }},
      {"version 1", State::Broken,
       [&](RawWriter& to) { to.send(frames::encode(pictureMessage(1)), {good}); }},
      {"plane beyond the end", State::Open,
       refused([](auto& message) { message.layout.offsets[1] += 1; })},
      {"rows beyond the end", State::Open, refused([](auto& message) { message.height = 8192; })},
      {"invalid pixel aspect", State::Open,
       refused([](auto& message) { message.aspectNumerator = 0; })},
      {"rotation by 1", State::Open, refused([](auto& message) { message.rotation = 1; })},
  };
  for (const Case& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    shown->close();
    auto sockets = makeSockets();
    RawWriter writer(std::move(sockets[0]));
    PictureReceiver reader(std::move(sockets[1]), shown, {});
    testCase.send(writer);
    State state = State::Open;
    for (int count = 0; count < 3 && state == State::Open; ++count) state = reader.read();
    EXPECT_EQ(state, testCase.expected) << reader.reason();
    if (testCase.expected == State::Open) {
      EXPECT_EQ(shownByte(), testCase.byte);
    }
  }
  EXPECT_GE(box.logCount("do not fit their buffer"), 4U);
}

}  // namespace
}  // namespace box::test
