#include <fstream>

#include <sys/stat.h>

#include "box/services/door/DoorSocket.h"
#include "tests/box/services/door/DoorFixture.h"

namespace {

using testing_door::Client;
using testing_door::connectTo;
using testing_door::DoorFixture;
using testing_door::isClosedByPeer;

class DoorSocket : public DoorFixture {
 protected:
  std::optional<std::string> failure() const {
    return door->error() ? door->error()->localizedDescription : std::nullopt;
  }
};

TEST_F(DoorSocket, MakesItsFolderAndRemovesItsFile) {
  options.socketPath = folder + "/deeper/receiver.sock";
  openDoor();
  ASSERT_FALSE(door->error());
  struct stat made {};
  ASSERT_EQ(stat((folder + "/deeper").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0700U);
  ASSERT_EQ(stat(options.socketPath.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0600U);

  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").error, "");
  onMain([&] { door->close(); });
  EXPECT_FALSE(std::filesystem::exists(options.socketPath));
  EXPECT_TRUE(isClosedByPeer(sd_bus_get_fd(peer->bus())));
  queue->sync([&] { door->postEvent("late", {}); });
}

TEST_F(DoorSocket, ReplacesAFileThatNobodyAnswers) {
  {
    box::DoorSocket dead;
    ASSERT_TRUE(dead.open(options.socketPath, nullptr));
    dead.descriptor().reset();
    // The file stays: its owner died without removing it.
    std::filesystem::rename(options.socketPath, folder + "/kept");
  }
  std::filesystem::rename(folder + "/kept", options.socketPath);
  openDoor();
  EXPECT_FALSE(door->error());
  EXPECT_EQ(client()->getProperty("x").error, "");
}

TEST_F(DoorSocket, LeavesAnotherProcessAlone) {
  box::DoorSocket other;
  ASSERT_TRUE(other.open(options.socketPath, nullptr));
  openDoor();
  EXPECT_EQ(failure(), "Another process answers at " + options.socketPath);
  EXPECT_EQ(lines("Another process answers at "), 1);
  onMain([&] { door->close(); });
  EXPECT_TRUE(std::filesystem::exists(options.socketPath)) << "it is the other's";
  queue->sync([&] { door->postEvent("event", {}); });
}

TEST_F(DoorSocket, SaysWhyItCannotBeOpened) {
  std::ofstream(folder + "/file") << "precious";
  const struct {
    std::string path;
    std::string failure;
  } cases[] = {
      {folder + "/" + std::string(200, 'x'), "is too long"},
      {folder + "/file", "is not a socket"},
      {folder + "/file/receiver.sock", "Not a directory"},
      {folder + "/no/such/receiver.sock", "cannot be made"},
  };
  for (const auto& one : cases) {
    std::optional<platform::Error> error;
    box::DoorSocket socket;
    EXPECT_FALSE(socket.open(one.path, &error));
    ASSERT_TRUE(error && error->localizedDescription) << one.path;
    EXPECT_NE(error->localizedDescription->find(one.failure), std::string::npos)
        << *error->localizedDescription;
  }
  EXPECT_EQ(std::filesystem::file_size(folder + "/file"), 8U);
}

TEST_F(DoorSocket, DefaultFollowsTheRuntimeFolder) {
  const char* const before = getenv("XDG_RUNTIME_DIR");
  const std::string kept = before ? before : "";
  setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  EXPECT_EQ(box::Door::defaultSocketPath(), folder + "/tvvorlane/receiver.sock");
  before ? setenv("XDG_RUNTIME_DIR", kept.c_str(), 1) : unsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
