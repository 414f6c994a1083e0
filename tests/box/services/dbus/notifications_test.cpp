#include "box/services/dbus/Notifications.h"

#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using platform::Dictionary;
using testing_dbus::Client;
using testing_dbus::DBusServerFixture;

/// A server with the notification services that use it.
class Notifications : public DBusServerFixture {
 protected:
  /// The signals that a peer has received, in order, as "MEMBER NAME", and their sender.
  struct Received {
    std::vector<std::string> lines;
    std::vector<Dictionary> infos;
    std::string sender;
  };

  Notifications() { openServer(); }
  ~Notifications() override {
    onMain([&] {
      system.reset();
      distributed.reset();
    });
  }
  /// Creates the services on the main thread.
  void make() {
    onMain([&] {
      system = std::make_unique<box::SystemNotifications>(mainQueue, *server);
      distributed = std::make_unique<box::DistributedNotifications>(*server);
    });
  }

  static int receive(sd_bus_message* message, void* data, sd_bus_error*) {
    auto& received = *static_cast<Received*>(data);
    box::ValueReader reader(message);
    std::string name;
    Dictionary info;
    reader.readString(name);
    if (sd_bus_message_at_end(message, 0) == 0) reader.readDictionary(info);
    if (const char* sender = sd_bus_message_get_sender(message)) received.sender = sender;
    received.lines.push_back(std::string(sd_bus_message_get_member(message)) + " " + name);
    received.infos.push_back(info);
    return 0;
  }
  /// Returns a client that receives every signal of the server.
  std::unique_ptr<Client> listener(Received& received) {
    auto peer = client();
    sd_bus_match_signal(peer->bus(), nullptr, nullptr, Client::kPath, nullptr, nullptr, receive,
                        &received);
    peer->ready();
    return peer;
  }
  static void receiveUntil(Client& peer, const Received& received, std::size_t count) {
    while (received.lines.size() < count) {
      const int processed = sd_bus_process(peer.bus(), nullptr);
      ASSERT_GE(processed, 0);
      if (processed == 0) {
        ASSERT_GT(sd_bus_wait(peer.bus(), 1000ULL * testing_dbus::kPatienceMilliseconds), 0)
            << received.lines.size() << " of " << count;
      }
    }
  }
  std::unique_ptr<box::SystemNotifications> system;
  std::unique_ptr<box::DistributedNotifications> distributed;
};

TEST_F(Notifications, AreSentToEveryPeerInOrderWithTheEvents) {
  make();
  Received first;
  Received second;
  const auto one = listener(first);
  const auto other = listener(second);
  const Dictionary info{{"elapsed", 1.5}, {"title", "Grüße"}};
  onMain([&] {
    EXPECT_TRUE(system->post("a"));
    post("playing");
    distributed->post("b", info);
    EXPECT_TRUE(system->post("a"));
  });
  const std::vector<std::string> expected{"Posted a", "Event playing", "Distributed b", "Posted a"};
  for (auto [peer, received] : {std::pair(one.get(), &first), std::pair(other.get(), &second)}) {
    ASSERT_NO_FATAL_FAILURE(receiveUntil(*peer, *received, expected.size()));
    EXPECT_EQ(received->lines, expected);
    EXPECT_EQ(received->infos[2], info);
    EXPECT_EQ(received->sender, ":1.0") << "some clients ignore signals without a sender";
  }
}

TEST_F(Notifications, HaveAStateThatPeersCanRead) {
  make();
  const auto peer = client();
  EXPECT_EQ(peer->notificationState("a"), 0U);
  onMain([&] {
    const auto token = system->registerStateToken("a");
    const auto other = system->registerStateToken("b");
    ASSERT_TRUE(token && other);
    EXPECT_NE(*token, *other);
    EXPECT_TRUE(system->setState(*token, 1));
    EXPECT_TRUE(system->setState(*token, 0xFFFFFFFFFFFFFFFF));
    EXPECT_TRUE(system->setState(*other, 2));
    EXPECT_FALSE(system->setState(-1, 3));
    EXPECT_FALSE(system->setState(*other + 1, 3));
  });
  EXPECT_EQ(peer->notificationState("a"), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(peer->notificationState("b"), 2U);
}

TEST_F(Notifications, CallObserversInThisProcessInALaterTask) {
  make();
  std::vector<std::string> received;
  platform::Token kept;
  onMain([&] {
    kept = system->addObserver("a", [&] {
      EXPECT_TRUE(mainQueue.isCurrent());
      received.emplace_back("kept");
    });
    platform::Token dropped = system->addObserver("a", [&] { received.emplace_back("dropped"); });
    system->post("a");
    system->post("b");
    EXPECT_TRUE(received.empty()) << "observers are called asynchronously";
    dropped = {};
  });
  onMain([&] { kept = {}; });
  EXPECT_EQ(received, std::vector<std::string>{"kept"});
}

TEST_F(Notifications, DoNotBlockWhileACallRuns) {
  make();
  Received received;
  const auto peer = listener(received);
  std::promise<void> called;
  std::promise<void> released;
  delegate->whileCalled = [&] {
    called.set_value();
    released.get_future().wait();
  };
  const auto caller = client();
  caller->send("ShowProgress");
  called.get_future().wait();
  // The server's thread is serving a call.
  onMain([&] { EXPECT_TRUE(system->post("a")); });
  released.set_value();
  ASSERT_NO_FATAL_FAILURE(receiveUntil(*peer, received, 1));
  EXPECT_EQ(received.lines, std::vector<std::string>{"Posted a"});
}

TEST_F(Notifications, FailAfterTheServerIsClosed) {
  make();
  onMain([&] {
    server->close();
    EXPECT_FALSE(system->post("a"));
    distributed->post("b", {});
  });
}

}  // namespace
