#include "media/pipeline/playback/SoundBranch.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

// Interval of the search for a lost device; it doubles each time.
constexpr auto kFirstSearch = std::chrono::seconds(1);
constexpr auto kLongestSearch = std::chrono::seconds(30);

bool isTrick(double rate) { return rate < 0 || rate > kTrickRate; }

}  // namespace

void SoundBranch::make(GstBus* bus) {
  _elements.sound = std::make_unique<AudioOutput>();
  gst_bus_set_sync_handler(bus, _onSyncMessage, _elements.sound.get(), nullptr);
}

void SoundBranch::setUp() {
  _deviceAdded = std::make_shared<const AudioDevice::DeviceAddedHandler>(
      [this, post = _load.mailbox->poster()] {
        post([this] {
          if (_isSilent() && _catalog.plays(GST_STREAM_TYPE_AUDIO)) _searchAt = _load.clock.now();
        });
      });
  const auto& device = _load.setup.audio;
  device->addListener(_deviceAdded);
  // An exclusive device is still in use by the playing load.
  if (_isSilent() && (!_wanted.held || !device->isExclusive()))
    _elements.sound->use(device->open());
}

/// Called on the thread that posts the collection, before data of the streams reaches a sink.
GstBusSyncReply SoundBranch::_onSyncMessage(GstBus*, GstMessage* message, gpointer output) {
  if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_STREAM_COLLECTION) return GST_BUS_PASS;
  GstStreamCollection* parsed = nullptr;
  gst_message_parse_stream_collection(message, &parsed);
  const GstRef<GstStreamCollection> collection(parsed);
  bool hasPicture = false;
  for (guint index = 0; index < gst_stream_collection_get_size(parsed); ++index) {
    GstStream* const stream = gst_stream_collection_get_stream(parsed, index);
    if ((gst_stream_get_stream_type(stream) & GST_STREAM_TYPE_VIDEO) != 0) hasPicture = true;
  }
  static_cast<AudioOutput*>(output)->setHasPicture(hasPicture);
  return GST_BUS_PASS;
}

void SoundBranch::begin(const std::function<void()>& waitForPredecessor) {
  const auto& device = _load.setup.audio;
  if (_state.failed || !_isSilent() || !device->isExclusive()) return;
  waitForPredecessor();
  if (auto sink = device->open()) _change(std::move(sink));
}

void SoundBranch::applyVolume() {
  if (_elements.sound)
    _elements.sound->setVolume(static_cast<double>(_wanted.volume),
                               _wanted.muted || isTrick(_state.rate));
}

void SoundBranch::setHasPicture(bool hasPicture) const {
  if (_elements.sound) _elements.sound->setHasPicture(hasPicture);
}

void SoundBranch::_change(GstRef<GstElement> sink) {
  AudioOutput& output = *_elements.sound;
  if (!_state.prerolled) {
    // Before preroll the player can simply start again.
    _player.reset();
    gst_element_set_state(output.element(), GST_STATE_READY);
    output.use(std::move(sink));
    return;
  }
  const double position = _load.position.seconds();
  if (_player.requested() == GST_STATE_PLAYING) {
    _player.setState(GST_STATE_PAUSED);
    _player.hold(position);
  }
  output.use(std::move(sink));
  if (_state.atEnd || !_catalog.plays(GST_STREAM_TYPE_AUDIO)) return;
  _requestFlush(position);
}

void SoundBranch::_requestFlush(double position) {
  _wanted.flush = true;
  if (!_wanted.position && !_wanted.fraction) _wanted.position = position;
}

SoundBranch::ErrorSource SoundBranch::handleError(GstMessage* message) {
  AudioOutput* const output = _elements.sound.get();
  if (output && !output->isSilent() && output->contains(GST_MESSAGE_SRC(message))) {
    TVSLogWarning(TVSSystemLog, "The audio device is gone, playing on without sound");
    _awaitsFlush = true;
    output->abandon();
    _searchDelay = std::clamp<platform::Duration>(2 * _searchDelay, kFirstSearch, kLongestSearch);
    _searchAt = _load.clock.now() + _searchDelay;
    _change({});
    _load.setup.audio->noteLoss();
    return ErrorSource::Sound;
  }
  // The old sink may post further errors, also after the flush. Elements before it fail with flow
  // errors, which arrive after the sink's error.
  const bool isFromOldSink =
      GST_OBJECT_FLAG_IS_SET(GST_MESSAGE_SRC(message), GST_ELEMENT_FLAG_SINK) &&
      !gst_object_has_as_ancestor(GST_MESSAGE_SRC(message), GST_OBJECT(_player.element()));
  if (!_awaitsFlush && !isFromOldSink) return ErrorSource::Elsewhere;
  GError* parsed = nullptr;
  gst_message_parse_error(message, &parsed, nullptr);
  const GstRef<GError> error(parsed);
  if (!isFromOldSink && !g_error_matches(parsed, GST_STREAM_ERROR, GST_STREAM_ERROR_FAILED))
    return ErrorSource::Elsewhere;
  // GStreamer aborts a state change when an element reports an error meanwhile. Repeat it.
  const auto result = gst_element_set_state(_player.element(), _player.requested());
  if (result == GST_STATE_CHANGE_SUCCESS && _state.seeking) return ErrorSource::SoundAndSeek;
  // The sinks have posted ASYNC_DONE already and do not post it again: flush.
  if (result == GST_STATE_CHANGE_ASYNC && !_state.seeking && !_state.atEnd)
    _requestFlush(_load.position.seconds());
  return ErrorSource::Sound;
}

std::optional<platform::TimePoint> SoundBranch::searchAt() const {
  return _state.timeRuns ? _searchAt : std::nullopt;
}

void SoundBranch::search() {
  _searchAt.reset();
  if (auto sink = _load.setup.audio->open()) {
    TVSLogNotice(TVSSystemLog, "The audio device is back");
    _change(std::move(sink));
    return;
  }
  _searchDelay = std::min<platform::Duration>(2 * _searchDelay, kLongestSearch);
  _searchAt = _load.clock.now() + _searchDelay;
}

void SoundBranch::noteReady() const {
  static std::atomic<bool> noted = false;
  if (!_catalog.plays(GST_STREAM_TYPE_AUDIO) || !_isSilent()) return;
  if (!noted.exchange(true)) TVSLogNotice(TVSSystemLog, "No audio device, playing without sound");
}

}  // namespace media
