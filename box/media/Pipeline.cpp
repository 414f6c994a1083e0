#include "box/media/Pipeline.h"

#include <algorithm>
#include <utility>

#include "box/media/ClearKeyDecryptor.h"
#include "box/media/MatroskaTexts.h"
#include "box/media/SeekShortcut.h"
#include "box/media/TextStream.h"
#include "box/media/WarmUp.h"
#include "box/media/WorkerThreads.h"
#include "box/media/workarounds/Workarounds.h"

namespace box {
namespace {

constexpr auto kPredecessorLimit = std::chrono::seconds(1);
/// Sources are given time to notice by themselves that nothing comes: one that is stopped while it
/// hears of it may crash (libsoup 3.2).
constexpr auto kLastWords = std::chrono::milliseconds(500);
/// Sound and picture that belong together may lie so far apart in a file.
constexpr guint64 kRingBytes = guint64{16} * 1024 * 1024;
/// Longer than anything that the relay waits for.
constexpr guint kNetworkTimeoutSeconds = 120;
/// What there is is taken at once; each read is a hop between threads.
constexpr guint kReadBytes = 64 * 1024;

// Of playbin3's flags, which have no public type.
constexpr guint kFlagText = 1u << 2;
constexpr guint kFlagSoftVolume = 1u << 4;
constexpr guint kFlagNativeVideo = 1u << 6;
constexpr guint kFlagSoftColorBalance = 1u << 10;

bool hasProperty(GstElement* element, const char* name) {
  return g_object_class_find_property(G_OBJECT_GET_CLASS(element), name) != nullptr;
}

/// A station is played as it comes: nobody can jump about in its stream, and a ring would lose
/// where its titles lie.
GstPadProbeReturn onSourceEvent(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  if (!gst_structure_has_name(gst_caps_get_structure(caps, 0), "application/x-icy"))
    return GST_PAD_PROBE_REMOVE;
  const GstRef<GstElement> source(gst_pad_get_parent_element(pad));
  const GstRef<GstObject> owner(source ? gst_object_get_parent(GST_OBJECT(source.get())) : nullptr);
  if (owner && hasProperty(GST_ELEMENT(owner.get()), "ring-buffer-max-size"))
    g_object_set(owner.get(), "ring-buffer-max-size", guint64{0}, nullptr);
  return GST_PAD_PROBE_REMOVE;
}

}  // namespace

std::shared_ptr<Pipeline> Pipeline::start(const platform::Clock& clock, PipelineSetup setup,
                                          std::shared_ptr<Pipeline> predecessor) {
  // The constructor is private, which make_shared cannot see through.
  std::shared_ptr<Pipeline> pipeline(new Pipeline(clock, std::move(setup)));
  if (const auto& item = pipeline->_setup.relayItem) {
    item->whenHopeless([weak = std::weak_ptr(pipeline)] {
      const auto hopeless = weak.lock();
      if (!hopeless) return;
      hopeless->_post([](Pipeline& me) { me._giveUpAt = me._clock.now() + kLastWords; });
    });
  }
  if (const auto& item = pipeline->_setup.relayItem)
    item->whenLegBegins([weak = std::weak_ptr(pipeline)] {
      if (const auto playing = weak.lock()) playing->_noteLeg();
    });
  WorkerThreads::start([pipeline, before = std::move(predecessor)]() mutable {
    pipeline->_run(std::exchange(before, nullptr));
  });
  return pipeline;
}

Pipeline::Pipeline(const platform::Clock& clock, PipelineSetup setup)
    : _clock(clock),
      _setup(std::move(setup)),
      _contentKeys(_setup.relayItem ? std::make_shared<RelayContentKeys>(_setup.relayItem)
                                    : nullptr),
      _position(clock),
      _published(std::make_shared<platform::MediaFacts>()),
      _startedAt(clock.now()),
      _held(_setup.held),
      _wantedPosition(_setup.startSeconds),
      _wantedFraction(_setup.startFraction),
      _wantedDate(_setup.startDate),
      _alternates(_setup.alternates) {
  _wish(_setup.wish);
}

void Pipeline::_wish(const PipelineWish& wish) {
  _wantPlaying = wish.playing;
  _wantedRate = wish.rate;
  _forwardEnd = wish.forwardEnd;
  _reverseEnd = wish.reverseEnd;
  _volume = wish.volume;
  _muted = wish.muted;
}

void Pipeline::_post(std::function<void(Pipeline&)> command) {
  _mailbox.post([this, command = std::move(command)] { command(*this); });
}

void Pipeline::begin(const PipelineWish& wish, std::shared_ptr<Pipeline> predecessor) {
  _post([wish, before = std::move(predecessor)](Pipeline& me) {
    me._beginSound(before);
    me._held = false;
    me._startedAt = me._clock.now();
    me._wish(wish);
    me._applyVolume();
    if (me._untoldFailure)
      me._setup.report({.kind = PipelineEvent::Kind::Fail, .error = *std::move(me._untoldFailure)});
  });
}

void Pipeline::play(double rate) {
  _post([rate](Pipeline& me) {
    me._wantPlaying = true;
    me._wantedRate = rate;
    me._playAnnounced = false;
    me._endAnnounced = false;
  });
}

void Pipeline::pause() {
  _post([](Pipeline& me) {
    me._wantPlaying = false;
    me._pauseAnnounced = false;
  });
}

void Pipeline::seek(double seconds, std::uint64_t serial) {
  _post([seconds, serial](Pipeline& me) {
    me._wantedPosition = seconds;
    me._wantedFraction.reset();
    me._wantedDate.reset();
    me._unansweredSeek = serial;
  });
}

void Pipeline::seekToDate(platform::Date date, std::uint64_t serial) {
  _post([date, serial](Pipeline& me) {
    me._wantedDate = date;
    me._unansweredSeek = serial;
  });
}

void Pipeline::setEndTimes(std::optional<double> forwardSeconds,
                           std::optional<double> reverseSeconds) {
  _post([forwardSeconds, reverseSeconds](Pipeline& me) {
    me._forwardEnd = forwardSeconds;
    me._reverseEnd = reverseSeconds;
  });
}

void Pipeline::setVolume(float volume) {
  _post([volume](Pipeline& me) {
    me._volume = volume;
    me._applyVolume();
  });
}

void Pipeline::setMuted(bool muted) {
  _post([muted](Pipeline& me) {
    me._muted = muted;
    me._applyVolume();
  });
}

void Pipeline::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  _post([trackID, enabled](Pipeline& me) {
    me._afterSelection.emplace_back([trackID, enabled](Pipeline& later) {
      later._chosen = true;
      later._beginSelection(later._catalog.withTrack(trackID, enabled));
    });
  });
}

void Pipeline::selectOption(const std::string& characteristic,
                            const std::optional<std::string>& identifier) {
  _post([characteristic, identifier](Pipeline& me) {
    me._afterSelection.emplace_back([characteristic, identifier](Pipeline& later) {
      later._select(characteristic, identifier);
    });
  });
}

void Pipeline::refresh() {
  _post([](Pipeline& me) {
    if (!me._ready || me._failed) return;
    if (me._timeRuns && !me._seeking) me._position.observe(me._queryPosition());
    me._refreshFacts();
  });
}

void Pipeline::close() {
  // A stream that waits for a key keeps the pipeline from being taken down.
  if (_contentKeys) _contentKeys->close();
  _post([](Pipeline& me) { me._closing = true; });
}

std::shared_ptr<const platform::MediaFacts> Pipeline::facts() const {
  const std::lock_guard lock(_mutex);
  return _published;
}

PlaybackStatistics Pipeline::statistics() const {
  const std::lock_guard lock(_mutex);
  PlaybackStatistics statistics = _statistics;
  if (_runsSince)
    statistics.watchedSeconds += platform::secondsFromDuration(_clock.now() - *_runsSince);
  return statistics;
}

void Pipeline::_noteLeg() {
  PlaybackStatistics statistics = this->statistics();
  const std::lock_guard lock(_mutex);
  _legs.push_back(statistics);
  if (_legs.size() >= RelayItem::kMostLegs) _legs.erase(_legs.begin());
}

std::vector<PlaybackStatistics> Pipeline::statisticsOfLegs() const {
  PlaybackStatistics statistics = this->statistics();
  const std::lock_guard lock(_mutex);
  std::vector<PlaybackStatistics> result = _legs;
  result.push_back(statistics);
  return result;
}

void Pipeline::_run(const std::shared_ptr<Pipeline>& predecessor) {
  warmUpMedia();
  if (predecessor) predecessor->_waitUntilClosed();
  if (!_build()) {
    _fail(unknownMediaError());
  } else {
    _progress();
    _reconcile();
  }
  if (_bus) _loop();
  _takeDown();
  const std::lock_guard lock(_mutex);
  _hasEnded = true;
  _ended.notify_all();
}

bool Pipeline::_build() {
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  if (!playbin) {
    _bus.reset(gst_bus_new());
    _mailbox.attach(_bus.get());
    return false;
  }
  _playbin.reset(GST_ELEMENT(gst_object_ref_sink(playbin)));
  _bus.reset(gst_element_get_bus(playbin));
  _mailbox.attach(_bus.get());
  gst_bus_set_sync_handler(
      _bus.get(),
      [](GstBus*, GstMessage* message, gpointer) {
        nameTextStreams(message);
        return GST_BUS_PASS;
      },
      nullptr, nullptr);
  // Commands come over the bus also after a failure has taken the pipeline down.
  g_object_set(playbin, "auto-flush-bus", FALSE, nullptr);

  _videoSink =
      std::make_unique<VideoSink>(_setup.frames, _setup.ticket, _position, _subtitles,
                                  [this](PictureCaptions::Channel channel) {
                                    _post([channel](Pipeline& me) { me._noteCaptions(channel); });
                                  });
  _videoSink->setHidden(_wantsSeek());
  _setUpSound();

  guint flags = 0;
  g_object_get(playbin, "flags", &flags, nullptr);
  // Formats are converted behind the sink, where it costs no negotiation.
  flags = (flags | kFlagText | kFlagNativeVideo) & ~(kFlagSoftVolume | kFlagSoftColorBalance);
  g_object_set(playbin, "flags", flags, "uri", _setup.url.c_str(), nullptr);
  if (_videoSink->element()) g_object_set(playbin, "video-sink", _videoSink->element(), nullptr);
  if (_sound->element()) g_object_set(playbin, "audio-sink", _sound->element(), nullptr);
  _setUpTexts();
  _setUpMetadata();
  // Keeps the pitch at other rates.
  if (GstElement* tempo = gst_element_factory_make("scaletempo", nullptr))
    g_object_set(playbin, "audio-filter", tempo, nullptr);
  // With a ring, demuxers may jump about in what comes over HTTP: indexes and ends are found, and
  // seeks are exact, as in a file.
  g_object_set(playbin, "ring-buffer-max-size", kRingBytes, nullptr);
  Workarounds::shared().installForPlaybin(playbin);
  takeSeekShortcuts(playbin);
  tellMatroskaTexts(playbin);
  if (_contentKeys) offerContentKeys(playbin, _contentKeys);
  g_signal_connect(playbin, "source-setup", G_CALLBACK(_onSourceSetup), this);
  _applyVolume();
  return true;
}

void Pipeline::_onSourceSetup(GstElement*, GstElement* source, gpointer) {
  if (hasProperty(source, "timeout"))
    g_object_set(source, "timeout", kNetworkTimeoutSeconds, nullptr);
  // Whatever may be tried again, the relay has tried.
  if (hasProperty(source, "retries")) g_object_set(source, "retries", 0, nullptr);
  if (hasProperty(source, "blocksize")) g_object_set(source, "blocksize", kReadBytes, nullptr);
  const GstRef<GstPad> pad(gst_element_get_static_pad(source, "src"));
  if (pad)
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, onSourceEvent, nullptr,
                      nullptr);
}

GstClockTime Pipeline::_untilDeadline() const {
  auto until = _deadline;
  if (_scrubAt && (!until || *_scrubAt < *until)) until = _scrubAt;
  if (_dryAt && (!until || *_dryAt < *until)) until = _dryAt;
  if (_timeRuns && _searchAt && (!until || *_searchAt < *until)) until = _searchAt;
  if (_metadataAt && (!until || *_metadataAt < *until)) until = _metadataAt;
  if (_giveUpAt && (!until || *_giveUpAt < *until)) until = _giveUpAt;
  if (_lookAt && (!until || *_lookAt < *until)) until = _lookAt;
  if (!until) return GST_CLOCK_TIME_NONE;
  const auto left = *until - _clock.now();
  return left.count() > 0 ? static_cast<GstClockTime>(left.count()) : 0;
}

void Pipeline::_loop() {
  while (true) {
    for (const auto& command : _mailbox.take()) command();
    if (_closing) return;
    _reconcile();
    _updateMetadata();
    // Unbounded without a deadline: whoever wants something posts a message.
    const GstRef<GstMessage> message(gst_bus_timed_pop(_bus.get(), _untilDeadline()));
    if (message)
      _handle(message.get());
    else
      _handleDeadline();
  }
}

void Pipeline::_letGo() {
  if (_contentKeys) _contentKeys->close();
  _alternates.stop();
  _prepareStop();
  if (_playbin) gst_element_set_state(_playbin.get(), GST_STATE_NULL);
  // It is open even where nothing has come to play on it.
  if (_sound && _sound->element()) gst_element_set_state(_sound->element(), GST_STATE_NULL);
}

void Pipeline::_prepareStop() {
  const auto& item = _setup.relayItem;
  if (_failed || !_playbin || !item || !item->timeline()) return;
  Workarounds::shared().prepareStop(
      {.bus = _bus.get(), .url = _setup.url, .endRequests = [&item] { item->close(); }});
}

void Pipeline::_takeDown() {
  _mailbox.detach();
  _letGo();
  if (_bus) gst_bus_set_flushing(_bus.get(), TRUE);
  if (_bus) gst_bus_set_sync_handler(_bus.get(), nullptr, nullptr, nullptr);
  _playbin.reset();
  _videoSink.reset();
  _textSink.reset();
  _sound.reset();
  _bus.reset();
}

void Pipeline::_waitUntilClosed() {
  std::unique_lock lock(_mutex);
  _ended.wait_for(lock, kPredecessorLimit, [this] { return _hasEnded; });
}

}  // namespace box
