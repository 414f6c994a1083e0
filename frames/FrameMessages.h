#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "frames/FrameLayout.h"

/// The messages of a layer's socket, one to a packet, little-endian: see docs/frames.md.
namespace frames {

inline constexpr std::uint32_t kMagic = 0x52464c56;  // "VLFR"
inline constexpr std::uint16_t kVersion = 1;
inline constexpr std::uint16_t kFilmVersion = 2;

inline constexpr std::size_t kFrameBytes = 88;
inline constexpr std::size_t kFilmBytes = 136;
inline constexpr std::size_t kAnswerBytes = 32;

/// A film's buffers are those of its decoder: there are more of them than a mirrored screen needs.
inline constexpr std::uint32_t kFilmBuffers = 64;
/// All of them together.
inline constexpr std::size_t kFilmMemory = std::size_t{1} << 30;

/// From the writer: the picture in a buffer. The buffer's descriptor comes along the first time.
struct FrameMessage {
  std::uint64_t sequence = 0;
  std::int64_t pts = -1;  ///< ns; negative: unknown
  std::uint32_t index = 0;
  std::uint32_t format = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t flags = 0;
  FrameLayout layout;
  struct Rect {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
  } damage;
};

/// From the writer of a film, in version 2: a picture, or that there is none.
struct FilmMessage : FrameMessage {
  enum class Kind : std::uint16_t { Picture = 1, None = 4 };
  Kind kind = Kind::Picture;
  /// The shape of a pixel.
  std::uint32_t aspectNumerator = 1;
  std::uint32_t aspectDenominator = 1;
  std::uint32_t rotation = 0;  ///< degrees clockwise: 0, 90, 180 or 270
  std::int64_t due = -1;       ///< ns on the writer's clock; negative: unknown
  std::uint64_t epoch = 0;     ///< of which load it is
  std::uint64_t texts = 0;     ///< which texts belong to it; 0: none
  /// One bit for each buffer that is gone; they go before the picture is looked at.
  std::uint64_t gone = 0;
};

/// Whether a picture can be drawn with that shape of a pixel and rotation.
bool isDrawable(const FilmMessage& message);

/// From the reader: a greeting once, then one for each picture that it is done with.
struct AnswerMessage {
  enum class Kind : std::uint16_t { Release = 2, Greeting = 3 };
  static constexpr std::uint32_t kWelcome = 0;
  static constexpr std::uint32_t kBusy = 1;

  Kind kind = Kind::Release;
  std::uint64_t sequence = 0;
  std::int64_t shownAt = 0;  ///< CLOCK_MONOTONIC, ns; 0: never shown
  std::uint32_t index = 0;
  std::uint32_t outcome = 0;  ///< a vorlane_frames_outcome; kWelcome or kBusy in a greeting
};

using FramePacket = std::array<std::uint8_t, kFrameBytes>;
using FilmPacket = std::array<std::uint8_t, kFilmBytes>;
using AnswerPacket = std::array<std::uint8_t, kAnswerBytes>;

FramePacket encode(const FrameMessage& message);
FilmPacket encode(const FilmMessage& message);
AnswerPacket encode(const AnswerMessage& message);

/// Nothing when the packet is none of ours: another length, magic, version or kind, or a reserved
/// field that is not 0. What the fields say is not looked at.
std::optional<FrameMessage> decodeFrame(std::span<const std::uint8_t> packet);
std::optional<FilmMessage> decodeFilm(std::span<const std::uint8_t> packet);
std::optional<AnswerMessage> decodeAnswer(std::span<const std::uint8_t> packet);

}  // namespace frames
