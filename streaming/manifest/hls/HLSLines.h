#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// An attribute list (RFC 8216, section 4.2). Values are views of the line.
class HLSAttributes {
 public:
  explicit HLSAttributes(std::string_view list);

  /// The value without quotation marks.
  std::optional<std::string_view> find(std::string_view name) const;
  std::string text(std::string_view name) const { return std::string(find(name).value_or("")); }
  bool isYes(std::string_view name) const { return find(name) == "YES"; }
  std::optional<double> number(std::string_view name) const;
  std::optional<std::uint64_t> integer(std::string_view name) const;
  /// In document order.
  const std::vector<std::pair<std::string_view, std::string_view>>& all() const { return _all; }

 private:
  std::vector<std::pair<std::string_view, std::string_view>> _all;
};

/// Splits a playlist into lines and substitutes the variables of EXT-X-DEFINE.
class HLSLines {
 public:
  /// `imported`: variables of the multivariant playlist. The arguments must outlive this object.
  HLSLines(std::string_view text, std::string_view url, const PlaylistVariables& imported);

  struct Line {
    std::string_view tag;    ///< such as "EXTINF"; empty for a URI
    std::string_view value;  ///< the text after the colon, or the URI
  };
  /// The next tag or URI. The views are valid until the next call. nullopt at the end and when a
  /// limit is exceeded.
  std::optional<Line> next();
  /// A line or the result of variable substitution is too long.
  bool isBeyondLimits() const { return _isBeyondLimits; }
  /// The first line is EXTM3U.
  bool isPlaylist() const { return _isPlaylist; }
  const PlaylistVariables& variables() const { return _variables; }

 private:
  std::string_view _substituted(std::string_view line);
  void _define(std::string_view list);

  std::string_view _rest;
  const std::string_view _url;
  const PlaylistVariables& _imported;
  PlaylistVariables _variables;
  std::string _line;  // a line after substitution
  std::size_t _substitutedBytes = 0;
  bool _isFirst = true;
  bool _isPlaylist = false;
  bool _isBeyondLimits = false;
};

/// Parses `LENGTH[@OFFSET]`. `implied` is the default of the offset.
std::optional<ByteSpan> hlsByteRange(std::string_view text, std::uint64_t implied);
/// Parses a duration and limits it to the longest accepted segment.
double hlsSeconds(std::string_view text);

}  // namespace streaming
