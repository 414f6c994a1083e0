#include "frames/FrameMessages.h"

#include <type_traits>

namespace frames {

namespace {

constexpr std::uint16_t kFrameKind = 1;

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
  /// Of a packet that begins as one of ours.
  std::optional<std::uint16_t> takeKind() {
    if (take<std::uint32_t>() != kMagic) return std::nullopt;
    if (take<std::uint16_t>() != kVersion) return std::nullopt;
    return take<std::uint16_t>();
  }

 private:
  std::span<const std::uint8_t> _bytes;
  std::size_t _at = 0;
};

}  // namespace

FramePacket encode(const FrameMessage& message) {
  FramePacket packet{};
  Writer writer(packet);
  writer.put(kMagic).put(kVersion).put(kFrameKind);
  writer.put(message.sequence).put(message.pts).put(message.index).put(message.format);
  writer.put(message.width).put(message.height).put(message.flags).put(std::uint32_t{0});
  for (const std::uint32_t offset : message.layout.offsets) writer.put(offset);
  for (const std::uint32_t stride : message.layout.strides) writer.put(stride);
  writer.put(message.damage.x).put(message.damage.y);
  writer.put(message.damage.width).put(message.damage.height);
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
  if (reader.takeKind() != kFrameKind) return std::nullopt;
  FrameMessage message;
  reader.take(message.sequence);
  reader.take(message.pts);
  reader.take(message.index);
  reader.take(message.format);
  reader.take(message.width);
  reader.take(message.height);
  reader.take(message.flags);
  if (reader.take<std::uint32_t>() != 0) return std::nullopt;
  for (std::uint32_t& offset : message.layout.offsets) reader.take(offset);
  for (std::uint32_t& stride : message.layout.strides) reader.take(stride);
  reader.take(message.damage.x);
  reader.take(message.damage.y);
  reader.take(message.damage.width);
  reader.take(message.damage.height);
  return message;
}

std::optional<AnswerMessage> decodeAnswer(std::span<const std::uint8_t> packet) {
  if (packet.size() != kAnswerBytes) return std::nullopt;
  Reader reader(packet);
  const auto kind = reader.takeKind();
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
