#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace testing_media {

/// Media for the tests of this folder: clips that ffmpeg makes in a temporary folder, and a web
/// server for them. Created once in a process on first use and removed at its end. If the
/// environment variable VORLANE_TEST_MEDIA names a folder, clips are cached there.
///
/// Unless their names say otherwise, clips have 3 seconds, 25 pictures a second and 320x180 pixels.
/// The second segment of "asks.m3u8" is only available from the sender, at
/// x-demo://sender/dated1.ts; of "refused.m3u8" all except the first. The sixth segment of
/// "live/gap.m3u8" is missing. For names with "encrypted" or "fragmented" see
/// tests/support/make_encrypted_media.
class TestMedia {
 public:
  static TestMedia& shared();
  ~TestMedia();
  TestMedia(const TestMedia&) = delete;
  TestMedia& operator=(const TestMedia&) = delete;

  /// `http://127.0.0.1:PORT/NAME`
  std::string url(std::string_view name) const;
  /// A presentation of tests/support/make_presentations, or a live one that follows the clock.
  std::string presentation(std::string_view name, bool isLive = false) const;
  std::string fileURL(std::string_view name) const;
  /// A clip that ffmpeg makes of the test picture and two tones, inputs 0 to 2, with these options.
  std::string url(std::string_view name, std::string_view options) const;
  /// The same, changed by tests/support/change_mp4.py.
  std::string url(std::string_view name, std::string_view options, std::string_view change) const;
  std::string path(std::string_view name) const { return (_folder / name).string(); }
  /// The same clip from a server so slow that playback stalls.
  std::string slowURL(std::string_view name);

  /// A loopback URL without a server.
  static std::string refusedURL() { return "http://127.0.0.1:1/clip.mp4"; }

 private:
  struct Server {
    int process = -1;
    int input = -1;
    int port = 0;
  };

  TestMedia();
  /// Runs `command`, which writes files into the folder, or copies its cached output.
  void _make(const std::string& command) const;
  /// Returns the path of a clip, which is made if it is missing.
  std::string _made(std::string_view name) const;
  Server _startServer(const std::string& options) const;
  static void _stop(Server& server);

  std::filesystem::path _folder;
  Server _server;
  Server _slowServer;
};

}  // namespace testing_media
