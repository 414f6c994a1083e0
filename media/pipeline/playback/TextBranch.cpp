#include "media/pipeline/playback/TextBranch.h"

#include <algorithm>
#include <utility>

#include "media/pipeline/StreamDescription.h"

namespace media {
namespace {

platform::MediaSelectionOption captionsOf(PictureCaptions::Channel channel) {
  const std::string name(PictureCaptions::kNames[channel]);
  return {name, name, {}, false, {std::string(platform::kMediaOptionTranscribes)}};
}

}  // namespace

TextBranch::TextBranch(LoadContext& load, PlayerElements& elements, const StreamCatalog& catalog)
    : _load(load),
      _elements(elements),
      _catalog(catalog),
      _cues(std::make_shared<SubtitleCues>(load.setup.textsChanged)),
      _rendered(std::make_shared<RenderedTexts>(
          _cues, [frames = load.setup.frames,
                  ticket = load.setup.ticket] { frames->textsDidChange(ticket); })),
      _alternates(load.setup.alternates) {}

void TextBranch::_noteChange() { _load.setup.frames->textsDidChange(_load.setup.ticket); }

void TextBranch::setStyles(std::shared_ptr<const SubtitleStyles> styles) {
  _cues->setStyles(std::move(styles));
  _noteChange();
}

void TextBranch::makeSink() {
  // Called on a streaming thread.
  _elements.text = std::make_unique<TextSink>(
      _cues, _rendered, [frames = _load.setup.frames, ticket = _load.setup.ticket] {
        frames->textsDidChange(ticket);
      });
}

void TextBranch::setUpSegments(std::shared_ptr<TimestampOffsets> offsets) {
  _segments = std::make_unique<TextSegments>(std::move(offsets));
}

void TextBranch::addSegment(const streaming::TrackPiece& piece, bool isFirst) {
  if (isFirst) _cues->clear();
  for (SubtitleCue& cue : _segments->read(piece)) _cues->add(std::move(cue));
  _noteChange();
}

std::vector<platform::MediaSelectionGroup> TextBranch::groups() const {
  auto groups = _catalog.groups();
  _alternates.appendTo(groups);
  if (std::none_of(_captions.begin(), _captions.end(), [](const auto& each) { return !!each; }))
    return groups;
  auto group = std::find_if(groups.begin(), groups.end(), [](const auto& each) {
    return each.characteristic == platform::kMediaCharacteristicLegible;
  });
  if (group == groups.end()) {
    groups.push_back({std::string(platform::kMediaCharacteristicLegible), {}, std::nullopt, true});
    group = std::prev(groups.end());
  }
  for (PictureCaptions::Channel channel = 0; channel < _captions.size(); ++channel) {
    if (!_captions[channel]) continue;
    if (_shownCaptions == channel) group->selected = group->options.size();
    group->options.push_back(*_captions[channel]);
  }
  return groups;
}

bool TextBranch::noteCaptions(PictureCaptions::Channel channel) {
  if (_captions[channel]) return false;
  _captions[channel] = captionsOf(channel);
  return true;
}

void TextBranch::noteCaptionTracks(const std::vector<streaming::Track>& tracks) {
  const auto& names = PictureCaptions::kNames;
  for (const streaming::Track& track : tracks) {
    const auto name = std::find(names.begin(), names.end(), track.captionChannel);
    if (name == names.end()) continue;
    const auto channel = static_cast<PictureCaptions::Channel>(name - names.begin());
    auto& option = _captions[channel];
    option = captionsOf(channel);
    if (!track.name.empty()) option->displayName = track.name;
    option->languageTag = languageTagOf(track.language);
  }
}

std::optional<PictureCaptions::Channel> TextBranch::_captionsNamed(
    const std::string& identifier) const {
  for (PictureCaptions::Channel channel = 0; channel < _captions.size(); ++channel)
    if (_captions[channel] && _captions[channel]->identifier == identifier) return channel;
  return std::nullopt;
}

TextBranch::Option TextBranch::find(const std::string& identifier) const {
  return {.alternate = _alternates.find(identifier), .captions = _captionsNamed(identifier)};
}

bool TextBranch::select(const Option& option) {
  const bool changesCaptions = std::exchange(_shownCaptions, option.captions) != option.captions;
  if (changesCaptions) _elements.video->captions().show(option.captions);
  const bool changesAlternate = _alternates.select(option.alternate);
  if (changesAlternate) {
    _cues->setExternal({});
    _rendered->remove(SubtitleCues::Source::External);
    if (option.alternate) _loadAlternate();
  }
  return changesAlternate || changesCaptions;
}

void TextBranch::_loadAlternate() {
  _alternates.load(*_load.setup.streaming, _load.setup.item, [this](TextContent content) {
    _load.mailbox->post([this, content = std::move(content)] {
      if (!_alternates.isSelected()) return;
      _cues->setExternal(content.cues);
      if (!content.ass.empty()) _rendered->setDocument(SubtitleCues::Source::External, content.ass);
      show();
    });
  });
}

void TextBranch::show() {
  using Source = SubtitleCues::Source;
  const Source source = _alternates.isSelected()               ? Source::External
                        : _shownCaptions                       ? Source::Captions
                        : _catalog.plays(GST_STREAM_TYPE_TEXT) ? Source::Media
                                                               : Source::None;
  _cues->show(source);
  _rendered->show(source);
  _noteChange();
}

}  // namespace media
