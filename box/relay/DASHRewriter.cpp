#include "box/relay/DASHRewriter.h"

#include <algorithm>
#include <utility>

#include "box/relay/PlaylistLimits.h"
#include "box/relay/TimeText.h"
#include "box/relay/TrimmedText.h"
#include "box/relay/URLParts.h"

namespace box {
namespace {

constexpr std::size_t maxDepth = 64;

bool isBase(std::string_view name) { return name == "BaseURL"; }
bool isLocation(std::string_view name) { return name == "Location" || name == "PatchLocation"; }

bool isTemplateAttribute(std::string_view element, std::string_view attribute) {
  return element == "SegmentTemplate" &&
         (attribute == "media" || attribute == "initialization" || attribute == "index" ||
          attribute == "bitstreamSwitching");
}

bool isURLAttribute(std::string_view element, std::string_view attribute) {
  if (attribute == "xlink:href" || attribute == "href" || attribute == "sourceURL") return true;
  return element == "SegmentURL" && (attribute == "media" || attribute == "index");
}

/// The reader finds it without knowing where the manifest came from, and it is no place to go to.
bool leadsElsewhere(std::string_view reference) {
  const URLParts parts = URLParts::of(reference);
  if (parts.scheme == "data" || parts.scheme == "urn") return false;
  return !parts.scheme.empty() || reference.starts_with('/');
}

/// How much of `input` can be dealt with; 0: more of it must come first.
std::size_t consumable(std::string_view input) {
  if (input.starts_with('<')) return markupSize(input).value_or(0);
  return std::min(input.find('<'), input.size());
}

}  // namespace

DASHRewriter::DASHRewriter(PlaylistContext context)
    : _context(std::move(context)),
      _segments([this](const std::string& base, const std::string& reference) {
        const auto url = resolvedURL(base, reference);
        if (!url) return std::string();
        return _context.inheritsQuery ? withQueryOf(_context.url, *url) : *url;
      }) {}

std::optional<std::string> DASHRewriter::feed(std::string_view bytes) {
  if (!_isManifest) return std::string(bytes);
  _bytes += bytes.size();
  if (_bytes > maxPlaylistBytes) _beyondLimits = true;
  if (_beyondLimits) return {};

  _input += bytes;
  std::string_view rest = _input;
  while (const auto size = _isManifest ? consumable(rest) : rest.size()) {
    const std::string_view piece = rest.substr(0, size);
    if (_isManifest && piece.front() == '<')
      _handleMarkup(piece);
    else if (_text)
      _text->append(piece);
    else
      _tellText(piece);
    rest.remove_prefix(size);
  }
  _input.erase(0, _input.size() - rest.size());
  const std::size_t held = std::max(_input.size(), _text ? _text->size() : 0);
  if (held > maxPlaylistLineBytes || _elements.size() > maxDepth) _beyondLimits = true;
  if (_beyondLimits) return {};
  return std::exchange(_output, {});
}

std::optional<std::string> DASHRewriter::finish() {
  if (_beyondLimits) return {};
  _finishText();
  return std::exchange(_output, {}) + std::exchange(_input, {});
}

std::shared_ptr<const MediaTimeline> DASHRewriter::timeline(const MediaTimeline*,
                                                            const MediaTimeline*) const {
  if (!_isManifest) return nullptr;
  auto result = std::make_shared<MediaTimeline>();
  result->live = _live;
  result->targetDuration = _segmentDuration;
  result->rules = _segments.rules();
  result->events = _events.events();
  if (_live && _start) result->dates.push_back({.position = 0, .date = *_start});
  return result;
}

std::shared_ptr<const StreamOffers> DASHRewriter::offers() const {
  return _isManifest ? std::make_shared<StreamOffers>(_offers.offers()) : nullptr;
}

void DASHRewriter::_tellStart(const XMLTag& tag, std::string_view markup) {
  XMLAttributes attributes;
  withAttributes(markup, [&](std::string_view name, const std::string& value) {
    attributes.emplace(name, value);
    return std::optional<std::string>{};
  });
  for (DASHReader* each : _readers) each->begin(tag.name, attributes);
  if (tag.ends) _tellEnd(tag.name);
}

void DASHRewriter::_tellEnd(std::string_view name) {
  for (DASHReader* each : _readers) each->end(name, _base());
}

void DASHRewriter::_tellText(std::string_view text) {
  _output += text;
  const std::string plain = withoutEntities(text);
  for (DASHReader* each : _readers) each->text(plain);
}

void DASHRewriter::_handleMarkup(std::string_view markup) {
  constexpr std::string_view data = "<![CDATA[";
  if (markup.starts_with(data)) {
    const auto content = markup.substr(data.size(), markup.size() - data.size() - 3);
    if (_text) {
      _text->append(withEntities(content));
      return;
    }
    for (DASHReader* each : _readers) each->text(content);
  }
  const auto tag = XMLTag::of(markup);
  if (!tag) {
    if (!_text) _output += markup;
    return;
  }
  _finishText();
  if (_elements.empty() && tag->name != "MPD") {
    _isManifest = false;
    _output += markup;
  } else if (tag->starts) {
    _handleStart(*tag, markup);
  } else {
    if (_elements.size() == 1) _addBase(tag->prefix);
    if (!_elements.empty()) {
      _tellEnd(tag->name);
      _elements.pop_back();
    }
    _output += markup;
  }
}

void DASHRewriter::_handleStart(const XMLTag& tag, std::string_view markup) {
  if (tag.name == "Period") _addBase(tag.prefix);
  _noteFacts(tag.name, markup);
  _tellStart(tag, markup);
  _output += _rewrittenTag(tag, markup);
  if (tag.ends || _elements.size() > maxDepth) return;
  _elements.push_back({std::string(tag.name), _base()});
  if (isBase(tag.name) || isLocation(tag.name)) _text.emplace();
}

void DASHRewriter::_noteFacts(std::string_view name, std::string_view markup) {
  if (name != "MPD") return;
  withAttributes(markup, [this](std::string_view attribute, const std::string& value) {
    if (attribute == "type") _live = value == "dynamic";
    if (attribute == "availabilityStartTime") _start = dateFrom(value);
    if (attribute == "maxSegmentDuration") _segmentDuration = durationFrom(value).value_or(0);
    return std::optional<std::string>{};
  });
}

/// The element whose text it is, is the innermost one still.
void DASHRewriter::_finishText() {
  if (!_text) return;
  const std::string untrimmed = withoutEntities(*std::exchange(_text, {}));
  const std::string text(trimmed(untrimmed));
  if (text.empty()) return;
  const bool isBaseURL = isBase(_elements.back().name);
  _output += withEntities(isBaseURL ? _rewrittenBase(text) : _relayed(_context.url, text));
}

void DASHRewriter::_addBase(std::string_view prefix) {
  if (std::exchange(_hasBase, true)) return;
  const std::string element = std::string(prefix) + "BaseURL>";
  _output += "<" + element + withEntities(_relayed(_context.url, "./")) + "</" + element;
}

std::string DASHRewriter::_rewrittenTag(const XMLTag& tag, std::string_view markup) const {
  return withAttributes(
      markup,
      [&](std::string_view attribute, const std::string& value) -> std::optional<std::string> {
        if (isTemplateAttribute(tag.name, attribute)) return _rewrittenTemplate(value);
        if (isURLAttribute(tag.name, attribute)) return _rewrittenReference(value);
        // The clock's servers; of other schemes the value is no URL.
        if (tag.name == "UTCTiming" && attribute == "value" && value.starts_with("http"))
          return _rewrittenReference(value);
        return {};
      });
}

std::string DASHRewriter::_rewrittenBase(const std::string& text) {
  const std::size_t depth = _elements.size();
  const bool ofManifest = depth == 2;
  if (ofManifest) _hasBase = true;
  Element& parent = _elements[depth - 2];
  // Several are alternatives, each relative to what the parent got from outside.
  auto url = resolvedURL(ofManifest ? _context.url : _elements[depth - 3].base, text);
  if (!url) return text;
  // On the relay a host is a name in a path, and what is relative to it would take its place.
  const URLParts parts = URLParts::of(*url);
  if (parts.authority && parts.path.empty() && !parts.query) *url += '/';
  if (!std::exchange(parent.hasOwnBase, true)) parent.base = *url;
  if (!ofManifest && !leadsElsewhere(text)) return _withQuery(text);
  if (_context.inheritsQuery && !url->ends_with('/')) *url = withQueryOf(_context.url, *url);
  return _context.relayed(*url, RelayPath::Kind::Resource);
}

std::string DASHRewriter::_rewrittenReference(const std::string& text) const {
  if (text.empty() || URLParts::of(text).scheme == "data") return text;
  return leadsElsewhere(text) ? _relayed(_base(), text) : _withQuery(text);
}

std::string DASHRewriter::_rewrittenTemplate(const std::string& text) const {
  const auto dollar = text.find('$');
  if (dollar == text.npos) return _rewrittenReference(text);
  if (!leadsElsewhere(text)) return _withQuery(text);
  // The part with identifiers goes as it is, for the reader to fill in.
  const auto slash = text.rfind('/', dollar);
  if (slash == text.npos || text.substr(0, slash).ends_with('/')) return text;
  const auto url = resolvedURL(_base(), text.substr(0, slash + 1));
  if (!url) return text;
  return _context.relayed(*url, RelayPath::Kind::Resource) + _withQuery(text.substr(slash + 1));
}

/// The query of `reference`, its own or the manifest's, in the form that readers leave alone; one
/// with identifiers of a template can only be left as it is. Folders have none.
std::string DASHRewriter::_withQuery(const std::string& reference) const {
  if (reference.ends_with('/')) return reference;
  std::string whole = _context.inheritsQuery ? withQueryOf(_context.url, reference) : reference;
  const auto question = whole.find('?');
  if (question == whole.npos || reference.find('$', question) != reference.npos) return whole;
  const std::string relayed =
      _context.relayed("http://any/" + whole.substr(question), RelayPath::Kind::Resource);
  const auto query = relayed.find('?');
  return query == relayed.npos ? whole : whole.substr(0, question) + relayed.substr(query);
}

std::string DASHRewriter::_relayed(const std::string& base, const std::string& reference) const {
  auto url = resolvedURL(base, reference);
  if (!url) return reference;
  if (_context.inheritsQuery && !url->ends_with('/')) *url = withQueryOf(_context.url, *url);
  return _context.relayed(*url, RelayPath::Kind::Resource);
}

const std::string& DASHRewriter::_base() const {
  return _elements.empty() ? _context.url : _elements.back().base;
}

}  // namespace box
