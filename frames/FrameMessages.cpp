#include "frames/FrameMessages.h"

#include <type_traits>

namespace frames {

namespace {

constexpr std::uint16_t kFrameKind = 1;

/// Limits for each number of a pixel aspect ratio, and for the ratio itself.
constexpr std::uint32_t kMaxAspect = 1U << 24;
constexpr std::uint32_t kSteepestAspect = 64;

class Writer {
 public:
  explicit Writer(std::span<std::uint8_t> bytes) : _bytes(bytes) {}

  template <typename Integer>
  Writer& put(Integer value) {
    auto bits = static_cast<std::make_unsigned_t<Integer>>(value);
    for (std::size_t byte = 0; byte < sizeof value; ++byte) {
      _bytes[_at++] = static_cast<std::uint8_t>(bits & 0xff);
      if constexpr (sizeof value > 1) bits = static_cast<decltype(bits)>(bits >> 8);
    }
    return *this;
  }

 private:
  std::span<std::uint8_t> _bytes;
  std::size_t _at = 0;
};

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : _bytes(bytes) {}

  template <typename Integer>
  Integer take() {
    std::make_unsigned_t<Integer> bits = 0;
    for (std::size_t byte = 0; byte < sizeof bits; ++byte) {
      bits = static_cast<decltype(bits)>(
          bits |
          static_cast<decltype(bits)>(static_cast<decltype(bits)>(_bytes[_at++]) << (8 * byte)));
    }
    return static_cast<Integer>(bits);
  }
  template <typename Integer>
  void take(Integer& value) {
    value = take<Integer>();
  }
  /// Returns the kind of a packet with a valid magic and version.
  std::optional<std::uint16_t> takeKind(std::uint16_t version) {
    if (take<std::uint32_t>() != kMagic) return std::nullopt;
    if (take<std::uint16_t>() != version) return std::nullopt;
    return take<std::uint16_t>();
  }

 private:
  std::span<const std::uint8_t> _bytes;
  std::size_t _at = 0;
};

/// The fields that both versions have after the kind.
void putFrame(Writer& writer, const FrameMessage& message) {
  writer.put(message.sequence).put(message.pts).put(message.index).put(message.format);
  writer.put(message.width).put(message.height).put(message.flags).put(std::uint32_t{0});
  for (const std::uint32_t offset : message.layout.offsets) writer.put(offset);
  for (const std::uint32_t stride : message.layout.strides) writer.put(stride);
  writer.put(message.damage.x).put(message.damage.y);
  writer.put(message.damage.width).put(message.damage.height);
}

/// Returns false if a reserved field is not 0.
bool takeFrame(Reader& reader, FrameMessage& message) {
  reader.take(message.sequence);
  reader.take(message.pts);
  reader.take(message.index);
  reader.take(message.format);
  reader.take(message.width);
  reader.take(message.height);
  reader.take(message.flags);
  if (reader.take<std::uint32_t>() != 0) return false;
  for (std::uint32_t& offset : message.layout.offsets) reader.take(offset);
  for (std::uint32_t& stride : message.layout.strides) reader.take(stride);
  reader.take(message.damage.x);
  reader.take(message.damage.y);
  reader.take(message.damage.width);
  reader.take(message.damage.height);
  return true;
}

}  // namespace

bool isDrawable(const FilmMessage& message) {
  const std::uint32_t across = message.aspectNumerator;
  const std::uint32_t down = message.aspectDenominator;
  if (across == 0 || down == 0 || across > kMaxAspect || down > kMaxAspect) return false;
  if (across / down >= kSteepestAspect || down / across >= kSteepestAspect) return false;
  return message.rotation % 90 == 0 && message.rotation < 360;
}

FramePacket encode(const FrameMessage& message) {
  FramePacket packet{};
  Writer writer(packet);
  writer.put(kMagic).put(kVersion).put(kFrameKind);
  putFrame(writer, message);
  return packet;
}

FilmPacket encode(const FilmMessage& message) {
  FilmPacket packet{};
  Writer writer(packet);
  writer.put(kMagic).put(kFilmVersion).put(static_cast<std::uint16_t>(message.kind));
  putFrame(writer, message);
  writer.put(message.aspectNumerator).put(message.aspectDenominator).put(message.rotation);
  writer.put(std::uint32_t{0});
  writer.put(message.due).put(message.epoch).put(message.texts).put(message.gone);
  return packet;
}

AnswerPacket encode(const AnswerMessage& message) {
  AnswerPacket packet{};
  Writer writer(packet);
  writer.put(kMagic).put(kVersion).put(static_cast<std::uint16_t>(message.kind));
  writer.put(message.sequence).put(message.shownAt).put(message.index).put(message.outcome);
  return packet;
}

std::optional<FrameMessage> decodeFrame(std::span<const std::uint8_t> packet) {
  if (packet.size() != kFrameBytes) return std::nullopt;
  Reader reader(packet);
  if (reader.takeKind(kVersion) != kFrameKind) return std::nullopt;
  FrameMessage message;
  if (!takeFrame(reader, message)) return std::nullopt;
  return message;
}

std::optional<FilmMessage> decodeFilm(std::span<const std::uint8_t> packet) {
  if (packet.size() != kFilmBytes) return std::nullopt;
  Reader reader(packet);
  const auto kind = reader.takeKind(kFilmVersion);
  FilmMessage message;
  if (kind != static_cast<std::uint16_t>(FilmMessage::Kind::Picture)) {
    if (kind != static_cast<std::uint16_t>(FilmMessage::Kind::None)) return std::nullopt;
    message.kind = FilmMessage::Kind::None;
  }
  if (!takeFrame(reader, message)) return std::nullopt;
  reader.take(message.aspectNumerator);
  reader.take(message.aspectDenominator);
  reader.take(message.rotation);
  if (reader.take<std::uint32_t>() != 0) return std::nullopt;
  reader.take(message.due);
  reader.take(message.epoch);
  reader.take(message.texts);
  reader.take(message.gone);
  return message;
}

std::optional<AnswerMessage> decodeAnswer(std::span<const std::uint8_t> packet) {
  if (packet.size() != kAnswerBytes) return std::nullopt;
  Reader reader(packet);
  const auto kind = reader.takeKind(kVersion);
  if (kind != static_cast<std::uint16_t>(AnswerMessage::Kind::Release) &&
      kind != static_cast<std::uint16_t>(AnswerMessage::Kind::Greeting)) {
    return std::nullopt;
  }
  AnswerMessage message;
  message.kind = static_cast<AnswerMessage::Kind>(*kind);
  reader.take(message.sequence);
  reader.take(message.shownAt);
  reader.take(message.index);
  reader.take(message.outcome);
  return message;
}

}  // namespace frames
