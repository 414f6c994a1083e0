#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "streaming/playback/PresentationPlayer.h"
#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {

using Lines = std::vector<std::string>;

/// Plays a presentation over a scripted network. The manifest is at "http://a/main".
class PlaybackFixture {
 public:
  /// `resources`: by URL, those that parsing the manifest requires.
  explicit PlaybackFixture(const std::string& manifest, ManifestType type = ManifestType::HLS,
                           const std::map<std::string, std::string>& resources = {}) {
    for (const auto& [url, body] : resources) network->add(url, body);
    PresentationPlayer::Setup setup;
    setup.source = network;
    setup.record = record;
    setup.throughput = throughput;
    setup.canDecode = [](MediaKind, const Representation& each) {
      return each.codecs.empty() || each.codecs.front() != "none";
    };
    setup.entryStarted = [this] { ++accessLogEntries; };
    played = PresentationPlayer::make(std::move(setup));
    played->whenChanged([this] { ++changes; });
    FetchedBody body;
    body.head.url = "http://a/main";
    body.bytes = manifest;
    played->begin(type, std::move(body));
  }
  ~PlaybackFixture() {
    played->end();
    played.reset();
    // Posted tasks hold references to the network.
    network->run();
  }
  PlaybackFixture(const PlaybackFixture&) = delete;
  PlaybackFixture& operator=(const PlaybackFixture&) = delete;

  void prepare(const PresentationPlayback::Start& start = {}, double seconds = 3) {
    PlaybackLimits limits;
    limits.displayHeight = 1080;
    played->prepare(start, limits, [this](double at, std::optional<platform::Error> failure) {
      began = at;
      error = std::move(failure);
      ++ready;
    });
    network->advance(seconds);
  }
  /// URLs of the readable segments, without the host.
  Lines read(MediaKind kind = MediaKind::Video, std::size_t most = 100) {
    Lines lines;
    while (lines.size() < most) {
      const auto piece = played->buffer(kind).take();
      if (!piece) break;
      network->run();
      switch (piece->kind) {
        case TrackPiece::Kind::Media:
          lines.push_back(piece->segment.resource.urls.front().substr(9));
          break;
        case TrackPiece::Kind::Gap:
          lines.emplace_back("gap");
          break;
        case TrackPiece::Kind::End:
          lines.emplace_back("end");
          return lines;
        case TrackPiece::Kind::Failed:
          lines.push_back("failed " + std::to_string(piece->error->code));
          return lines;
      }
    }
    return lines;
  }
  void seek(double seconds) {
    for (const MediaKind kind : {MediaKind::Video, MediaKind::Audio})
      if (const auto reader = played->reader(kind)) reader->seek(seconds);
    began = seconds;
    elapsed = 0;
    network->run();
  }
  /// Plays and reads in real time.
  Lines play(double seconds, MediaKind kind = MediaKind::Video) {
    Lines lines;
    for (double i = 0; i < seconds; ++i) {
      for (auto& line : read(kind)) lines.push_back(std::move(line));
      network->advance(1);
      played->setPosition(began + ++elapsed);
    }
    return lines;
  }

  std::shared_ptr<ScriptedTransfers> network = std::make_shared<ScriptedTransfers>();
  std::shared_ptr<TransferLog> record =
      std::make_shared<TransferLog>([] { return TransferStatistics(); });
  std::shared_ptr<Throughput> throughput = std::make_shared<Throughput>();
  std::shared_ptr<PresentationPlayer> played;
  int accessLogEntries = 0;
  int changes = 0;
  int ready = 0;
  double began = -1;
  double elapsed = 0;
  std::optional<platform::Error> error;
};

/// A media playlist of `count` segments of four seconds: "name1.ts", "name2.ts" …
inline std::string playlistOf(const std::string& name, int first, int count, bool hasEnded,
                              const std::string& head = {}) {
  std::string text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:4\n" + head +
                     "#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n";
  for (int i = first; i < first + count; ++i)
    text += "#EXTINF:4,\n" + name + std::to_string(i) + ".ts\n";
  if (hasEnded) text += "#EXT-X-ENDLIST\n";
  return text;
}

/// Adds "name1.ts", "name2.ts" … at "http://a/".
inline void addSegments(ScriptedTransfers& network, const std::string& name, int first, int count,
                        std::size_t size = 100) {
  for (int i = first; i < first + count; ++i)
    network.add("http://a/" + name + std::to_string(i) + ".ts", std::string(size, 'a'));
}

}  // namespace streaming::test
