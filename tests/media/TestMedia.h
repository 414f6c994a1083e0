#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace testing_media {

/// Real media for the tests of this folder: clips made by ffmpeg in a folder of their own, and a
/// web server that serves them. Made once a process, on first use; gone at its end. Where the
/// environment names a folder as VORLANE_TEST_MEDIA, clips are kept there for other processes.
///
/// Clips: all 3 seconds, 25 pictures a second, 320x180, unless their name says otherwise. Of
/// "asks.m3u8" only a sender has the second one, at x-demo://sender/dated1.ts; of "refused.m3u8"
/// all but the first; of "live/gap.m3u8" nobody has the sixth. What begins with "encrypted" or
/// "fragmented" is what tests/support/make_encrypted_media says.
class TestMedia {
 public:
  static TestMedia& shared();
  ~TestMedia();
  TestMedia(const TestMedia&) = delete;
  TestMedia& operator=(const TestMedia&) = delete;

  /// `http://127.0.0.1:PORT/NAME`
  std::string url(std::string_view name) const;
  /// One of tests/support/make_presentations, or of those that are live by the clock.
  std::string presentation(std::string_view name, bool isLive = false) const;
  std::string fileURL(std::string_view name) const;
  /// One that ffmpeg makes of the usual picture and two tones, inputs 0 to 2, by these options.
  std::string url(std::string_view name, std::string_view options) const;
  std::string path(std::string_view name) const { return (_folder / name).string(); }
  /// The same over a server that sends so slowly that the clip stalls.
  std::string slowURL(std::string_view name);

  /// A loopback URL that nobody listens at.
  static std::string refusedURL() { return "http://127.0.0.1:1/clip.mp4"; }

 private:
  struct Server {
    int process = -1;
    int input = -1;
    int port = 0;
  };

  TestMedia();
  /// Runs `command`, which writes files into the folder, or copies what it wrote before.
  void _make(const std::string& command) const;
  /// Makes the clip unless it is there, and returns its path.
  std::string _made(std::string_view name) const;
  Server _startServer(const std::string& options) const;
  static void _stop(Server& server);

  std::filesystem::path _folder;
  Server _server;
  Server _slowServer;
};

}  // namespace testing_media
