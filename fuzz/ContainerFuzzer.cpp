// What our own code reads of containers: boxes of MP4, transport streams, Matroska, ID3.

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "fuzz/support/FuzzTarget.h"
#include "media/metadata/Chapters.h"
#include "media/metadata/EventMessages.h"
#include "media/metadata/ID3Tag.h"
#include "media/metadata/MovieBoxes.h"
#include "media/metadata/TransportMetadata.h"
#include "media/segments/ContainerFormat.h"
#include "media/segments/TextSamples.h"
#include "media/texts/matroska/MatroskaAdditions.h"
#include "media/texts/matroska/MatroskaTracks.h"
#include "platform/media/TimedMetadataItem.h"
#include "streaming/playback/SegmentBytes.h"

namespace fuzz {
namespace {

/// Calls `feed` with parts of the input. The first byte decides how large they are.
template <typename Feed>
void feedInParts(Bytes input, const Feed& feed) {
  const std::size_t size = std::size_t{1} << takeByte(input) % 16U;
  while (!input.empty()) feed(takeBytes(input, size));
}

void readID3(Bytes input) { static_cast<void>(media::itemsOfID3Tag(input)); }

void readEventMessage(Bytes input) {
  const auto box = media::readEventMessage(input);
  if (!box) return;
  require(std::isfinite(box->seconds), "the time of an event is finite");
  static_cast<void>(media::itemsOfEvent(box->message));
}

std::uint64_t movieBoxLimit(std::uint32_t type) {
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 20;
  const bool isWanted = type == media::boxType("emsg") || type == media::boxType("moov") ||
                        type == media::boxType("moof");
  return isWanted ? kLargest : 0;
}

void readMovie(Bytes input) {
  media::EventMessages events([](double seconds, const media::EventMessage&) {
    require(std::isfinite(seconds), "the time of an event is finite");
  });
  media::MovieBoxes boxes(&movieBoxLimit, [&](std::uint32_t type, media::BoxBytes content) {
    events.takeBox(type, content);
    if (type != media::boxType("moov")) return;
    for (const auto& each : media::chaptersOfMovie(content))
      require(std::isfinite(each.start), "the start of a chapter is finite");
  });
  feedInParts(input, [&](Bytes part) {
    boxes.feed(part);
    static_cast<void>(boxes.missingBytes());
  });
}

void readTextSamples(Bytes input) {
  static_cast<void>(media::webVTTCuesIn(textOf(input)));
  streaming::SegmentBytes initialization;
  initialization.append(textOf(input));
  initialization.complete();
  static_cast<void>(media::webVTTHeaderIn(initialization));
}

void readTransportStream(Bytes input) {
  constexpr std::size_t kLargestUnit = std::size_t{64} << 10;
  media::TransportMetadata metadata([](double, std::span<const std::uint8_t> data) {
    require(data.size() <= kLargestUnit, "a unit of metadata is limited");
    static_cast<void>(media::itemsOfID3Tag(data));
  });
  feedInParts(input, [&](Bytes part) { metadata.feed(part); });
  metadata.restart();
}

void readMatroska(Bytes input) {
  media::MatroskaTracks tracks;
  media::MatroskaAdditions additions;
  std::uint64_t offset = 0;
  feedInParts(input, [&](Bytes part) {
    tracks.feed(offset, part);
    additions.feed(offset, part);
    offset += part.size();
    // A demuxer may also read elsewhere.
    if (!part.empty() && part.front() == 0x7f) offset += part.size() * 4;
  });
  require(tracks.tracks().size() <= 256, "the number of tracks is limited");
  static_cast<void>(additions.find(2, 0));
}

void readBeginning(Bytes input) {
  static_cast<void>(media::containerFormatOf(input));
  streaming::SegmentBytes bytes;
  bytes.append(textOf(input));
  bytes.complete();
  const streaming::ReadGate gate;
  static_cast<void>(media::isIndexLast(bytes, gate));
  static_cast<void>(media::lengthOfID3Tags(bytes, gate));
}

const Registration id3({"ID3", &readID3, {}});
const Registration eventMessage({"EventMessage", &readEventMessage, {}});
const Registration movie({"MovieBoxes", &readMovie, {}});
const Registration textSamples({"TextSamples", &readTextSamples, {}});
const Registration transport({"TransportMetadata", &readTransportStream, {}});
const Registration matroska({"Matroska", &readMatroska, {}});
const Registration beginning({"ContainerFormat", &readBeginning, {}});

}  // namespace
}  // namespace fuzz
