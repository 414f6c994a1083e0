#include <chrono>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>

#include "box/services/support/FileDescriptor.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::Bytes;
using platform::Dictionary;
using testing_dbus::Client;
using testing_dbus::connectTo;
using testing_dbus::DBusServerFixture;
using testing_dbus::isClosedByPeer;

class Peers : public DBusServerFixture {};

void writeAll(int descriptor, std::string_view text) {
  ASSERT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

TEST_F(Peers, AreServedOneCallAtATime) {
  openServer();
  std::atomic<int> inside = 0;
  std::atomic<bool> overlapped = false;
  delegate->whileCalled = [&] {
    if (++inside != 1) overlapped = true;
    mainQueue.sync([] {});
    --inside;
  };
  std::vector<std::thread> threads;
  std::atomic<int> answered = 0;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      const auto peer = client();
      for (int call = 0; call < 50; ++call) {
        if (peer->getProperty("x").error.empty()) ++answered;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(answered, 200);
  EXPECT_FALSE(overlapped);
}

TEST_F(Peers, AStalledPeerIsDisconnectedWithoutDelayingOthers) {
  options.maximumQueuedMessages = 20;
  openServer();
  const auto stalled = client();
  stalled->ready();
  const auto reading = client();
  reading->ready();
  // Exceeds the socket buffer (8 MiB) plus the queue.
  const Dictionary large{{"data", Bytes(1 << 20)}};
  const int count = 40;
  for (int number = 0; number < count; ++number) {
    post("event", large);
    const auto event = reading->nextEvent();
    ASSERT_TRUE(event) << number;
  }
  EXPECT_EQ(lines("its outgoing queue is full"), 1);
  EXPECT_TRUE(isClosedByPeer(sd_bus_get_fd(stalled->bus())));
  EXPECT_EQ(reading->getProperty("x").error, "");
}

TEST_F(Peers, AreDisconnectedWhenTheQueueHasTooManyBytes) {
  options.maximumQueuedBytes = 4 << 20;
  openServer();
  const auto stalled = client();
  stalled->ready();
  for (int number = 0; number < 24; ++number) post("event", {{"data", Bytes(1 << 20)}});
  queue->sync([] {});
  EXPECT_EQ(lines("its outgoing queue is full"), 1);
}

TEST_F(Peers, AreDisconnectedWhenTheyDoNotReadReplies) {
  options.maximumQueuedMessages = 10;
  openServer();
  delegate->value = Bytes(1 << 20);
  const auto stalled = client();
  stalled->ready();
  const auto ask = [](sd_bus_message* m) { sd_bus_message_append(m, "sav", "x", 0); };
  for (int number = 0; number < 40; ++number) stalled->send("GetProperty", ask);
  // Connections are served round-robin, so all of its calls have been served by then.
  const auto other = client();
  for (int number = 0; number < 50; ++number) EXPECT_EQ(other->getProperty("x").error, "");
  EXPECT_EQ(lines("its outgoing queue is full"), 1);
  EXPECT_TRUE(isClosedByPeer(sd_bus_get_fd(stalled->bus())));
}

TEST_F(Peers, InvalidDataEndsItsConnectionOnly) {
  // Some cases are valid so far, and end with the authentication timeout.
  options.authenticationLimit = std::chrono::milliseconds(300);
  openServer();
  const auto good = client();
  good->ready();
  const std::string user = std::to_string(geteuid());
  std::string identity;
  for (const char digit : user) identity += std::string("3") + digit;
  const std::string begin = std::string("\0", 1) + "AUTH EXTERNAL " + identity + "\r\nBEGIN\r\n";
  std::string hugeLength =
      begin + std::string("l\1\0\1\xff\xff\xff\xff\1\0\0\0\xff\xff\xff\x7f", 16);
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"http", "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"},
      {"zeros", std::string(4096, '\0')},
      {"another user", std::string("\0", 1) + "AUTH EXTERNAL 3939393939\r\nBEGIN\r\n"},
      {"invalid message", begin + "this is no message of any kind"},
      {"message too long", hugeLength + std::string(64, 'x')},
      {"invalid byte order", begin + std::string("x\1\0\1\0\0\0\0\1\0\0\0\0\0\0\0", 16)},
  };
  for (const auto& one : cases) {
    const auto descriptor = connectTo(options.socketPath);
    ASSERT_TRUE(descriptor);
    writeAll(descriptor.get(), one.bytes);
    EXPECT_TRUE(isClosedByPeer(descriptor.get())) << one.name;
    EXPECT_EQ(good->getProperty("x").error, "") << one.name;
  }
}

TEST_F(Peers, AreDisconnectedWhenAuthenticationTimesOut) {
  options.authenticationLimit = std::chrono::milliseconds(300);
  openServer();
  const auto silent = connectTo(options.socketPath);
  const auto halfway = connectTo(options.socketPath);
  writeAll(halfway.get(), std::string("\0AUTH EXT", 9));
  const auto good = client();
  EXPECT_EQ(good->getProperty("x").error, "");
  EXPECT_TRUE(isClosedByPeer(silent.get()));
  EXPECT_TRUE(isClosedByPeer(halfway.get()));
  EXPECT_EQ(good->getProperty("x").error, "") << "authenticated in time";
  EXPECT_EQ(lines("authentication timed out"), 2);
}

TEST_F(Peers, MayDisconnectDuringACall) {
  openServer();
  std::promise<void> begun;
  std::promise<void> disconnected;
  delegate->whileCalled = [&] {
    begun.set_value();
    disconnected.get_future().wait();
  };
  auto dying = client();
  dying->send("GetProperty", [](sd_bus_message* m) { sd_bus_message_append(m, "sav", "x", 0); });
  begun.get_future().wait();
  dying.reset();
  delegate->whileCalled = nullptr;
  disconnected.set_value();
  EXPECT_EQ(client()->getProperty("x").error, "");
  EXPECT_EQ(delegate->calls().size(), 2U);
}

TEST_F(Peers, MoreThanSixtyFourAreRejected) {
  openServer();
  std::vector<std::unique_ptr<Client>> peers;
  for (int number = 0; number < 64; ++number) {
    peers.push_back(client());
    ASSERT_EQ(peers.back()->getProperty("x").error, "") << number;
  }
  const auto refused = connectTo(options.socketPath);
  EXPECT_TRUE(isClosedByPeer(refused.get()));
  EXPECT_EQ(lines("Rejected a connection: there are 64 already"), 1);

  const int given = sd_bus_get_fd(peers.back()->bus());
  shutdown(given, SHUT_RDWR);
  peers.pop_back();
  // Served after the end of the other connection, which happened first.
  peers.front()->ready();
  EXPECT_EQ(client()->getProperty("x").error, "");
}

TEST_F(Peers, MayDisconnectWhileTheirDescriptorIsCopied) {
  openServer();
  auto leaving = client();
  ASSERT_EQ(leaving->getProperty("x").error, "");
  // As in a child process between fork() and execve().
  std::vector<box::FileDescriptor> copies;
  for (int descriptor = 3; descriptor < 256; ++descriptor)
    if (const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 256); copy >= 0)
      copies.emplace_back(copy);
  // The copies include the client's end, which would keep the connection open.
  shutdown(sd_bus_get_fd(leaving->bus()), SHUT_RDWR);
  leaving.reset();
  for (int call = 0; call < 20; ++call) EXPECT_EQ(client()->getProperty("x").error, "");
}

TEST_F(Peers, OfAnotherUserAreRejected) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  openServer();
  // Bypass the file permissions, so that the server's own check is tested.
  std::filesystem::permissions(folder, std::filesystem::perms::all);
  std::filesystem::permissions(options.socketPath, std::filesystem::perms::all);
  const std::string path = options.socketPath;
  const pid_t child = fork();
  if (child == 0) {
    if (setuid(65534) != 0) _exit(2);
    const auto descriptor = connectTo(path);
    if (!descriptor) _exit(3);
    _exit(isClosedByPeer(descriptor.get()) ? 0 : 4);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(lines("Rejected a connection of user 65534"), 1);
}

}  // namespace
