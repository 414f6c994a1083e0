#include "media/metadata/MetadataTap.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "media/metadata/Chapters.h"
#include "media/metadata/EventMessages.h"
#include "media/metadata/ID3Tag.h"
#include "media/metadata/TransportMetadata.h"
#include "media/support/DemuxerTap.h"
#include "media/support/GstRef.h"
#include "media/texts/TextFormats.h"
#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

constexpr std::string_view kKeySpaceCommon = "common";
constexpr std::string_view kKeySpaceRadio = "icy";

constexpr std::uint64_t kEventLimit = std::uint64_t{64} << 10;
constexpr std::uint64_t kFragmentLimit = std::uint64_t{1} << 20;
constexpr std::uint64_t kMovieLimit = std::uint64_t{16} << 20;

std::uint64_t limitOf(std::uint32_t type) {
  if (type == boxType("emsg")) return kEventLimit;
  if (type == boxType("moof")) return kFragmentLimit;
  return type == boxType("moov") ? kMovieLimit : 0;
}

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

struct Listener {
  std::shared_ptr<MetadataTimeline> timeline;
  std::function<void()> found;
};

/// Adds metadata that is read before it is due to the time line.
void addToTimeline(const Listener& listener, MetadataTimeline::Source source, double seconds,
                   MetadataTimeline::Items items) {
  if (items.empty()) return;
  listener.timeline->add(source, std::max(0.0, seconds), std::move(items));
  listener.found();
}

class TransportTap final : public DemuxerTap {
 public:
  TransportTap(const Listener& listener, GstElement* demuxer)
      : _stream(
            [listener](double seconds, Bytes data) {
              addToTimeline(listener, MetadataTimeline::Source::Stream, seconds,
                            itemsOfID3Tag(data));
            },
            // The demuxer is not owned: its pad owns this object.
            [demuxer] {
              gst_element_post_message(
                  demuxer, gst_message_new_element(GST_OBJECT(demuxer),
                                                   gst_structure_new_empty(kSkippedAudioMessage)));
            }) {}

 private:
  void feed(std::uint64_t, Bytes bytes) override { _stream.feed(bytes); }
  void restart() override { _stream.restart(); }

  TransportMetadata _stream;
};

class MovieTap final : public DemuxerTap {
 public:
  MovieTap(const Listener& listener, GstElement* demuxer)
      : _demuxer(demuxer),
        _boxes(limitOf, [this](std::uint32_t type, BoxBytes content) { _take(type, content); }),
        _events([listener](double seconds, const EventMessage& event) {
          addToTimeline(listener, MetadataTimeline::Source::Events, seconds, itemsOfEvent(event));
        }) {}

 private:
  void feed(std::uint64_t, Bytes bytes) override { _boxes.feed(bytes); }
  void restart() override {
    _boxes.restart();
    _events.restart();
  }
  /// In pull mode each read begins with a box or is within one. Of an "emsg" qtdemux reads only the
  /// header: the rest is read here.
  void feedPulled(GstPad* sink, std::uint64_t offset, Bytes bytes) override {
    _boxes.restart();
    _boxes.feed(bytes);
    if (_boxes.missingBytes() == 0 || _boxes.type() != boxType("emsg")) return;
    const GstRef<GstPad> source(gst_pad_get_peer(sink));
    GstBuffer* rest = nullptr;
    if (!source ||
        gst_pad_get_range(source.get(), offset + bytes.size(),
                          static_cast<guint>(_boxes.missingBytes()), &rest) != GST_FLOW_OK)
      return;
    const GstRef<GstBuffer> owned(rest);
    GstMapInfo map;
    if (!gst_buffer_map(rest, &map, GST_MAP_READ)) return;
    _boxes.feed({map.data, map.size});
    gst_buffer_unmap(rest, &map);
  }
  void _take(std::uint32_t type, BoxBytes content) {
    _events.takeBox(type, content);
    if (type != boxType("moov")) return;
    const auto chapters = chaptersOfMovie(content);
    if (!chapters.empty())
      gst_element_post_message(_demuxer, tocMessageOf(chapters, GST_OBJECT(_demuxer)).release());
  }

  GstElement* const _demuxer;  // not owned: its pad owns this object
  MovieBoxes _boxes;
  EventMessages _events;
};

/// Synchronizes the creation of a listener with its use on a streaming thread. GObject's own
/// synchronization is not visible to thread sanitizers.
std::mutex& listenerMutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

Listener* newListener(Listener listener) {
  const std::lock_guard lock(listenerMutex());
  return new Listener(std::move(listener));
}

Listener copyOfListener(gpointer listener) {
  const std::lock_guard lock(listenerMutex());
  return *static_cast<Listener*>(listener);
}

void onTappedElement(GstBin*, GstBin*, GstElement* element, gpointer data) {
  const GstElementFactory* factory = gst_element_get_factory(element);
  const std::string_view name = factory ? GST_OBJECT_NAME(factory) : "";
  const bool isMovie = name == "qtdemux";
  if (!isMovie && name != "tsdemux") return;
  const Listener listener = copyOfListener(data);
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (!pad) return;
  if (isMovie)
    DemuxerTap::attach(std::make_unique<MovieTap>(listener, element), pad.get());
  else
    DemuxerTap::attach(std::make_unique<TransportTap>(listener, element), pad.get());
}

}  // namespace

void tapMetadata(GstElement* pipeline, std::shared_ptr<MetadataTimeline> timeline,
                 std::function<void()> found) {
  g_signal_connect_data(
      pipeline, "deep-element-added", G_CALLBACK(onTappedElement),
      newListener({std::move(timeline), std::move(found)}),
      [](gpointer listener, GClosure*) { delete static_cast<Listener*>(listener); },
      GConnectFlags{});
}

MetadataTimeline::Items itemsOfStation(const streaming::HeaderFields& fields) {
  MetadataTimeline::Items items;
  for (const auto& [name, value] : fields) {
    const GstRef<gchar> key(g_ascii_strdown(name.c_str(), -1));
    const bool isKnown =
        std::any_of(std::begin(kTagNames), std::end(kTagNames),
                    [&](const auto& tag) { return std::string_view(tag.radioKey) == key.get(); });
    if (!isKnown || value.empty()) continue;
    platform::TimedMetadataItem item;
    item.key = std::string(key.get());
    item.keySpace = std::string(kKeySpaceRadio);
    item.value = utf8Of(value);
    items.push_back(std::move(item));
  }
  return items;
}

MetadataTimeline::Items itemsOfTags(const GstTagList* tags, bool isRadio) {
  MetadataTimeline::Items items;
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

}  // namespace media
