// Opens the item, and handles changes of a presentation. On the pipeline's thread.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <span>
#include <system_error>
#include <utility>

#include "media/durations/MediaSpan.h"
#include "media/elements/ResourceSource.h"
#include "media/pipeline/playback/Playback.h"
#include "media/support/MediaErrors.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace media {
namespace {

/// Raw audio up to this size is counted frame by frame.
constexpr std::uint64_t kCountedFileBytes = std::uint64_t{64} << 20;
constexpr std::uint64_t kCountedRemoteBytes = std::uint64_t{4} << 20;
/// Playback starts without a measured duration if it takes longer.
constexpr auto kMeasuringTime = std::chrono::seconds(3);
constexpr std::size_t kReadBytes = std::size_t{64} << 10;

}  // namespace

void Playback::_open() {
  if (!_load.setup.item) return _openFile();
  _load.setup.item->whenOpened(
      [this, post = _load.mailbox->poster()](const std::optional<platform::Error>& error) {
        post([this, error] { _handleOpened(error); });
      });
}

void Playback::_handleOpened(const std::optional<platform::Error>& error) {
  if (_state.failed || _state.closing) return;
  if (error) return _fail(*error);
  if (_load.setup.item->kind() == streaming::StreamedItem::Kind::Presentation)
    _openPresentation();
  else
    _openResource();
}

void Playback::_openResource() {
  const auto resource = _load.setup.item->resource();
  resource->whenWaiting([this, post = _load.mailbox->poster()](bool waits) {
    post([this, waits] { _buffering.noteWaiting(waits); });
  });
  if (resource->icyInterval() > 0) _metadata.noteStation(*resource);
  const auto make = [resource] { return makeResourceSource(resource); };
  const auto size = resource->size();
  if (!resource->isSeekable() || !size || resource->icyInterval() > 0) return _build(make, {});
  const auto read = [resource, gate = _load.measuring](std::uint64_t offset,
                                                       std::span<std::uint8_t> into) {
    std::size_t count = 0;
    while (count < into.size()) {
      const auto result =
          resource->read(offset + count, std::as_writable_bytes(into.subspan(count)), *gate);
      if (result.count == 0) break;
      count += result.count;
    }
    return count;
  };
  _measure(read, *size, kCountedRemoteBytes, make);
}

void Playback::_openFile() {
  const auto make = [url = _load.setup.url] {
    return gst_element_make_from_uri(GST_URI_SRC, url.c_str(), nullptr, nullptr);
  };
  const GstRef<gchar> path(g_filename_from_uri(_load.setup.url.c_str(), nullptr, nullptr));
  std::error_code error;
  const auto size = path ? std::filesystem::file_size(path.get(), error) : 0;
  if (error || size == 0) return _build(make, {});
  const auto file = std::make_shared<std::ifstream>(path.get(), std::ios::binary);
  const auto read = [file](std::uint64_t offset, std::span<std::uint8_t> into) {
    file->clear();
    file->seekg(static_cast<std::streamoff>(offset));
    file->read(reinterpret_cast<char*>(into.data()), static_cast<std::streamsize>(into.size()));
    return static_cast<std::size_t>(std::max<std::streamsize>(file->gcount(), 0));
  };
  _measure(read, size, kCountedFileBytes, make);
}

/// Builds the player when the span of the media has been measured, if that is necessary. Reads may
/// block, so that they are on a thread of their own.
void Playback::_measure(ReadBytes read, std::uint64_t size, std::uint64_t limit,
                        const std::function<GstElement*()>& makeSource) {
  if (_state.isMeasured) return _build(makeSource, _state.span);
  const auto until = _load.clock.now() + kMeasuringTime;
  const auto mayRead = [&clock = _load.clock, gate = _load.measuring, until] {
    return clock.now() < until && !gate->isClosed();
  };
  const auto readInTime = [read = std::move(read), mayRead](std::uint64_t offset,
                                                            std::span<std::uint8_t> into) {
    std::size_t count = 0;
    while (count < into.size() && mayRead()) {
      const auto part = into.subspan(count, std::min(kReadBytes, into.size() - count));
      const std::size_t result = read(offset + count, part);
      if (result == 0) break;
      count += result;
    }
    return count;
  };
  const bool isStarted = platform::WorkerThreads::start(
      [this, readInTime, size, limit, makeSource, post = _load.mailbox->poster()] {
        const auto span = measureSpan(readInTime, size, limit);
        post([this, makeSource, span] {
          _state.isMeasured = true;
          _state.span = span;
          _build(makeSource, span);
        });
      });
  if (!isStarted) _build(makeSource, {});
}

void Playback::_build(const std::function<GstElement*()>& makeSource,
                      const std::optional<MediaSpan>& span) {
  if (_state.failed || _state.closing) return;
  _progressTimeout.noteProgress();
  if (!_builder.buildResource(makeSource(), span)) _fail(unknownMediaError());
}

/// Reusing the player would be faster, but decodebin3 keeps data of the first run.
void Playback::_reopen() {
  _player.reset();
  _load.mailbox->detach();
  _builder.takeDown();
  _builder.makeBus();
  _state.knowsStreams = false;
  _progressTimeout.noteProgress();
  if (_load.setup.item)
    _openResource();
  else
    _open();
}

void Playback::_openPresentation() {
  const auto playback = _load.setup.item->presentation();
  playback->whenChanged(
      [this, post = _load.mailbox->poster()] { post([this] { _updatePresentation(); }); });
  _noteTracks();
  playback->select(_selection.selectForStart());
  streaming::PresentationPlayback::Start start;
  start.seconds = std::exchange(_wanted.position, std::nullopt);
  start.fraction = std::exchange(_wanted.fraction, std::nullopt);
  start.date = std::exchange(_wanted.date, std::nullopt);
  playback->prepare(start, {.displayHeight = _load.setup.displayHeight},
                    [this, post = _load.mailbox->poster()](
                        double seconds, const std::optional<platform::Error>& error) {
                      post([this, seconds, error] { _handlePrepared(seconds, error); });
                    });
}

void Playback::_handlePrepared(double start, const std::optional<platform::Error>& error) {
  if (_state.failed || _state.closing) return;
  if (error) return _fail(*error);
  if (!_builder.buildPresentation(start)) return _fail(unknownMediaError());
  _progressTimeout.noteProgress();
}

void Playback::_noteTracks() {
  const auto tracks = _load.setup.item->presentation()->tracksAt(_load.position.seconds());
  _texts.noteCaptionTracks(tracks);
  _sound.setHasPicture(std::any_of(tracks.begin(), tracks.end(), [](const auto& each) {
    return each.kind == streaming::MediaKind::Video;
  }));
  _selection.update(tracks);
}

void Playback::_updatePresentation() {
  if (_state.failed || _state.closing || !_elements.presentation) return;
  _noteTracks();
  _metadata.noteEvents();
  const auto duration = _load.facts.newest().duration;
  _facts.refresh();
  if (!_state.ready) return;
  if (duration != _load.facts.newest().duration && _state.timeRuns && !_state.seeking &&
      !_state.scrubbing)
    _player.runPosition();
  _announcements.facts();
}

}  // namespace media
