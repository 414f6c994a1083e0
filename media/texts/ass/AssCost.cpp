#include "media/texts/ass/AssCost.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <system_error>

namespace media {
namespace {

constexpr int kNestingLimit = 8;
constexpr double kHuge = std::numeric_limits<double>::infinity();
/// The letters, their border and their shadow.
constexpr double kBitmapLayers = 3;
/// The blur of libass reaches this many times its value, which is limited.
constexpr double kBlurReach = 3;
constexpr double kMaxBlur = 100;
/// Blurring needs more memory for each pixel.
constexpr double kBlurFactor = 2;
/// Perspective enlarges parts of a text.
constexpr double kPerspectiveFactor = 4;

std::optional<double> leadingNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t(+"), text.size()));
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) return kHuge;
  if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// The range of the coordinates of a drawing, which are pairs of numbers between letters.
class DrawingExtent {
 public:
  void read(std::string_view text) {
    while (true) {
      const std::size_t at = text.find_first_of("-+.0123456789");
      if (at == std::string_view::npos) return;
      text.remove_prefix(at);
      const std::size_t end = std::min(text.find_first_not_of("-+.0123456789eE"), text.size());
      _add(leadingNumber(text.substr(0, end)).value_or(0));
      text.remove_prefix(end);
    }
  }
  double width() const { return _last[0] - _first[0]; }
  double height() const { return _last[1] - _first[1]; }

 private:
  void _add(double value) {
    _first[_axis] = std::min(_first[_axis], value);
    _last[_axis] = std::max(_last[_axis], value);
    _axis = 1 - _axis;
  }

  // The origin is part of it.
  std::array<double, 2> _first{};
  std::array<double, 2> _last{};
  std::size_t _axis = 0;
};

class EventCost {
 public:
  explicit EventCost(const AssStyleFinder& styleNamed)
      : _styleNamed(styleNamed), _look(styleNamed("")) {}

  void read(std::string_view text) {
    while (!text.empty()) {
      const std::size_t open = std::min(text.find('{'), text.size());
      _readText(text.substr(0, open));
      text.remove_prefix(open);
      const std::size_t close = text.find('}');
      if (close == std::string_view::npos) return _readText(text);
      _readTags(text.substr(0, close));
      text.remove_prefix(close + 1);
    }
  }

  double pixels(double scale) const {
    if (_isTooDeep) return kHuge;
    const double reach = scale * (_look.border + kBlurReach * std::min(_look.blur, kMaxBlur));
    const double letter = _look.size * _look.scaleX + _look.spacing;
    double sum = _box(scale * letter * _letters, scale * _look.size * _look.scaleY, reach);
    const double unit = scale / _drawingScale;
    sum += _box(unit * _drawing.width() * _look.scaleX, unit * _drawing.height() * _look.scaleY,
                reach);
    return sum + _clipPixels * scale * scale;
  }

 private:
  double _box(double width, double height, double reach) const {
    if (width <= 0 || height <= 0) return 0;
    width = (width + 2 * reach) * (1 + _shearX);
    height = (height + 2 * reach) * (1 + _shearY);
    // The box around a line that is turned is as high as the line is long.
    if (_look.isRotated || _shearY > 0) width = height = std::max(width, height);
    return width * height * kBitmapLayers * (_hasPerspective ? kPerspectiveFactor : 1) *
           (_look.blur > 0 ? kBlurFactor : 1);
  }

  void _readText(std::string_view text) {
    if (_isDrawing) return _drawing.read(text);
    _letters += static_cast<double>(
        std::count_if(text.begin(), text.end(), [](char each) { return (each & 0xC0) != 0x80; }));
  }

  void _readTags(std::string_view tags) {
    const auto isTooDeep = [&] {
      int depth = 0;
      for (const char each : tags) {
        if (each == '(' && ++depth > kNestingLimit) return true;
        if (each == ')') depth = std::max(0, depth - 1);
      }
      return false;
    };
    _isTooDeep = _isTooDeep || isTooDeep();
    while (true) {
      const std::size_t at = tags.find('\\');
      if (at == std::string_view::npos) return;
      tags.remove_prefix(at + 1);
      tags.remove_prefix(std::min(tags.find_first_not_of(" \t"), tags.size()));
      _readTag(tags.substr(0, tags.find('\\')));
    }
  }

  void _readTag(std::string_view tag) {
    const auto rest = [&](std::string_view name) -> std::optional<std::string_view> {
      if (!tag.starts_with(name)) return std::nullopt;
      return tag.substr(name.size());
    };
    const auto raise = [](double& value, std::string_view from, double unit = 1) {
      value = std::max(value, std::abs(leadingNumber(from).value_or(0)) * unit);
    };
    constexpr double kPercent = 0.01;
    if (const auto scaleX = rest("fscx")) {
      raise(_look.scaleX, *scaleX, kPercent);
    } else if (const auto scaleY = rest("fscy")) {
      raise(_look.scaleY, *scaleY, kPercent);
    } else if (const auto spacing = rest("fsp")) {
      raise(_look.spacing, *spacing);
    } else if (const auto size = rest("fs")) {
      _readSize(*size);
    } else if (const auto shearX = rest("fax")) {
      raise(_shearX, *shearX);
    } else if (const auto shearY = rest("fay")) {
      raise(_shearY, *shearY);
    } else if (rest("frx") || rest("fry")) {
      _hasPerspective = _look.isRotated = true;
    } else if (rest("fr")) {
      _look.isRotated = true;
    } else if (rest("xbord") || rest("ybord")) {
      raise(_look.border, tag.substr(5));
    } else if (const auto border = rest("bord")) {
      raise(_look.border, *border);
    } else if (const auto blur = rest("blur")) {
      raise(_look.blur, *blur);
    } else if (rest("clip(") || rest("iclip(")) {
      _readClip(tag.substr(tag.find('(') + 1));
    } else if (const auto style = rest("r")) {
      _look.include(_styleNamed(style->substr(0, style->find_last_not_of(" \t)") + 1)));
    } else if (const auto mode = rest("p"); mode && !rest("pos") && !rest("pbo")) {
      _readDrawingMode(*mode);
    }
  }

  /// Each step halves the coordinates. libass rounds the number, and shifts by it without a check.
  void _readDrawingMode(std::string_view value) {
    constexpr double kTrustedMode = 10;
    const double mode = std::round(leadingNumber(value).value_or(0));
    _isDrawing = mode > 0;
    if (_isDrawing)
      _drawingScale = std::min(_drawingScale, mode <= kTrustedMode ? std::exp2(mode - 1) : 1);
  }

  void _readSize(std::string_view value) {
    const double size = leadingNumber(value).value_or(0);
    value.remove_prefix(std::min(value.find_first_not_of(" \t("), value.size()));
    if (value.starts_with('+') || value.starts_with('-'))
      _look.size *= 1 + std::abs(size) / 10;
    else
      _look.size = std::max(_look.size, size);
  }

  /// A clip of four numbers is a rectangle and has no bitmap.
  void _readClip(std::string_view shape) {
    const std::size_t start = shape.find('m');
    if (start == std::string_view::npos) return;
    DrawingExtent extent;
    extent.read(shape.substr(start));
    _clipPixels += 2 * extent.width() * extent.height();
  }

  const AssStyleFinder& _styleNamed;
  AssLook _look;
  double _letters = 0;
  double _shearX = 0;
  double _shearY = 0;
  bool _hasPerspective = false;
  bool _isDrawing = false;
  double _drawingScale = std::numeric_limits<double>::max();
  DrawingExtent _drawing;
  double _clipPixels = 0;
  bool _isTooDeep = false;
};

}  // namespace

void AssLook::include(const AssLook& other) {
  size = std::max(size, other.size);
  scaleX = std::max(scaleX, other.scaleX);
  scaleY = std::max(scaleY, other.scaleY);
  spacing = std::max(spacing, other.spacing);
  border = std::max(border, other.border);
  blur = std::max(blur, other.blur);
  isRotated = isRotated || other.isRotated;
}

double estimatedPixels(std::string_view text, const AssStyleFinder& styleNamed, double scale) {
  EventCost cost(styleNamed);
  cost.read(text);
  const double pixels = cost.pixels(scale);
  return std::isnan(pixels) ? kHuge : pixels;
}

}  // namespace media
