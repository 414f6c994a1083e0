#include "media/pipeline/playback/StreamSelection.h"

#include <utility>

namespace media {
namespace {

/// Time-out for STREAMS_SELECTED, which is normally posted within milliseconds. It is not posted if
/// a stream to be deselected has ended: decodebin3 blocks its thread until all streams have ended
/// or a seek.
constexpr auto kSelectionLimit = std::chrono::milliseconds(250);

std::vector<StreamDescription> descriptionsOf(const std::vector<streaming::Track>& tracks) {
  std::vector<StreamDescription> descriptions;
  for (const streaming::Track& track : tracks)
    if (track.captionChannel.empty()) descriptions.push_back(describeTrack(track));
  return descriptions;
}

}  // namespace

void StreamSelection::requestTrack(std::uint32_t trackID, bool enabled) {
  _requests.emplace_back([this, trackID, enabled] {
    _chosen = true;
    auto choice = _catalog.withTrack(trackID, enabled);
    if (choice && choice->showsText) {
      // The track replaces an external text or captions.
      const auto before = _texts.groups();
      if (_texts.select({})) _reportChanges(before);
    }
    _begin(std::move(choice));
  });
}

void StreamSelection::requestOption(const std::string& characteristic,
                                    const std::optional<std::string>& identifier) {
  _requests.emplace_back(
      [this, characteristic, identifier] { _select(characteristic, identifier); });
}

bool StreamSelection::beginNext() {
  if (_requests.empty()) return false;
  const auto next = std::move(_requests.front());
  _requests.erase(_requests.begin());
  next();
  return true;
}

bool StreamSelection::beginPreferred() {
  if (_chosen) return false;
  _chosen = _state.ready || _catalog.knowsLanguages();
  _begin(_catalog.preferred(_load.setup.preferredLanguages));
  return _selecting.has_value();
}

void StreamSelection::_select(const std::string& characteristic,
                              const std::optional<std::string>& identifier) {
  _chosen = true;
  const bool isText = characteristic == platform::kMediaCharacteristicLegible;
  const auto text = isText && identifier ? _texts.find(*identifier) : TextBranch::Option{};
  auto choice = _catalog.withOption(characteristic, text ? std::nullopt : identifier);
  const auto before = _texts.groups();
  // An unknown identifier changes nothing.
  const bool isKnown = text || !identifier || choice;
  if (isText && isKnown && _texts.select(text)) {
    _texts.show();
    _reportChanges(before);
  }
  _begin(std::move(choice));
}

void StreamSelection::_begin(std::optional<StreamCatalog::Choice> choice) {
  if (!choice) return;
  const bool changesStreams = _catalog.changesStreams(*choice);
  _selecting = std::move(choice);
  if (!changesStreams || _elements.presentation) return finish();
  GList* ids = nullptr;
  for (const std::string& id : _selecting->streams)
    ids = g_list_append(ids, const_cast<char*>(id.c_str()));
  // The result is useless: some sources return FALSE although they handle the event.
  gst_element_send_event(_elements.player.get(), gst_event_new_select_streams(ids));
  g_list_free(ids);
  _progressTimeout.expect(kSelectionLimit);
}

void StreamSelection::handleStreamsSelected(StreamCatalog::Selection selection) {
  if (_selecting) {
    // A late message may belong to an earlier selection.
    StreamCatalog answer = _catalog;
    answer.updateSelection(std::move(selection));
    if (!answer.changesStreams(*_selecting)) finish();
  } else if (_catalog.updateSelection(std::move(selection)) && _state.ready) {
    _refreshFacts();
  }
}

void StreamSelection::finish() {
  const auto before = _texts.groups();
  // New streams only flow after a flush.
  const bool changesStreams = _catalog.changesStreams(*_selecting);
  const streaming::TrackSelection selected = _trackSelection();
  _catalog.choose(*std::exchange(_selecting, std::nullopt));
  if (_elements.presentation) {
    // Text tracks do not flow through the pipeline.
    const streaming::TrackSelection wanted = _trackSelection();
    _elements.presentation->setSelection(wanted);
    _wanted.flush =
        _wanted.flush || wanted.video != selected.video || wanted.audio != selected.audio;
  } else if (changesStreams) {
    _wanted.flush = true;
  }
  _progressTimeout.clear();
  _texts.show();
  _reportChanges(before);
}

void StreamSelection::_reportChanges(const std::vector<platform::MediaSelectionGroup>& before) {
  _facts.refresh();
  if (!_state.ready) return;
  for (const auto& group : _texts.groups())
    for (const auto& old : before)
      if (old.characteristic == group.characteristic && old.selected != group.selected)
        _announcements.selection(group.characteristic);
  _announcements.facts();
}

void StreamSelection::_refreshFacts() {
  _facts.refresh();
  _announcements.factsIfReady();
}

streaming::TrackSelection StreamSelection::_trackSelection() const {
  streaming::TrackSelection selection;
  for (const StreamDescription& each : _catalog.playing()) {
    if (each.type & GST_STREAM_TYPE_VIDEO) selection.video = each.id;
    if (each.type & GST_STREAM_TYPE_AUDIO) selection.audio = each.id;
    if (each.type & GST_STREAM_TYPE_TEXT) selection.text = each.id;
  }
  return selection;
}

streaming::TrackSelection StreamSelection::selectForStart() {
  if (const auto choice = _catalog.preferred(_load.setup.preferredLanguages))
    _catalog.choose(*choice);
  return _trackSelection();
}

void StreamSelection::setCollection(GstRef<GstStreamCollection> collection) {
  _collection = std::move(collection);
  _state.knowsStreams = true;
  _progressTimeout.noteProgress();
  update();
}

void StreamSelection::clear() {
  _collection.reset();
  _catalog.update(std::vector<StreamDescription>());
}

void StreamSelection::update() {
  if (_collection && _catalog.update(_collection.get()) && _state.ready) _refreshFacts();
}

void StreamSelection::update(const std::vector<streaming::Track>& tracks) {
  if (_catalog.update(descriptionsOf(tracks)) && _state.ready) _refreshFacts();
}

void StreamSelection::noteCaptions(PictureCaptions::Channel channel) {
  if (_texts.noteCaptions(channel)) _refreshFacts();
}

}  // namespace media
