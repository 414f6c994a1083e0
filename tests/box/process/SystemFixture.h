#pragma once

#include <cstdio>
#include <memory>
#include <optional>

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/box/process/ChildProcess.h"
#include "tests/box/services/dbus/Client.h"
#include "tests/media/TestMedia.h"

/// The real program in a child process, a D-Bus client and real media. At the end of each test the
/// process is terminated, and must exit with status 0.
class SystemTest : public testing::Test {
 protected:
  using Answer = testing_dbus::Answer;
  using Client = testing_dbus::Client;
  using Dictionary = platform::Dictionary;

  /// An event may take this many times as long as a reply.
  static constexpr int kPatience = 3;

  /// `tasks`: as for ChildProcess.
  void launch(std::vector<std::string> arguments = {}, std::optional<unsigned> tasks = {}) {
    arguments.insert(arguments.end(), {"--log-level", "5"});
    process = std::make_unique<ChildProcess>(std::move(arguments), tasks);
    ASSERT_TRUE(process->waitForLine("D-Bus server listens")) << process->output();
    peer = newPeer();
    peer->ready();
  }
  void TearDown() override {
    if (!process) return;
    if (!_ended) end();
    if (HasFailure()) std::fprintf(stderr, "%s", process->output().c_str());
  }
  void end() {
    _ended = true;
    process->send(SIGTERM);
    EXPECT_EQ(process->waitForEnd(), 0);
  }

  std::unique_ptr<Client> newPeer() const {
    return std::make_unique<Client>(process->socketPath().string());
  }
  static std::string clip() { return testing_media::TestMedia::shared().url("clip.mp4"); }

  Answer startVideo(const std::string& url, int session, Dictionary params = {}) {
    params.set("Content-Location", url);
    params.set("sessionID", session);
    return peer->callWith("StartVideo", params);
  }
  std::int32_t stopVideo(int session) {
    return peer->callWith("StopVideo", {{"sessionID", session}}).status;
  }
  /// Sets a property to a value of the D-Bus type `type`.
  template <typename Value>
  std::int32_t set(const char* property, const char* type, Value value) {
    return peer
        ->call(
            "SetProperty",
            [&](sd_bus_message* m) { sd_bus_message_append(m, "savv", property, 0, type, value); })
        .status;
  }
  Dictionary playbackInfo() {
    const Answer answer = peer->getProperty("playbackInfo");
    EXPECT_EQ(answer.status, 0);
    const Dictionary* info = answer.value.asDictionary();
    return info ? *info : Dictionary();
  }
  /// Returns the info of the next event with this name. Other events are dropped.
  std::optional<Dictionary> nextEvent(const std::string& name) {
    for (int silences = 0; silences < kPatience;) {
      const auto event = peer->nextEvent();
      if (!event) ++silences;
      if (event && event->name == name) return event->info;
    }
    return std::nullopt;
  }
  /// Starts a valid video and waits for playback. Its "uuid" is the session number.
  void expectToPlay(int session) {
    const platform::Value uuid = std::to_string(session);
    ASSERT_EQ(startVideo(clip(), session, {{"uuid", uuid}}).status, 0);
    auto info = nextEvent("playing");
    while (info && info->get("uuid") != uuid) info = nextEvent("playing");
    ASSERT_TRUE(info) << "session " << session;
  }

  /// The current length of the log.
  std::size_t mark() const { return process->output().size(); }

  std::unique_ptr<ChildProcess> process;
  std::unique_ptr<Client> peer;

 private:
  bool _ended = false;
};
