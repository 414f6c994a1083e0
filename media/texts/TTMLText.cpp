#include "media/texts/TTMLText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <glib.h>

#include "media/output/SubtitleColor.h"
#include "media/texts/CueList.h"
#include "media/texts/PngImage.h"
#include "media/texts/TTMLContent.h"
#include "media/texts/TTMLElement.h"
#include "media/texts/TTMLImages.h"
#include "media/texts/TTMLStyle.h"
#include "media/texts/TTMLTime.h"
#include "media/texts/TTMLTimedStyle.h"
#include "media/texts/TextFormats.h"
#include "media/texts/TextLines.h"

namespace media {
namespace {

constexpr std::size_t kDepthLimit = 32;
constexpr std::size_t kRegionLimit = 1000;
constexpr std::size_t kMaxAttributes = 64;
constexpr std::size_t kMaxRegionName = 256;
constexpr double kMaxTTMLSeconds = 1e9;

std::string_view localName(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// The attributes of an element by their local names. Prefixes are ignored.
class TTMLAttributes {
 public:
  TTMLAttributes(const gchar** names, const gchar** values) : _names(names), _values(values) {
    while (_count < kMaxAttributes && names[_count]) ++_count;
  }

  std::string_view get(std::string_view name) const {
    for (std::size_t index = 0; index < _count; ++index)
      if (localName(_names[index]) == name) return _values[index];
    return {};
  }
  TTMLStyle style(const TTMLRoot& root) const {
    TTMLStyle style;
    for (std::size_t index = 0; index < _count; ++index)
      readTTMLAttribute(localName(_names[index]), _values[index], root, style);
    return style;
  }

 private:
  const gchar** _names;
  const gchar** _values;
  std::size_t _count = 0;
};

bool hasTimedContent(std::string_view element) {
  return element == "body" || element == "div" || element == "p" || element == "span";
}

struct PendingImage {
  SubtitleCue cue;
  std::string reference;
  TTMLStyle box;
};

class TTMLReader {
 public:
  explicit TTMLReader(std::span<const std::string_view> images) : _images(images) {}

  std::vector<SubtitleCue> read(std::string_view text) {
    const GMarkupParser parser{_onStart, _onEnd, _onText, nullptr, nullptr};
    const std::unique_ptr<GMarkupParseContext, void (*)(GMarkupParseContext*)> context(
        g_markup_parse_context_new(&parser, G_MARKUP_TREAT_CDATA_AS_TEXT, this, nullptr),
        g_markup_parse_context_free);
    // After a syntax error, the cues read before it are returned.
    g_markup_parse_context_parse(context.get(), text.data(), static_cast<gssize>(text.size()),
                                 nullptr);
    // Images may be defined after the elements that show them.
    for (PendingImage& each : _pendingImages) {
      auto image = _images.place(each.reference, each.box, _root);
      if (!image) continue;
      each.cue.images.push_back(*std::move(image));
      if (!_cues.add(std::move(each.cue))) break;
    }
    return _cues.take();
  }

 private:
  static void _onStart(GMarkupParseContext*, const gchar* name, const gchar** names,
                       const gchar** values, gpointer self, GError** error) {
    if (!static_cast<TTMLReader*>(self)->_start(localName(name), {names, values}))
      g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "too much");
  }
  static void _onEnd(GMarkupParseContext*, const gchar*, gpointer self, GError**) {
    static_cast<TTMLReader*>(self)->_finish();
  }
  static void _onText(GMarkupParseContext*, const gchar* text, gsize size, gpointer self,
                      GError**) {
    static_cast<TTMLReader*>(self)->_take({text, size});
  }

  bool _start(std::string_view name, const TTMLAttributes& attributes) {
    if (_openElements.size() >= kDepthLimit || _isTooLong) return false;
    TTMLElement element;
    if (!_openElements.empty()) {
      const TTMLElement& parent = _openElements.back();
      const bool isNext = parent.isSequence && hasTimedContent(name);
      element.begin = isNext ? parent.sequenceEnd : parent.begin;
      element.end = parent.end;
      element.region = parent.region;
      element.preservesSpace = parent.preservesSpace;
    }
    element.name = name;
    if (name == "tt") _readDocument(attributes);
    _readTimes(attributes, element);
    if (const auto region = attributes.get("region"); !region.empty())
      element.region = region.substr(0, kMaxRegionName);
    if (const auto space = attributes.get("space"); !space.empty())
      element.preservesSpace = space == "preserve";
    const TTMLStyle inlined = attributes.style(_root);
    const std::string_view references = attributes.get("style");
    const std::string identifier(attributes.get("id"));
    if (name == "style") {
      if (_isInside("region"))
        _regions[_region].own.style.put(_styles.styleOf(references, inlined));
      else
        _styles.add(identifier, inlined, references);
    } else if (name == "region") {
      if (_regions.size() >= kRegionLimit) return false;
      _region = identifier.substr(0, kMaxRegionName);
      _regions[_region] = {.own = {.style = _styles.styleOf(references, inlined), .changes = {}},
                           .begin = element.begin,
                           .end = element.end};
    } else if (name == "set") {
      _addChange({element.begin, element.end, inlined});
    } else if (name == "image" || name == "data") {
      _beginImage(name, attributes, identifier);
    } else {
      // The extent of the document is that of the root container.
      if (name != "tt") element.own.style = _styles.styleOf(references, inlined);
      element.identifier = identifier;
      _beginContent(element, attributes);
    }
    _openElements.push_back(std::move(element));
    return true;
  }

  void _beginContent(TTMLElement& element, const TTMLAttributes& attributes) {
    if (element.name == "p") {
      _content.emplace();
    } else if (element.name == "span" && _content) {
      _content->beginSpan(element.own.style, element.begin, element.end);
    } else if (element.name == "br" && _content) {
      _content->breakLine();
    }
    if (element.own.style.image) _showImage(*element.own.style.image, element);
    element.isSequence = attributes.get("timeContainer") == "seq";
    element.sequenceEnd = element.begin;
  }

  void _finish() {
    const TTMLElement element = std::move(_openElements.back());
    _openElements.pop_back();
    if (!_openElements.empty() && _openElements.back().isSequence && hasTimedContent(element.name))
      _openElements.back().sequenceEnd = std::min(element.end, kMaxTTMLSeconds);
    if (element.name == "span" && _content) {
      _content->endSpan();
    } else if (element.name == "p" && _content) {
      _isTooLong = !addParagraph(_placeOf(element), *_content, ++_paragraphs, _work, _cues);
      _content.reset();
    } else if (element.name == "image" || element.name == "data") {
      _images.endData();
    }
  }

  /// Adds a change to the style of the element that is open.
  void _addChange(TTMLTimedStyle::Change change) {
    if (_openElements.empty()) return;
    TTMLElement& parent = _openElements.back();
    if (parent.name == "region")
      _regions[_region].own.add(std::move(change));
    else if (parent.name != "span" || !_content)
      parent.own.add(std::move(change));
    else
      _content->addChange(std::move(change));
  }

  bool _isInside(std::string_view name) const {
    return !_openElements.empty() && _openElements.back().name == name;
  }

  void _readDocument(const TTMLAttributes& attributes) {
    _clock.setFrameRate(attributes.get("frameRate"));
    _clock.multiplyFrameRate(attributes.get("frameRateMultiplier"));
    _clock.setTickRate(attributes.get("tickRate"));
    _root.setExtent(attributes.get("extent"));
    _root.setCellResolution(attributes.get("cellResolution"));
  }

  void _readTimes(const TTMLAttributes& attributes, TTMLElement& element) const {
    const double base = element.begin;
    if (const auto begin = _clock.secondsOf(attributes.get("begin"))) element.begin = base + *begin;
    if (const auto end = _clock.secondsOf(attributes.get("end")))
      element.end = std::min(element.end, base + *end);
    if (const auto duration = _clock.secondsOf(attributes.get("dur")))
      element.end = std::min(element.end, element.begin + *duration);
  }

  /// Returns the element with what is around it.
  TTMLPlace _placeOf(const TTMLElement& element) const {
    const auto region = _regions.find(element.region);
    return {.element = element,
            .outer = _openElements,
            .region = region == _regions.end() ? nullptr : &region->second,
            .root = _root};
  }

  /// Reads `image` of SMPTE-TT, whose content is the data, and `image` and `data` of TTML 2.
  void _beginImage(std::string_view name, const TTMLAttributes& attributes,
                   const std::string& identifier) {
    const bool isImage = name == "image";
    if (const auto source = attributes.get("src"); isImage && !source.empty()) {
      if (!_openElements.empty()) _showImage(source, _openElements.back());
    } else if (isImage && attributes.get("encoding").empty()) {
      _imageName = identifier;
    } else {
      const auto isOpen = [&](std::string_view element) {
        return std::any_of(_openElements.begin(), _openElements.end(),
                           [&](const TTMLElement& each) { return each.name == element; });
      };
      const bool isInImage = !isImage && isOpen("image");
      std::string own = isInImage && identifier.empty() ? _imageName : identifier;
      if (own.empty()) own = "data " + std::to_string(++_lastData);
      if (isInImage && isOpen("div")) _showImage("#" + own, _openElements.back());
      _images.beginData(std::move(own));
    }
  }

  /// `element` is the element that shows the image, or an element in it.
  void _showImage(std::string_view reference, const TTMLElement& element) {
    const TTMLPlace place = _placeOf(element);
    const auto [begin, end] = place.times();
    if (_pendingImages.size() >= SubtitleCues::kCueLimit || !(end > begin) ||
        !_work.take(place.cost()) || !place.isDisplayedAt(begin))
      return;
    const auto box = place.boxAt(begin);
    PendingImage& pending = _pendingImages.emplace_back();
    pending.reference = reference.substr(0, kMaxRegionName);
    if (box) pending.box = *box;
    const TTMLStyle& own = element.own.style;
    pending.box.imageX = own.imageX ? own.imageX : pending.box.imageX;
    pending.box.imageY = own.imageY ? own.imageY : pending.box.imageY;
    pending.cue.start = begin;
    pending.cue.duration = std::isfinite(end) ? end - begin : SubtitleCue::kUntilNext;
  }

  void _take(std::string_view text) {
    if (_images.isInData()) {
      _images.append(text);
      return;
    }
    if (!_content || _openElements.empty()) return;
    const TTMLElement& element = _openElements.back();
    if (element.name == "p" || element.name == "span")
      _content->append(text, element.preservesSpace);
  }

  TTMLClock _clock;
  TTMLRoot _root;
  TTMLStyleSheet _styles;
  TTMLImages _images;
  std::map<std::string, TTMLRegion, std::less<>> _regions;
  std::string _region;     // the region that was opened last
  std::string _imageName;  // of the image that was opened last
  int _lastData = 0;       // counts data without a name
  std::vector<TTMLElement> _openElements;
  std::optional<TTMLContent> _content;  // of the paragraph that is open
  std::int32_t _paragraphs = 0;
  TTMLWork _work;
  bool _isTooLong = false;
  std::vector<PendingImage> _pendingImages;
  CueList _cues;
};

}  // namespace

bool isTTML(std::string_view beginning) {
  constexpr std::size_t kExaminedBytes = 4096;
  beginning = trimmed(withoutByteOrderMark(beginning.substr(0, kExaminedBytes)));
  if (!beginning.starts_with('<')) return false;
  for (std::size_t at = beginning.find("tt"); at != std::string_view::npos;
       at = beginning.find("tt", at + 1)) {
    const bool begins = at > 0 && (beginning[at - 1] == '<' || beginning[at - 1] == ':');
    const char next = at + 2 < beginning.size() ? beginning[at + 2] : '\0';
    if (begins && (next == ' ' || next == '>' || next == '\n' || next == '\r' || next == '\t'))
      return true;
  }
  return false;
}

std::vector<SubtitleCue> cuesOfTTML(std::string_view text) {
  return TTMLReader({}).read(withoutByteOrderMark(text));
}

std::vector<SubtitleCue> cuesOfTTMLSample(std::string_view bytes) {
  std::vector<std::string_view> images;
  const std::size_t end = bytes.find("\x89PNG\r\n");
  std::string_view rest = bytes.substr(std::min(end, bytes.size()));
  for (std::string_view png = takePng(rest); !png.empty(); png = takePng(rest))
    images.push_back(png);
  const std::string text = utf8Of(bytes.substr(0, end));
  return TTMLReader(images).read(withoutByteOrderMark(text));
}

}  // namespace media
