#include "tests/box/media/TestMedia.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace testing_media {
namespace {

void run(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

constexpr std::string_view kPicture = " -f lavfi -i testsrc=size=320x180:rate=25:duration=3";
constexpr std::string_view kTone = " -f lavfi -i sine=frequency=440:duration=3";
constexpr std::string_view kOtherTone = " -f lavfi -i sine=frequency=880:duration=3";
/// Noise does not compress: 300 kB a second.
constexpr std::string_view kNoise =
    " -f lavfi -i testsrc=size=640x360:rate=25:duration=6 -vf noise=alls=100:allf=t -b:v 2400k"
    " -maxrate 2400k -bufsize 600k";
constexpr std::string_view kH264 = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -g 25";
constexpr std::string_view kAAC = " -c:a aac";
constexpr std::string_view kIndexFirst = " -movflags +faststart";

/// What ffmpeg is told to make a clip of this name; empty for what is no clip. `base` is the path
/// of the silent clip.
std::string recipe(std::string_view name, std::string_view base) {
  std::string text;
  const auto add = [&](std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) text += part;
  };
  if (name == "clip.mp4")
    add({kPicture, kTone, kH264, kAAC, kIndexFirst, " -metadata title=Clip"});
  else if (name == "silent.mp4")
    add({kPicture, kH264, kIndexFirst});
  else if (name == "tone.wav")
    add({kTone});
  else if (name == "tone.m4a")
    add({kTone, kAAC});
  else if (name == "languages.mp4")
    add({kPicture, kTone, kOtherTone, " -map 0 -map 1 -map 2", kH264, kAAC, kIndexFirst,
         " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fra"});
  else if (name == "turned.mp4")
    add({" -i ", base, " -c copy", kIndexFirst, " -metadata:s:v:0 rotate=90"});
  else if (name == "heavy_6s.mp4")
    add({kNoise, kH264, kIndexFirst});
  else if (name == "truncated.mp4")  // without its index, which comes last
    add({kPicture, kH264});
  return text;
}

}  // namespace

TestMedia& TestMedia::shared() {
  static TestMedia media;
  return media;
}

TestMedia::TestMedia() {
  std::string name = std::filesystem::temp_directory_path() / "vorlane-media-XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  _folder = name;
  _server = _startServer("");
}

TestMedia::~TestMedia() {
  _stop(_server);
  _stop(_slowServer);
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

std::string TestMedia::_made(std::string_view name) const {
  const std::string path = (_folder / name.substr(name.rfind('/') + 1)).string();
  if (std::filesystem::exists(path)) return path;
  if (name == "text.mp4") std::ofstream(path) << "These are words and no pictures.\n";
  if (name == "empty.mp4") std::ofstream(path).flush();
  const std::string base = name == "turned.mp4" ? _made("silent.mp4") : "";
  const std::string options = recipe(name.substr(name.rfind('/') + 1), base);
  if (options.empty()) return path;
  run("ffmpeg -v error -nostdin -y" + options + " " + path);
  if (name == "truncated.mp4")
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  return path;
}

TestMedia::Server TestMedia::_startServer(const std::string& options) const {
  std::array<int, 2> input{};
  std::array<int, 2> output{};
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipes");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  const std::string command =
      "exec python3 tests/support/http_server.py " + options + " " + _folder.string();
  std::array<const char*, 4> arguments{"sh", "-c", command.c_str(), nullptr};
  Server server;
  const int failure = posix_spawnp(&server.process, "sh", &actions, nullptr,
                                   const_cast<char* const*>(arguments.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  server.input = input[1];
  FILE* const lines = fdopen(output[0], "r");
  const bool started = failure == 0 && std::fscanf(lines, "%d", &server.port) == 1;
  std::fclose(lines);
  if (!started) throw std::runtime_error("the test server does not start");
  return server;
}

void TestMedia::_stop(Server& server) {
  if (server.process <= 0) return;
  close(server.input);  // it ends when its input does
  waitpid(server.process, nullptr, 0);
  server.process = -1;
}

std::string TestMedia::url(std::string_view name) const {
  _made(name);
  return "http://127.0.0.1:" + std::to_string(_server.port) + "/" + std::string(name);
}

std::string TestMedia::fileURL(std::string_view name) const { return "file://" + _made(name); }

std::string TestMedia::slowURL(std::string_view name) {
  _made(name);
  if (_slowServer.process <= 0) _slowServer = _startServer("--rate 200000");
  return "http://127.0.0.1:" + std::to_string(_slowServer.port) + "/" + std::string(name);
}

std::string TestMedia::refusedURL() {
  // A port that was free a moment ago: bound, so that nobody else got it, and given back.
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const bool known = bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  close(descriptor);
  if (!known) throw std::runtime_error("no free port");
  return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/clip.mp4";
}

}  // namespace testing_media
