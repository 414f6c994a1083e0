#include "tests/media/segments/FakeTrack.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>

#include "media/support/GstTime.h"
#include "tests/media/TestMedia.h"

namespace testing_segments {

using streaming::TrackPiece;

std::string clipBytes(const char* name, const char* options) {
  auto& media = testing_media::TestMedia::shared();
  static_cast<void>(options ? media.url(name, options) : media.url(name));
  return fileContent(media.path(name));
}

std::string fileContent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::shared_ptr<streaming::SegmentBytes> completeBytes(std::string_view bytes) {
  auto result = std::make_shared<streaming::SegmentBytes>();
  result->append(bytes);
  result->complete();
  return result;
}

std::optional<TrackPiece> FakeTrack::next(const streaming::ReadGate& gate) {
  if (gate.isClosed()) return std::nullopt;
  TrackPiece piece;
  piece.kind = TrackPiece::Kind::End;
  if (pieces.empty()) return piece;
  piece = std::move(pieces.front());
  pieces.pop_front();
  return piece;
}

TrackPiece& FakeTrack::add(std::string_view media, double duration) {
  TrackPiece& piece = pieces.emplace_back();
  piece.segment.number = _number++;
  piece.segment.start = end;
  piece.segment.duration = duration;
  piece.representation = representation;
  piece.media = completeBytes(media);
  piece.isDiscontinuous = piece.segment.number == 0;
  end += duration;
  return piece;
}

TrackPiece& FakeTrack::add(std::string_view initialization, std::string_view media,
                           double duration) {
  TrackPiece& piece = add(media, duration);
  piece.initialization = completeBytes(initialization);
  return piece;
}

namespace {

DemuxerOutput::Packet packetOf(GstBuffer* buffer) {
  DemuxerOutput::Packet packet;
  EXPECT_TRUE(GST_BUFFER_PTS_IS_VALID(buffer));
  packet.pts = media::secondsOf(GST_BUFFER_PTS(buffer));
  packet.dts = GST_BUFFER_DTS_IS_VALID(buffer) ? media::secondsOf(GST_BUFFER_DTS(buffer)) : -1;
  packet.duration =
      GST_BUFFER_DURATION_IS_VALID(buffer) ? media::secondsOf(GST_BUFFER_DURATION(buffer)) : -1;
  packet.isKey = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
  packet.isDiscontinuous = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT);
  packet.isHidden = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DECODE_ONLY);
  packet.bytes.resize(gst_buffer_get_size(buffer));
  gst_buffer_extract(buffer, 0, packet.bytes.data(), packet.bytes.size());
  return packet;
}

}  // namespace

DemuxerOutput demuxed(const std::shared_ptr<FakeTrack>& track, media::TrackDemuxer::Setup setup) {
  gst_init(nullptr, nullptr);
  DemuxerOutput output;
  setup.reader = track;
  if (!setup.offsets) setup.offsets = std::make_shared<media::TimestampOffsets>();
  setup.foundID3 = [&](double time, std::string tag) { output.tags.emplace_back(time, tag); };
  setup.foundEvent = [&](double, double, std::string event) { output.events.push_back(event); };
  const auto demuxer = media::TrackDemuxer::make(std::move(setup));
  const streaming::ReadGate gate;
  while (!output.hasEnded && !output.failure) {
    auto item = demuxer->next(gate);
    if (!item) {
      ADD_FAILURE() << "no item although the gate is open";
      break;
    }
    if (auto* const format = std::get_if<media::ElementaryFormat>(&*item)) {
      const media::GstRef<gchar> text(gst_caps_to_string(format->caps.get()));
      (format->kind == media::ElementaryKind::Video ? output.videoCaps : output.audioCaps)
          .emplace_back(text.get());
    } else if (auto* const buffer = std::get_if<media::ElementaryBuffer>(&*item)) {
      const bool isVideo = buffer->kind == media::ElementaryKind::Video;
      auto& packets = isVideo ? output.video : output.audio;
      EXPECT_FALSE((isVideo ? output.videoCaps : output.audioCaps).empty());
      packets.push_back(packetOf(buffer->buffer.get()));
      if (packets.size() > 1 && packets.back().dts >= 0) {
        EXPECT_GE(packets.back().dts, packets[packets.size() - 2].dts);
      }
    } else if (auto* const gap = std::get_if<media::ElementaryGap>(&*item)) {
      output.gaps.emplace_back(gap->start, gap->end);
    } else if (auto* const failure = std::get_if<media::ElementaryFailure>(&*item)) {
      output.failure = failure->error;
    } else {
      output.hasEnded = true;
    }
  }
  return output;
}

CutMovie cut(std::string_view movie) {
  CutMovie result;
  std::string* part = &result.initialization;
  while (movie.size() >= 8) {
    std::size_t size = 0;
    for (const char each : movie.substr(0, 4)) size = size << 8 | static_cast<unsigned char>(each);
    size = std::min(size, movie.size());
    const std::string_view type = movie.substr(4, 4);
    if (type == "moof") part = &result.fragments.emplace_back();
    if (type == "mfra") break;
    part->append(movie.substr(0, size));
    movie.remove_prefix(std::max<std::size_t>(size, 8));
  }
  return result;
}

}  // namespace testing_segments
