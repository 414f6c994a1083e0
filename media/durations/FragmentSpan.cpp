#include "media/durations/FragmentSpan.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "media/durations/SpanBytes.h"
#include "media/metadata/MovieBoxes.h"

namespace media {
namespace {

/// The movie of a fragmented mp4 has no samples, or few.
constexpr std::uint32_t kLargestMovie = std::uint32_t{256} << 10;
constexpr std::uint32_t kBoxesBefore[] = {boxType("ftyp"), boxType("styp"), boxType("pdin"),
                                          boxType("free"), boxType("skip"), boxType("uuid"),
                                          boxType("moov"), boxType("sidx"), boxType("emsg")};
constexpr int kMaxBoxesBefore = 32;
constexpr std::size_t kFragmentTails[] = {std::size_t{1} << 20, std::size_t{4} << 20};
constexpr std::size_t kBoxHeader = 8;

struct FragmentTrack {
  double timescale = 0;
  double offset = 0;  // seconds from the media time to the time of the movie, by the edit list
  std::uint32_t sampleDuration = 0;
};
using FragmentTracks = std::map<std::uint32_t, FragmentTrack>;

/// Reads the start of a full box. Returns its flags.
std::uint32_t boxFlags(BoxReader& reader) { return reader.number32() & 0xffffff; }
/// The same. Returns the size of the numbers that are longer in version 1.
std::size_t boxNumberSize(BoxReader& reader) { return reader.version() == 1 ? 8 : 4; }

std::uint32_t movieTimescale(BoxBytes movie) {
  std::uint32_t timescale = 0;
  forEachBox(movie, boxType("mvhd"), [&](BoxBytes box) {
    BoxReader reader(box);
    reader.take(2 * boxNumberSize(reader));
    timescale = reader.number32();
  });
  return timescale;
}

double editOffset(BoxBytes list, double timescale, double movieScale) {
  BoxReader reader(list);
  const std::size_t size = boxNumberSize(reader);
  double empty = 0;
  for (auto count = reader.number32(); count > 0 && reader.isGood(); --count) {
    const std::uint64_t length = reader.number(size);
    const std::uint64_t mediaTime = reader.number(size);
    reader.take(4);
    const bool isEmpty = mediaTime >> (8 * size - 1) != 0;
    if (!isEmpty) return empty - static_cast<double>(mediaTime) / timescale;
    empty += static_cast<double>(length) / movieScale;
  }
  return empty;
}

/// Returns no tracks if the movie states the duration of its fragments, or has none.
FragmentTracks fragmentTracksOf(BoxBytes movie) {
  FragmentTracks tracks;
  const double movieScale = movieTimescale(movie);
  bool isStated = false;
  forEachBox(movie, "mvex/mehd", [&](BoxBytes box) {
    BoxReader reader(box);
    isStated = reader.number(boxNumberSize(reader)) > 0;
  });
  if (isStated || movieScale == 0) return tracks;
  for (const MovieTrack& each : tracksOf(movie)) {
    if ((each.handler != boxType("vide") && each.handler != boxType("soun")) || each.timescale == 0)
      continue;
    FragmentTrack track{.timescale = static_cast<double>(each.timescale)};
    forEachBox(each.content, "edts/elst",
               [&](BoxBytes box) { track.offset = editOffset(box, track.timescale, movieScale); });
    // A track without defaults has no fragments.
    forEachBox(movie, "mvex/trex", [&](BoxBytes box) {
      BoxReader reader(box);
      reader.take(4);
      if (reader.number32() != each.number) return;
      reader.take(4);
      track.sampleDuration = reader.number32();
      tracks[each.number] = track;
    });
  }
  return tracks;
}

/// Returns whether an index lists the segments of the file.
bool isIndex(BoxBytes box) {
  BoxReader reader(box);
  const std::size_t size = boxNumberSize(reader);
  reader.take(8 + 2 * size + 2);
  return reader.number(2) > 1;
}

/// Reads the boxes before the first fragment.
FragmentTracks readFragmentTracks(const ReadBytes& read) {
  FragmentTracks tracks;
  std::uint64_t offset = 0;
  for (int index = 0; index < kMaxBoxesBefore; ++index) {
    const SpanBytes start = readSpan(read, offset, kBoxHeader);
    BoxReader header(start);
    const std::uint32_t size = header.number32();
    const std::uint32_t type = header.number32();
    const bool isMovie = type == boxType("moov");
    const bool isSegmentIndex = type == boxType("sidx");
    if (size < kBoxHeader || (isMovie && size > kLargestMovie) ||
        std::find(std::begin(kBoxesBefore), std::end(kBoxesBefore), type) == std::end(kBoxesBefore))
      break;
    if (isMovie || isSegmentIndex) {
      const SpanBytes box = readSpan(read, offset + kBoxHeader,
                                     std::min<std::uint32_t>(size, kLargestMovie) - kBoxHeader);
      if (isSegmentIndex && isIndex(box)) return {};
      if (isMovie) tracks = fragmentTracksOf(box);
    }
    offset += size;
  }
  return tracks;
}

/// Adds the samples of a run to `time`. Returns the end of the sample that is shown last.
double endOfRun(BoxBytes run, std::uint32_t sampleDuration, double& time) {
  BoxReader reader(run);
  const std::uint32_t flags = boxFlags(reader);
  std::uint32_t count = reader.number32();
  reader.take((flags & 1 ? 4 : 0) + (flags & 4 ? 4 : 0));
  if ((flags & 0xf00) == 0) {
    time += static_cast<double>(count) * sampleDuration;
    return time;
  }
  double end = time;
  for (; count > 0 && reader.isGood(); --count) {
    const std::uint32_t duration = flags & 0x100 ? reader.number32() : sampleDuration;
    reader.take((flags & 0x200 ? 4 : 0) + (flags & 0x400 ? 4 : 0));
    const auto shift = flags & 0x800 ? static_cast<std::int32_t>(reader.number32()) : 0;
    if (!reader.isGood()) break;
    time += duration;
    end = std::max(end, time + shift);
  }
  return end;
}

/// Returns the end of the fragment of a track in seconds of the movie, or 0 if it is not known.
double endOfTrackFragment(BoxBytes fragment, const FragmentTracks& tracks) {
  const FragmentTrack* track = nullptr;
  std::uint32_t sampleDuration = 0;
  forEachBox(fragment, boxType("tfhd"), [&](BoxBytes box) {
    BoxReader reader(box);
    const std::uint32_t flags = boxFlags(reader);
    const auto found = tracks.find(reader.number32());
    if (found == tracks.end()) return;
    track = &found->second;
    reader.take((flags & 1 ? 8 : 0) + (flags & 2 ? 4 : 0));
    sampleDuration = flags & 8 ? reader.number32() : track->sampleDuration;
  });
  std::optional<double> time;
  forEachBox(fragment, boxType("tfdt"), [&](BoxBytes box) {
    BoxReader reader(box);
    time = static_cast<double>(reader.number(boxNumberSize(reader)));
  });
  if (!track || !time) return 0;
  double end = 0;
  forEachBox(fragment, boxType("trun"),
             [&](BoxBytes box) { end = std::max(end, endOfRun(box, sampleDuration, *time)); });
  return end / track->timescale + track->offset;
}

double endOfFragments(BoxBytes bytes, const FragmentTracks& tracks) {
  constexpr std::size_t kFragmentHeader = 24;  // with the mfhd
  double end = 0;
  while (bytes.size() >= kFragmentHeader) {
    BoxReader reader(bytes);
    const std::uint32_t size = reader.number32();
    const bool isFragment = reader.number32() == boxType("moof") && size <= bytes.size() &&
                            size >= kFragmentHeader && reader.number32() == 16 &&
                            reader.number32() == boxType("mfhd");
    if (isFragment)
      forEachBox(bytes.subspan(kBoxHeader, size - kBoxHeader), boxType("traf"),
                 [&](BoxBytes each) { end = std::max(end, endOfTrackFragment(each, tracks)); });
    bytes = bytes.subspan(isFragment ? size : 1);
  }
  return end;
}

}  // namespace

std::optional<double> durationOfFragments(const ReadBytes& read, std::uint64_t size) {
  const FragmentTracks tracks = readFragmentTracks(read);
  if (tracks.empty()) return std::nullopt;
  for (const std::size_t length : kFragmentTails) {
    std::vector<std::uint8_t> tail(static_cast<std::size_t>(std::min<std::uint64_t>(length, size)));
    tail.resize(read(size - tail.size(), tail));
    if (const double end = endOfFragments(tail, tracks); end > 0) return end;
  }
  return std::nullopt;
}

}  // namespace media
