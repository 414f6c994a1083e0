#include "media/texts/TextSink.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "media/support/GstTime.h"
#include "media/texts/SubtitleMarkup.h"
#include "media/texts/TextStream.h"
#include "media/texts/ass/AssStream.h"

namespace media {
namespace {

bool isText(const GstCaps* caps) {
  return caps && !gst_caps_is_empty(caps) &&
         gst_structure_has_name(gst_caps_get_structure(caps, 0), "text/x-raw");
}

bool isMarkup(const GstCaps* caps) {
  const gchar* format = gst_structure_get_string(gst_caps_get_structure(caps, 0), "format");
  return format && std::string_view(format) == "pango-markup";
}

/// Converts a colour of BT.601 in video range to 0xRRGGBB.
std::uint32_t colorOfVideo(int y, int cb, int cr) {
  const double luma = 1.164 * (y - 16);
  const double blue = cb - 128;
  const double red = cr - 128;
  const auto level = [](double value) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 255.0)));
  };
  return level(luma + 1.596 * red) << 16 | level(luma - 0.392 * blue - 0.813 * red) << 8 |
         level(luma + 2.017 * blue);
}

}  // namespace

namespace {

/// The stream time in seconds.
std::optional<double> startOf(GstBuffer* buffer, const GstSegment& segment) {
  guint64 start = 0;
  // The time is not clipped to the segment, so that a cue which begins before it keeps its start.
  if (segment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(buffer) ||
      gst_segment_to_stream_time_full(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer), &start) !=
          1)
    return std::nullopt;
  return secondsOf(start);
}

double durationOf(GstBuffer* buffer) {
  const GstClockTime duration = GST_BUFFER_DURATION(buffer);
  return GST_CLOCK_TIME_IS_VALID(duration) ? secondsOf(duration) : SubtitleCue::kUntilNext;
}

}  // namespace

SubtitleCue cueOf(GstBuffer* buffer, const GstSegment& segment, const GstCaps* caps) {
  SubtitleCue cue;
  cue.duration = 0;
  const auto start = startOf(buffer, segment);
  if (!isText(caps) || !start) return cue;
  GstMapInfo bytes;
  if (!gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return cue;
  std::string_view text(reinterpret_cast<const char*>(bytes.data), bytes.size);
  text = text.substr(0, text.find('\0'));
  if (const SubtitleCue* known = attachedCue(buffer))
    cue = *known;
  else if (isMarkup(caps))
    cue = cueOfMarkup(text);
  else
    cue.text = text;
  cue.start = *start;
  cue.duration = durationOf(buffer);
  gst_buffer_unmap(buffer, &bytes);
  return cue;
}

TextSink::TextSink(std::shared_ptr<SubtitleCues> cues, std::shared_ptr<RenderedTexts> rendered,
                   std::function<void()> changed)
    : _cues(std::move(cues)), _rendered(std::move(rendered)), _changed(std::move(changed)) {
  gst_segment_init(&_segment, GST_FORMAT_UNDEFINED);
  GstElement* sink = gst_element_factory_make("appsink", "text-sink");
  if (!sink) return;
  _element.reset(GST_ELEMENT(gst_object_ref_sink(sink)));
  // The sink accepts any caps and drops buffers that it cannot read. If it refused them, the
  // whole pipeline would fail.
  g_object_set(sink, "sync", FALSE, "async", FALSE, "wait-on-eos", FALSE, "emit-signals", FALSE,
               nullptr);
  const GstRef<GstPad> pad(gst_element_get_static_pad(sink, "sink"));
  gst_pad_add_probe(
      pad.get(),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      _onData, this, nullptr);
}

GstPadProbeReturn TextSink::_onData(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<TextSink*>(self);
  if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
    me._take(GST_PAD_PROBE_INFO_BUFFER(info));
    return GST_PAD_PROBE_DROP;
  }
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  // While paused, the sink would block on a gap, and with it everything that follows in the stream.
  if (GST_EVENT_TYPE(event) == GST_EVENT_GAP) return GST_PAD_PROBE_DROP;
  me._handle(event);
  return GST_PAD_PROBE_OK;
}

void TextSink::_handle(GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
    gst_event_copy_segment(event, &_segment);
    if (_images) _images->reset();
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    _setCaps(caps);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
    const gchar* id = nullptr;
    gst_event_parse_stream_start(event, &id);
    if (id && std::exchange(_streamID, id) != id) {
      _cues->clear();
      _images.reset();
      _assHeader.reset();
      _rendered->remove(SubtitleCues::Source::Media);
    }
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
    _readFonts(event);
  } else if (gst_event_has_name(event, "application/x-gst-dvd")) {
    _readPalette(event);
  }
}

void TextSink::_setCaps(GstCaps* caps) {
  _caps.reset(caps ? gst_caps_ref(caps) : nullptr);
  _images.reset();
  if (!caps || gst_caps_is_empty(caps)) return;
  _beginStyled();
  const GstStructure* form = gst_caps_get_structure(caps, 0);
  _images = ImageSubtitles::make(gst_structure_get_name(form), [this](SubtitleCue cue) {
    _cues->add(std::move(cue));
    _changed();
  });
  if (!_images) return;
  if (_palette) _images->setPalette(*_palette);
  const GValue* data = gst_structure_get_value(form, "codec_data");
  GstBuffer* description =
      data && GST_VALUE_HOLDS_BUFFER(data) ? gst_value_get_buffer(data) : nullptr;
  GstMapInfo bytes;
  if (!description || !gst_buffer_map(description, &bytes, GST_MAP_READ)) return;
  _images->setDescription({reinterpret_cast<const char*>(bytes.data), bytes.size});
  gst_buffer_unmap(description, &bytes);
}

void TextSink::_readFonts(GstEvent* event) {
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  const guint attachments = gst_tag_list_get_tag_size(tags, GST_TAG_ATTACHMENT);
  // Tags of the whole file are sent again when one is added.
  if (attachments <= _attachments) return;
  _attachments = attachments;
  for (AttachedFont& each : fontsOf(tags)) _rendered->addFont(std::move(each));
}

/// Caps that are repeated keep the events of the document.
void TextSink::_beginStyled() {
  auto header = assHeaderOf(_caps.get());
  if (header == _assHeader) return;
  _assHeader = std::move(header);
  if (_assHeader)
    _rendered->begin(*_assHeader);
  else
    _rendered->remove(SubtitleCues::Source::Media);
}

/// Reads the colour table of a DVD, which is sent before the pictures.
void TextSink::_readPalette(GstEvent* event) {
  const GstStructure* structure = gst_event_get_structure(event);
  ImageSubtitles::Palette palette{};
  for (std::size_t index = 0; index < palette.size(); ++index) {
    const std::string field = (index < 10 ? "clut0" : "clut") + std::to_string(index);
    gint value = 0;
    if (!gst_structure_get_int(structure, field.c_str(), &value)) return;
    palette[index] = colorOfVideo(value >> 16 & 0xFF, value & 0xFF, value >> 8 & 0xFF);
  }
  _palette = palette;
  if (_images) _images->setPalette(palette);
}

void TextSink::_takeImage(GstBuffer* buffer) {
  const auto start = startOf(buffer, _segment);
  GstMapInfo bytes;
  if (!start || !gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return;
  _images->feed(*start, durationOf(buffer),
                {reinterpret_cast<const char*>(bytes.data), bytes.size});
  gst_buffer_unmap(buffer, &bytes);
}

void TextSink::_takeStyled(GstBuffer* buffer) {
  const auto start = startOf(buffer, _segment);
  const double duration = durationOf(buffer);
  GstMapInfo bytes;
  if (!start || duration <= 0 || !gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return;
  const std::string_view event(reinterpret_cast<const char*>(bytes.data), bytes.size);
  if (event.size() <= AssRenderer::kEventBytes)
    _rendered->add(*start, duration, std::string(event.substr(0, event.find('\0'))));
  gst_buffer_unmap(buffer, &bytes);
}

void TextSink::_take(GstBuffer* buffer) {
  if (_assHeader) {
    _takeStyled(buffer);
    return;
  }
  if (_images) {
    _takeImage(buffer);
    return;
  }
  SubtitleCue cue = cueOf(buffer, _segment, _caps.get());
  if (cue.text.empty() && cue.duration == 0) return;
  _cues->add(std::move(cue));
  _changed();
}

}  // namespace media
