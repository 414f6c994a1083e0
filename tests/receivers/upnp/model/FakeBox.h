#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "receivers/upnp/model/BoxCalls.h"

/// Records the calls of the renderer as texts. Answers wait until the test gives them.
class FakeBox final : public upnp::BoxCalls {
 public:
  bool isConnected() const override { return connected; }
  void start(std::uint32_t session, const upnp::Track& track, const upnp::StartOptions& options,
             Completion done) override {
    std::string call = "start " + std::to_string(session) + " " + track.item.uri;
    if (options.position > 0) call += " at " + std::to_string(static_cast<int>(options.position));
    if (options.isPaused) call += " paused";
    if (options.volume < 1) {
      call += " volume " + std::to_string(static_cast<int>(options.volume * 100));
    }
    if (options.isMuted) call += " muted";
    uuids.push_back(track.uuid);
    _note(call, std::move(done));
  }
  void append(std::uint32_t session, const upnp::Track& track, Completion done) override {
    uuids.push_back(track.uuid);
    _note("append " + std::to_string(session) + " " + track.item.uri, std::move(done));
  }
  void remove(std::uint32_t session, const std::string&) override {
    calls.push_back("remove " + std::to_string(session));
  }
  void stop(std::uint32_t session, Completion done) override {
    _note("stop " + std::to_string(session), std::move(done));
  }
  void setRate(double rate) override { calls.push_back(rate != 0 ? "resume" : "pause"); }
  void seek(double seconds) override {
    calls.push_back("seek " + std::to_string(static_cast<int>(seconds)));
  }
  void setVolume(double volume) override {
    calls.push_back("volume " + std::to_string(static_cast<int>(volume * 100)));
  }
  void setMuted(bool isMuted) override { calls.push_back(isMuted ? "mute" : "unmute"); }
  void publishMetadata(const upnp::Item& item) override { published.push_back(item.uri); }
  void readPlayback(PlaybackCompletion done) override {
    ++reads;
    if (answersReads) {
      done(playback);
    } else {
      waitingReads.push_back(std::move(done));
    }
  }

  /// Answers the oldest call that waits.
  void answer(const std::string& error = {}) {
    const auto done = std::move(_waiting.front());
    _waiting.pop_front();
    if (done) done(error);
  }
  void answerAll() {
    while (!_waiting.empty()) answer();
  }
  std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

  bool connected = true;
  std::vector<std::string> calls;
  std::vector<std::string> uuids;  ///< of started and appended items
  std::vector<std::string> published;
  int reads = 0;
  bool answersReads = true;
  std::optional<upnp::Playback> playback;
  std::vector<PlaybackCompletion> waitingReads;

 private:
  void _note(const std::string& call, Completion done) {
    calls.push_back(call);
    _waiting.push_back(std::move(done));
  }

  std::deque<Completion> _waiting;
};
