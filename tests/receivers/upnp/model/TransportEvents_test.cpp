#include "tests/receivers/upnp/model/TransportFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using UpnpTransportEvents = TransportFixture;

TEST_F(UpnpTransportEvents, AlbumPlaysOnWithoutANewSession) {
  playFirst();
  transport.setNextUri(item("http://a/2.mp3"));
  EXPECT_THAT(box.takeCalls(), ElementsAre("append 1 http://a/2.mp3"));
  box.answerAll();
  upnp::BoxEvent changed;
  changed.name = "currentItemChanged";
  changed.uuid = box.uuids[1];
  transport.handleEvent(changed);
  EXPECT_EQ(changes.value("CurrentTrackURI"), "http://a/2.mp3");
  EXPECT_EQ(changes.value("AVTransportURI"), "http://a/2.mp3");
  EXPECT_EQ(changes.value("NextAVTransportURI"), "");
  EXPECT_EQ(box.published.back(), "http://a/2.mp3");
  postPlaying(playbackOf(1));
  transport.setNextUri(item("http://a/3.mp3"));
  transport.setNextUri(item("http://a/4.mp3"));
  EXPECT_THAT(box.takeCalls(),
              ElementsAre("append 1 http://a/3.mp3", "remove 1", "append 1 http://a/4.mp3"));
  // Some boxes may report the new item with "playing" alone.
  postPlaying(playbackOf(3));
  EXPECT_EQ(changes.value("CurrentTrackURI"), "http://a/4.mp3");
  EXPECT_EQ(saved.current->uuid, box.uuids[3]);
}

TEST_F(UpnpTransportEvents, NextItemThatCameTooLateIsStarted) {
  playFirst();
  transport.setNextUri(item("http://a/2.mp3"));
  box.answer("status -6718");
  box.playback = upnp::Playback();
  post("stopped", 1);
  EXPECT_THAT(box.calls,
              ElementsAre("append 1 http://a/2.mp3", "start 2 http://a/2.mp3", "stop 1"));
  EXPECT_EQ(state(), "TRANSITIONING");
}

TEST_F(UpnpTransportEvents, EndWithoutAnItemOfItsOwnStartsNothing) {
  upnp::Playback other;
  other.uuid = "of-another-service";
  for (const auto& playback : {std::optional(other), std::optional<upnp::Playback>()}) {
    box.uuids.clear();
    playFirst();
    transport.setNextUri(item("http://a/2.mp3"));
    box.takeCalls();
    box.playback = playback;
    post("stopped");
    EXPECT_THAT(box.takeCalls(), ElementsAre(HasSubstr("stop ")));
    box.answerAll();
    EXPECT_EQ(state(), "STOPPED");
  }
}

TEST_F(UpnpTransportEvents, RemoteChangesTheItem) {
  playFirst();
  post("userNext");
  EXPECT_THAT(box.takeCalls(), IsEmpty());
  transport.setNextUri(item("http://a/2.mp4"));
  box.takeCalls();
  post("userNext");
  EXPECT_THAT(box.takeCalls(), ElementsAre("start 2 http://a/2.mp4", "stop 1"));
  post("userPrevious");
  EXPECT_THAT(box.takeCalls(), ElementsAre("start 3 http://a/1.mp4", "stop 2"));
  post("userPrevious");
  EXPECT_THAT(box.takeCalls(), ElementsAre("seek 0"));
}

TEST_F(UpnpTransportEvents, LateAnswersDoNotOverrideLaterEvents) {
  playFirst();
  box.answersReads = false;
  post("loading");
  postPlaying(playbackOf(0));
  ASSERT_EQ(box.waitingReads.size(), 1U);
  box.waitingReads[0](playbackOf(0));
  EXPECT_EQ(state(), "PLAYING");
  post("stopped", 1);
  postPlaying(playbackOf(0));
  box.waitingReads[1](playbackOf(0));
  EXPECT_EQ(state(), "PLAYING") << "the viewer has started it again";
}

TEST_F(UpnpTransportEvents, AnotherReceiverServiceTakesTheScreen) {
  for (const char* event : {"playing", "paused"}) {
    playFirst();
    upnp::Playback other = playbackOf(0);
    other.uuid = "of-another-service";
    if (std::string(event) == "playing") {
      postPlaying(other);
    } else {
      box.playback = other;
      post(event);
    }
    ASSERT_EQ(box.calls.size(), 1U) << event;
    EXPECT_THAT(box.takeCalls()[0], HasSubstr("stop ")) << "only the own session";
    box.answerAll();
    EXPECT_EQ(state(), "STOPPED") << event;
    EXPECT_EQ(transport.pause(), upnp::Failure(upnp::Error::TransitionNotAvailable));
    box.uuids.clear();
  }
}

TEST_F(UpnpTransportEvents, RestartedBoxHasStopped) {
  playFirst();
  const upnp::Snapshot snapshot = transport.handleDisconnected();
  EXPECT_EQ(state(), "STOPPED");
  box.playback = std::nullopt;
  transport.handleConnected(snapshot);
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_EQ(changes.value("AVTransportURI"), "http://a/1.mp4");
  transport.play("1");
  EXPECT_THAT(box.calls, ElementsAre("stop 1", "start 2 http://a/1.mp4"));
}

TEST_F(UpnpTransportEvents, RestartedRendererFindsWhatPlays) {
  const auto track = [](const char* uri, const char* number) {
    return upnp::Track{item(uri), std::string(upnp::kUuidPrefix) + number};
  };
  const upnp::Snapshot snapshot{7, track("http://a/1.mp4", "old1"),
                                track("http://a/2.mp4", "old2")};
  const struct {
    const char* uuid;
    bool isReady;
    double rate;
    const char* state;
    const char* uri;
  } cases[] = {{"old1", true, 1, "PLAYING", "http://a/1.mp4"},
               {"old1", true, 0, "PAUSED_PLAYBACK", "http://a/1.mp4"},
               {"old1", false, 0, "TRANSITIONING", "http://a/1.mp4"},
               {"old2", true, 1, "PLAYING", "http://a/2.mp4"}};
  for (const auto& each : cases) {
    upnp::Playback playback;
    playback.uuid = std::string(upnp::kUuidPrefix) + each.uuid;
    playback.isReady = each.isReady;
    playback.rate = each.rate;
    box.playback = playback;
    transport.handleConnected(snapshot);
    EXPECT_EQ(state(), each.state);
    EXPECT_EQ(changes.value("CurrentTrackURI"), each.uri);
    EXPECT_EQ(transport.stop(), std::nullopt);
    EXPECT_THAT(box.takeCalls(), ElementsAre("stop 7"));
    box.answerAll();
  }
}

}  // namespace
