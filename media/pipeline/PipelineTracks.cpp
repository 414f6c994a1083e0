// Which streams play, what is chosen when nobody has chosen, and the texts beside the media. On the
// pipeline's thread.

#include <algorithm>
#include <string_view>
#include <utility>

#include "media/pipeline/Pipeline.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;

/// How long the answer to a selection of streams is waited for. It comes within milliseconds, but
/// not while a stream that is to be switched off has ended: its thread is held in the library until
/// all streams have ended, or the next seek.
constexpr auto kSelectionLimit = std::chrono::milliseconds(250);

platform::MediaSelectionOption captionsOf(PictureCaptions::Channel channel) {
  const std::string name(PictureCaptions::kNames[channel]);
  return {name, name, {}, false, {std::string(platform::kMediaOptionTranscribes)}};
}

}  // namespace

void Pipeline::setSubtitleStyles(std::shared_ptr<const SubtitleStyles> styles) {
  _subtitles->setStyles(std::move(styles));
  _setup.frames->textsDidChange(_setup.ticket);
}

void Pipeline::_setUpTexts() {
  _subtitles->setStyles(_setup.subtitleStyles);
  // On a thread of the library.
  _textSink = std::make_unique<TextSink>(
      _subtitles,
      [frames = _setup.frames, ticket = _setup.ticket] { frames->textsDidChange(ticket); });
  if (_textSink->element()) g_object_set(_player.get(), "text-sink", _textSink->element(), nullptr);
}

std::vector<platform::MediaSelectionGroup> Pipeline::_groups() const {
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

void Pipeline::_noteCaptions(PictureCaptions::Channel channel) {
  if (_captions[channel]) return;
  _captions[channel] = captionsOf(channel);
  _refreshFacts();
  if (_ready) _report(Kind::Facts);
}

void Pipeline::_noteCaptionTracks(const std::vector<streaming::Track>& tracks) {
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

std::optional<PictureCaptions::Channel> Pipeline::_captionsNamed(
    const std::string& identifier) const {
  for (PictureCaptions::Channel channel = 0; channel < _captions.size(); ++channel)
    if (_captions[channel] && _captions[channel]->identifier == identifier) return channel;
  return std::nullopt;
}

bool Pipeline::_choosePreferred() {
  if (_chosen) return false;
  _chosen = _ready || _catalog.knowsLanguages();
  _beginSelection(_catalog.preferred(_setup.preferredLanguages));
  return _selecting.has_value();
}

void Pipeline::_select(const std::string& characteristic,
                       const std::optional<std::string>& identifier) {
  _chosen = true;
  const bool isText = characteristic == platform::kMediaCharacteristicLegible;
  const auto alternate = isText && identifier ? _alternates.find(*identifier) : std::nullopt;
  const auto captions = isText && identifier ? _captionsNamed(*identifier) : std::nullopt;
  auto choice =
      _catalog.withOption(characteristic, alternate || captions ? std::nullopt : identifier);
  const auto before = _groups();
  // What names nothing changes nothing.
  const bool isKnown = alternate || captions || !identifier || choice;
  if (isText && isKnown) {
    const bool changesCaptions = std::exchange(_shownCaptions, captions) != captions;
    if (changesCaptions) _videoSink->captions().show(captions);
    const bool changesAlternate = _alternates.select(alternate);
    if (changesAlternate) {
      _subtitles->setBeside({});
      if (alternate) _loadAlternate();
    }
    if (changesAlternate || changesCaptions) {
      _showTexts();
      _tellSelection(before);
    }
  }
  _beginSelection(std::move(choice));
}

void Pipeline::_loadAlternate() {
  _alternates.load(*_setup.streaming, _setup.item, [this](std::vector<SubtitleCue> cues) {
    _post([cues = std::move(cues)](Pipeline& me) {
      if (!me._alternates.isSelected()) return;
      me._subtitles->setBeside(cues);
      me._showTexts();
    });
  });
}

void Pipeline::_beginSelection(std::optional<StreamCatalog::Choice> choice) {
  if (!choice) return;
  const bool changesStreams = _catalog.changesStreams(*choice);
  _selecting = std::move(choice);
  if (!changesStreams) {
    _finishSelection();
    return;
  }
  if (_presentation) {
    _finishSelection();
    return;
  }
  GList* ids = nullptr;
  for (const std::string& id : _selecting->streams)
    ids = g_list_append(ids, const_cast<char*>(id.c_str()));
  // The result says nothing: some sources answer FALSE and do it.
  gst_element_send_event(_player.get(), gst_event_new_select_streams(ids));
  g_list_free(ids);
  _deadline = _clock.now() + kSelectionLimit;
}

void Pipeline::_handleSelection(StreamCatalog::Selection selection) {
  if (_selecting) {
    // One that answers an older choice may come late.
    StreamCatalog answer = _catalog;
    answer.updateSelection(std::move(selection));
    if (!answer.changesStreams(*_selecting)) _finishSelection();
  } else if (_catalog.updateSelection(std::move(selection)) && _ready) {
    _refreshFacts();
    _report(Kind::Facts);
  }
}

void Pipeline::_finishSelection() {
  const auto before = _groups();
  // Nothing but a flush makes other streams flow.
  const bool changesStreams = _catalog.changesStreams(*_selecting);
  const streaming::TrackSelection selected = _trackSelection();
  _catalog.choose(*std::exchange(_selecting, std::nullopt));
  if (_presentation) {
    // Texts do not come through the pipeline.
    const streaming::TrackSelection wanted = _trackSelection();
    _presentation->setSelection(wanted);
    _reseek = _reseek || wanted.video != selected.video || wanted.audio != selected.audio;
  } else if (changesStreams) {
    _reseek = true;
  }
  _deadline.reset();
  _showTexts();
  _tellSelection(before);
}

void Pipeline::_tellSelection(const std::vector<platform::MediaSelectionGroup>& before) {
  _refreshFacts();
  if (!_ready) return;
  for (const auto& group : _groups())
    for (const auto& old : before)
      if (old.characteristic == group.characteristic && old.selected != group.selected)
        _setup.report({.kind = Kind::Selection, .characteristic = group.characteristic});
  _report(Kind::Facts);
}

void Pipeline::_showTexts() {
  using Source = SubtitleCues::Source;
  _subtitles->show(_alternates.isSelected()               ? Source::Beside
                   : _shownCaptions                       ? Source::Pictures
                   : _catalog.plays(GST_STREAM_TYPE_TEXT) ? Source::Media
                                                          : Source::None);
  _setup.frames->textsDidChange(_setup.ticket);
}

}  // namespace media
