#include "box/screen/video/YuvConversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace box {
namespace {

/// Vectors of 16 bytes. All supported processors have them.
constexpr std::size_t kBlock = 16;
using Bytes = std::uint8_t __attribute__((vector_size(16)));
using Words = std::uint16_t __attribute__((vector_size(16)));
using Numbers = std::int16_t __attribute__((vector_size(16)));

Bytes load(const std::uint8_t* from) {
  Bytes bytes;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

/// Fraction bits of products. With four, every sum fits into 16 bits.
constexpr int kFraction = 4;

struct Coefficients {
  std::int16_t luma, redOfV, greenOfU, greenOfV, blueOfU;
  std::int16_t bias;  // black level and rounding
};

/// Returns the upper 16 bits of the products.
Numbers times(Numbers values, std::int16_t factor) {
#ifdef __SSE2__
  return Numbers(_mm_mulhi_epi16(__m128i(values), _mm_set1_epi16(factor)));
#else
  using Wide = std::int32_t __attribute__((vector_size(32)));
  return __builtin_convertvector((__builtin_convertvector(values, Wide) * factor) >> 16, Numbers);
#endif
}

/// Packs `low` and `high` into bytes with saturation.
Bytes saturated(Numbers low, Numbers high) {
#ifdef __SSE2__
  return Bytes(_mm_packus_epi16(__m128i(low), __m128i(high)));
#else
  using Half = std::uint8_t __attribute__((vector_size(8)));
  const auto half = [](Numbers values) {
    values = values < 0 ? Numbers{} : values;
    values = values > 255 ? Numbers{} + 255 : values;
    return __builtin_convertvector(values, Half);
  };
  return __builtin_shufflevector(half(low), half(high), 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                 13, 14, 15);
#endif
}

template <typename Vector>
Vector lowerHalves(Vector first, Vector second) {
  if constexpr (sizeof(first[0]) == 1) {
    return __builtin_shufflevector(first, second, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22,
                                   7, 23);
  } else {
    return __builtin_shufflevector(first, second, 0, 8, 1, 9, 2, 10, 3, 11);
  }
}

template <typename Vector>
Vector upperHalves(Vector first, Vector second) {
  if constexpr (sizeof(first[0]) == 1) {
    return __builtin_shufflevector(first, second, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14,
                                   30, 15, 31);
  } else {
    return __builtin_shufflevector(first, second, 4, 12, 5, 13, 6, 14, 7, 15);
  }
}

Coefficients coefficientsFor(media::VideoMatrix matrix, bool fullRange) {
  const double red = matrix == media::VideoMatrix::BT601 ? 0.299 : 0.2126;
  const double blue = matrix == media::VideoMatrix::BT601 ? 0.114 : 0.0722;
  const double green = 1 - red - blue;
  const double lumaScale = fullRange ? 1 : 255.0 / 219;
  const double chromaScale = fullRange ? 1 : 255.0 / 224;
  // Luma is scaled by 2^7 and chroma by 2^8, to use all 16 bits.
  const auto luma = [](double factor) {
    return static_cast<std::int16_t>(std::lround(factor * (1 << (16 + kFraction - 7))));
  };
  const auto chroma = [&](double factor) {
    return static_cast<std::int16_t>(
        std::lround(factor * chromaScale * (1 << (16 + kFraction - 8))));
  };
  const double zero = fullRange ? 0 : 16 * lumaScale;
  // Truncation loses on average half a step of the fraction in each of the two products.
  const double bias = (0.5 - zero) * (1 << kFraction) + 1;
  return {luma(lumaScale),
          chroma(2 * (1 - red)),
          chroma(-2 * (1 - blue) * blue / green),
          chroma(-2 * (1 - red) * red / green),
          chroma(2 * (1 - blue)),
          static_cast<std::int16_t>(std::lround(bias))};
}

/// Chroma contributions to the channels of eight column pairs.
struct ChromaBlock {
  Numbers red, green, blue;
};

/// `u` and `v` are scaled by 2^8; the offset of 128 is subtracted here.
ChromaBlock chromaBlock(const Coefficients& by, Words u, Words v) {
  const auto us = Numbers(u ^ 0x8000);
  const auto vs = Numbers(v ^ 0x8000);
  return {times(vs, by.redOfV) + by.bias, times(us, by.greenOfU) + times(vs, by.greenOfV) + by.bias,
          times(us, by.blueOfU) + by.bias};
}

void convertBlock(const Coefficients& by, const ChromaBlock& chroma, const std::uint8_t* from,
                  std::uint8_t* pixels) {
  const Bytes bytes = load(from);
  const Numbers left = times(Numbers(Words(lowerHalves(Bytes{}, bytes)) >> 1), by.luma);
  const Numbers right = times(Numbers(Words(upperHalves(Bytes{}, bytes)) >> 1), by.luma);
  const auto channel = [&](Numbers added) {
    return saturated((left + lowerHalves(added, added)) >> kFraction,
                     (right + upperHalves(added, added)) >> kFraction);
  };
  const Bytes red = channel(chroma.red);
  const Bytes green = channel(chroma.green);
  const Bytes blue = channel(chroma.blue);
  const Bytes opaque = Bytes{} + 255;
  const auto store = [&](std::size_t at, Words lower, Words upper) {
    const Words first = lowerHalves(lower, upper);
    const Words second = upperHalves(lower, upper);
    std::memcpy(pixels + at, &first, sizeof first);
    std::memcpy(pixels + at + 16, &second, sizeof second);
  };
  store(0, Words(lowerHalves(blue, green)), Words(lowerHalves(red, opaque)));
  store(32, Words(upperHalves(blue, green)), Words(upperHalves(red, opaque)));
}

}  // namespace

void convertToRgb(const media::VideoFrame& frame, std::uint8_t* pixels, std::size_t pitch) {
  static_assert(std::endian::native == std::endian::little);
  const Coefficients by = coefficientsFor(frame.matrix, frame.fullRange);
  const bool interleaved = frame.format == media::VideoFormat::NV12;
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const auto chromaOf = [&](const std::uint8_t* us, const std::uint8_t* vs) {
    if (interleaved) {
      const auto both = Words(load(us));
      return chromaBlock(by, both << 8, both & 0xFF00);
    }
    Bytes u{};
    Bytes v{};
    std::memcpy(&u, us, kBlock / 2);
    std::memcpy(&v, vs, kBlock / 2);
    return chromaBlock(by, Words(lowerHalves(Bytes{}, u)), Words(lowerHalves(Bytes{}, v)));
  };
  for (std::size_t top = 0; top < height; top += 2) {
    const std::size_t rows = std::min<std::size_t>(2, height - top);
    const auto row = [&](std::size_t plane, std::size_t y) {
      return frame.planes[plane].data + y * frame.planes[plane].stride;
    };
    const std::uint8_t* const us = row(1, top / 2);
    const std::uint8_t* const vs = interleaved ? us : row(2, top / 2);
    std::size_t left = 0;
    for (; left + kBlock <= width; left += kBlock) {
      const std::size_t at = interleaved ? left : left / 2;
      const ChromaBlock chroma = chromaOf(us + at, vs + at);
      for (std::size_t y = top; y < top + rows; ++y)
        convertBlock(by, chroma, row(0, y) + left, pixels + y * pitch + 4 * left);
    }
    if (left == width) continue;
    // Copy the remaining columns to a block, so that nothing beyond the rows is accessed.
    const std::size_t columns = width - left;
    const std::size_t at = interleaved ? left : left / 2;
    const std::size_t pairs = (columns + 1) / 2;
    std::array<std::uint8_t, kBlock> edgeU{};
    std::array<std::uint8_t, kBlock> edgeV{};
    std::copy_n(us + at, interleaved ? 2 * pairs : pairs, edgeU.begin());
    std::copy_n(vs + at, interleaved ? 2 * pairs : pairs, edgeV.begin());
    const ChromaBlock chroma = chromaOf(edgeU.data(), edgeV.data());
    for (std::size_t y = top; y < top + rows; ++y) {
      std::array<std::uint8_t, kBlock> luma{};
      std::array<std::uint8_t, 4 * kBlock> converted;
      std::copy_n(row(0, y) + left, columns, luma.begin());
      convertBlock(by, chroma, luma.data(), converted.data());
      std::copy_n(converted.begin(), 4 * columns, pixels + y * pitch + 4 * left);
    }
  }
}

const std::array<media::VideoPlane, 3>& StudioRange::convert(const media::VideoFrame& frame) {
  std::array<std::uint8_t, 256> luma;
  std::array<std::uint8_t, 256> chroma;
  for (int i = 0; i < 256; ++i) {
    const auto at = static_cast<std::size_t>(i);
    luma[at] = static_cast<std::uint8_t>(std::lround(16 + i * 219 / 255.0));
    chroma[at] = static_cast<std::uint8_t>(std::lround(128 + (i - 128) * 224 / 255.0));
  }
  std::size_t size = 0;
  for (std::size_t i = 0; i < frame.planeCount; ++i)
    size += frame.planes[i].rowBytes * frame.planes[i].rows;
  _bytes.resize(size);
  std::uint8_t* to = _bytes.data();
  for (std::size_t i = 0; i < frame.planeCount; ++i) {
    const media::VideoPlane& plane = frame.planes[i];
    const auto& levels = i == 0 ? luma : chroma;
    _planes[i] = {to, plane.rowBytes, plane.rowBytes, plane.rows};
    for (std::size_t y = 0; y < plane.rows; ++y) {
      const std::uint8_t* const from = plane.data + y * plane.stride;
      to = std::transform(from, from + plane.rowBytes, to,
                          [&](std::uint8_t value) { return levels[value]; });
    }
  }
  return _planes;
}

}  // namespace box
