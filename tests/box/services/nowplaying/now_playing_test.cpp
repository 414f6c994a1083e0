#include <cmath>
#include <span>

#include "platform/foundation/Value.h"
#include "tests/box/services/SystemIntegrationFixture.h"

namespace {

using platform::Dictionary;
using platform::RemoteCommand;
using platform::RemotePlayback;

/// A player that executes commands immediately.
class Player final : public platform::RemoteCommandTarget {
 public:
  void handleRemoteCommand(const RemoteCommand& command) override {
    commands.emplace_back(static_cast<int>(command.kind), command.value);
    using Kind = RemoteCommand::Kind;
    if (command.kind == Kind::Play) playback.state = RemotePlayback::State::Playing;
    if (command.kind == Kind::Pause) playback.state = RemotePlayback::State::Paused;
    playback.rate = playback.state == RemotePlayback::State::Playing ? 1 : 0;
    if (command.kind == Kind::SeekTo) playback.elapsed = command.value;
    if (command.kind == Kind::SkipBy) playback.elapsed += command.value;
    service->remotePlaybackDidChange();
  }
  RemotePlayback remotePlayback() const override { return playback; }

  platform::NowPlayingService* service = nullptr;
  std::vector<std::pair<int, double>> commands;
  RemotePlayback playback{.state = RemotePlayback::State::Paused,
                          .elapsed = 30,
                          .duration = 200,
                          .canSeek = true,
                          .volume = 0.5};
};

class NowPlaying : public testing_system_integration::SystemIntegrationFixture {
 protected:
  void makeWithPlayer() {
    make();
    service().setEligible(true);
    player.service = &service();
    token = service().addRemoteCommandTarget(player);
  }
  box::NowPlaying& service() { return integration->nowPlaying(); }
  std::string playerctl(const std::string& arguments) {
    return run("playerctl --player=tvvorlane " + arguments);
  }
  void untilPlayerctl(const std::string& arguments, const std::string& answer) {
    std::string last;
    until((arguments + " = " + answer).c_str(), [&] {
      last = playerctl(arguments);
      return last == answer;
    });
    EXPECT_EQ(last, answer);
  }
  std::vector<std::string> pictures() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(options.runtimeFolder)) {
      found.push_back(entry.path());
    }
    return found;
  }
  static platform::Value data(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return platform::Bytes(bytes.begin(), bytes.end());
  }
  ~NowPlaying() override { token.reset(); }

  Player player;
  platform::Token token;
};

TEST_F(NowPlaying, WorksWithAnMprisClient) {
  startSession();
  makeWithPlayer();
  service().setNowPlayingInfo({{"TVSNowPlayingTitle", "Grüße"},
                               {"TVSNowPlayingArtist", "Somebody"},
                               {"TVSNowPlayingTrackNumber", 7},
                               {"TVSNowPlayingArtworkData", data("\x89PNG picture")}},
                              0);
  untilPlayerctl("metadata title", "Grüße");
  EXPECT_EQ(playerctl("metadata --format '{{artist}}|{{xesam:trackNumber}}|{{mpris:length}}'"),
            "Somebody|7|200000000");
  EXPECT_EQ(playerctl("status"), "Paused");
  EXPECT_EQ(playerctl("position"), "30.000000");
  EXPECT_EQ(playerctl("volume"), "0.500000");
  const std::string url = playerctl("metadata mpris:artUrl");
  ASSERT_EQ(pictures().size(), 1U);
  EXPECT_EQ(url, "file://" + pictures()[0]);
  EXPECT_TRUE(url.ends_with(".png"));
  std::ifstream file(pictures()[0]);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "\x89PNG picture");

  using Kind = RemoteCommand::Kind;
  const struct {
    const char* arguments;
    Kind kind;
    double value;
  } commands[] = {
      {"play", Kind::Play, 0},
      {"pause", Kind::Pause, 0},
      {"play-pause", Kind::TogglePlayPause, 0},
      {"stop", Kind::Stop, 0},
      {"next", Kind::Next, 0},
      {"previous", Kind::Previous, 0},
      {"position 42.5", Kind::SeekTo, 42.5},
      {"position 10+", Kind::SkipBy, 10},
      {"position 5-", Kind::SkipBy, -5},
      {"volume 0.25", Kind::SetVolume, 0.25},
  };
  for (const auto& one : commands) {
    player.commands.clear();
    EXPECT_EQ(playerctl(one.arguments), "");
    until(one.arguments, [&] { return !player.commands.empty(); });
    ASSERT_EQ(player.commands.size(), 1U) << one.arguments;
    EXPECT_EQ(player.commands[0].first, static_cast<int>(one.kind)) << one.arguments;
    EXPECT_NEAR(player.commands[0].second, one.value, 1e-6) << one.arguments;
  }
  untilPlayerctl("position", "47.500000");
  // A position beyond the end is ignored.
  player.commands.clear();
  playerctl("position 300");
  playerctl("play");
  untilPlayerctl("status", "Playing");
  EXPECT_EQ(player.commands.size(), 1U);

  // A track without artwork, then the end of eligibility.
  service().setNowPlayingInfo({{"TVSNowPlayingTitle", "Other"}}, 1);
  untilPlayerctl("metadata title", "Other");
  EXPECT_TRUE(pictures().empty());
  service().setEligible(false);
  untilPlayerctl("status", "No players found");
}

TEST_F(NowPlaying, SignalsJumpsAndChangesButNoProgress) {
  startSession();
  connect("session");
  std::vector<std::string> received;
  const auto receive = [](sd_bus_message* message, void* list, sd_bus_error*) {
    std::string line = sd_bus_message_get_member(message);
    std::int64_t position = 0;
    const char* text = nullptr;
    if (line == "Seeked" && sd_bus_message_read(message, "x", &position) > 0) {
      line += " " + std::to_string(std::lround(static_cast<double>(position) / 1e6));
    }
    if (line == "PropertiesChanged" && sd_bus_message_read(message, "s", &text) > 0) {
      sd_bus_message_enter_container(message, 'a', "{sv}");
      while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        sd_bus_message_read(message, "s", &text);
        sd_bus_message_skip(message, "v");
        sd_bus_message_exit_container(message);
        line += std::string(" ") + text;
      }
    }
    static_cast<std::vector<std::string>*>(list)->push_back(line);
    return 0;
  };
  ASSERT_GE(sd_bus_match_signal(client, nullptr, nullptr, "/org/mpris/MediaPlayer2", nullptr,
                                nullptr, receive, &received),
            0);
  makeWithPlayer();
  untilPlayerctl("status", "Paused");
  // Each step with all signals that it must cause, in order. The object is published before.
  const struct {
    std::function<void()> step;
    std::vector<std::string> signals;
  } preparations[] = {
      {[&] {
         service().setNowPlayingInfo({{"TVSNowPlayingTitle", "A"}}, 0);
       },
       {"PropertiesChanged Metadata", "Seeked 30"}},
      {[&] { player.handleRemoteCommand({RemoteCommand::Kind::Play}); },
       {"PropertiesChanged PlaybackStatus"}},
      {[&] {
         player.handleRemoteCommand({RemoteCommand::Kind::SeekTo, 100});
       },
       {"Seeked 100"}},
      {[&] {
         player.handleRemoteCommand({RemoteCommand::Kind::SeekTo, 100.1});
       },
       {}},
      {[&] { token.reset(); },
       {"PropertiesChanged PlaybackStatus Metadata Volume CanGoNext CanGoPrevious CanPlay "
        "CanPause CanSeek",
        "Seeked 0"}},
  };
  for (const auto& one : preparations) {
    received.clear();
    one.step();
    until("the signals", [&] {
      while (sd_bus_process(client, nullptr) > 0) {
      }
      return received.size() >= one.signals.size();
    });
    // Two round trips ensure that no other signal follows: tasks and calls of the service thread
    // alternate.
    for (int count = 0; count < 2; ++count) {
      mainQueue.runDue();
      EXPECT_GE(
          sd_bus_call_method(client, "org.mpris.MediaPlayer2.tvvorlane", "/org/mpris/MediaPlayer2",
                             "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr, ""),
          0);
    }
    while (sd_bus_process(client, nullptr) > 0) {
    }
    EXPECT_EQ(received, one.signals);
  }
}

TEST_F(NowPlaying, ExtrapolatesFromTimestampAndRate) {
  box::NowPlaying shown(mainQueue, clock);
  const auto ago = [&](double seconds) {
    return platform::Date{clock.date().secondsSince1970 - seconds};
  };
  const auto position = [&] { return shown.state().positionAt(clock.now()); };
  shown.setPlaybackState(platform::NowPlayingPlaybackState::Playing);
  shown.setNowPlayingInfo({{"TVSNowPlayingElapsedTime", 100.0},
                           {"TVSNowPlayingPlaybackRate", 2.0},
                           {"TVSNowPlayingDuration", 500.0}},
                          0);
  EXPECT_NEAR(position(), 100, 1);
  shown.setNowPlayingInfo(
      {{"TVSNowPlayingElapsedTime", 100.0}, {"TVSNowPlayingTimestamp", ago(10)}}, 0);
  EXPECT_NEAR(position(), 120, 1) << "10 s at twice the speed";
  EXPECT_NEAR(shown.state().positionAt(clock.now() + std::chrono::seconds(5)), 130, 1);
  EXPECT_EQ(shown.state().positionAt(clock.now() + std::chrono::hours(1)), 500) << "clamped";
  shown.setPlaybackState(platform::NowPlayingPlaybackState::Paused);
  EXPECT_NEAR(shown.state().positionAt(clock.now() + std::chrono::seconds(5)), 120, 1);
  // Invalid numbers and texts are ignored or replaced.
  shown.setNowPlayingInfo({{"TVSNowPlayingElapsedTime", std::nan("")},
                           {"TVSNowPlayingDuration", std::nan("")},
                           {"TVSNowPlayingTitle", std::string("a\xFF")},
                           {"TVSNowPlayingArtist", 5}},
                          0);
  EXPECT_NEAR(position(), 120, 1);
  EXPECT_FALSE(shown.state().duration);
  EXPECT_EQ(shown.state().title, "a\xEF\xBF\xBD");
  EXPECT_EQ(shown.state().artist, "");
}

TEST_F(NowPlaying, QueuesForItsName) {
  startSession();
  makeWithPlayer();
  untilPlayerctl("status", "Paused");
  box::SystemIntegrationOptions others = options;
  others.runtimeFolder += "2";
  auto second =
      std::make_unique<box::SystemIntegration>(mainQueue, clock, others, sleepPreparation);
  second->start();
  second->nowPlaying().setEligible(true);
  untilLogged("Another process owns the name org.mpris.MediaPlayer2.tvvorlane");
  EXPECT_EQ(playerctl("status"), "Paused") << "the first one still owns the name";
  service().setEligible(false);
  untilPlayerctl("status", "Stopped");
}

TEST_F(NowPlaying, FollowsTheBus) {
  makeWithPlayer();
  untilLogged("The session bus is not available: No such file or directory");
  for (int count = 1; count <= 2; ++count) {
    startSession();
    untilLogged("Connected to the session bus", count);
    untilPlayerctl("status", "Paused");
    session.reset();
    untilLogged("Disconnected from the session bus", count);
  }
  EXPECT_EQ(lines("session bus"), 5);
}

TEST_F(NowPlaying, DetectsABusInAFolderThatIsCreatedLater) {
  options.sessionBus = address("later/on/session");
  make();
  untilLogged("The session bus is not available");
  std::filesystem::create_directories(folder + "/later/on");
  startBus(session, "later/on/session");
  untilLogged("Connected to the session bus");
}

}  // namespace
