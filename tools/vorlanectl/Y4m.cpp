#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "tools/vorlanectl/Connection.h"
#include "tools/vorlanectl/PictureSource.h"

namespace vorlanectl {

namespace {

constexpr std::size_t kLongestHeader = 1024;

bool readNumber(std::string_view text, std::uint32_t& number) {
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && at == end;
}

struct CloseFile {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

class Y4m final : public PictureSource {
 public:
  explicit Y4m(const std::string& name)
      : _name(name == "-" ? "the standard input" : name),
        _file(name == "-" ? stdin : std::fopen(name.c_str(), "rb")) {
    if (!_file) throw CallError("Cannot read " + _name + ": " + std::strerror(errno));
    format = VORLANE_FRAMES_I420;
    rate = 25;
    std::string header;
    if (!_readLine(header) || !header.starts_with("YUV4MPEG2 ")) _fail("is no Y4M");
    _parse(std::string_view(header).substr(std::strlen("YUV4MPEG2 ")));
    if (width == 0 || height == 0) _fail("has no size");
    // Y4M has no color space. HD sizes are treated as BT.709, smaller ones as BT.601.
    if (height < 720) flags |= VORLANE_FRAMES_BT601;
  }

  bool fill(const vorlane_frames_buffer& buffer) override {
    if (!_readFrameHeader()) return false;
    for (std::uint32_t plane = 0; plane < buffer.plane_count; ++plane) {
      const std::size_t bytes = plane == 0 ? width : (width + 1) / 2;
      for (std::size_t row = 0; row < buffer.rows[plane]; ++row) {
        std::uint8_t* const target = buffer.planes[plane] + row * buffer.strides[plane];
        if (std::fread(target, 1, bytes, _file.get()) != bytes) return false;
      }
    }
    return true;
  }

  bool skip() override {
    if (!_readFrameHeader()) return false;
    const std::size_t half = std::size_t{(width + 1) / 2} * ((height + 1) / 2);
    _skipped.resize(std::size_t{width} * height + 2 * half);
    return std::fread(_skipped.data(), 1, _skipped.size(), _file.get()) == _skipped.size();
  }

 private:
  [[noreturn]] void _fail(const std::string& what) const { throw CallError(_name + " " + what); }

  bool _readLine(std::string& line) {
    line.clear();
    for (int letter = 0; (letter = std::fgetc(_file.get())) != EOF;) {
      if (letter == '\n') return true;
      if (line.size() == kLongestHeader) return false;
      line += static_cast<char>(letter);
    }
    return false;
  }

  bool _readFrameHeader() {
    std::string line;
    return _readLine(line) && line.starts_with("FRAME");
  }

  void _parse(std::string_view parameters) {
    while (!parameters.empty()) {
      const std::string_view one = parameters.substr(0, parameters.find(' '));
      parameters.remove_prefix(std::min(parameters.size(), one.size() + 1));
      if (!one.empty()) _parseOne(one.front(), one.substr(1));
    }
  }

  void _parseOne(char key, std::string_view value) {
    switch (key) {
      case 'W':
        if (!readNumber(value, width)) _fail("has no width");
        return;
      case 'H':
        if (!readNumber(value, height)) _fail("has no height");
        return;
      case 'F': {
        std::uint32_t count = 0;
        std::uint32_t seconds = 0;
        const std::size_t colon = value.find(':');
        if (colon == std::string_view::npos || !readNumber(value.substr(0, colon), count) ||
            !readNumber(value.substr(colon + 1), seconds) || count == 0 || seconds == 0) {
          _fail("has no frame rate");
        }
        rate = static_cast<double>(count) / seconds;
        return;
      }
      case 'C':
        // The variants of 4:2:0 differ only in the chroma siting.
        if (!value.starts_with("420") || value.starts_with("420p1"))
          _fail("is not 4:2:0 in 8 bits");
        return;
      case 'X':
        if (value == "COLORRANGE=FULL") flags |= VORLANE_FRAMES_FULL_RANGE;
        return;
      default:
        return;
    }
  }

  const std::string _name;
  const std::unique_ptr<std::FILE, CloseFile> _file;
  std::vector<std::uint8_t> _skipped;
};

}  // namespace

std::unique_ptr<PictureSource> openY4m(const std::string& file) {
  return std::make_unique<Y4m>(file);
}

}  // namespace vorlanectl
