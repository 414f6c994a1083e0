#include "tests/streaming/playback/feeding/FeederFixture.h"

#include <algorithm>

namespace streaming::test {

std::optional<Segment> ListedSegments::at(double time) const {
  for (const Segment& each : _segments)
    if (each.end() > time) return each;
  return std::nullopt;
}

std::optional<Segment> ListedSegments::after(const Segment& previous) const {
  for (const Segment& each : _segments)
    if (each.number > previous.number) return each;
  return std::nullopt;
}

std::optional<Segment> ListedSegments::first(platform::Date) const {
  return _segments.empty() ? std::nullopt : std::optional(_segments.front());
}

std::optional<Segment> ListedSegments::last(platform::Date) const {
  return _segments.empty() ? std::nullopt : std::optional(_segments.back());
}

std::vector<Segment> listSegments(const std::string& name, std::size_t count, double duration,
                                  double start, std::uint64_t firstNumber) {
  std::vector<Segment> segments;
  for (std::size_t i = 0; i < count; ++i) {
    Segment& segment = segments.emplace_back();
    segment.number = firstNumber + i;
    segment.start = start + static_cast<double>(i) * duration;
    segment.duration = duration;
    segment.resource.urls = {name + "/" + std::to_string(segment.number)};
  }
  return segments;
}

std::shared_ptr<Representation> representationOf(const std::string& id, double bandwidth,
                                                 int height, std::vector<Segment> segments,
                                                 bool isComplete) {
  auto representation = std::make_shared<Representation>();
  representation->id = id;
  representation->bandwidth = bandwidth;
  representation->height = height;
  representation->segments = std::make_shared<ListedSegments>(std::move(segments), isComplete);
  return representation;
}

Track trackOf(MediaKind kind, const std::string& id,
              std::vector<std::shared_ptr<const Representation>> representations) {
  Track track;
  track.kind = kind;
  track.id = id;
  track.representations = std::move(representations);
  return track;
}

std::shared_ptr<Presentation> presentationOf(std::vector<Track> tracks, double duration) {
  auto presentation = std::make_shared<Presentation>();
  presentation->duration = duration;
  Period& period = presentation->periods.emplace_back();
  period.duration = duration;
  period.tracks = std::move(tracks);
  return presentation;
}

FeederFixture::FeederFixture()
    : _indexes(network, false,
               {[this] { pump(); }, [] {},
                [this](const auto& url, const auto& error) { lost(url, error); }}) {
  for (const MediaKind kind : {MediaKind::Video, MediaKind::Audio, MediaKind::Text}) {
    auto buffer = std::make_shared<TrackBuffer>([this] { network.post([this] { pump(); }); });
    _feeders.push_back(std::make_unique<TrackFeeder>(*this, kind, std::move(buffer)));
  }
}

void FeederFixture::begin(MediaKind kind, const std::string& track, double seconds) {
  feeder(kind).setTrack(track);
  began = seconds;
  seek(seconds, kind);
}

void FeederFixture::seek(double seconds, MediaKind kind) {
  played = seconds;
  buffer(kind).seek(seconds);
  network.run();
}

void FeederFixture::pump() {
  for (const auto& each : _feeders) each->pump();
}

void FeederFixture::advance(double seconds) { network.advance(seconds); }

std::vector<std::string> FeederFixture::read(std::size_t most, MediaKind kind) {
  std::vector<std::string> lines;
  while (lines.size() < most) {
    const auto piece = buffer(kind).take();
    if (!piece) break;
    std::string line = piece->isDiscontinuous ? "*" : "";
    switch (piece->kind) {
      case TrackPiece::Kind::Media:
        line += piece->media->copy();
        if (piece->initialization) line = piece->initialization->copy() + "+" + line;
        if (piece->media->state() == SegmentBytes::State::Arriving) line += "…";
        if (piece->media->state() == SegmentBytes::State::Failed) line += "!";
        break;
      case TrackPiece::Kind::Gap:
        line += "gap " + std::to_string(static_cast<int>(piece->segment.start)) + "-" +
                std::to_string(static_cast<int>(piece->segment.end()));
        break;
      case TrackPiece::Kind::End:
        lines.emplace_back("end");
        return lines;
      case TrackPiece::Kind::Failed:
        lines.push_back("failed " + std::to_string(piece->error ? piece->error->code : 0));
        return lines;
    }
    lines.push_back(line);
    network.run();
  }
  return lines;
}

std::vector<std::string> FeederFixture::play(double seconds, MediaKind kind) {
  std::vector<std::string> lines;
  const double until = played + seconds;
  while (played < until) {
    for (std::string& line : read(1, kind)) {
      lines.push_back(std::move(line));
      if (lines.back() == "end" || lines.back().starts_with("failed")) return lines;
    }
    advance(1);
    played += 1;
    pump();
  }
  return lines;
}

bool FeederFixture::makeRoom(std::uint64_t bytes) {
  std::uint64_t sum = 0;
  for (const auto& each : _feeders) sum += each->buffer().bytes();
  for (const auto& each : _feeders) {
    if (sum + bytes <= roomFor) return true;
    const std::uint64_t own = each->buffer().bytes();
    each->buffer().trim(own - std::min(own, sum + bytes - roomFor), played);
    sum -= own - each->buffer().bytes();
  }
  return sum + bytes <= roomFor;
}

void FeederFixture::lost(const std::string& url, const platform::Error& error) {
  errors.push_back(url + " " + std::to_string(error.code));
}

void addVideoTrack(FeederFixture& fixture, std::size_t count, double duration) {
  auto segments = listSegments("v", count, duration);
  for (const Segment& each : segments) {
    const std::string& url = each.resource.urls.front();
    fixture.network.add(url, url);
  }
  fixture.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, std::move(segments))})},
      static_cast<double>(count) * duration);
}

}  // namespace streaming::test
