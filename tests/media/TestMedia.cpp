#include "tests/media/TestMedia.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_media {
namespace {

namespace fs = std::filesystem;

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

struct Text {
  std::string_view name;
  std::string_view content;
};
constexpr Text kTexts[] = {
    {"text.mp4", "These are words and no pictures.\n"},
    {"empty.mp4", ""},
    {"english.srt",
     "1\n00:00:00,000 --> 00:00:01,000\n<i>One</i> & only\nsecond line\n\n"
     "2\n00:00:01,500 --> 00:00:02,900\nTwo\n"},
    {"french.srt", "1\n00:00:00,000 --> 00:00:02,900\nBonjour\n"},
    {"german.vtt",
     "WEBVTT\n\n00:00.000 --> 00:01.000 align:start line:0\n<v Anna>Guten <b>Tag</b>\n\n"
     "00:02.000 --> 00:02.900\nEnde\n"},
    {"german.srt",
     "1\n00:00:00,000 --> 00:00:01,000\nGuten Tag\n\n2\n00:00:02,000 --> 00:00:02,900\nEnde\n\n"
     "3\n00:01:00,000 --> 00:01:01,000\nToo short a text is not told from others.\n"},
    {"german.ttml",
     "<tt xmlns=\"http://www.w3.org/ns/ttml\"><body><div><p begin=\"0s\" end=\"1s\">Guten Tag</p>"
     "<p begin=\"2s\" end=\"2.9s\">Ende</p></div></body></tt>"},
    {"mapped.vtt",
     "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:128090\n\n"
     "00:00.000 --> 00:01.000 line:0\nGuten Tag\n\n00:02.000 --> 00:02.900\nEnde\n"},
    {"german.m3u8",
     "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:3\n#EXT-X-PLAYLIST-TYPE:VOD\n"
     "#EXTINF:3,\nmapped.vtt\n#EXT-X-ENDLIST\n"},
    {"texts.m3u8",
     "#EXTM3U\n#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"texts\",NAME=\"Deutsch\",LANGUAGE=\"de\","
     "URI=\"german.m3u8\"\n"
     "#EXT-X-STREAM-INF:BANDWIDTH=500000,SUBTITLES=\"texts\"\ndated.m3u8\n"},
    {"texts.mpd",
     "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
     "mediaPresentationDuration=\"PT3S\""
     " profiles=\"urn:mpeg:dash:profile:isoff-on-demand:2011\" minBufferTime=\"PT1S\"><Period>"
     "<AdaptationSet mimeType=\"video/mp4\"><Representation id=\"1\" bandwidth=\"200000\""
     " codecs=\"avc1.42c00d\"><BaseURL>fragmented_silent.mp4</BaseURL></Representation>"
     "</AdaptationSet><AdaptationSet mimeType=\"text/vtt\" lang=\"de\"><Label>Deutsch</Label>"
     "<Representation id=\"2\" bandwidth=\"100\"><BaseURL>german.vtt</BaseURL></Representation>"
     "</AdaptationSet></Period></MPD>"},
    {"offers.m3u8",
     "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"Ton\",LANGUAGE=\"de\",DEFAULT=YES\n"
     "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"t\",NAME=\"English\",LANGUAGE=\"en\",URI=\"german."
     "m3u8\","
     "CHARACTERISTICS=\"public.accessibility.transcribes-spoken-dialog\"\n"
     "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"t\",NAME=\"Schilder\",LANGUAGE=\"de\",FORCED=YES,"
     "AUTOSELECT=YES,URI=\"german.m3u8?forced\"\n"
     "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"Captions\",LANGUAGE=\"en\","
     "INSTREAM-ID=\"CC1\"\n"
     "#EXT-X-STREAM-INF:BANDWIDTH=500000,AUDIO=\"a\",SUBTITLES=\"t\",CLOSED-CAPTIONS=\"c\"\n"
     "dated.m3u8\n"},
    {"chapters.txt",
     ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=One\n"
     "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=2000\n"
     "[CHAPTER]\nTIMEBASE=1/1000\nSTART=2000\nEND=3000\ntitle=Three\n"},
    {"metadata.m3u8",
     "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:3\n#EXT-X-PLAYLIST-TYPE:VOD\n"
     "#EXTINF:3,\nmetadata.ts\n#EXT-X-ENDLIST\n"},
};

/// What ffmpeg is told to make a clip of this name in this folder; empty for what is no clip.
std::string recipe(std::string_view name, std::string_view folder) {
  std::string text;
  const auto add = [&](std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) text += part;
  };
  if (name == "clip.mp4")
    add({kPicture, kTone, kH264, kAAC, kIndexFirst, " -metadata title=Clip"});
  else if (name == "second.mp4")
    add({kPicture, kTone, " -t 1", kH264, kAAC, kIndexFirst});
  else if (name == "long.mp4")
    add({" -f lavfi -i testsrc=size=320x180:rate=25:duration=20 -f lavfi -i sine=duration=20",
         kH264, kAAC, kIndexFirst});
  else if (name == "fragments_20s.mp4")
    add({" -i ", folder, "/long.mp4 -c copy -movflags frag_keyframe+empty_moov"});
  else if (name == "clip.ts")
    add({kPicture, kTone, kH264, kAAC});
  else if (name == "silent.mp4")
    add({kPicture, kH264, kIndexFirst});
  else if (name == "tone.wav")
    add({kTone});
  else if (name == "tone.m4a")
    add({kTone, kAAC});
  else if (name == "languages.mp4")
    add({kPicture, kTone, kOtherTone, " -map 0 -map 1 -map 2", kH264, kAAC, kIndexFirst,
         " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fra"});
  else if (name.starts_with("tracks")) {
    // Two tones and two texts, each English first; the French text is forced, in Matroska.
    add({kPicture, kTone, kOtherTone, " -i ", folder, "/english.srt -i ", folder, "/french.srt",
         " -map 0 -map 1 -map 2 -map 3 -map 4", kH264,
         name.starts_with("tracks_alac") ? " -c:a alac" : kAAC,
         name.ends_with("mkv") ? " -c:s srt" : " -c:s mov_text -movflags +faststart",
         " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fra -metadata:s:s:0 language=eng",
         " -metadata:s:s:1 language=fra -disposition:a:1 default -disposition:a:0 0",
         name.ends_with("mkv") ? " -disposition:s:1 forced" : ""});
  } else if (name == "ttml.mp4")
    add({kPicture, kTone, " -i ", folder, "/german.srt -map 0 -map 1 -map 2 -t 3", kH264, kAAC,
         " -c:s ttml -metadata:s:s:0 language=deu -metadata:s:s:0 title=Deutsch", kIndexFirst});
  else if (name == "turned.mp4")
    add({" -i ", folder, "/silent.mp4 -c copy", kIndexFirst});
  else if (name == "heavy_6s.mp4")
    add({kNoise, kH264, kIndexFirst});
  else if (name == "dated.m3u8")
    add({kPicture, kTone, kH264, kAAC,
         " -hls_time 1 -hls_list_size 0 -hls_flags program_date_time"});
  else if (name == "programme.m3u8")
    add({" -f lavfi -i testsrc=size=320x180:rate=25:duration=40 -f lavfi -i sine=duration=40",
         kH264, kAAC, " -hls_time 1 -hls_list_size 0"});
  else if (name == "truncated.mp4")  // without its index, which comes last
    add({kPicture, kH264});
  return text;
}

constexpr const char* kSupport = "tests/support";
constexpr const char* kEncrypter = "tests/support/make_encrypted_media";
constexpr const char* kPresentationMaker = "tests/support/make_presentations";

/// What `command` makes in `folder`: a name that changes with the command and with everything that
/// may change its result.
std::string cacheKey(std::string command, const std::string& folder) {
  for (auto at = command.find(folder); at != command.npos; at = command.find(folder, at))
    command.erase(at, folder.size());
  std::set<fs::path> sources{"tests/media/TestMedia.cpp"};
  for (const auto& each : fs::directory_iterator(kSupport))
    if (each.is_regular_file()) sources.insert(each.path());
  for (const fs::path& source : sources) {
    std::ifstream file(source);
    command.append(std::istreambuf_iterator<char>(file), {});
  }
  return std::to_string(std::hash<std::string>{}(command));
}

/// Writes the matrix of a quarter turn, clockwise, into the header of the first track of an mp4.
/// The versions of ffmpeg have no option for it in common.
void turn(const std::string& path) {
  constexpr std::string_view kQuarterTurn =
      std::string_view("\0\0\0\0\0\1\0\0\0\0\0\0\xff\xff\0\0\0\0\0\0", 20);
  constexpr std::streamoff kMatrixOffset = 44;  // after the name of the box, version 0
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  const std::size_t header = content.find("tkhd");
  if (header == content.npos) throw std::runtime_error("no track in " + path);
  file.seekp(static_cast<std::streamoff>(header) + kMatrixOffset);
  file << kQuarterTurn;
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

void TestMedia::_make(const std::string& command) const {
  const char* const cache = std::getenv("VORLANE_TEST_MEDIA");
  if (!cache) return run(command);
  const fs::path kept = fs::path(cache) / cacheKey(command, _folder.string());
  if (fs::exists(kept)) {
    fs::copy(kept, _folder, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    return;
  }
  std::map<fs::path, fs::file_time_type> before;
  for (const auto& each : fs::directory_iterator(_folder))
    before[each.path()] = each.last_write_time();
  run(command);
  const fs::path unfinished = kept.string() + "." + std::to_string(getpid());
  fs::create_directories(unfinished);
  for (const auto& each : fs::directory_iterator(_folder))
    // ffmpeg names the initialization segments of all playlists init.mp4.
    if (!before.contains(each.path()) || before[each.path()] != each.last_write_time())
      fs::copy(each.path(), unfinished / each.path().filename(), fs::copy_options::recursive);
  // Another test may have been faster.
  std::error_code exists;
  fs::rename(unfinished, kept, exists);
  if (exists) fs::remove_all(unfinished);
}

std::string TestMedia::_made(std::string_view name) const {
  const std::string path = (_folder / name.substr(name.rfind('/') + 1)).string();
  if (std::filesystem::exists(path)) return path;
  if (name.starts_with("encrypted") || name.starts_with("fragmented")) {
    std::string command = kEncrypter;
    _make(command.append(" ").append(_folder.string()));
    return path;
  }
  for (const Text& each : kTexts)
    if (name == each.name) std::ofstream(path) << each.content;
  if (name == "turned.mp4") _made("silent.mp4");
  if (name == "fragments_20s.mp4") _made("long.mp4");
  if (name == "refused.m3u8") {
    std::ofstream playlist(path);
    _made("dated.m3u8");
    playlist << "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\ndated0.ts\n";
    for (int segment = 1; segment < 12; ++segment)
      playlist << "#EXTINF:1,\nx-demo://sender/refused" << segment << ".ts\n";
    playlist << "#EXT-X-ENDLIST\n";
  }
  if (name == "asks.m3u8" || name == "live/gap.m3u8") {
    std::ifstream whole(_made(name == "asks.m3u8" ? "dated.m3u8" : "programme.m3u8"));
    std::ofstream playlist(path);
    for (std::string line; std::getline(whole, line);)
      playlist << (line == "dated1.ts"       ? "x-demo://sender/dated1.ts"
                   : line == "programme5.ts" ? "none.ts"
                                             : line)
               << "\n";
  }
  if (name == "pictured.mkv") {
    // Subtitles as a disc has them; what is in them does not matter.
    _make("gst-launch-1.0 -q filesrc location=" + _made("clip.mp4") +
          " ! qtdemux name=d  matroskamux name=m ! filesink location=" + path +
          "  d.video_0 ! h264parse ! queue ! m.  d.audio_0 ! aacparse ! queue ! m."
          "  fakesrc sizetype=fixed sizemax=100 num-buffers=3 datarate=100 format=time"
          " ! subpicture/x-dvd ! m.");
    return path;
  }
  if (name.starts_with("tracks") || name == "ttml.mp4")
    for (const std::string_view text : {"english.srt", "french.srt", "german.srt"}) _made(text);
  const std::string options = recipe(name.substr(name.rfind('/') + 1), _folder.string());
  if (options.empty()) return path;
  _make("ffmpeg -v error -nostdin -y" + options + " " + path);
  if (name == "turned.mp4") turn(path);
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

std::string TestMedia::url(std::string_view name, std::string_view options) const {
  const std::string made = path(name);
  if (!std::filesystem::exists(made))
    _make("ffmpeg -v error -nostdin -y" + std::string(kPicture) + std::string(kTone) +
          std::string(kOtherTone) + " " + std::string(options) + " " + made);
  return "http://127.0.0.1:" + std::to_string(_server.port) + "/" + std::string(name);
}

std::string TestMedia::url(std::string_view name, std::string_view options,
                           std::string_view change) const {
  const std::string plain = "plain_" + std::string(name);
  url(plain, options);
  if (const std::string made = path(name); !std::filesystem::exists(made))
    _make("python3 tests/support/change_mp4.py " + std::string(change) + " " + path(plain) + " " +
          made);
  return url(name, options);
}

std::string TestMedia::presentation(std::string_view name, bool isLive) const {
  const std::string made = path("presentations");
  if (!fs::exists(made)) {
    std::string command = kPresentationMaker;
    _make(command.append(" ").append(made));
  }
  return "http://127.0.0.1:" + std::to_string(_server.port) +
         (isLive ? "/programme/" : "/presentations/") + std::string(name);
}

std::string TestMedia::fileURL(std::string_view name) const { return "file://" + _made(name); }

std::string TestMedia::slowURL(std::string_view name) {
  _made(name);
  if (_slowServer.process <= 0) _slowServer = _startServer("--rate 200000");
  return "http://127.0.0.1:" + std::to_string(_slowServer.port) + "/" + std::string(name);
}

}  // namespace testing_media
