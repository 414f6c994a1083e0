#include "media/pipeline/Pipeline.h"

#include <algorithm>
#include <utility>

#include "media/encryption/ClearKeyDecryptor.h"
#include "media/engine/WarmUp.h"
#include "media/metadata/MetadataTap.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/texts/MatroskaTexts.h"
#include "media/texts/TextStream.h"
#include "media/workarounds/Workarounds.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace media {
namespace {

constexpr auto kPredecessorLimit = std::chrono::seconds(1);
// Of playbin3's flags, which have no public type.
constexpr guint kFlagText = 1u << 2;
constexpr guint kFlagSoftVolume = 1u << 4;
constexpr guint kFlagNativeVideo = 1u << 6;
constexpr guint kFlagSoftColorBalance = 1u << 10;

}  // namespace

std::shared_ptr<Pipeline> Pipeline::start(const platform::Clock& clock, PipelineSetup setup,
                                          std::shared_ptr<Pipeline> predecessor) {
  // The constructor is private, which make_shared cannot see through.
  std::shared_ptr<Pipeline> pipeline(new Pipeline(clock, std::move(setup)));
  if (const auto& item = pipeline->_setup.item)
    item->whenLegBegins([weak = std::weak_ptr(pipeline)] {
      if (const auto playing = weak.lock()) playing->_noteLeg();
    });
  const bool isStarted =
      platform::WorkerThreads::start([pipeline, before = std::move(predecessor)]() mutable {
        pipeline->_run(std::exchange(before, nullptr));
      });
  return isStarted ? pipeline : nullptr;
}

Pipeline::Pipeline(const platform::Clock& clock, PipelineSetup setup)
    : _clock(clock),
      _setup(std::move(setup)),
      _contentKeys(_setup.item ? std::make_shared<SenderContentKeys>(
                                     [item = _setup.item](const std::string& url, auto reply) {
                                       item->askForKey(url, std::move(reply));
                                     })
                               : nullptr),
      _position(clock, _setup.positionChanged),
      _published(std::make_shared<platform::MediaFacts>()),
      _startedAt(clock.now()),
      _held(_setup.held),
      _wantedPosition(_setup.startSeconds),
      _wantedFraction(_setup.startFraction),
      _wantedDate(_setup.startDate),
      _subtitles(std::make_shared<SubtitleCues>(_setup.textsChanged)),
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
    if (me._timeRuns && !me._seeking) me._position.correct(me._queryPosition());
    me._refreshFacts();
  });
}

void Pipeline::ping(std::function<void()> done) {
  _post([done = std::move(done)](Pipeline&) { done(); });
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
  if (_legs.size() >= streaming::StreamedItem::kMostLegs) _legs.erase(_legs.begin());
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
  _makeBus();
  _progress();
  _open();
  _loop();
  _takeDown();
  const std::lock_guard lock(_mutex);
  _hasEnded = true;
  _ended.notify_all();
}

void Pipeline::_makeBus() {
  _bus.reset(gst_bus_new());
  _mailbox.attach(_bus.get());
  _sound = std::make_unique<AudioOutput>();
  gst_bus_set_sync_handler(_bus.get(), _onSyncMessage, _sound.get(), nullptr);
}

void Pipeline::_open() {
  if (!_setup.item) {
    if (!_buildPlaybin(_setup.url)) _fail(unknownMediaError());
    return;
  }
  _setup.item->whenOpened([weak = weak_from_this()](const std::optional<platform::Error>& error) {
    if (const auto me = weak.lock())
      me->_post([error](Pipeline& pipeline) { pipeline._opened(error); });
  });
}

void Pipeline::_opened(const std::optional<platform::Error>& error) {
  if (_failed || _closing) return;
  if (error) return _fail(*error);
  if (_setup.item->form() == streaming::StreamedItem::Form::Presentation)
    return _openPresentation();
  const auto resource = _setup.item->resource();
  resource->whenWaiting([weak = weak_from_this()](bool waits) {
    if (const auto me = weak.lock())
      me->_post([waits](Pipeline& pipeline) { pipeline._noteWaiting(waits); });
  });
  if (resource->icyInterval() > 0) {
    _metadata->setOfRadio();
    _metadata->add(MetadataTimeline::Source::Stream, 0, itemsOfStation(resource->fields()));
  }
  _resourceURI = registerResource(resource);
  if (!_buildPlaybin(_resourceURI.text())) _fail(unknownMediaError());
}

bool Pipeline::_makeSinks() {
  _videoSink =
      std::make_unique<VideoSink>(_setup.frames, _setup.ticket, _position, _subtitles,
                                  [this](PictureCaptions::Channel channel) {
                                    _post([channel](Pipeline& me) { me._noteCaptions(channel); });
                                  });
  _videoSink->setHidden(_wantsSeek());
  _setUpSound();
  if (_videoSink->element()) _videoProgress.watch(_videoSink->element());
  if (_sound->element()) _soundProgress.watch(_sound->element());
  return _videoSink->element() && _sound->element();
}

bool Pipeline::_buildPlaybin(const std::string& uri) {
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  if (!playbin) return false;
  _player.reset(GST_ELEMENT(gst_object_ref_sink(playbin)));
  gst_element_set_bus(playbin, _bus.get());
  // Commands come over the bus also after a failure has taken the pipeline down.
  g_object_set(playbin, "auto-flush-bus", FALSE, nullptr);
  _makeSinks();

  guint flags = 0;
  g_object_get(playbin, "flags", &flags, nullptr);
  // Formats are converted behind the sink, where it costs no negotiation.
  flags = (flags | kFlagText | kFlagNativeVideo) & ~(kFlagSoftVolume | kFlagSoftColorBalance);
  g_object_set(playbin, "flags", flags, "uri", uri.c_str(), nullptr);
  if (_videoSink->element()) g_object_set(playbin, "video-sink", _videoSink->element(), nullptr);
  if (_sound->element()) g_object_set(playbin, "audio-sink", _sound->element(), nullptr);
  _setUpTexts();
  _setUpMetadata();
  // Keeps the pitch at other rates.
  if (GstElement* tempo = gst_element_factory_make("scaletempo", nullptr))
    g_object_set(playbin, "audio-filter", tempo, nullptr);
  Workarounds::shared().installForPlaybin(playbin);
  takeSeekShortcuts(playbin);
  tellMatroskaTexts(playbin);
  if (_contentKeys) offerContentKeys(playbin, _contentKeys);
  _applyVolume();
  return true;
}

GstClockTime Pipeline::_untilDeadline() const {
  auto until = _deadline;
  if (_scrubAt && (!until || *_scrubAt < *until)) until = _scrubAt;
  if (_dryAt && (!until || *_dryAt < *until)) until = _dryAt;
  if (_timeRuns && _searchAt && (!until || *_searchAt < *until)) until = _searchAt;
  if (_metadataAt && (!until || *_metadataAt < *until)) until = _metadataAt;
  if (_refilledAt && (!until || *_refilledAt < *until)) until = _refilledAt;
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
  _releaseItem();
  if (_presentation)
    _presentation->close();
  else if (_player)
    gst_element_set_state(_player.get(), GST_STATE_NULL);
  // It is open even where nothing has come to play on it.
  if (_sound && _sound->element()) gst_element_set_state(_sound->element(), GST_STATE_NULL);
}

void Pipeline::_releaseItem() {
  const auto& item = _setup.item;
  if (!item) return;
  item->whenLegBegins({});
  item->close();
}

void Pipeline::_takeDown() {
  _mailbox.detach();
  _letGo();
  if (_bus) gst_bus_set_flushing(_bus.get(), TRUE);
  if (_bus) gst_bus_set_sync_handler(_bus.get(), nullptr, nullptr, nullptr);
  _presentation.reset();
  _player.reset();
  _resourceURI = {};
  _videoSink.reset();
  _textSink.reset();
  _sound.reset();
  _bus.reset();
}

void Pipeline::_waitUntilClosed() {
  std::unique_lock lock(_mutex);
  _ended.wait_for(lock, kPredecessorLimit, [this] { return _hasEnded; });
}

}  // namespace media
