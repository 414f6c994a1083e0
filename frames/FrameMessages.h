#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "frames/FrameLayout.h"

/// Messages of the layer socket: one per packet, little-endian. See docs/frames.md.
namespace frames {

inline constexpr std::uint32_t kMagic = 0x52464c56;  // "VLFR"
inline constexpr std::uint16_t kVersion = 1;
inline constexpr std::uint16_t kFilmVersion = 2;

inline constexpr std::size_t kFrameBytes = 88;
inline constexpr std::size_t kFilmBytes = 136;
inline constexpr std::size_t kAnswerBytes = 32;

/// Pictures of a film are in the buffers of its decoder, which uses more of them than a mirrored
/// screen.
inline constexpr std::uint32_t kFilmBuffers = 64;
/// Limit for the sum of all buffers of a film.
inline constexpr std::size_t kFilmMemory = std::size_t{1} << 30;

/// Sent by the writer: the picture in a buffer. The first message of a buffer carries its
/// descriptor.
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

/// Sent by the writer of a film, in version 2: a picture, or the removal of the picture.
struct FilmMessage : FrameMessage {
  enum class Kind : std::uint16_t { Picture = 1, None = 4 };
  Kind kind = Kind::Picture;
  /// Pixel aspect ratio.
  std::uint32_t aspectNumerator = 1;
  std::uint32_t aspectDenominator = 1;
  std::uint32_t rotation = 0;  ///< degrees clockwise: 0, 90, 180 or 270
  std::int64_t due = -1;       ///< ns on CLOCK_MONOTONIC; negative: unknown
  std::uint64_t epoch = 0;     ///< the load that the picture belongs to
  std::uint64_t texts = 0;     ///< the texts that belong to the picture; 0: none
  /// One bit per buffer that no longer exists. These buffers are removed before the picture is
  /// read.
  std::uint64_t gone = 0;
};

/// Returns whether the screen can draw this pixel aspect ratio and rotation.
bool isDrawable(const FilmMessage& message);

/// Sent by the reader: one greeting, then one release per picture.
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

/// Return nothing for a packet with a wrong length, magic, version or kind, or with a reserved
/// field that is not 0. Other fields are not validated.
std::optional<FrameMessage> decodeFrame(std::span<const std::uint8_t> packet);
std::optional<FilmMessage> decodeFilm(std::span<const std::uint8_t> packet);
std::optional<AnswerMessage> decodeAnswer(std::span<const std::uint8_t> packet);

}  // namespace frames
