#include "box/frames/FrameSocket.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frames/vorlane-frames.h"
#include "sim/Box.h"
#include "tests/box/frames/RawWriter.h"
#include "tests/support/RefusedThreads.h"
#include "tests/support/TemporaryFolder.h"

namespace box::test {
namespace {

constexpr int kPatience = 10'000;  // ms

/// A layer with its thread. The test can wait for changes of the picture.
class FrameSocketTest : public testing::Test {
 protected:
  FrameSocketTest() {
    std::optional<platform::Error> error;
    layer = FrameSocket::open(root + "/layers", &error);
    EXPECT_FALSE(error);
    frames = layer->frames();
    frames->setWakeup([this] {
      const std::lock_guard lock(_mutex);
      ++_changes;
      _condition.notify_all();
    });
  }
  ~FrameSocketTest() override {
    frames->setWakeup({});
    layer.reset();
  }

  /// Waits until the picture has changed `count` times in total.
  bool changed(int count) {
    std::unique_lock lock(_mutex);
    return _condition.wait_for(lock, std::chrono::milliseconds(kPatience),
                               [&] { return _changes >= count; });
  }
  /// Connects a writer and checks the result. Returns null on failure.
  vorlane_frames_writer* connect(int expected = VORLANE_FRAMES_OK) const {
    vorlane_frames_writer* writer = nullptr;
    EXPECT_EQ(vorlane_frames_connect(layer->path().c_str(), kPatience, &writer), expected);
    return writer;
  }

  sim::Box box;  // for its log
  const testing_support::TemporaryFolder _temporary;
  const std::string& root = _temporary.path();
  std::shared_ptr<FrameSocket> layer;
  std::shared_ptr<media::VideoFrames> frames;

 private:
  std::mutex _mutex;
  std::condition_variable _condition;
  int _changes = 0;
};

TEST_F(FrameSocketTest, ShowsFramesOfTheWriterLibrary) {
  vorlane_frames_writer* const writer = connect();
  ASSERT_EQ(vorlane_frames_configure(writer, VORLANE_FRAMES_BGRA, 33, 17, 3), VORLANE_FRAMES_OK);
  constexpr int kPictures = 50;
  for (int number = 1; number <= kPictures; ++number) {
    vorlane_frames_buffer buffer;
    ASSERT_EQ(vorlane_frames_acquire(writer, kPatience, &buffer), VORLANE_FRAMES_OK);
    std::memset(buffer.planes[0], number, buffer.size);
    ASSERT_EQ(vorlane_frames_send(writer, &buffer, nullptr), VORLANE_FRAMES_OK);
    ASSERT_TRUE(changed(number));
    const auto frame = frames->latest();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->format, media::VideoFormat::BGRA);
    EXPECT_EQ(frame->width, 33);
    EXPECT_EQ(frame->planes[0].data[16 * frame->planes[0].stride + 4 * 33 - 1], number);
    if (number % 2 == 0) frame->wasShown();
  }
  // Wait until all frames except the latest are released.
  for (auto count = vorlane_frames_count(writer); count.shown + count.skipped < kPictures - 1;
       count = vorlane_frames_count(writer)) {
    vorlane_frames_buffer buffer;
    ASSERT_EQ(vorlane_frames_acquire(writer, kPatience, &buffer), VORLANE_FRAMES_OK);
  }
  const auto count = vorlane_frames_count(writer);
  EXPECT_EQ(count.sent, 50U);
  EXPECT_EQ(count.shown, 24U);
  EXPECT_EQ(count.skipped, 25U);
  vorlane_frames_close(writer);
  ASSERT_TRUE(changed(kPictures + 1));
  EXPECT_FALSE(frames->latest()) << "removed with its writer";
}

TEST_F(FrameSocketTest, AcceptsOneWriterAtATime) {
  vorlane_frames_writer* const first = connect();
  for (int count = 0; count < 3; ++count) EXPECT_EQ(connect(VORLANE_FRAMES_BUSY), nullptr);
  EXPECT_EQ(box.logCount("second writer"), 1U);
  EXPECT_EQ(vorlane_frames_process(first), VORLANE_FRAMES_OK) << "the first is not affected";
  vorlane_frames_close(first);
  vorlane_frames_close(connect());
}

TEST_F(FrameSocketTest, AcceptsAWriterAfterABrokenOne) {
  RawWriter broken = RawWriter::connect(layer->path());
  ASSERT_TRUE(broken.receive());
  const FileDescriptor unsealed = makeMemory(kPictureBytes, false);
  broken.send(pictureMessage(1), {unsealed.get()});
  EXPECT_FALSE(broken.receive());
  EXPECT_EQ(box.logCount("closed the connection: a buffer without size seals"), 1U);

  const FileDescriptor memory = makeMemory(kPictureBytes);
  RawWriter next = RawWriter::connect(layer->path());
  ASSERT_TRUE(next.receive());
  next.send(pictureMessage(1), {memory.get()});
  ASSERT_TRUE(changed(1));
  EXPECT_TRUE(frames->latest());
}

TEST_F(FrameSocketTest, CloseRemovesTheSocketAndKeepsThePicture) {
  const std::string path = layer->path();
  struct stat file {};
  ASSERT_EQ(stat((root + "/layers").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0700U);
  RawWriter writer = RawWriter::connect(path);
  ASSERT_TRUE(writer.receive());
  const FileDescriptor memory = makeMemory(kPictureBytes);
  writer.send(pictureMessage(1), {memory.get()});
  ASSERT_TRUE(changed(1));

  layer->close();
  layer->close();
  EXPECT_NE(stat(path.c_str(), &file), 0);
  EXPECT_NE(stat((root + "/layers").c_str(), &file), 0);
  EXPECT_FALSE(writer.receive()) << "disconnected";
  EXPECT_TRUE(frames->latest());
  EXPECT_EQ(layer->path(), path);
}

void openWithoutAThread() {
  const sim::Box box;  // for its log
  testing_support::refuseThreads();
  const testing_support::TemporaryFolder folder;
  std::optional<platform::Error> error;
  const bool isRefused = !FrameSocket::open(folder.path() + "/layers", &error) && error;
  std::filesystem::remove_all(folder.path());
  std::_Exit(isRefused ? 0 : 1);
}

// Without the fixture, because the child process would not remove the fixture's folder.
TEST(FrameSocketThreadTest, FailsWithoutAThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(openWithoutAThread(), testing::ExitedWithCode(0), "");
}

TEST_F(FrameSocketTest, RequiresAPrivateFolder) {
  const std::string open = root + "/open";
  ASSERT_EQ(mkdir(open.c_str(), 0755), 0);
  const std::string linked = root + "/linked";
  ASSERT_EQ(symlink((root + "/layers").c_str(), linked.c_str()), 0);
  for (const std::string& folder :
       {open, linked, root + "/missing/below", root + "/" + std::string(100, 'x')}) {
    std::optional<platform::Error> error;
    EXPECT_EQ(FrameSocket::open(folder, &error), nullptr) << folder;
    EXPECT_TRUE(error && error->localizedDescription) << folder;
    EXPECT_EQ(FrameSocket::open(folder, nullptr), nullptr);
  }
  // Two layers can share a folder.
  const auto other = FrameSocket::open(root + "/layers", nullptr);
  ASSERT_TRUE(other);
  EXPECT_NE(other->path(), layer->path());
}

}  // namespace
}  // namespace box::test
