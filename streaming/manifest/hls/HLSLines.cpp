#include "streaming/manifest/hls/HLSLines.h"

#include <algorithm>
#include <limits>

#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/manifest/TimeText.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxLineBytes = std::size_t{64} * 1024;
/// Limits the total size of substituted lines.
constexpr std::size_t kMaxSubstitutedBytes = 2 * kMaxManifestBytes;
/// Limits segment durations, so that sums of them keep their precision.
constexpr double kMaxDuration = 86400;

}  // namespace

HLSAttributes::HLSAttributes(std::string_view list) {
  std::size_t at = 0;
  while (at < list.size()) {
    at = list.find_first_not_of(" \t,", at);
    const auto equals = at == list.npos ? at : list.find('=', at);
    if (equals == list.npos) return;
    std::size_t begin = std::min(list.find_first_not_of(" \t", equals + 1), list.size());
    std::size_t size = 0;
    std::size_t end;
    const bool isQuoted = begin < list.size() && list[begin] == '"';
    if (isQuoted) {
      const auto quote = std::min(list.find('"', ++begin), list.size());
      size = quote - begin;
      end = list.find(',', quote);
    } else {
      end = list.find(',', begin);
      size = std::min(end, list.size()) - begin;
    }
    const std::string_view value = list.substr(begin, size);
    _all.emplace_back(trimmed(list.substr(at, equals - at)), isQuoted ? value : trimmed(value));
    at = end;
  }
}

std::optional<std::string_view> HLSAttributes::find(std::string_view name) const {
  const auto found =
      std::find_if(_all.begin(), _all.end(), [&](const auto& each) { return each.first == name; });
  if (found == _all.end()) return std::nullopt;
  return found->second;
}

std::optional<double> HLSAttributes::number(std::string_view name) const {
  const auto text = find(name);
  if (!text) return std::nullopt;
  const bool isNegative = text->starts_with('-');
  const auto value = numberFrom(text->substr(isNegative ? 1 : 0));
  return value && isNegative ? -*value : value;
}

std::optional<std::uint64_t> HLSAttributes::integer(std::string_view name) const {
  const auto text = find(name);
  return text ? numberOf(*text) : std::nullopt;
}

HLSLines::HLSLines(std::string_view text, std::string_view url, const PlaylistVariables& imported)
    : _rest(text), _url(url), _imported(imported) {
  if (_rest.starts_with("\xEF\xBB\xBF")) _rest.remove_prefix(3);
}

std::optional<HLSLines::Line> HLSLines::next() {
  while (!_rest.empty() && !_isBeyondLimits) {
    const auto end = _rest.find('\n');
    std::string_view line = _rest.substr(0, end);
    _rest.remove_prefix(end == _rest.npos ? _rest.size() : end + 1);
    if (line.size() > kMaxLineBytes) {
      _isBeyondLimits = true;
      return std::nullopt;
    }
    line = trimmed(line);
    if (line.empty()) continue;
    const bool isTag = line.starts_with("#EXT");
    if (line.front() == '#' && !isTag) continue;
    if (std::exchange(_isFirst, false)) _isPlaylist = line.starts_with("#EXTM3U");
    line = _substituted(line);
    if (_isBeyondLimits) return std::nullopt;
    if (!isTag) return Line{{}, line};
    line.remove_prefix(1);
    const auto colon = line.find(':');
    const Line tag{line.substr(0, colon),
                   colon == line.npos ? std::string_view() : trimmed(line.substr(colon + 1))};
    if (tag.tag == "EXT-X-DEFINE")
      _define(tag.value);
    else
      return tag;
  }
  return std::nullopt;
}

std::string_view HLSLines::_substituted(std::string_view line) {
  if (_variables.empty() || line.find("{$") == line.npos) return line;
  _line.clear();
  while (!line.empty()) {
    const auto begin = line.find("{$");
    const auto end = begin == line.npos ? begin : line.find('}', begin);
    if (end == line.npos) break;
    const auto variable = _variables.find(line.substr(begin + 2, end - begin - 2));
    if (variable == _variables.end()) {
      _line += line.substr(0, end + 1);
    } else {
      _line += line.substr(0, begin);
      _line += variable->second;
    }
    line.remove_prefix(end + 1);
    if (_line.size() > kMaxLineBytes) break;
  }
  _line += line;
  _substitutedBytes += _line.size();
  _isBeyondLimits = _line.size() > kMaxLineBytes || _substitutedBytes > kMaxSubstitutedBytes;
  return _line;
}

void HLSLines::_define(std::string_view list) {
  const HLSAttributes attributes(list);
  if (const auto name = attributes.find("NAME")) {
    _variables[std::string(*name)] = attributes.text("VALUE");
  } else if (const auto import = attributes.find("IMPORT")) {
    if (const auto found = _imported.find(*import); found != _imported.end())
      _variables[found->first] = found->second;
  } else if (const auto parameter = attributes.find("QUERYPARAM")) {
    if (auto value = queryParameter(_url, *parameter))
      _variables[std::string(*parameter)] = *std::move(value);
  }
}

std::optional<ByteSpan> hlsByteRange(std::string_view text, std::uint64_t implied) {
  const auto at = text.find('@');
  const auto length = numberOf(text.substr(0, at));
  if (!length) return std::nullopt;
  const auto offset = at == text.npos ? std::optional(implied) : numberOf(text.substr(at + 1));
  // The end of the range must not overflow.
  if (!offset || *length > std::numeric_limits<std::uint64_t>::max() - *offset) return std::nullopt;
  return ByteSpan{*offset, length};
}

double hlsSeconds(std::string_view text) {
  return std::clamp(numberFrom(trimmed(text)).value_or(0), 0.0, kMaxDuration);
}

}  // namespace streaming
