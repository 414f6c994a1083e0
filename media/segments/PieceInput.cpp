#include "media/segments/PieceInput.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <utility>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

namespace media {
namespace {

constexpr int kInputBufferSize = 64 * 1024;
// Less than the buffer, so that it keeps earlier bytes for short seeks back.
constexpr int kInputReadSize = 16 * 1024;

}  // namespace

PieceInput::PieceInput() {
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kInputBufferSize));
  if (!buffer) throw std::bad_alloc();
  _context = avio_alloc_context(
      buffer, kInputBufferSize, 0, this,
      [](void* self, std::uint8_t* into, int size) {
        return static_cast<PieceInput*>(self)->_read({into, static_cast<std::size_t>(size)});
      },
      nullptr,
      [](void* self, std::int64_t offset, int whence) {
        return static_cast<PieceInput*>(self)->_seek(offset, whence);
      });
  if (!_context) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  _context->max_packet_size = kInputReadSize;
  _context->seekable = 0;
}

PieceInput::~PieceInput() {
  av_freep(&_context->buffer);
  avio_context_free(&_context);
}

void PieceInput::append(std::shared_ptr<const streaming::SegmentBytes> bytes, std::uint64_t skip) {
  std::uint64_t start = _position;
  if (_parts.empty() || _current + 1 < _parts.size()) start = 0;  // set when it is reached
  _parts.push_back({std::move(bytes), skip, start});
}

void PieceInput::setTap(std::size_t index, std::function<void(std::span<const std::uint8_t>)> tap) {
  _tapIndex = index;
  _tap = std::move(tap);
}

void PieceInput::setSeekable() {
  std::uint64_t start = 0;
  for (Part& part : _parts) {
    part.start = start;
    start += _lengthOf(part);
  }
  _context->seekable = AVIO_SEEKABLE_NORMAL;
}

std::uint64_t PieceInput::_lengthOf(const Part& part) const {
  const std::uint64_t size = part.bytes->total().value_or(part.bytes->size());
  return size - std::min(size, part.skip);
}

/// Takes bytes at the current position.
bool PieceInput::_isAccepted(std::span<const std::uint8_t> bytes) {
  const Part& part = _parts[_current];
  if (!_movieCheck || _movieCheck->accepts(_position, bytes, part.start + _lengthOf(part)))
    return true;
  _hasFailed = true;
  return false;
}

int PieceInput::_read(std::span<std::uint8_t> into) {
  if (!_gate || _parts.empty()) return AVERROR_EOF;
  while (true) {
    const Part part = _parts[_current];
    const std::uint64_t within = _position - part.start;
    const std::size_t got =
        part.bytes->read(part.skip + within, std::as_writable_bytes(into), *_gate);
    if (got > 0) {
      if (!_isAccepted(into.first(got))) return AVERROR_INVALIDDATA;
      const std::uint64_t end = _position + got;
      if (_tap && _current >= _tapIndex && end > _tappedTo) {
        const std::uint64_t fresh = std::min<std::uint64_t>(end - _tappedTo, got);
        _tap(into.subspan(got - static_cast<std::size_t>(fresh), static_cast<std::size_t>(fresh)));
        _tappedTo = end;
      }
      _position = end;
      return static_cast<int>(got);
    }
    if (_gate->isClosed()) return AVERROR_EXIT;
    if (part.bytes->state() == streaming::SegmentBytes::State::Failed) _hasFailed = true;
    if (_current + 1 == _parts.size() && (!_more || !_more()))
      return _gate->isClosed() ? AVERROR_EXIT : AVERROR_EOF;
    // The part before the current one is kept for short seeks back.
    while (_current > 0 && _tapIndex == 0) {
      _parts.pop_front();
      --_current;
    }
    ++_current;
    _parts[_current].start = _position;
  }
}

std::int64_t PieceInput::_seek(std::int64_t offset, int whence) {
  if (whence == AVSEEK_SIZE) {
    if (_context->seekable == 0) return AVERROR(ENOSYS);
    return static_cast<std::int64_t>(_parts.back().start + _lengthOf(_parts.back()));
  }
  if (whence != SEEK_SET || offset < 0) return AVERROR(EINVAL);
  const auto target = static_cast<std::uint64_t>(offset);
  if (_context->seekable == 0 && target > _position) return AVERROR(EPIPE);
  const std::size_t last = _context->seekable == 0 ? _current : _parts.size() - 1;
  for (std::size_t index = last + 1; index-- > 0;) {
    if (_parts[index].start > target) continue;
    _current = index;
    _position = target;
    return offset;
  }
  return AVERROR(EPIPE);
}

}  // namespace media
