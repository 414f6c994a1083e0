#include "media/pipeline/playback/StreamFailures.h"

#include <utility>

#include "media/support/GstRef.h"
#include "media/support/MediaErrors.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using platform::MediaErrorCode;

/// Errors that another demuxer may not have.
bool isOfDemuxer(const platform::Error& error) {
  const auto is = [&error](MediaErrorCode code) {
    return error.code == static_cast<std::int64_t>(code);
  };
  return error.domain == platform::kMediaErrorDomain &&
         (is(MediaErrorCode::FormatNotRecognized) || is(MediaErrorCode::DecoderNotFound) ||
          is(MediaErrorCode::DecodeFailed));
}

/// Returns the stream type of the parser or decoder that has posted an error, or 0 for other
/// elements.
GstStreamType typeOfFailedDecoder(GstMessage* message) {
  if (!message || !GST_IS_ELEMENT(GST_MESSAGE_SRC(message))) return {};
  auto* const element = GST_ELEMENT(GST_MESSAGE_SRC(message));
  if (!hasClass(element, "Decoder") && !hasClass(element, "Parser")) return {};
  if (hasClass(element, "Audio")) return GST_STREAM_TYPE_AUDIO;
  return hasClass(element, "Video") ? GST_STREAM_TYPE_VIDEO : GstStreamType{};
}

std::string typeOfMissingPlugin(const GstStructure* message) {
  const GValue* const detail = gst_structure_get_value(message, "detail");
  if (!detail || !GST_VALUE_HOLDS_CAPS(detail)) return {};
  const GstCaps* const caps = gst_value_get_caps(detail);
  if (gst_caps_is_any(caps) || gst_caps_is_empty(caps)) return {};
  return gst_structure_get_name(gst_caps_get_structure(caps, 0));
}

}  // namespace

bool StreamFailures::_canReopen() const {
  const auto& item = _load.setup.item;
  return !_state.prerolled && !_elements.presentation && _elements.player &&
         (!item || item->resource()->isSeekable());
}

bool StreamFailures::_retry(const platform::Error& error) {
  if (_firstError || !isOfDemuxer(error) || !_canReopen()) return false;
  _firstError = error;
  _state.usesLibavformat = true;
  _selection.clear();
  _reopen();
  return true;
}

bool StreamFailures::_reopenWithoutLibavformat() {
  if (!_canReopen() || !std::exchange(_hasSkippedAudio, false)) return false;
  _log(gst_stream_type_get_name(GST_STREAM_TYPE_AUDIO), *_firstError);
  _state.usesLibavformat = false;
  _selection.clear();
  _reopen();
  return true;
}

bool StreamFailures::_leaveOut(GstStreamType type, const platform::Error& error) {
  const int others = (GST_STREAM_TYPE_VIDEO | GST_STREAM_TYPE_AUDIO) & ~(type | _state.leftOut);
  if (type == 0 || (type & _state.leftOut) != 0 || others == 0 || !_canReopen()) return false;
  _log(gst_stream_type_get_name(type), error);
  _state.leftOut = static_cast<GstStreamType>(_state.leftOut | type);
  _selection.clear();
  _reopen();
  return true;
}

void StreamFailures::_log(const std::string& type, platform::Error error) {
  if (!_undecodable.emplace(type, error).second) return;
  TVSLogWarning(TVSSystemLog, "A stream cannot be decoded: %@", type);
  _load.failures.add({_load.clock.date(), _load.setup.url, std::move(error)});
}

std::optional<platform::Error> StreamFailures::handleMissingPlugin(GstMessage* message) {
  const GstStructure* const content = gst_message_get_structure(message);
  auto error = missingPluginError(content);
  if (!error || _retry(*error)) return std::nullopt;
  // decodebin3 only gets streams that have a decoder. This one does not start.
  if (GST_IS_ELEMENT(GST_MESSAGE_SRC(message)) &&
      isFromFactory(GST_ELEMENT(GST_MESSAGE_SRC(message)), "decodebin3"))
    return _firstError ? _firstError : error;
  _log(typeOfMissingPlugin(content), std::move(*error));
  return std::nullopt;
}

std::optional<platform::Error> StreamFailures::handleSilentStream(const SilentStream& stream) {
  if (stream.isEmpty) {
    // libavformat may drop all packets of a damaged stream.
    if (_firstError) _log(gst_stream_type_get_name(stream.type), *_firstError);
    return std::nullopt;
  }
  if (!_state.prerolled) return _handle(damagedError(), stream.type);
  // The other streams play already.
  _log(gst_stream_type_get_name(stream.type), damagedError());
  return std::nullopt;
}

void StreamFailures::handleSkippedAudio() {
  if (_firstError) return;
  const platform::Error error = noDecoderError();
  if (_retry(error))
    _hasSkippedAudio = true;
  else
    _log(gst_stream_type_get_name(GST_STREAM_TYPE_AUDIO), error);
}

std::optional<platform::Error> StreamFailures::handleError(platform::Error error,
                                                           GstMessage* message) {
  return _handle(std::move(error), typeOfFailedDecoder(message));
}

std::optional<platform::Error> StreamFailures::_handle(platform::Error error, GstStreamType type) {
  if (_retry(error) || _reopenWithoutLibavformat() || _leaveOut(type, error)) return std::nullopt;
  if (_firstError) return _firstError;
  return _undecodable.empty() ? std::move(error) : _undecodable.begin()->second;
}

}  // namespace media
