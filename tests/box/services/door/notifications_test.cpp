#include "box/services/door/Notifications.h"

#include "tests/box/services/door/DoorFixture.h"

namespace {

using platform::Dictionary;
using testing_door::Client;
using testing_door::DoorFixture;

/// A door with the services that post through it.
class Notifications : public DoorFixture {
 protected:
  /// What a peer hears, in order, with the name of the signal in front; and the sender it names.
  struct Heard {
    std::vector<std::string> lines;
    std::vector<Dictionary> infos;
    std::string sender;
  };

  Notifications() { openDoor(); }
  ~Notifications() override {
    onMain([&] {
      system.reset();
      distributed.reset();
    });
  }
  /// Their posts run on the main thread, as the application's do.
  void make() {
    onMain([&] {
      system = std::make_unique<box::SystemNotifications>(mainQueue, *door);
      distributed = std::make_unique<box::DistributedNotifications>(*door);
    });
  }

  static int hear(sd_bus_message* message, void* data, sd_bus_error*) {
    auto& heard = *static_cast<Heard*>(data);
    box::ValueReader reader(message);
    std::string name;
    Dictionary info;
    reader.readString(name);
    if (sd_bus_message_at_end(message, 0) == 0) reader.readDictionary(info);
    if (const char* sender = sd_bus_message_get_sender(message)) heard.sender = sender;
    heard.lines.push_back(std::string(sd_bus_message_get_member(message)) + " " + name);
    heard.infos.push_back(info);
    return 0;
  }
  /// Every signal of the door.
  std::unique_ptr<Client> listener(Heard& heard) {
    auto peer = client();
    sd_bus_match_signal(peer->bus(), nullptr, nullptr, Client::kPath, nullptr, nullptr, hear,
                        &heard);
    peer->ready();
    return peer;
  }
  static void hearUntil(Client& peer, const Heard& heard, std::size_t count) {
    while (heard.lines.size() < count) {
      const int processed = sd_bus_process(peer.bus(), nullptr);
      ASSERT_GE(processed, 0);
      if (processed == 0) {
        ASSERT_GT(sd_bus_wait(peer.bus(), 1000ULL * testing_door::kPatienceMilliseconds), 0)
            << heard.lines.size() << " of " << count;
      }
    }
  }
  std::unique_ptr<box::SystemNotifications> system;
  std::unique_ptr<box::DistributedNotifications> distributed;
};

TEST_F(Notifications, GoToEveryPeerInOrderWithTheEvents) {
  make();
  Heard first;
  Heard second;
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
  for (auto [peer, heard] : {std::pair(one.get(), &first), std::pair(other.get(), &second)}) {
    ASSERT_NO_FATAL_FAILURE(hearUntil(*peer, *heard, expected.size()));
    EXPECT_EQ(heard->lines, expected);
    EXPECT_EQ(heard->infos[2], info);
    EXPECT_EQ(heard->sender, ":1.0") << "some clients pass on no signal without a sender";
  }
}

TEST_F(Notifications, HaveAStateForWhoComesLater) {
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

TEST_F(Notifications, ReachObserversOfThisProcessOnTheNextTurn) {
  make();
  std::vector<std::string> heard;
  platform::Token kept;
  onMain([&] {
    kept = system->addObserver("a", [&] {
      EXPECT_TRUE(mainQueue.isCurrent());
      heard.emplace_back("kept");
    });
    platform::Token dropped = system->addObserver("a", [&] { heard.emplace_back("dropped"); });
    system->post("a");
    system->post("b");
    EXPECT_TRUE(heard.empty()) << "not inside the post";
    dropped = {};
  });
  onMain([&] { kept = {}; });
  EXPECT_EQ(heard, std::vector<std::string>{"kept"});
}

TEST_F(Notifications, WaitForNobody) {
  make();
  Heard heard;
  const auto peer = listener(heard);
  std::promise<void> called;
  std::promise<void> released;
  delegate->whileCalled = [&] {
    called.set_value();
    released.get_future().wait();
  };
  const auto caller = client();
  caller->send("ShowProgress");
  called.get_future().wait();
  // The door's thread is inside a call.
  onMain([&] { EXPECT_TRUE(system->post("a")); });
  released.set_value();
  ASSERT_NO_FATAL_FAILURE(hearUntil(*peer, heard, 1));
  EXPECT_EQ(heard.lines, std::vector<std::string>{"Posted a"});
}

TEST_F(Notifications, AreOverWithTheDoor) {
  make();
  onMain([&] {
    door->close();
    EXPECT_FALSE(system->post("a"));
    distributed->post("b", {});
  });
}

}  // namespace
