#include "box/relay/HLSRewriter.h"

#include <algorithm>
#include <utility>

#include "box/relay/HLSAttributes.h"
#include "box/relay/PlaylistLimits.h"
#include "box/relay/URLParts.h"

namespace box {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::string_view withoutEnds(std::string_view line) {
  const auto begin = line.find_first_not_of(" \t");
  if (begin == line.npos) return {};
  return line.substr(begin, line.find_last_not_of(" \t") - begin + 1);
}

}  // namespace

HLSRewriter::HLSRewriter(PlaylistContext context) : _context(std::move(context)) {}

std::optional<std::string> HLSRewriter::feed(std::string_view bytes) {
  _bytes += bytes.size();
  if (_bytes > maxPlaylistBytes) _beyondLimits = true;
  std::string result;
  while (!_beyondLimits && !bytes.empty()) {
    const auto end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    if (_line.size() + part.size() > maxPlaylistLineBytes) {
      _beyondLimits = true;
      break;
    }
    _line += part;
    if (end == bytes.npos) break;
    result += _rewritten(std::exchange(_line, {}));
    result += '\n';
    bytes.remove_prefix(end + 1);
  }
  if (_beyondLimits) return {};
  return result;
}

std::optional<std::string> HLSRewriter::finish() {
  if (_beyondLimits) return {};
  return _rewritten(std::exchange(_line, {}));
}

std::shared_ptr<const MediaTimeline> HLSRewriter::timeline(const MediaTimeline* previous,
                                                           const MediaTimeline* other) const {
  return _isMaster ? nullptr : _timeline.timeline(previous, other);
}

std::shared_ptr<const StreamOffers> HLSRewriter::offers() const {
  if (!_isMaster) return nullptr;
  auto offers = std::make_shared<StreamOffers>(_offers.offers());
  offers->variables = _variables;
  return offers;
}

std::string HLSRewriter::_rewritten(std::string line) {
  // Readers of playlists want the first tag at the very beginning.
  if (std::exchange(_atBeginning, false) && line.starts_with(byteOrderMark))
    line.erase(0, byteOrderMark.size());
  const bool carriage = line.ends_with('\r');
  if (carriage) line.pop_back();
  _fillIn(line);

  const std::string_view text = withoutEnds(line);
  if (text.starts_with("#EXT")) {
    line = _rewrittenTag(std::string(text));
  } else if (!text.empty() && !text.starts_with('#')) {
    const std::string reference(text);
    if (_isMaster)
      _offers.addVariant(_absolute(reference));
    else
      _timeline.addSegment(_absolute(reference));
    line = _relayed(reference, RelayPath::Kind::Resource);
  }
  return carriage ? line + '\r' : line;
}

std::string HLSRewriter::_rewrittenTag(std::string line) {
  const auto colon = line.find(':');
  const std::string name = line.substr(1, colon == line.npos ? colon : colon - 1);
  const std::size_t listBegin = colon == line.npos ? line.size() : colon + 1;
  const std::string_view list = std::string_view(line).substr(listBegin);
  if (name == "EXT-X-STREAM-INF" || name == "EXT-X-I-FRAME-STREAM-INF" || name == "EXT-X-MEDIA")
    _isMaster = true;
  if (name == "EXT-X-DEFINE") _define(list);
  _timeline.addTag(name, withoutEnds(list));
  _offers.addTag(name, list);
  if (!name.starts_with("EXT-X-")) return line;

  const auto uri = HLSAttribute::find(list, "URI");
  if (!uri || uri->size == 0) return line;
  const std::string reference(list.substr(uri->begin, uri->size));
  if (name == "EXT-X-MEDIA" && _context.alternate)
    _context.alternate(_absolute(reference), attributeOf(list, "TYPE").value_or(""));
  const bool isKey = name == "EXT-X-KEY" || name == "EXT-X-SESSION-KEY";
  const std::string value =
      _relayed(reference, isKey ? RelayPath::Kind::Key : RelayPath::Kind::Resource);
  return line.replace(listBegin + uri->begin, uri->size, value);
}

std::string HLSRewriter::_absolute(const std::string& reference) const {
  if (reference.starts_with("data:")) return reference;
  auto url = resolvedURL(_context.url, reference);
  if (!url) return {};
  return _context.inheritsQuery ? withQueryOf(_context.url, std::move(*url)) : *url;
}

/// What names nothing is left for the reader to complain about.
std::string HLSRewriter::_relayed(const std::string& reference, RelayPath::Kind kind) const {
  const std::string url = _absolute(reference);
  return url.empty() || url.starts_with("data:") ? reference : _context.relayed(url, kind);
}

void HLSRewriter::_define(std::string_view attributes) {
  if (const auto name = attributeOf(attributes, "NAME")) {
    _variables[*name] = attributeOf(attributes, "VALUE").value_or("");
    return;
  }
  if (const auto name = attributeOf(attributes, "IMPORT")) {
    if (!_context.master) return;
    const auto imported = _context.master->variables.find(*name);
    if (imported != _context.master->variables.end()) _variables[*name] = imported->second;
    return;
  }
  const auto parameter = attributeOf(attributes, "QUERYPARAM");
  if (!parameter) return;
  const URLParts url =
      URLParts::of(std::string_view(_context.url).substr(0, _context.url.find('#')));
  std::string_view query = url.query.value_or("");
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    const auto equals = field.find('=');
    if (field.substr(0, equals) == *parameter)
      _variables[*parameter] = equals == field.npos ? "" : field.substr(equals + 1);
    query.remove_prefix(std::min(query.size(), field.size() + 1));
  }
}

void HLSRewriter::_fillIn(std::string& line) const {
  if (_variables.empty()) return;
  std::size_t at = 0;
  while ((at = line.find("{$", at)) != line.npos) {
    const auto end = line.find('}', at);
    if (end == line.npos) return;
    const auto variable = _variables.find(std::string_view(line).substr(at + 2, end - at - 2));
    if (variable == _variables.end()) {
      at = end;
      continue;
    }
    // What takes a line beyond its limit stays as it is: values may be used over and over.
    if (line.size() + variable->second.size() > maxPlaylistLineBytes) return;
    line.replace(at, end + 1 - at, variable->second);
    at += variable->second.size();
  }
}

}  // namespace box
