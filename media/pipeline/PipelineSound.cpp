// Where the sound goes, and going on without when the device does. On the pipeline's thread.

#include <algorithm>
#include <atomic>
#include <utility>

#include "media/pipeline/Pipeline.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

// A device that went away is looked for, ever more seldom, while something plays.
constexpr auto kFirstSearch = std::chrono::seconds(1);
constexpr auto kLongestSearch = std::chrono::seconds(30);

}  // namespace

void Pipeline::_setUpSound() {
  _soundArrival = std::make_shared<const AudioDevice::Arrival>([weak = weak_from_this()] {
    const auto pipeline = weak.lock();
    if (!pipeline) return;
    pipeline->_post([](Pipeline& me) {
      if (me._sound && me._sound->isSilent() && me._catalog.plays(GST_STREAM_TYPE_AUDIO))
        me._searchAt = me._clock.now();
    });
  });
  _setup.audio->listen(_soundArrival);
  // One that only one can have is still the one's that plays.
  if (_sound->isSilent() && (!_held || !_setup.audio->isExclusive()))
    _sound->use(_setup.audio->open());
}

/// On the thread that tells of the streams, before anything of them is on its way to a sink.
GstBusSyncReply Pipeline::_onSyncMessage(GstBus*, GstMessage* message, gpointer sound) {
  if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_STREAM_COLLECTION) return GST_BUS_PASS;
  GstStreamCollection* parsed = nullptr;
  gst_message_parse_stream_collection(message, &parsed);
  const GstRef<GstStreamCollection> collection(parsed);
  bool hasPicture = false;
  for (guint index = 0; index < gst_stream_collection_get_size(parsed); ++index) {
    GstStream* const stream = gst_stream_collection_get_stream(parsed, index);
    if ((gst_stream_get_stream_type(stream) & GST_STREAM_TYPE_VIDEO) != 0) hasPicture = true;
  }
  static_cast<AudioOutput*>(sound)->setHasPicture(hasPicture);
  return GST_BUS_PASS;
}

void Pipeline::_beginSound(const std::shared_ptr<Pipeline>& predecessor) {
  if (_failed || !_sound || !_sound->isSilent() || !_setup.audio->isExclusive()) return;
  if (predecessor) predecessor->_waitUntilClosed();
  if (auto sink = _setup.audio->open()) _changeSound(std::move(sink));
}

void Pipeline::_changeSound(GstRef<GstElement> sink) {
  if (!_prerolled) {
    // Nothing is lost by beginning anew.
    if (_player) gst_element_set_state(_player.get(), GST_STATE_NULL);
    gst_element_set_state(_sound->element(), GST_STATE_READY);
    _requested = GST_STATE_NULL;
    _sound->use(std::move(sink));
    return;
  }
  const double position = _position.seconds();
  if (_requested == GST_STATE_PLAYING) {
    _setState(GST_STATE_PAUSED);
    _hold(position);
  }
  _sound->use(std::move(sink));
  if (_atEnd || !_catalog.plays(GST_STREAM_TYPE_AUDIO)) return;
  _reseek = true;
  if (!_wantedPosition && !_wantedFraction) _wantedPosition = position;
}

bool Pipeline::_losesSound(GstMessage* message) {
  if (_sound && !_sound->isSilent() && _sound->contains(GST_MESSAGE_SRC(message))) {
    TVSLogWarning(TVSSystemLog, "The audio device is gone, playing on without sound");
    _mendsSound = true;
    _sound->abandon();
    _searchDelay = std::clamp<platform::Duration>(2 * _searchDelay, kFirstSearch, kLongestSearch);
    _searchAt = _clock.now() + _searchDelay;
    _changeSound({});
    _setup.audio->noteLoss();
    return true;
  }
  // The sink that is no longer used may have more to say, also when the loss has been mended. Those
  // before it stop for the same reason, and say so after it.
  const bool ofTheOldSink =
      GST_OBJECT_FLAG_IS_SET(GST_MESSAGE_SRC(message), GST_ELEMENT_FLAG_SINK) &&
      !gst_object_has_as_ancestor(GST_MESSAGE_SRC(message), GST_OBJECT(_player.get()));
  if (!_mendsSound && !ofTheOldSink) return false;
  GError* parsed = nullptr;
  gst_message_parse_error(message, &parsed, nullptr);
  const GstRef<GError> error(parsed);
  if (!ofTheOldSink && !g_error_matches(parsed, GST_STREAM_ERROR, GST_STREAM_ERROR_FAILED))
    return false;
  // The library gives up a change of state that an error falls into.
  const auto result = gst_element_set_state(_player.get(), _requested);
  if (result == GST_STATE_CHANGE_SUCCESS && _seeking) {
    _finishSeek();
  } else if (result == GST_STATE_CHANGE_ASYNC && !_seeking && !_atEnd) {
    // The sinks have told already that they are prerolled, and do not tell it again.
    _reseek = true;
    if (!_wantedPosition && !_wantedFraction) _wantedPosition = _position.seconds();
  }
  return true;
}

void Pipeline::_searchSound() {
  _searchAt.reset();
  if (auto sink = _setup.audio->open()) {
    TVSLogNotice(TVSSystemLog, "The audio device is back");
    _changeSound(std::move(sink));
    return;
  }
  _searchDelay = std::min<platform::Duration>(2 * _searchDelay, kLongestSearch);
  _searchAt = _clock.now() + _searchDelay;
}

void Pipeline::_noteSilence() const {
  static std::atomic<bool> noted = false;
  if (!_catalog.plays(GST_STREAM_TYPE_AUDIO) || !_sound || !_sound->isSilent()) return;
  if (!noted.exchange(true)) TVSLogNotice(TVSSystemLog, "No audio device, playing without sound");
}

}  // namespace media
