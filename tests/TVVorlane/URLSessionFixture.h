#pragma once

#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/Support.h"

/// `count` arbitrary bytes.
inline platform::Bytes bytes(std::size_t count) { return platform::Bytes(count, std::byte{0x5a}); }

/// A URL session with a delegate that records its events.
class URLSessionTest : public SessionTest {
 protected:
  void start(const platform::Dictionary& options = videoOptions(7)) {
    session->setDelegate(delegate);
    session->startWithOptions(options, completions.recorder());
  }
  /// Stops the session and starts another one.
  void startAnew(const Dictionary& options) {
    session->stopWithOptions({}, nullptr);
    box.advance(std::chrono::seconds(1));
    session = std::make_shared<TVVorlaneURLSession>();
    delegate->take();
    completions = {};
    box.clearLog();
    start(options);
  }
  /// Starts the session and plays for one second.
  void startPlaying(const platform::Dictionary& options = videoOptions(7)) {
    start(options);
    box.advance(std::chrono::seconds(1));
    ASSERT_EQ(session->player()->state(), TVSPlaybackState::Playing);
    delegate->take();
    box.clearLog();
    engine().clearCalls();
  }
  TVSPlayer& player() { return *session->player(); }

  platform::Value get(const std::string& property, const platform::Value& qualifier = {}) {
    error.reset();
    return session->getProperty(property, qualifier, &error);
  }
  bool set(const std::string& property, const platform::Value& value,
           const platform::Value& qualifier = {}) {
    error.reset();
    return session->setProperty(property, qualifier, value, &error);
  }
  bool perform(const std::string& action, const platform::Value& options) {
    error.reset();
    outInfo.reset();
    return session->performAction(action, options, &outInfo, &error);
  }
  bool insert(const std::string& url, const std::string& uuid) {
    return perform("playlistInsert",
                   platform::Dictionary{
                       {"item", platform::Dictionary{{"Content-Location", url}, {"uuid", uuid}}}});
  }
  bool remove(const std::string& uuid) {
    return perform("playlistRemove",
                   platform::Dictionary{{"item", platform::Dictionary{{"uuid", uuid}}}});
  }
  /// The error code of the last operation, or 0.
  std::int64_t code() const { return error ? error->code : 0; }

  std::shared_ptr<TVVorlaneURLSession> session = std::make_shared<TVVorlaneURLSession>();
  std::optional<platform::Error> error;
  std::optional<platform::Dictionary> outInfo;
};
