#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/output/FrameLayer.h"
#include "media/output/VideoFrames.h"

namespace bench {

/// A video frame in NV12 format with a test pattern.
class Picture final : public media::VideoFrame {
 public:
  Picture(int pixelWidth, int pixelHeight, int seed) : _bytes(_size(pixelWidth, pixelHeight)) {
    format = media::VideoFormat::NV12;
    width = pixelWidth;
    height = pixelHeight;
    const auto columns = static_cast<std::size_t>(width);
    const auto rows = static_cast<std::size_t>(height);
    for (std::size_t i = 0; i < _bytes.size(); ++i) {
      _bytes[i] = static_cast<std::uint8_t>(
          40 + ((i % columns / 16 + i / columns / 16 + static_cast<std::size_t>(seed)) * 29) % 160);
    }
    planeCount = 2;
    planes[0] = {_bytes.data(), columns, columns, rows};
    planes[1] = {_bytes.data() + columns * rows, columns, columns, rows / 2};
  }

  void wasShown() const override {
    if (shown) shown();
  }
  std::function<void()> shown;

 private:
  static std::size_t _size(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
  }
  std::vector<std::uint8_t> _bytes;
};

class Mirrored final : public media::FrameLayer {
 public:
  explicit Mirrored(std::shared_ptr<media::VideoFrames> frames) : _frames(std::move(frames)) {}
  std::string path() const override { return "/bench"; }
  void close() override {}
  const std::shared_ptr<media::VideoFrames>& frames() const override { return _frames; }

 private:
  const std::shared_ptr<media::VideoFrames> _frames;
};

}  // namespace bench
