#include <fstream>

#include <sys/stat.h>

#include "box/services/dbus/DBusServerSocket.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using testing_dbus::Client;
using testing_dbus::connectTo;
using testing_dbus::DBusServerFixture;
using testing_dbus::isClosedByPeer;

class DBusServerSocket : public DBusServerFixture {
 protected:
  std::optional<std::string> failure() const {
    return server->error() ? server->error()->localizedDescription : std::nullopt;
  }
};

TEST_F(DBusServerSocket, CreatesTheFolderAndRemovesTheFile) {
  options.socketPath = folder + "/deeper/receiver.sock";
  openServer();
  ASSERT_FALSE(server->error());
  struct stat made {};
  ASSERT_EQ(stat((folder + "/deeper").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0700U);
  ASSERT_EQ(stat(options.socketPath.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0600U);

  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").error, "");
  onMain([&] { server->close(); });
  EXPECT_FALSE(std::filesystem::exists(options.socketPath));
  EXPECT_TRUE(isClosedByPeer(sd_bus_get_fd(peer->bus())));
  queue->sync([&] { server->postEvent("late", {}); });
}

TEST_F(DBusServerSocket, ReplacesAStaleFile) {
  {
    box::DBusServerSocket dead;
    ASSERT_TRUE(dead.open(options.socketPath, nullptr));
    dead.descriptor().reset();
    // Keep the file, as after a crash of its owner.
    std::filesystem::rename(options.socketPath, folder + "/kept");
  }
  std::filesystem::rename(folder + "/kept", options.socketPath);
  openServer();
  EXPECT_FALSE(server->error());
  EXPECT_EQ(client()->getProperty("x").error, "");
}

TEST_F(DBusServerSocket, DoesNotReplaceTheFileOfARunningProcess) {
  box::DBusServerSocket other;
  ASSERT_TRUE(other.open(options.socketPath, nullptr));
  openServer();
  EXPECT_EQ(failure(), "Another process listens on " + options.socketPath);
  EXPECT_EQ(lines("Another process listens on "), 1);
  onMain([&] { server->close(); });
  EXPECT_TRUE(std::filesystem::exists(options.socketPath)) << "the other process owns it";
  queue->sync([&] { server->postEvent("event", {}); });
}

TEST_F(DBusServerSocket, ReportsWhyItCannotBeOpened) {
  std::ofstream(folder + "/file") << "precious";
  const struct {
    std::string path;
    std::string failure;
  } cases[] = {
      {folder + "/" + std::string(200, 'x'), "is too long"},
      {folder + "/file", "is not a socket"},
      {folder + "/file/receiver.sock", "Not a directory"},
      {folder + "/no/such/receiver.sock", "Cannot create the folder"},
  };
  for (const auto& one : cases) {
    std::optional<platform::Error> error;
    box::DBusServerSocket socket;
    EXPECT_FALSE(socket.open(one.path, &error));
    ASSERT_TRUE(error && error->localizedDescription) << one.path;
    EXPECT_NE(error->localizedDescription->find(one.failure), std::string::npos)
        << *error->localizedDescription;
  }
  EXPECT_EQ(std::filesystem::file_size(folder + "/file"), 8U);
}

TEST_F(DBusServerSocket, DefaultPathIsInTheRuntimeFolder) {
  const char* const before = getenv("XDG_RUNTIME_DIR");
  const std::string kept = before ? before : "";
  setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  EXPECT_EQ(box::DBusServer::defaultSocketPath(), folder + "/tvvorlane/receiver.sock");
  before ? setenv("XDG_RUNTIME_DIR", kept.c_str(), 1) : unsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
