#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "receivers/upnp/model/Transport.h"
#include "tests/receivers/upnp/model/FakeBox.h"
#include "tests/receivers/upnp/model/VirtualClock.h"

/// A transport over a fake box in virtual time.
class TransportFixture : public ::testing::Test {
 protected:
  static upnp::Item item(const std::string& uri, double duration = 0) {
    upnp::Item made;
    made.uri = uri;
    made.duration = duration;
    return made;
  }
  /// What the box says about the item with this number, in the order of starts and appends.
  upnp::Playback playbackOf(std::size_t number, double position = 0, double duration = 100) const {
    upnp::Playback playback;
    playback.uuid = box.uuids.at(number);
    playback.isReady = true;
    playback.position = position;
    playback.duration = duration;
    playback.rate = 1;
    return playback;
  }
  void postPlaying(const upnp::Playback& playback) {
    upnp::BoxEvent event;
    event.name = "playing";
    event.playback = playback;
    transport.handleEvent(event);
  }
  void post(const std::string& name, std::optional<std::uint32_t> session = {},
            bool isUserExit = false) {
    upnp::BoxEvent event;
    event.name = name;
    event.session = session;
    event.isUserExit = isUserExit;
    transport.handleEvent(event);
  }
  /// Sets and plays an item, until the box plays it in session 1.
  void playFirst(double duration = 100) {
    ASSERT_EQ(transport.setUri(item("http://a/1.mp4")), std::nullopt);
    ASSERT_EQ(transport.play("1"), std::nullopt);
    box.answerAll();
    box.playback = playbackOf(0, 0, duration);
    postPlaying(*box.playback);
    ASSERT_EQ(state(), "PLAYING");
    box.takeCalls();
  }
  std::string state() const { return changes.value("TransportState"); }
  std::string status() const { return changes.value("TransportStatus"); }
  double position() {
    double read = -1;
    transport.readPosition([&](double now) { read = now; });
    return read;
  }

  VirtualClock clock;
  FakeBox box;
  upnp::LastChange changes{clock, "urn:test"};
  upnp::LastChange renderingChanges{clock, "urn:test"};
  upnp::Rendering rendering{renderingChanges};
  upnp::Snapshot saved;
  std::vector<std::string> log;
  int uuidCount = 0;
  upnp::Transport transport{
      box, clock, changes, rendering,
      upnp::Transport::Hooks{
          .save = [this](const upnp::Snapshot& snapshot) { saved = snapshot; },
          .log = [this](const std::string& line) { log.push_back(line); },
          .makeUuid =
              [this] { return std::string(upnp::kUuidPrefix) + std::to_string(++uuidCount); },
          .firstSession = 1}};
};
