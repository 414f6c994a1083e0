#include "receivers/upnp/model/Transport.h"

#include "tests/receivers/upnp/model/TransportFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using upnp::Error;
using upnp::Failure;

using UpnpTransport = TransportFixture;

TEST_F(UpnpTransport, StatesFollowTheEventsOfTheBox) {
  EXPECT_EQ(state(), "NO_MEDIA_PRESENT");
  EXPECT_EQ(transport.setUri(item("http://a/1.mp4")), std::nullopt);
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_EQ(transport.play("1"), std::nullopt);
  EXPECT_EQ(state(), "TRANSITIONING");
  box.answer();
  EXPECT_EQ(state(), "TRANSITIONING") << "the session is on the screen, but nothing plays";
  EXPECT_THAT(box.published, ElementsAre("http://a/1.mp4"));
  box.playback = playbackOf(0);
  post("loading");
  EXPECT_EQ(state(), "TRANSITIONING");
  postPlaying(playbackOf(0, 0, 7));
  EXPECT_EQ(state(), "PLAYING");
  EXPECT_EQ(changes.value("CurrentTrackDuration"), "0:00:07");
  EXPECT_EQ(transport.pause(), std::nullopt);
  EXPECT_EQ(state(), "PLAYING");
  post("paused");
  EXPECT_EQ(state(), "PAUSED_PLAYBACK");
  EXPECT_EQ(transport.play("1"), std::nullopt);
  EXPECT_EQ(state(), "PAUSED_PLAYBACK");
  postPlaying(playbackOf(0));
  EXPECT_EQ(state(), "PLAYING");
  EXPECT_EQ(transport.stop(), std::nullopt);
  EXPECT_EQ(state(), "PLAYING");
  box.answerAll();
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_THAT(box.calls, ElementsAre("start 1 http://a/1.mp4", "pause", "resume", "stop 1"));
}

TEST_F(UpnpTransport, ActionsFailWithTheCodesOfTheStandard) {
  const struct {
    const char* name;
    std::function<Failure(upnp::Transport&)> run;
    Error error;
    bool isPlaying = false;
  } cases[] = {
      {"play nothing", [](auto& it) { return it.play("1"); }, Error::TransitionNotAvailable},
      {"stop nothing", [](auto& it) { return it.stop(); }, Error::TransitionNotAvailable},
      {"pause nothing", [](auto& it) { return it.pause(); }, Error::TransitionNotAvailable},
      {"seek nothing", [](auto& it) { return it.seek("REL_TIME", "0:00:01"); },
       Error::TransitionNotAvailable},
      {"next of nothing", [](auto& it) { return it.next(); }, Error::TransitionNotAvailable},
      {"next item of nothing", [](auto& it) { return it.setNextUri(item("http://a/b")); },
       Error::TransitionNotAvailable},
      {"speed", [](auto& it) { return it.play("2"); }, Error::PlaySpeedNotSupported, true},
      {"mode", [](auto& it) { return it.setPlayMode("SHUFFLE"); }, Error::PlayModeNotSupported},
      {"no next", [](auto& it) { return it.next(); }, Error::IllegalSeekTarget, true},
      {"unit", [](auto& it) { return it.seek("X_FRAME", "3"); }, Error::SeekModeNotSupported, true},
      {"time", [](auto& it) { return it.seek("REL_TIME", "soon"); }, Error::IllegalSeekTarget,
       true},
      {"behind the end", [](auto& it) { return it.seek("ABS_TIME", "0:01:41"); },
       Error::IllegalSeekTarget, true},
      {"track", [](auto& it) { return it.seek("TRACK_NR", "2"); }, Error::IllegalSeekTarget, true},
      {"scheme", [](auto& it) { return it.setUri(item("file:///etc/passwd")); },
       Error::ResourceNotFound},
      {"control", [](auto& it) { return it.setUri(item("http://a/\nb")); },
       Error::ResourceNotFound},
      {"long URI", [](auto& it) { return it.setUri(item("http://a/" + std::string(65536, 'x'))); },
       Error::InvalidArgs},
      {"long next URI",
       [](auto& it) { return it.setNextUri(item("http://a/" + std::string(65536, 'x'))); },
       Error::InvalidArgs, true},
      {"picture", [](auto& it) { return it.setUri(item("http://a/b.JPG?size=1")); },
       Error::IllegalMimeType},
      {"picture by type",
       [](auto& it) {
         auto picture = item("http://a/b");
         picture.mimeType = "image/png";
         return it.setUri(picture);
       },
       Error::IllegalMimeType},
      {"long metadata",
       [](auto& it) {
         auto described = item("http://a/b");
         described.metadata.assign(300 * 1024, 'x');
         return it.setUri(described);
       },
       Error::InvalidArgs},
  };
  for (const bool isPlaying : {false, true}) {
    if (isPlaying) playFirst();
    for (const auto& each : cases) {
      if (each.isPlaying != isPlaying) continue;
      EXPECT_EQ(each.run(transport), Failure(each.error)) << each.name;
    }
  }
  EXPECT_THAT(box.calls, IsEmpty());
  box.connected = false;
  EXPECT_EQ(transport.stop(), std::nullopt);
  EXPECT_EQ(transport.play("1"), Failure(Error::ActionFailed));
}

TEST_F(UpnpTransport, VideoNamedLikeAPictureIsPlayedByItsType) {
  auto video = item("http://a/b.jpg");
  video.mimeType = "video/mp4";
  EXPECT_EQ(transport.setUri(video), std::nullopt);
}

TEST_F(UpnpTransport, FailedStartIsStoppedWithAnError) {
  transport.setUri(item("http://a/1.mp4"));
  transport.play("1");
  box.answer("status -6700");
  EXPECT_EQ(state(), "TRANSITIONING");
  box.answerAll();
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_EQ(status(), "ERROR_OCCURRED");
  EXPECT_THAT(log, ElementsAre(HasSubstr("status -6700")));
  transport.play("1");
  EXPECT_EQ(status(), "OK");
}

TEST_F(UpnpTransport, FailedItemIsStoppedWithAnErrorAndLeavesTheScreenLater) {
  playFirst();
  box.playback->error = "TVSURLErrorDomain 404";
  post("stopped", 1);
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_EQ(status(), "ERROR_OCCURRED");
  EXPECT_THAT(log, ElementsAre(HasSubstr("404")));
  EXPECT_EQ(saved.session, 1U);
  clock.advance(std::chrono::seconds(9));
  EXPECT_THAT(box.calls, IsEmpty());
  clock.advance(std::chrono::seconds(1));
  EXPECT_THAT(box.calls, ElementsAre("stop 1"));
  EXPECT_EQ(saved.session, 0U);
}

TEST_F(UpnpTransport, EndedItemCanBePlayedAgainByTheViewerOrTheController) {
  for (const bool isViewer : {true, false}) {
    playFirst();
    post("stopped", isViewer ? 1 : 2);
    EXPECT_EQ(state(), "STOPPED");
    EXPECT_EQ(changes.value("CurrentTrackDuration"), "0:01:40");
    EXPECT_EQ(status(), "OK");
    clock.advance(std::chrono::seconds(2));
    if (isViewer) {
      postPlaying(playbackOf(0));
      clock.advance(std::chrono::seconds(60));
      EXPECT_EQ(state(), "PLAYING");
      EXPECT_THAT(box.takeCalls(), IsEmpty());
      transport.stop();
      box.answerAll();
      box.takeCalls();
      box.uuids.clear();
    } else {
      transport.play("1");
      EXPECT_THAT(box.calls, ElementsAre("start 3 http://a/1.mp4", "stop 2"))
          << "the new session takes the screen over before the old one ends";
    }
  }
}

TEST_F(UpnpTransport, ViewerLeavesTheFilm) {
  playFirst();
  post("userStop", 1, true);
  EXPECT_THAT(box.calls, ElementsAre("stop 1"));
  post("stopped", 1, true);
  box.answerAll();
  EXPECT_EQ(state(), "STOPPED");
  EXPECT_EQ(status(), "OK");
  EXPECT_THAT(box.takeCalls(), ElementsAre("stop 1"));
  EXPECT_EQ(saved.session, 0U);
}

TEST_F(UpnpTransport, NewItemPlaysAtOnceInTheStateOfTheOldOne) {
  playFirst();
  transport.setUri(item("http://a/2.mp4"));
  EXPECT_THAT(box.takeCalls(), ElementsAre("start 2 http://a/2.mp4", "stop 1"));
  EXPECT_EQ(state(), "TRANSITIONING");
  box.answerAll();
  postPlaying(playbackOf(0));
  EXPECT_EQ(state(), "TRANSITIONING") << "an event of the old item";
  post("stopped", 1);
  EXPECT_EQ(state(), "TRANSITIONING");
  box.playback = playbackOf(1);
  postPlaying(*box.playback);
  EXPECT_EQ(state(), "PLAYING");
  post("paused");
  transport.setUri(item("http://a/3.mp4"));
  EXPECT_THAT(box.takeCalls(), ElementsAre("start 3 http://a/3.mp4 paused", "stop 2"));
  transport.setUri({});
  EXPECT_EQ(state(), "NO_MEDIA_PRESENT");
  box.answerAll();
  EXPECT_EQ(state(), "NO_MEDIA_PRESENT");
  EXPECT_THAT(box.takeCalls(), ElementsAre("stop 3"));
}

TEST_F(UpnpTransport, SeeksNowOrStartsAtThePosition) {
  transport.setUri(item("http://a/1.mp4"));
  EXPECT_EQ(transport.seek("REL_TIME", "1:02:03.5"), std::nullopt);
  EXPECT_EQ(position(), 3723.5);
  transport.play("1");
  EXPECT_THAT(box.takeCalls(), ElementsAre("start 1 http://a/1.mp4 at 3723"));
  EXPECT_EQ(transport.seek("ABS_TIME", "0:00:10"), std::nullopt);
  EXPECT_EQ(transport.seek("TRACK_NR", "1"), std::nullopt);
  EXPECT_THAT(box.takeCalls(), ElementsAre("seek 10", "seek 0"));
}

TEST_F(UpnpTransport, PositionIsTheBoxs) {
  playFirst();
  box.playback->position = 12;
  EXPECT_EQ(position(), 12);
  // A stale item has another position.
  const upnp::Playback other{.uuid = "tvvorlane-upnp:old",
                             .isReady = true,
                             .position = 90,
                             .duration = 0,
                             .rate = 1,
                             .error = {}};
  box.playback = other;
  EXPECT_EQ(position(), 12);
}

TEST_F(UpnpTransport, PositionIsReadOnceForAllAndAnsweredInASecond) {
  playFirst();
  box.answersReads = false;
  std::vector<double> read;
  for (int count = 0; count < 3; ++count) {
    transport.readPosition([&](double now) { read.push_back(now); });
  }
  EXPECT_EQ(box.waitingReads.size(), 1U);
  box.waitingReads[0](playbackOf(0, 5));
  EXPECT_THAT(read, ElementsAre(5, 5, 5));
  transport.readPosition([&](double now) { read.push_back(now); });
  clock.advance(std::chrono::seconds(1));
  EXPECT_THAT(read, ElementsAre(5, 5, 5, 5)) << "the last known position";
  box.waitingReads[1](playbackOf(0, 9));
  EXPECT_EQ(read.size(), 4U);
}

TEST_F(UpnpTransport, AppliesTheVolumeToItsOwnSessionsOnly) {
  rendering.setVolume(50);
  rendering.setMuted(true);
  EXPECT_THAT(box.calls, IsEmpty());
  transport.setUri(item("http://a/1.mp4"));
  transport.play("1");
  rendering.setVolume(25);
  EXPECT_THAT(box.calls,
              ElementsAre("start 1 http://a/1.mp4 volume 50 muted", "volume 25", "mute"));
  transport.stop();
  box.takeCalls();
  rendering.setVolume(10);
  EXPECT_THAT(box.calls, IsEmpty());
}

}  // namespace
