#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/color/DisplayMapping.h"

namespace media {

/// Maps whole pictures by DisplayMapping: 4:2:0 with 8 or 10 bits to 8 bits in BT.709, studio
/// range, dithered.
///
/// A grid of Cb and Cr has a column of results for all luma codes at each of its points. A column
/// is computed when a color near its point first occurs. Between the points the results are
/// interpolated, with the same weights for the four pixels of a chroma sample.
///
/// Threads: one at a time.
class ColorMapper {
 public:
  /// Samples of I42010 and P010 are little-endian, those of P010 in the upper bits.
  enum class Layout { I420, NV12, I42010, P010 };
  struct Source {
    Layout layout = Layout::I42010;
    std::array<const std::uint8_t*, 3> planes{};
    std::array<std::size_t, 3> strides{};  ///< bytes
    std::size_t width = 0;
    std::size_t height = 0;
  };
  /// Planes of I420 for the size of the source.
  struct Target {
    std::array<std::uint8_t*, 3> planes{};
    std::array<std::size_t, 3> strides{};
  };

  explicit ColorMapper(const PictureColors& colors);
  void convert(const Source& source, const Target& target);

 private:
  static constexpr std::size_t kCodes = 1024;
  static constexpr unsigned kCellBits = 3;  // chroma codes between two points of the grid
  static constexpr std::size_t kCell = 1U << kCellBits;
  static constexpr std::size_t kPoints = kCodes / kCell + 1;
  static constexpr unsigned kStepBits = 4;  // luma codes between two results of chroma
  static constexpr std::size_t kStep = 1U << kStepBits;
  static constexpr std::size_t kSteps = kCodes / kStep + 1;

  struct Chroma {
    std::uint16_t cb, cr;
  };
  /// Results by luma.
  struct Column {
    std::array<std::uint16_t, kSteps * kStep> y;
    std::array<Chroma, kSteps> chroma;
  };
  class Cell;

  const Column& _column(std::size_t cb, std::size_t cr);
  std::unique_ptr<Column> _compute(std::size_t cb, std::size_t cr) const;
  template <typename Samples>
  void _convert(const Source& source, const Target& target);

  const DisplayMapping _mapping;
  const bool _fullRange;
  std::vector<std::unique_ptr<const Column>> _columns;
};

}  // namespace media
