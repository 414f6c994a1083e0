#include "media/elements/SilentStreams.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr const char* kSilentType = "type";
constexpr const char* kSilentIsEmpty = "is-empty";
// Longer than the usual distance of key frames: a transport stream may begin between two of them.
constexpr GstClockTime kSilentSpan = 12 * GST_SECOND;
// Time stamps may jump.
constexpr int kSilentPackets = 50;

/// The parsers and decoders of a pipeline that have no output yet.
///
/// The sink of the other stream waits then. Its packets fill the multiqueue, so that none reach the
/// element that could be waiting for the next key frame; and decodebin3 keeps the EOS of a stream
/// until all have ended. While a parser or decoder waits, the multiqueue is therefore only limited
/// by its number of bytes, and a decoder is drained where its stream ends.
///
/// Threads: any. The probes and signal handlers own it.
class SilenceWatch {
 public:
  SilenceWatch() { g_weak_ref_init(&_queue, nullptr); }
  ~SilenceWatch() { g_weak_ref_clear(&_queue); }
  SilenceWatch(const SilenceWatch&) = delete;
  SilenceWatch& operator=(const SilenceWatch&) = delete;

  struct Element {
    GstElement* owner = nullptr;  // only compared
    GstStreamType type{};
    bool isParser = false;  // otherwise behind the multiqueue
    int packets = 0;
    GstClockTime first = GST_CLOCK_TIME_NONE;
    bool hasOutput = false;
    bool hasGap = false;  // the sink does not wait for a stream without packets any longer
    bool isOver = false;  // it has output, or was reported
  };

  using ElementRef = std::shared_ptr<Element>;
  /// The probes of the element own the entry.
  ElementRef add(GstElement* owner, GstStreamType type) {
    const bool isParser = !hasClass(owner, "Decoder");
    auto element = std::make_shared<Element>(Element{owner, type, isParser});
    const std::lock_guard lock(_mutex);
    std::erase_if(_elements, [](const auto& each) { return each.expired(); });
    _elements.push_back(element);
    return element;
  }

  void noteFlush(Element& element) {
    const std::lock_guard lock(_mutex);
    element.packets = 0;
    element.first = GST_CLOCK_TIME_NONE;
  }

  /// Returns false if the element need not be watched any longer.
  bool noteInput(GstElement* source, Element& element, GstClockTime time) {
    std::unique_lock lock(_mutex);
    if (element.isOver) return false;
    ++element.packets;
    if (!GST_CLOCK_TIME_IS_VALID(time)) return true;
    if (!GST_CLOCK_TIME_IS_VALID(element.first)) element.first = time;
    if (element.packets <= kSilentPackets || time <= element.first + kSilentSpan) return true;
    element.isOver = true;
    lock.unlock();
    _report(source, element.type);
    return false;
  }

  void noteOutput(Element& element) {
    std::unique_lock lock(_mutex);
    element.hasOutput = element.isOver = true;
    if (!_usualTime || _hasWaiting()) return;
    const guint64 time = *std::exchange(_usualTime, std::nullopt);
    lock.unlock();
    const GstRef<GstElement> queue = _queueElement();
    if (queue) g_object_set(queue.get(), "use-interleave", TRUE, "max-size-time", time, nullptr);
  }

  void noteGap(Element& element) {
    const std::lock_guard lock(_mutex);
    element.hasGap = true;
  }

  void noteEnd(GstElement* source, Element& element) {
    std::unique_lock lock(_mutex);
    if (!_isMissing(element)) return;
    element.isOver = true;
    const bool isEmpty = element.packets == 0;
    lock.unlock();
    _report(source, element.type, isEmpty);
  }

  /// Called when a source pad of the multiqueue has output its last packet.
  void noteQueueEnd(GstPad* source) {
    const GstRef<GstPad> decoderSink(gst_pad_get_peer(source));
    const GstRef<GstElement> decoder(decoderSink ? gst_pad_get_parent_element(decoderSink.get())
                                                 : nullptr);
    const auto waiting = _waiting();
    const auto found = std::find_if(waiting.begin(), waiting.end(), [&](const ElementRef& each) {
      return each->owner == decoder.get();
    });
    if (!decoder || found == waiting.end()) return;
    const ElementRef& element = *found;
    gst_pad_send_event(decoderSink.get(), gst_event_new_stream_group_done(1));
    noteEnd(decoder.get(), *element);
  }

  /// Called when the multiqueue blocks a stream.
  void noteFullQueue() {
    const auto waiting = _waiting();
    if (waiting.empty()) return;
    const GstRef<GstElement> queue = _queueElement();
    if (!queue) return;
    const Owners starved = _ownersWithoutInput(queue.get());
    for (const ElementRef& each : waiting)
      if (each->isParser || std::find(starved.begin(), starved.end(), each->owner) != starved.end())
        _helpStarved(queue.get(), *each);
  }

  /// Called for each packet. `sink` is the pad of the element.
  void noteLastPacket(GstPad* sink, Element& element) {
    if (element.isParser) return;
    const GstRef<GstPad> part(gst_pad_get_peer(sink));
    const GstRef<GstElement> queue = _queueElement();
    const GstRef<GstElement> owner(part ? gst_pad_get_parent_element(part.get()) : nullptr);
    if (!queue || owner != queue) return;
    guint buffers = 0;
    g_object_get(part.get(), "current-level-buffers", &buffers, nullptr);
    if (buffers == 0) _helpStarved(queue.get(), element);
  }

  void setQueue(GstElement* queue) { g_weak_ref_set(&_queue, queue); }

 private:
  // Call these three with the mutex locked:
  /// A stream without packets is only missing if no other stream of its type has output.
  bool _isMissing(const Element& element) const {
    if (element.isOver) return false;
    if (element.packets > 0) return true;
    return element.isParser &&
           std::none_of(_elements.begin(), _elements.end(), [&element](const auto& each) {
             const ElementRef other = each.lock();
             return other && other->type == element.type && other->hasOutput;
           });
  }
  bool _isWaiting(const Element& element) const {
    return _isMissing(element) && (element.packets > 0 || !element.hasGap);
  }
  bool _hasWaiting() const {
    return std::any_of(_elements.begin(), _elements.end(), [this](const auto& each) {
      const ElementRef element = each.lock();
      return element && _isWaiting(*element);
    });
  }
  std::vector<ElementRef> _waiting() {
    std::vector<ElementRef> waiting;
    const std::lock_guard lock(_mutex);
    for (const auto& each : _elements)
      if (ElementRef element = each.lock(); element && _isWaiting(*element))
        waiting.push_back(std::move(element));
    return waiting;
  }
  GstRef<GstElement> _queueElement() {
    return GstRef<GstElement>(static_cast<GstElement*>(g_weak_ref_get(&_queue)));
  }
  /// Lets more packets into the queue, or reports the element if the queue is full. A stream
  /// without packets may begin later.
  void _helpStarved(GstElement* queue, Element& element) {
    guint64 time = 0;
    g_object_get(queue, "max-size-time", &time, nullptr);
    std::unique_lock lock(_mutex);
    if (!_isWaiting(element)) return;
    if (!_usualTime) {
      _usualTime = time;
      lock.unlock();
      g_object_set(queue, "use-interleave", FALSE, "max-size-time", guint64{0}, nullptr);
      return;
    }
    const bool hasPackets = element.packets > 0;
    lock.unlock();
    if (!hasPackets || !_isFullOfBytes(queue)) return;
    lock.lock();
    if (std::exchange(element.isOver, true)) return;
    lock.unlock();
    _report(queue, element.type);
  }
  static bool _isFullOfBytes(GstElement* queue) {
    struct Level {
      guint limit = 0;
      bool isReached = false;
    } level;
    g_object_get(queue, "max-size-bytes", &level.limit, nullptr);
    gst_element_foreach_src_pad(
        queue,
        [](GstElement*, GstPad* pad, gpointer data) -> gboolean {
          auto& found = *static_cast<Level*>(data);
          guint bytes = 0;
          g_object_get(pad, "current-level-bytes", &bytes, nullptr);
          found.isReached = found.isReached || (found.limit > 0 && bytes >= found.limit);
          return TRUE;
        },
        &level);
    return level.isReached;
  }
  using Owners = std::vector<const GstElement*>;
  /// Returns the elements that have taken all packets from their part of the queue. The pointers
  /// are only for comparison.
  static Owners _ownersWithoutInput(GstElement* queue) {
    Owners owners;
    gst_element_foreach_src_pad(
        queue,
        [](GstElement*, GstPad* pad, gpointer found) -> gboolean {
          guint buffers = 0;
          g_object_get(pad, "current-level-buffers", &buffers, nullptr);
          const GstRef<GstPad> peer(gst_pad_get_peer(pad));
          const GstRef<GstElement> owner(peer ? gst_pad_get_parent_element(peer.get()) : nullptr);
          if (buffers == 0 && owner) static_cast<Owners*>(found)->push_back(owner.get());
          return TRUE;
        },
        &owners);
    return owners;
  }
  static void _report(GstElement* source, GstStreamType type, bool isEmpty = false) {
    GstStructure* const content =
        gst_structure_new(kSilentStreamMessage, kSilentType, GST_TYPE_STREAM_TYPE, type,
                          kSilentIsEmpty, G_TYPE_BOOLEAN, gboolean{isEmpty}, nullptr);
    gst_element_post_message(source, gst_message_new_element(GST_OBJECT(source), content));
  }

  std::mutex _mutex;
  std::vector<std::weak_ptr<Element>> _elements;
  GWeakRef _queue;                    // weak, because the queue owns this object
  std::optional<guint64> _usualTime;  // while the queue is not limited by time
};

using SilenceWatchRef = std::shared_ptr<SilenceWatch>;
struct WatchedElement {
  SilenceWatchRef watch;
  SilenceWatch::ElementRef element;
};

GstPadProbeReturn countInput(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
  const auto& watched = *static_cast<WatchedElement*>(data);
  if ((info->type & GST_PAD_PROBE_TYPE_EVENT_FLUSH) != 0) {
    if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_FLUSH_STOP)
      watched.watch->noteFlush(*watched.element);
    return GST_PAD_PROBE_OK;
  }
  GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  const GstRef<GstElement> owner(gst_pad_get_parent_element(pad));
  if (!buffer || !owner) return GST_PAD_PROBE_OK;
  if (!watched.watch->noteInput(owner.get(), *watched.element, GST_BUFFER_DTS_OR_PTS(buffer)))
    return GST_PAD_PROBE_REMOVE;
  watched.watch->noteLastPacket(pad, *watched.element);
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn noteOutput(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
  const auto& watched = *static_cast<WatchedElement*>(data);
  if ((info->type & (GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST)) != 0) {
    watched.watch->noteOutput(*watched.element);
    return GST_PAD_PROBE_REMOVE;
  }
  const GstRef<GstElement> owner(gst_pad_get_parent_element(pad));
  const GstEventType type = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info));
  if (type == GST_EVENT_GAP) watched.watch->noteGap(*watched.element);
  if (owner && type == GST_EVENT_EOS) watched.watch->noteEnd(owner.get(), *watched.element);
  return GST_PAD_PROBE_OK;
}

GstStreamType typeOfCodecElement(GstElement* element) {
  if (!hasClass(element, "Decoder") && !hasClass(element, "Parser")) return {};
  if (hasClass(element, "Audio")) return GST_STREAM_TYPE_AUDIO;
  return hasClass(element, "Video") || hasClass(element, "Image") ? GST_STREAM_TYPE_VIDEO
                                                                  : GstStreamType{};
}

/// Connects a handler, which is called with a pointer to a reference to `watch`.
void connectWatch(GstElement* element, const char* signal, GCallback handler,
                  const SilenceWatchRef& watch) {
  g_signal_connect_data(
      element, signal, handler, new SilenceWatchRef(watch),
      [](gpointer owner, GClosure*) { delete static_cast<SilenceWatchRef*>(owner); },
      static_cast<GConnectFlags>(0));
}

GstPadProbeReturn noteQueueEvent(GstPad* pad, GstPadProbeInfo* info, gpointer watch) {
  if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS)
    (*static_cast<SilenceWatchRef*>(watch))->noteQueueEnd(pad);
  return GST_PAD_PROBE_OK;
}

void watchQueue(GstElement* queue, const SilenceWatchRef& watch) {
  watch->setQueue(queue);
  const auto noteFull = +[](GstElement*, gpointer owner) {
    (*static_cast<SilenceWatchRef*>(owner))->noteFullQueue();
  };
  // Before decodebin3 adds its probe, which drops EOS.
  const auto watchPad = +[](GstElement*, GstPad* pad, gpointer owner) {
    if (GST_PAD_IS_SRC(pad))
      gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, noteQueueEvent,
                        new SilenceWatchRef(*static_cast<SilenceWatchRef*>(owner)),
                        [](gpointer each) { delete static_cast<SilenceWatchRef*>(each); });
  };
  connectWatch(queue, "overrun", G_CALLBACK(noteFull), watch);
  connectWatch(queue, "pad-added", G_CALLBACK(watchPad), watch);
}

void watchElement(GstBin*, GstBin*, GstElement* element, gpointer data) {
  const SilenceWatchRef& watch = *static_cast<SilenceWatchRef*>(data);
  if (isFromFactory(element, "multiqueue")) return watchQueue(element, watch);
  const GstStreamType type = typeOfCodecElement(element);
  const GstRef<GstPad> sink(gst_element_get_static_pad(element, "sink"));
  const GstRef<GstPad> source(gst_element_get_static_pad(element, "src"));
  if (type == 0 || !sink || !source) return;
  const WatchedElement watched{watch, watch->add(element, type)};
  const GDestroyNotify release = [](gpointer each) { delete static_cast<WatchedElement*>(each); };
  gst_pad_add_probe(
      sink.get(),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
      countInput, new WatchedElement(watched), release);
  gst_pad_add_probe(
      source.get(),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST |
                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      noteOutput, new WatchedElement(watched), release);
}

}  // namespace

void reportSilentStreams(GstElement* pipeline) {
  SilenceWatchRef watch = std::make_shared<SilenceWatch>();
  connectWatch(pipeline, "deep-element-added", G_CALLBACK(watchElement), watch);
  // The queue of decodebin3.
  GstIterator* const elements = gst_bin_iterate_recurse(GST_BIN(pipeline));
  gst_iterator_foreach(
      elements,
      [](const GValue* element, gpointer owner) {
        watchElement(nullptr, nullptr, GST_ELEMENT(g_value_get_object(element)), owner);
      },
      &watch);
  gst_iterator_free(elements);
}

SilentStream silentStreamOf(const GstStructure* message) {
  SilentStream stream;
  gboolean isEmpty = FALSE;
  gst_structure_get(message, kSilentType, GST_TYPE_STREAM_TYPE, &stream.type, kSilentIsEmpty,
                    G_TYPE_BOOLEAN, &isEmpty, nullptr);
  stream.isEmpty = isEmpty;
  return stream;
}

}  // namespace media
