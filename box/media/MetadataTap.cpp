#include "box/media/MetadataTap.h"

#include <algorithm>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "box/media/EventMessages.h"
#include "box/media/GstRef.h"
#include "box/media/ID3Tag.h"
#include "box/media/TransportMetadata.h"

namespace box {
namespace {

constexpr std::string_view kKeySpaceCommon = "common";
constexpr std::string_view kKeySpaceRadio = "icy";

struct TagName {
  const char* tag;
  const char* key;
  const char* radioKey;
};
constexpr TagName kTagNames[] = {
    {GST_TAG_TITLE, "title", "StreamTitle"},   {GST_TAG_ARTIST, "artist", "artist"},
    {GST_TAG_ALBUM, "album", "album"},         {GST_TAG_ALBUM_ARTIST, "albumArtist", "albumArtist"},
    {GST_TAG_GENRE, "genre", "icy-genre"},     {GST_TAG_ORGANIZATION, "organization", "icy-name"},
    {GST_TAG_HOMEPAGE, "homepage", "icy-url"}, {GST_TAG_COMPOSER, "composer", "composer"},
};

/// One demuxer's input.
template <typename Parser>
class Tap {
 public:
  Tap(std::shared_ptr<MetadataTimeline> timeline, std::function<void()> found)
      : _timeline(std::move(timeline)),
        _found(std::move(found)),
        _parser([this](double seconds, auto content) { _take(seconds, content); }) {
    gst_segment_init(&_segment, GST_FORMAT_UNDEFINED);
  }

  static GstPadProbeReturn onData(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto& me = *static_cast<Tap*>(self);
    if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
      if (GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info)) me._feed(buffer);
    } else if (GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
               event && GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
      gst_event_copy_segment(event, &me._segment);
    }
    return GST_PAD_PROBE_OK;
  }

 private:
  void _feed(GstBuffer* buffer) {
    // In adaptive media the first bytes after a jump say what time they are of; elsewhere times
    // count from the beginning of it all.
    guint64 time = 0;
    const bool isDated = _segment.format == GST_FORMAT_TIME && GST_BUFFER_PTS_IS_VALID(buffer) &&
                         gst_segment_to_stream_time_full(&_segment, GST_FORMAT_TIME,
                                                         GST_BUFFER_PTS(buffer), &time) == 1;
    const guint64 offset = GST_BUFFER_OFFSET(buffer);
    const bool follows = offset == _nextOffset || _segment.format == GST_FORMAT_TIME;
    if (isDated) _origin = static_cast<double>(time) / static_cast<double>(GST_SECOND);
    if (isDated || !follows || GST_BUFFER_IS_DISCONT(buffer)) _parser.restart(isDated);
    _nextOffset = offset + gst_buffer_get_size(buffer);
    GstMapInfo bytes;
    if (!gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return;
    _parser.feed({bytes.data, bytes.size});
    gst_buffer_unmap(buffer, &bytes);
  }

  void _take(double seconds, std::span<const std::uint8_t> data) {
    _add(MetadataTimeline::Source::Stream, seconds, itemsOfID3Tag(data));
  }
  void _take(double seconds, const EventMessage& event) {
    _add(MetadataTimeline::Source::Events, seconds, itemsOfEvent(event));
  }
  void _add(MetadataTimeline::Source source, double seconds, MetadataTimeline::Items items) {
    if (items.empty()) return;
    _timeline->add(source, std::max(0.0, _origin + seconds), std::move(items));
    _found();
  }

  const std::shared_ptr<MetadataTimeline> _timeline;
  const std::function<void()> _found;
  Parser _parser;
  GstSegment _segment;
  guint64 _nextOffset = 0;
  double _origin = 0;
};

struct Listener {
  std::shared_ptr<MetadataTimeline> timeline;
  std::function<void()> found;
};

/// Orders the making of a listener before its use on a streaming thread by something of ours.
std::mutex& handOver() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

Listener* handedOver(Listener listener) {
  const std::lock_guard lock(handOver());
  return new Listener(std::move(listener));
}

Listener received(gpointer listener) {
  const std::lock_guard lock(handOver());
  return *static_cast<Listener*>(listener);
}

/// What a station says of itself once, with its answer, gets lost behind the demuxer.
GstPadProbeReturn onStation(GstPad*, GstPadProbeInfo* info, gpointer data) {
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_TAG) return GST_PAD_PROBE_OK;
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  if (auto items = itemsOfTags(tags, true); !items.empty()) {
    const Listener listener = received(data);
    listener.timeline->add(MetadataTimeline::Source::Stream, 0, std::move(items));
    listener.found();
  }
  return GST_PAD_PROBE_OK;
}

template <typename Parser>
void tap(GstPad* pad, const Listener& listener) {
  using Each = Tap<Parser>;
  gst_pad_add_probe(
      pad,
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      Each::onData, new Each(listener.timeline, listener.found),
      [](gpointer each) { delete static_cast<Each*>(each); });
}

void onElement(GstBin*, GstBin*, GstElement* element, gpointer data) {
  const GstElementFactory* factory = gst_element_get_factory(element);
  const std::string_view name = factory ? GST_OBJECT_NAME(factory) : "";
  const bool isRadio = name == "icydemux";
  if (!isRadio && name != "tsdemux" && name != "qtdemux") return;
  const Listener listener = received(data);
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (!pad) return;
  if (isRadio) {
    listener.timeline->setOfRadio();
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, onStation,
                      handedOver(listener),
                      [](gpointer copy) { delete static_cast<Listener*>(copy); });
    return;
  }
  if (name == "tsdemux")
    tap<TransportMetadata>(pad.get(), listener);
  else
    tap<EventMessages>(pad.get(), listener);
}

}  // namespace

void tapMetadata(GstElement* pipeline, std::shared_ptr<MetadataTimeline> timeline,
                 std::function<void()> found) {
  g_signal_connect_data(
      pipeline, "deep-element-added", G_CALLBACK(onElement),
      handedOver({std::move(timeline), std::move(found)}),
      [](gpointer listener, GClosure*) { delete static_cast<Listener*>(listener); },
      GConnectFlags{});
}

MetadataTimeline::Items itemsOfTags(const GstTagList* tags, bool isRadio) {
  MetadataTimeline::Items items;
  const bool isOfStream = gst_tag_list_get_scope(tags) == GST_TAG_SCOPE_STREAM;
  if (isOfStream && !isRadio) return items;
  for (const TagName& name : kTagNames) {
    gchar* text = nullptr;
    if (!gst_tag_list_get_string(tags, name.tag, &text)) continue;
    const GstRef<gchar> owned(text);
    platform::TimedMetadataItem item;
    item.key = isRadio ? name.radioKey : name.key;
    item.keySpace = std::string(isRadio ? kKeySpaceRadio : kKeySpaceCommon);
    item.value = std::string(text);
    items.push_back(std::move(item));
  }
  return items;
}

}  // namespace box
