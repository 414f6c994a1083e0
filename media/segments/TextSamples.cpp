#include "media/segments/TextSamples.h"

#include <algorithm>
#include <limits>

#include "media/metadata/MovieBoxes.h"
#include "media/segments/SegmentRun.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace media {
namespace {

constexpr std::size_t kMaxSamples = 10000;

BoxBytes boxBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string oneLine(BoxBytes bytes) {
  std::string text(bytes.begin(), bytes.end());
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::replace(text.begin(), text.end(), '\r', ' ');
  return text;
}

}  // namespace

std::vector<TextSample> textSamplesOf(const streaming::TrackPiece& piece) {
  const streaming::ReadGate gate;
  std::optional<ContainerFormat> format;
  const auto run = SegmentRun::open(piece, SegmentRun::Setup(), gate, format);
  std::vector<TextSample> samples;
  while (run && samples.size() < kMaxSamples) {
    const AVPacket* const packet = run->container().read();
    if (!packet) break;
    const auto streams = run->container().streams();
    if (packet->pts == AV_NOPTS_VALUE || packet->duration < 0) continue;
    const double unit = av_q2d(streams[static_cast<std::size_t>(packet->stream_index)]->time_base);
    samples.push_back(
        {static_cast<double>(packet->pts) * unit,
         static_cast<double>(packet->duration) * unit,
         {reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size)}});
  }
  // Some versions of libavformat do not set the durations of samples in fragments. Samples are
  // contiguous up to the end of the segment.
  for (std::size_t index = 0; index < samples.size(); ++index) {
    TextSample& sample = samples[index];
    const double end = index + 1 < samples.size() ? samples[index + 1].start
                                                  : samples.front().start + piece.segment.duration;
    if (sample.duration <= 0) sample.duration = std::max(end - sample.start, 0.0);
  }
  return samples;
}

std::string webVTTHeaderIn(const streaming::SegmentBytes& initialization) {
  const std::string bytes = initialization.copy();
  constexpr std::size_t kHeaderSize = 8;
  const std::size_t name = bytes.find("vttC");
  if (name == std::string::npos || name < 4) return {};
  BoxReader reader(boxBytes(bytes).subspan(name - 4));
  const std::uint32_t size = reader.number32();
  if (size < kHeaderSize) return {};
  return bytes.substr(name + 4, size - kHeaderSize);
}

std::vector<std::string> webVTTCuesIn(std::string_view sample) {
  std::vector<std::string> texts;
  forEachBox(boxBytes(sample), boxType("vttc"), [&](BoxBytes cue) {
    std::string name;
    std::string settings;
    std::string text;
    forEachBox(cue, boxType("iden"), [&](BoxBytes content) { name = oneLine(content); });
    forEachBox(cue, boxType("sttg"), [&](BoxBytes content) { settings = oneLine(content); });
    forEachBox(cue, boxType("payl"),
               [&](BoxBytes content) { text.assign(content.begin(), content.end()); });
    if (!text.empty()) texts.push_back(name + "\n" + settings + "\n" + text);
  });
  return texts;
}

void clipToSample(std::vector<SubtitleCue>& cues, double begin, double end) {
  const auto endOf = [](const SubtitleCue& cue) {
    return cue.duration == SubtitleCue::kUntilNext ? std::numeric_limits<double>::infinity()
                                                   : cue.start + cue.duration;
  };
  const auto overlaps = [&](const SubtitleCue& cue) {
    return cue.start < end && endOf(cue) > begin;
  };
  if (std::none_of(cues.begin(), cues.end(), overlaps))
    for (SubtitleCue& cue : cues) cue.start += begin;
  std::erase_if(cues, [&](const SubtitleCue& cue) { return !overlaps(cue); });
  for (SubtitleCue& cue : cues) {
    const double last = std::min(endOf(cue), end);
    cue.start = std::max(cue.start, begin);
    cue.duration = last - cue.start;
  }
}

}  // namespace media
