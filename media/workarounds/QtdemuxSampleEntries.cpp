#include "media/workarounds/QtdemuxSampleEntries.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <gst/audio/audio.h>
#include <gst/video/video.h>

#include "media/metadata/MovieBoxes.h"
#include "media/support/DemuxerTap.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr std::uint64_t kSampleEntryMovieLimit = std::uint64_t{16} << 20;
// Fields of a sample entry before its boxes.
constexpr std::size_t kVideoEntryFields = 78;
constexpr std::size_t kAudioEntryFields = 28;

/// The first sample entry of a track.
struct SampleEntry {
  std::uint32_t track = 0;
  bool isFullRange = false;
  GstAudioFormat pcm = GST_AUDIO_FORMAT_UNKNOWN;  // of "ipcm" and "fpcm"
  // Only valid while "moov" is read.
  BoxBytes trackContent;
  BoxBytes bytes;  // empty if the track has no valid entry
};
using SampleEntries = std::vector<SampleEntry>;

bool isFullRange(BoxBytes videoBoxes) {
  bool result = false;
  forEachBox(videoBoxes, boxType("colr"), [&result](BoxBytes box) {
    BoxReader reader(box);
    if (reader.number32() != boxType("nclx")) return;
    reader.take(6);  // primaries, transfer, matrix
    result = (reader.number(1) & 0x80) != 0;
  });
  return result;
}

GstAudioFormat pcmFormat(std::uint32_t type, BoxBytes audioBoxes) {
  GstAudioFormat format = GST_AUDIO_FORMAT_UNKNOWN;
  forEachBox(audioBoxes, boxType("pcmC"), [&](BoxBytes box) {
    BoxReader reader(box);
    reader.version();
    const int order = (reader.number(1) & 1) != 0 ? G_LITTLE_ENDIAN : G_BIG_ENDIAN;
    const auto bits = static_cast<int>(reader.number(1));
    const bool isLittle = order == G_LITTLE_ENDIAN;
    if (type == boxType("ipcm") && bits > 0 && bits <= 32 && bits % 8 == 0)
      format = gst_audio_format_build_integer(TRUE, order, bits, bits);
    else if (type == boxType("fpcm") && bits == 32)
      format = isLittle ? GST_AUDIO_FORMAT_F32LE : GST_AUDIO_FORMAT_F32BE;
    else if (type == boxType("fpcm") && bits == 64)
      format = isLittle ? GST_AUDIO_FORMAT_F64LE : GST_AUDIO_FORMAT_F64BE;
  });
  return format;
}

void readSampleEntry(const MovieTrack& track, BoxBytes description, SampleEntry& entry) {
  constexpr std::size_t kHeader = 8;
  constexpr std::size_t kOtherFields = 8;
  BoxReader box(description);
  box.take(4);  // version, flags
  const std::uint32_t count = box.number32();
  const BoxBytes bytes = box.rest();
  const std::uint32_t size = box.number32();
  const std::size_t fields = track.handler == boxType("vide")   ? kVideoEntryFields
                             : track.handler == boxType("soun") ? kAudioEntryFields
                                                                : kOtherFields;
  if (count == 0 || size < kHeader + fields || size > bytes.size()) return;
  entry.bytes = bytes.first(size);
  BoxReader reader(entry.bytes);
  reader.take(4);
  const std::uint32_t type = reader.number32();
  if (track.handler == boxType("vide")) {
    reader.take(kVideoEntryFields);
    entry.isFullRange = isFullRange(reader.rest());
  } else if (track.handler == boxType("soun")) {
    reader.take(kAudioEntryFields);
    entry.pcm = pcmFormat(type, reader.rest());
  }
}

SampleEntries sampleEntriesOf(BoxBytes movie) {
  SampleEntries entries;
  for (const MovieTrack& track : tracksOf(movie)) {
    SampleEntry& entry = entries.emplace_back();
    entry.track = track.number;
    entry.trackContent = track.content;
    forEachBox(track.content, "mdia/minf/stbl/stsd",
               [&](BoxBytes box) { readSampleEntry(track, box, entry); });
  }
  return entries;
}

/// Writes a type of four characters over the bytes at `place`, which are in `movieBox`.
void overwriteType(std::span<std::uint8_t> movieBox, const std::uint8_t* place,
                   std::string_view type) {
  std::copy(type.begin(), type.end(), movieBox.begin() + (place - movieBox.data()));
}

/// Changes PCM of ISO/IEC 23003-5 into types of QuickTime files of the same size, which qtdemux
/// supports. The byte order of "fl32" and "fl64" is corrected in the caps.
void changePCM(std::span<std::uint8_t> movieBox, const SampleEntry& entry) {
  constexpr std::size_t kBitsOffset = 26;
  const GstAudioFormatInfo* const info = gst_audio_format_get_info(entry.pcm);
  const auto bits = static_cast<std::uint8_t>(GST_AUDIO_FORMAT_INFO_WIDTH(info));
  const bool isLittle = GST_AUDIO_FORMAT_INFO_ENDIANNESS(info) == G_LITTLE_ENDIAN;
  std::string_view type = isLittle ? "sowt" : "twos";
  if (GST_AUDIO_FORMAT_INFO_IS_FLOAT(info)) type = bits == 64 ? "fl64" : "fl32";
  overwriteType(movieBox, entry.bytes.data() + 4, type);
  // Files have 16 here for all formats. qtdemux takes the size of a sample from it.
  const auto place = movieBox.begin() + (entry.bytes.data() - movieBox.data());
  place[kBitsOffset] = 0;
  place[kBitsOffset + 1] = bits;
}

void changeMovie(std::span<std::uint8_t> movieBox) {
  constexpr std::size_t kHeader = 8;
  for (const SampleEntry& entry : sampleEntriesOf(BoxBytes(movieBox).subspan(kHeader))) {
    if (entry.bytes.empty() && !entry.trackContent.empty())
      overwriteType(movieBox, entry.trackContent.data() - 4, "free");
    else if (entry.pcm != GST_AUDIO_FORMAT_UNKNOWN)
      changePCM(movieBox, entry);
  }
}

GstPadProbeReturn changePulledMovie(GstPad*, GstPadProbeInfo* info, gpointer) {
  GstBuffer* const pulled = GST_PAD_PROBE_INFO_BUFFER(info);
  std::array<std::uint8_t, 8> head{};
  if (!pulled || gst_buffer_extract(pulled, 0, head.data(), head.size()) != head.size())
    return GST_PAD_PROBE_OK;
  BoxReader header(head);
  const std::uint32_t size = header.number32();
  if (header.number32() != boxType("moov") || size < head.size() ||
      size > gst_buffer_get_size(pulled))
    return GST_PAD_PROBE_OK;
  GstBuffer* const changed = gst_buffer_make_writable(pulled);
  GST_PAD_PROBE_INFO_DATA(info) = changed;
  GstMapInfo map;
  if (!gst_buffer_map(changed, &map, GST_MAP_READWRITE)) return GST_PAD_PROBE_OK;
  changeMovie({map.data, size});
  gst_buffer_unmap(changed, &map);
  return GST_PAD_PROBE_OK;
}

/// Reads "moov". Used on the streaming thread of the demuxer, like the handler of new pads.
class SampleEntryTap final : public DemuxerTap {
 public:
  explicit SampleEntryTap(std::shared_ptr<SampleEntries> entries)
      : _boxes(
            [](std::uint32_t type) {
              return type == boxType("moov") ? kSampleEntryMovieLimit : std::uint64_t{0};
            },
            [found = std::move(entries)](std::uint32_t, BoxBytes movie) {
              *found = sampleEntriesOf(movie);
              for (SampleEntry& each : *found) each.bytes = each.trackContent = {};
            }) {}

 private:
  void feed(std::uint64_t, Bytes bytes) override { _boxes.feed(bytes); }
  void restart() override { _boxes.restart(); }
  /// In pull mode each read begins with a box or is within one.
  void feedPulled(GstPad*, std::uint64_t, Bytes bytes) override {
    _boxes.restart();
    _boxes.feed(bytes);
  }

  MovieBoxes _boxes;
};

void correctRange(GstCaps& caps) {
  const GstStructure* const structure = gst_caps_get_structure(&caps, 0);
  const char* const text = gst_structure_get_string(structure, "colorimetry");
  GstVideoColorimetry colorimetry{};
  if (!text || !gst_video_colorimetry_from_string(&colorimetry, text)) return;
  colorimetry.range = GST_VIDEO_COLOR_RANGE_0_255;
  const GstRef<gchar> corrected(gst_video_colorimetry_to_string(&colorimetry));
  gst_caps_set_simple(&caps, "colorimetry", G_TYPE_STRING, corrected.get(), nullptr);
}

/// qtdemux takes "fl32" and "fl64" for big-endian.
void correctFormat(GstCaps& caps, GstAudioFormat format) {
  GstStructure* const structure = gst_caps_get_structure(&caps, 0);
  if (format != GST_AUDIO_FORMAT_UNKNOWN && gst_structure_has_name(structure, "audio/x-raw"))
    gst_structure_set(structure, "format", G_TYPE_STRING, gst_audio_format_to_string(format),
                      nullptr);
}

/// qtdemux sets an empty mask for all audio of more than two channels.
void addChannelPositions(GstCaps& caps) {
  GstStructure* const structure = gst_caps_get_structure(&caps, 0);
  guint64 mask = 0;
  gint channels = 0;
  if (!gst_structure_has_name(structure, "audio/x-raw") ||
      !gst_structure_get_int(structure, "channels", &channels) || channels <= 2 ||
      !gst_structure_get(structure, "channel-mask", GST_TYPE_BITMASK, &mask, nullptr) || mask != 0)
    return;
  mask = gst_audio_channel_get_fallback_mask(channels);
  gst_structure_set(structure, "channel-mask", GST_TYPE_BITMASK, mask, nullptr);
}

void correctPad(GstPad* pad, const SampleEntries& entries) {
  const GstRef<gchar> id(gst_pad_get_stream_id(pad));
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(pad));
  if (!id || !caps || gst_caps_get_size(caps.get()) != 1) return;
  const std::string_view text(id.get());
  const std::size_t slash = text.rfind('/');
  if (slash == text.npos) return;
  // It ends with the number of the track, in decimal.
  const auto track = std::strtoul(id.get() + slash + 1, nullptr, 10);
  const auto entry = std::find_if(entries.begin(), entries.end(),
                                  [track](const auto& each) { return each.track == track; });
  const GstRef<GstCaps> corrected(gst_caps_copy(caps.get()));
  if (entry != entries.end() && entry->isFullRange) correctRange(*corrected);
  if (entry != entries.end()) correctFormat(*corrected, entry->pcm);
  addChannelPositions(*corrected);
  if (!gst_caps_is_equal(caps.get(), corrected.get())) gst_pad_set_caps(pad, corrected.get());
}

void watchQtdemux(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (!isFromFactory(element, "qtdemux")) return;
  const GstRef<GstPad> sink(gst_element_get_static_pad(element, "sink"));
  if (!sink) return;
  const auto entries = std::make_shared<SampleEntries>();
  DemuxerTap::attach(std::make_unique<SampleEntryTap>(entries), sink.get());
  gst_pad_add_probe(
      sink.get(), static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_PULL),
      changePulledMovie, nullptr, nullptr);
  // Connected before parsebin connects its handler, which links the pad.
  g_signal_connect_data(
      element, "pad-added", G_CALLBACK(+[](GstElement*, GstPad* pad, gpointer data) {
        correctPad(pad, **static_cast<std::shared_ptr<SampleEntries>*>(data));
      }),
      new std::shared_ptr<SampleEntries>(entries),
      [](gpointer data, GClosure*) { delete static_cast<std::shared_ptr<SampleEntries>*>(data); },
      static_cast<GConnectFlags>(0));
}

}  // namespace

void installQtdemuxSampleEntries(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(watchQtdemux), nullptr);
}

}  // namespace media
