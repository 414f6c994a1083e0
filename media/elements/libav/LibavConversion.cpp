#include "media/elements/libav/LibavConversion.h"

#include <algorithm>
#include <string>
#include <utility>

namespace media {
namespace {

void addText(GstTagList* tags, const char* tag, const std::string& text) {
  if (!text.empty() && g_utf8_validate(text.c_str(), static_cast<gssize>(text.size()), nullptr))
    gst_tag_list_add(tags, GST_TAG_MERGE_REPLACE, tag, text.c_str(), nullptr);
}

}  // namespace

GstRef<GstTagList> streamTags(const LibavInput& input, const AVStream& stream) {
  GstRef<GstTagList> tags(gst_tag_list_new_empty());
  const std::string language = input.metadata("language", &stream);
  if (language != "und") addText(tags.get(), GST_TAG_LANGUAGE_CODE, language);
  addText(tags.get(), GST_TAG_TITLE, input.metadata("title", &stream));
  return tags;
}

GstRef<GstTagList> containerTags(const LibavInput& input) {
  constexpr std::pair<const char*, const char*> kKeys[] = {{"title", GST_TAG_TITLE},
                                                           {"artist", GST_TAG_ARTIST},
                                                           {"album", GST_TAG_ALBUM},
                                                           {"genre", GST_TAG_GENRE},
                                                           {"comment", GST_TAG_COMMENT}};
  GstRef<GstTagList> tags(gst_tag_list_new_empty());
  gst_tag_list_set_scope(tags.get(), GST_TAG_SCOPE_GLOBAL);
  for (const auto& [key, tag] : kKeys) addText(tags.get(), tag, input.metadata(key));
  return tags;
}

GstRef<GstBuffer> bufferOfPacket(const AVPacket& packet, const LibavInput::Times& times) {
  AVPacket* const copy = av_packet_clone(&packet);
  if (!copy) return {};
  GstRef<GstBuffer> made(gst_buffer_new_wrapped_full(
      GST_MEMORY_FLAG_READONLY, copy->data, static_cast<gsize>(copy->size), 0,
      static_cast<gsize>(copy->size), copy, [](gpointer each) {
        auto* owned = static_cast<AVPacket*>(each);
        av_packet_free(&owned);
      }));
  GstBuffer* const buffer = made.get();
  GST_BUFFER_PTS(buffer) = times.presentation.value_or(GST_CLOCK_TIME_NONE);
  GST_BUFFER_DTS(buffer) = times.decoding.value_or(GST_CLOCK_TIME_NONE);
  GST_BUFFER_DURATION(buffer) = times.duration.value_or(GST_CLOCK_TIME_NONE);
  if ((packet.flags & AV_PKT_FLAG_KEY) == 0)
    GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
  return made;
}

void prependParameterSets(GstBuffer& buffer, const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  const bool hasNalUnits =
      parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC;
  // An avcC or hvcC box, which begins with its version, is in the caps.
  if (!hasNalUnits || parameters.extradata_size < 4 || parameters.extradata[0] != 0 ||
      parameters.extradata[1] != 0)
    return;
  const auto size = static_cast<gsize>(parameters.extradata_size);
  GstMemory* const sets = gst_allocator_alloc(nullptr, size, nullptr);
  GstMapInfo map;
  if (gst_memory_map(sets, &map, GST_MAP_WRITE)) {
    std::copy_n(parameters.extradata, size, map.data);
    gst_memory_unmap(sets, &map);
  }
  gst_buffer_prepend_memory(&buffer, sets);
}

}  // namespace media
