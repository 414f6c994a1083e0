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

/// An attribute list of a tag (RFC 8216, section 4.2); views of the line.
class HLSAttributes {
 public:
  explicit HLSAttributes(std::string_view list);

  /// The value without its quotes.
  std::optional<std::string_view> find(std::string_view name) const;
  std::string text(std::string_view name) const { return std::string(find(name).value_or("")); }
  bool isYes(std::string_view name) const { return find(name) == "YES"; }
  std::optional<double> number(std::string_view name) const;
  std::optional<std::uint64_t> integer(std::string_view name) const;
  /// In their order.
  const std::vector<std::pair<std::string_view, std::string_view>>& all() const { return _all; }

 private:
  std::vector<std::pair<std::string_view, std::string_view>> _all;
};

/// Reads a playlist line by line, and fills in the variables of EXT-X-DEFINE.
class HLSLines {
 public:
  /// `imported`: the variables of the multivariant playlist. All of them outlive this.
  HLSLines(std::string_view text, std::string_view url, const PlaylistVariables& imported);

  struct Line {
    std::string_view tag;    ///< "EXTINF"; empty: a URI
    std::string_view value;  ///< behind the colon; or the URI
  };
  /// The next tag or URI; views that the next call invalidates. None at the end, or when the
  /// playlist is beyond a limit.
  std::optional<Line> next();
  /// A line is too long, or the variables make too much of the playlist.
  bool isBeyondLimits() const { return _isBeyondLimits; }
  /// A playlist begins with EXTM3U.
  bool isPlaylist() const { return _isPlaylist; }
  const PlaylistVariables& variables() const { return _variables; }

 private:
  std::string_view _filledIn(std::string_view line);
  void _define(std::string_view list);

  std::string_view _rest;
  const std::string_view _url;
  const PlaylistVariables& _imported;
  PlaylistVariables _variables;
  std::string _line;  // one with variables
  std::size_t _filledInBytes = 0;
  bool _isFirst = true;
  bool _isPlaylist = false;
  bool _isBeyondLimits = false;
};

/// `LENGTH[@OFFSET]`. Without an offset, the span begins at `implied`.
std::optional<ByteSpan> hlsByteRange(std::string_view text, std::uint64_t implied);
/// Seconds of an EXTINF or of another attribute, within what a segment may last.
double hlsSeconds(std::string_view text);

}  // namespace streaming
