#include "media/segments/TextSegments.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/segments/TextSamples.h"
#include "media/segments/TimestampOffsets.h"
#include "media/texts/TTMLText.h"
#include "media/texts/TextFormats.h"

namespace media {
namespace {

using streaming::TextFormat;
using streaming::TrackPiece;

constexpr std::uint64_t kMaxTextBytes = std::uint64_t{16} << 20;
constexpr std::size_t kMaxWaiting = 32;
// Cues may begin before their segment, and the durations of segments are rounded.
constexpr double kSlack = 1;
constexpr double kTicksPerSecond = 90000;
constexpr double kWrapSeconds = 8589934592.0 / kTicksPerSecond;

/// Returns the seconds that X-TIMESTAMP-MAP adds to the times of cues, or nullopt without a map.
std::optional<double> mapOf(std::string_view text) {
  constexpr std::string_view kName = "X-TIMESTAMP-MAP=";
  const std::size_t found = text.substr(0, 4096).find(kName);
  if (found == std::string_view::npos) return std::nullopt;
  std::string_view line = text.substr(found + kName.size());
  line = line.substr(0, line.find_first_of("\r\n"));
  double local = 0;
  double media = 0;
  while (!line.empty()) {
    const std::string_view part = line.substr(0, line.find(','));
    line.remove_prefix(std::min(part.size() + 1, line.size()));
    const std::size_t colon = part.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view value = part.substr(colon + 1);
    const bool isLocal = part.starts_with("LOCAL");
    if (!isLocal && !part.starts_with("MPEGTS")) continue;
    double number = 0;
    double field = 0;
    double scale = 0;  // of the next digit after the point
    for (const char each : value) {
      if (each >= '0' && each <= '9') {
        field = scale > 0 ? field + (each - '0') * scale : field * 10 + (each - '0');
        scale /= 10;
      } else if (each == ':') {
        number = (number + field) * 60;
        field = 0;
      } else if (each == '.') {
        scale = 0.1;
      }
    }
    (isLocal ? local : media) = number + field;
  }
  const double shift = media / kTicksPerSecond - local;
  return std::isfinite(shift) ? std::optional(shift) : std::nullopt;
}

bool overlaps(const SubtitleCue& cue, double shift, double begin, double end) {
  const double start = cue.start + shift;
  if (cue.duration == SubtitleCue::kUntilNext) return start >= begin && start < end;
  return start < end && start + cue.duration > begin;
}

bool anyOverlaps(const std::vector<SubtitleCue>& cues, double shift, const TrackPiece& piece) {
  return std::any_of(cues.begin(), cues.end(), [&](const SubtitleCue& cue) {
    return overlaps(cue, shift, piece.segment.start - kSlack, piece.segment.end() + kSlack);
  });
}

}  // namespace

TextSegments::TextSegments(std::shared_ptr<TimestampOffsets> offsets)
    : _offsets(std::move(offsets)), _track(_offsets ? _offsets->addTrack() : 0) {}

std::vector<SubtitleCue> TextSegments::read(const TrackPiece& piece) {
  std::vector<SubtitleCue> cues;
  _waiting.push_back(piece);
  if (_waiting.size() > kMaxWaiting) _waiting.pop_front();
  std::erase_if(_waiting, [&](const TrackPiece& each) {
    auto found = _read(each);
    if (!found) return false;
    std::move(found->begin(), found->end(), std::back_inserter(cues));
    return true;
  });
  return cues;
}

std::optional<double> TextSegments::_offsetFor(const TrackPiece& piece) const {
  if (piece.representation && piece.representation->timeOffset)
    return piece.representation->timeOffset;
  return _offsets ? _offsets->known(_track, piece.segment) : std::nullopt;
}

TextSegments::Document TextSegments::_documentOf(const TrackPiece& piece, std::string_view bytes) {
  Document document;
  // HLS playlists do not declare texts in MP4; they have an initialization segment.
  if (piece.representation->textFormat == TextFormat::MP4 || piece.initialization) {
    document.cues = _readSamples(piece);
    return document;
  }
  const std::string text = utf8Of(bytes);
  if (!isWebVTT(text)) {
    document.cues = cuesOfText(text).value_or(std::vector<SubtitleCue>{});
    return document;
  }
  document.cues = _reader.read(text);
  if (const auto shift = mapOf(text)) {
    document.shift = *shift;
    document.isMapped = true;
  }
  return document;
}

/// Returns nullopt if the offset of the piece is not known yet.
std::optional<std::vector<SubtitleCue>> TextSegments::_read(const TrackPiece& piece) {
  if (piece.kind != TrackPiece::Kind::Media || !piece.media || !piece.representation ||
      piece.media->size() > kMaxTextBytes)
    return std::vector<SubtitleCue>{};
  if (std::exchange(_representation, piece.representation->id) != piece.representation->id)
    _reader = {};
  Document document = _documentOf(piece, piece.media->copy());
  if (document.cues.empty()) return document.cues;
  const auto offset = _offsetFor(piece);
  std::vector<double> shifts;
  if (offset) {
    double shift = document.shift + *offset;
    if (document.isMapped) {
      const double away = document.cues.front().start + shift - piece.segment.start;
      shift -= std::round(away / kWrapSeconds) * kWrapSeconds;
    }
    shifts.push_back(shift);
  }
  // In some media the times are relative to the presentation or to the segment.
  shifts.push_back(0);
  shifts.push_back(piece.segment.start);
  const auto found = std::find_if(shifts.begin(), shifts.end(), [&](double shift) {
    return anyOverlaps(document.cues, shift, piece);
  });
  if (found == shifts.end() && !offset) return std::nullopt;
  const double shift = found == shifts.end() ? shifts.front() : *found;
  std::erase_if(document.cues, [&](const SubtitleCue& cue) {
    return cue.duration != SubtitleCue::kUntilNext && cue.start + shift + cue.duration <= 0;
  });
  for (SubtitleCue& cue : document.cues) {
    const double start = std::max(cue.start + shift, 0.0);
    if (cue.duration != SubtitleCue::kUntilNext) cue.duration -= start - (cue.start + shift);
    cue.start = start;
  }
  return document.cues;
}

std::vector<SubtitleCue> TextSegments::_readSamples(const TrackPiece& piece) {
  std::vector<SubtitleCue> cues;
  if (piece.initialization) _reader.read(utf8Of(webVTTHeaderIn(*piece.initialization)));
  for (const TextSample& sample : textSamplesOf(piece)) {
    if (isTTML(sample.bytes)) {
      std::vector<SubtitleCue> document = cuesOfTTMLSample(sample.bytes);
      clipToSample(document, sample.start, sample.start + sample.duration);
      std::move(document.begin(), document.end(), std::back_inserter(cues));
      continue;
    }
    for (const std::string& text : webVTTCuesIn(sample.bytes)) {
      auto cue = _reader.readPayload(utf8Of(text), sample.start, sample.duration,
                                     WebVTTReader::TimeStamps::OfTrack);
      if (cue) cues.push_back(std::move(*cue));
    }
  }
  return cues;
}

}  // namespace media
