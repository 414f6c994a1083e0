#include "media/texts/TTMLText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <glib.h>

#include "media/output/SubtitleColor.h"
#include "media/texts/CueList.h"
#include "media/texts/PngImage.h"
#include "media/texts/TTMLImages.h"
#include "media/texts/TTMLParagraph.h"
#include "media/texts/TTMLStyle.h"
#include "media/texts/TTMLTime.h"
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

struct OpenElement {
  std::string name;
  double begin = 0;
  double end = HUGE_VAL;
  std::string region;
  TTMLStyle own;
  TTMLStyle computed;  // of paragraphs and spans
  bool preservesSpace = false;
  bool isSequence = false;
  double sequenceEnd = 0;  // of the last child
  bool isDisplayed = true;
};

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
    if (_openElements.size() >= kDepthLimit || _cues.isFull()) return false;
    OpenElement element;
    if (!_openElements.empty()) {
      const OpenElement& parent = _openElements.back();
      element.begin = parent.isSequence ? parent.sequenceEnd : parent.begin;
      element.end = parent.end;
      element.region = parent.region;
      element.preservesSpace = parent.preservesSpace;
      element.isDisplayed = parent.isDisplayed;
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
        _regions[_region].put(_styles.styleOf(references, inlined));
      else
        _styles.add(identifier, inlined, references);
    } else if (name == "region") {
      if (_regions.size() >= kRegionLimit) return false;
      _region = identifier.substr(0, kMaxRegionName);
      _regions[_region] = _styles.styleOf(references, inlined);
    } else if (name == "image" || name == "data") {
      _beginImage(name, attributes, identifier);
    } else {
      // The extent of the document is that of the root container.
      if (name != "tt") element.own = _styles.styleOf(references, inlined);
      element.isDisplayed = element.isDisplayed && element.own.isDisplayed.value_or(true);
      _beginContent(element, attributes, identifier);
    }
    _openElements.push_back(std::move(element));
    return true;
  }

  void _beginContent(OpenElement& element, const TTMLAttributes& attributes,
                     const std::string& identifier) {
    if (element.name == "p") {
      _beginParagraph(element, identifier);
    } else if (element.name == "span" && _paragraph) {
      const OpenElement& parent = _openElements.back();
      element.computed = parent.computed;
      element.computed.inherit(element.own, _root);
      _paragraph->beginSpan({.style = element.computed,
                             .own = element.own,
                             .parentSize = parent.computed.fontHeight(_root),
                             .begin = element.begin,
                             .end = element.end,
                             .isTimed = element.begin != parent.begin || element.end != parent.end},
                            _root);
    } else if (element.name == "br" && _paragraph) {
      _paragraph->breakLine();
    }
    if (element.own.image) _showImage(*element.own.image, element);
    element.isSequence = attributes.get("timeContainer") == "seq";
    element.sequenceEnd = element.begin;
  }

  void _finish() {
    const OpenElement element = std::move(_openElements.back());
    _openElements.pop_back();
    if (!_openElements.empty() && _openElements.back().isSequence)
      _openElements.back().sequenceEnd = std::min(element.end, kMaxTTMLSeconds);
    if (element.name == "span" && _paragraph) {
      _paragraph->endSpan();
    } else if (element.name == "p" && _paragraph) {
      _paragraph->finish(element.begin, element.end, _cues);
      _paragraph.reset();
    } else if (element.name == "image" || element.name == "data") {
      _images.endData();
    }
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

  void _readTimes(const TTMLAttributes& attributes, OpenElement& element) const {
    const double base = element.begin;
    if (const auto begin = _clock.secondsOf(attributes.get("begin"))) element.begin = base + *begin;
    if (const auto end = _clock.secondsOf(attributes.get("end")))
      element.end = std::min(element.end, base + *end);
    if (const auto duration = _clock.secondsOf(attributes.get("dur")))
      element.end = std::min(element.end, element.begin + *duration);
  }

  /// Returns the style of the element's region, or null.
  const TTMLStyle* _regionOf(const OpenElement& element) const {
    const auto region = _regions.find(element.region);
    return region == _regions.end() ? nullptr : &region->second;
  }

  /// Returns the box of an element: its own, that of an outer element, or that of its region.
  std::optional<TTMLStyle> _boxOf(const OpenElement& element) const {
    std::optional<TTMLStyle> box;
    if (const TTMLStyle* region = _regionOf(element)) box = *region;
    const auto add = [&](const OpenElement& each) {
      if (!each.own.origin && !each.own.extent) return;
      if (!box) box.emplace();
      box->put(each.own);
    };
    for (const OpenElement& each : _openElements) add(each);
    add(element);
    return box;
  }

  void _beginParagraph(OpenElement& element, const std::string& identifier) {
    const auto box = _boxOf(element);
    TTMLStyle& style = element.computed;
    double opacity = 1;
    std::optional<platform::Color> background;  // of the elements around the paragraph
    if (const TTMLStyle* region = _regionOf(element)) {
      style.inherit(*region, _root);
      opacity *= region->opacity.value_or(1);
    }
    for (const OpenElement& each : _openElements) {
      style.inherit(each.own, _root);
      opacity *= each.own.opacity.value_or(1);
      if (each.own.look.background) background = each.own.look.background;
    }
    style.inherit(element.own, _root);
    opacity *= element.own.opacity.value_or(1);
    if (!element.isDisplayed) return;
    SubtitleCue cue;
    cue.identifier = identifier;
    cue.look = style.look;
    if (style.fontSize)
      cue.look.size = std::clamp(style.fontHeight(_root) / kSubtitleFontSize, 0.25, 4.0);
    cue.layout.writing = style.writing.value_or(CueLayout::Writing::Horizontal);
    cue.layout.rowAlignment = style.rowAlignment;
    cue.layout.shear = style.shear.value_or(0);
    cue.layout.readsDownwards = true;
    if (box) {
      placeInTTMLRegion(*box, cue.layout);
      cue.layout.alignment = CueLayout::Alignment::Start;
      cue.layout.background = std::exchange(cue.look.background, std::nullopt);
    }
    if (style.alignment) cue.layout.alignment = *style.alignment;
    if (!cue.look.background) cue.look.background = background;
    if (opacity < 1) _fade(cue, static_cast<float>(opacity));
    _paragraph.emplace(std::move(cue), style);
  }

  static void _fade(SubtitleCue& cue, float opacity) {
    if (!cue.look.color) cue.look.color = platform::kWhite;
    for (auto* color : {&cue.look.color, &cue.look.background, &cue.layout.background})
      if (*color) (*color)->alpha *= opacity;
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
                           [&](const OpenElement& each) { return each.name == element; });
      };
      const bool isInImage = !isImage && isOpen("image");
      std::string own = isInImage && identifier.empty() ? _imageName : identifier;
      if (own.empty()) own = "data " + std::to_string(++_lastData);
      if (isInImage && isOpen("div")) _showImage("#" + own, _openElements.back());
      _images.beginData(std::move(own));
    }
  }

  /// `element` is the element that shows the image, or an element in it.
  void _showImage(std::string_view reference, const OpenElement& element) {
    if (_pendingImages.size() >= SubtitleCues::kCueLimit || !element.isDisplayed) return;
    const auto box = _boxOf(element);
    if (!(element.end > element.begin)) return;
    PendingImage& pending = _pendingImages.emplace_back();
    pending.reference = reference.substr(0, kMaxRegionName);
    if (box) pending.box = *box;
    pending.box.imageX = element.own.imageX ? element.own.imageX : pending.box.imageX;
    pending.box.imageY = element.own.imageY ? element.own.imageY : pending.box.imageY;
    pending.cue.start = element.begin;
    pending.cue.duration =
        std::isfinite(element.end) ? element.end - element.begin : SubtitleCue::kUntilNext;
  }

  void _take(std::string_view text) {
    if (_images.isInData()) {
      _images.append(text);
      return;
    }
    if (!_paragraph || _openElements.empty()) return;
    const OpenElement& element = _openElements.back();
    if ((element.name == "p" || element.name == "span") && element.isDisplayed &&
        element.computed.isVisible.value_or(true))
      _paragraph->append(text, element.preservesSpace);
  }

  TTMLClock _clock;
  TTMLRoot _root;
  TTMLStyleSheet _styles;
  TTMLImages _images;
  std::map<std::string, TTMLStyle, std::less<>> _regions;
  std::string _region;     // the region that was opened last
  std::string _imageName;  // of the image that was opened last
  int _lastData = 0;       // counts data without a name
  std::vector<OpenElement> _openElements;
  std::optional<TTMLParagraph> _paragraph;
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
