#include "media/durations/MediaSpan.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "media/durations/ClockJumps.h"
#include "media/durations/FlacSpan.h"
#include "media/durations/FragmentSpan.h"
#include "media/durations/MatroskaSpan.h"
#include "media/durations/SpanBytes.h"
#include "media/durations/SystemStreams.h"
#include "media/segments/AudioFrames.h"

namespace media {
namespace {

constexpr std::size_t kHead = std::size_t{1} << 20;
constexpr std::size_t kTail = std::size_t{1} << 20;
constexpr std::size_t kLongTail = std::size_t{4} << 20;
constexpr double kSystemClock = 90000;
/// Less is a sign of a clock that was set back.
constexpr double kLeastBytesPerSecond = 2000;
constexpr double kLargestLead = 10;
/// Demuxers may go to the wrong side of a join if they seek to a time near it, in seconds.
constexpr double kBeforeJoin = 1;

constexpr std::size_t kProbe = std::size_t{16} << 10;
constexpr std::size_t kChunk = std::size_t{256} << 10;
constexpr int kProvingFrames = 3;
constexpr std::size_t kTagHeader = 10;

SystemTimes systemTimesOf(const SpanBytes& bytes, std::size_t packetSize) {
  return packetSize > 0 ? timesOfTransportStream(bytes, packetSize) : timesOfProgramStream(bytes);
}

/// The latest end of a stream of the head, relative to its clock.
std::optional<std::int64_t> latestEndOf(const SystemTimes& head, const SystemTimes& tail) {
  std::optional<std::int64_t> end;
  for (const auto& [id, stream] : tail.streams) {
    if (!head.streams.contains(id)) continue;
    const std::int64_t last = systemTimeBetween(*head.clock, stream.last) + stream.rest();
    end = std::max(end.value_or(last), last);
  }
  return end;
}

/// Returns whether the bit rate of the whole is near that of the head. Otherwise, recordings may
/// have been joined, each with a clock of its own.
bool fitsToRate(const SystemTimes& head, double duration, std::uint64_t size) {
  constexpr double kTolerance = 1.6;
  const auto& clocks = head.clocks;
  const std::int64_t time = systemTimeBetween(clocks.front().time, clocks.back().time);
  const std::size_t bytes = clocks.back().offset - clocks.front().offset;
  if (time <= 0 || bytes == 0) return false;
  const double expected = static_cast<double>(size) / static_cast<double>(bytes) *
                          static_cast<double>(time) / kSystemClock;
  return duration > expected / kTolerance && duration < expected * kTolerance;
}

std::optional<MediaSpan> spanOfSystemStream(const ReadBytes& read, std::uint64_t size,
                                            std::size_t packetSize) {
  const SystemTimes head = systemTimesOf(readSpan(read, 0, kHead), packetSize);
  if (!head.clock || !head.hasOneClock || head.streams.empty()) return std::nullopt;
  std::int64_t first = systemTimeBetween(*head.clock, head.streams.begin()->second.first);
  for (const auto& [id, stream] : head.streams)
    first = std::min(first, systemTimeBetween(*head.clock, stream.first));
  std::optional<std::int64_t> end;
  for (const std::size_t length : {kTail, kLongTail}) {
    end = latestEndOf(head, systemTimesOf(readTail(read, size, length), packetSize));
    if (end) break;
  }
  if (!end) return std::nullopt;
  const double lead = static_cast<double>(first) / kSystemClock;
  MediaSpan span{.lead = lead,
                 .duration = static_cast<double>(*end - first) / kSystemClock,
                 .earliest = packetSize > 0 ? lead : 0};
  if (!fitsToRate(head, span.duration, size)) {
    const auto readTimes = [&](std::uint64_t offset, std::size_t count) {
      return systemTimesOf(readWholeSpan(read, offset, count), packetSize);
    };
    if (const auto jumps = findClockJumps(readTimes, size)) {
      const double lastClock = span.duration;  // demuxers take it for the end
      span.duration -= static_cast<double>(jumps->total) / kSystemClock;
      if (jumps->firstBack) {
        // The clock is ahead of the pictures by the lead, here and at the start.
        const double reach = static_cast<double>(*jumps->firstBack) / kSystemClock - kBeforeJoin;
        span.seekable = reach > 0 && reach < lastClock ? reach : 0;
      }
    }
  }
  const bool isPlausible = span.lead >= 0 && span.lead < kLargestLead && span.duration > 0 &&
                           span.duration * kLeastBytesPerSecond < static_cast<double>(size);
  return isPlausible ? std::optional(span) : std::nullopt;
}

std::size_t sizeOfID3(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kTagHeader || bytes[0] != 'I' || bytes[1] != 'D' || bytes[2] != '3') return 0;
  return kTagHeader + (std::size_t{bytes[6]} << 21 | std::size_t{bytes[7]} << 14 |
                       std::size_t{bytes[8]} << 7 | bytes[9]);
}

/// Returns whether several frames of this codec follow each other.
bool isRawAudio(AVCodecID codec, std::span<const std::uint8_t> bytes) {
  for (int index = 0; index < kProvingFrames; ++index) {
    const auto frame = audioFrameOf(codec, bytes);
    if (!frame || frame->bytes == 0 || frame->bytes > bytes.size()) return false;
    bytes = bytes.subspan(frame->bytes);
  }
  return true;
}

/// Encoders state the number of frames in the first one.
bool statesItsLength(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kWithin = 200;
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()),
                               std::min(bytes.size(), kWithin));
  for (const std::string_view each : {"Xing", "Info", "VBRI"})
    if (start.find(each) != start.npos) return true;
  return false;
}

std::optional<MediaSpan> countFrames(const ReadBytes& read, std::uint64_t offset,
                                     std::uint64_t size, AVCodecID codec) {
  MediaSpan span;
  SpanBytes bytes;
  std::size_t at = 0;
  while (true) {
    const auto frame = audioFrameOf(codec, std::span(bytes).subspan(at));
    const bool isWhole = frame && frame->bytes > 0 && at + frame->bytes <= bytes.size();
    if (isWhole) {
      span.duration += static_cast<double>(frame->samples) / frame->rate;
      at += frame->bytes;
      continue;
    }
    const bool mayBeCut = bytes.size() - at < kProbe;
    if (!mayBeCut) {
      ++at;
      continue;
    }
    if (offset < size) {
      bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
      at = 0;
      const SpanBytes more = readSpan(read, offset, kChunk);
      if (more.empty()) return std::nullopt;
      offset += more.size();
      bytes.insert(bytes.end(), more.begin(), more.end());
    } else if (at < bytes.size()) {
      ++at;
    } else {
      break;
    }
  }
  return span.duration > 0 ? std::optional(span) : std::nullopt;
}

std::optional<MediaSpan> spanOfRawAudio(const ReadBytes& read, std::uint64_t size,
                                        std::uint64_t limit, const SpanBytes& probe) {
  const std::size_t start = sizeOfID3(probe);
  const SpanBytes head = start == 0 ? probe : readSpan(read, start, kProbe);
  for (const AVCodecID codec : {AV_CODEC_ID_AAC, AV_CODEC_ID_MP3, AV_CODEC_ID_AC3}) {
    if (!isRawAudio(codec, head)) continue;
    if (size > limit || (codec == AV_CODEC_ID_MP3 && statesItsLength(head))) return std::nullopt;
    return countFrames(read, start, size, codec);
  }
  return std::nullopt;
}

}  // namespace

std::optional<MediaSpan> measureSpan(const ReadBytes& read, std::uint64_t size,
                                     std::uint64_t limit) {
  const SpanBytes probe = readSpan(read, 0, kProbe);
  const std::size_t packetSize = transportPacketSize(probe);
  if (packetSize > 0 || isProgramStream(probe)) return spanOfSystemStream(read, size, packetSize);
  auto duration = durationOfFragments(read, size);
  if (!duration) duration = durationOfMatroska(read, size);
  if (!duration) duration = durationOfFlac(read, sizeOfID3(probe), size);
  if (duration) return MediaSpan{.duration = *duration};
  return spanOfRawAudio(read, size, limit, probe);
}

}  // namespace media
