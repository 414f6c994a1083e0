#include "media/pipeline/StreamCatalog.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>
#include <tuple>

#include "media/support/GstRef.h"
#include "media/texts/ImageSubtitles.h"

namespace media {
namespace {

const char* typeName(GstStreamType type) {
  if (type & GST_STREAM_TYPE_VIDEO) return "video";
  if (type & GST_STREAM_TYPE_AUDIO) return "audio";
  return "text";
}

std::optional<GstStreamType> typeOf(const std::string& characteristic) {
  if (characteristic == platform::kMediaCharacteristicAudible) return GST_STREAM_TYPE_AUDIO;
  if (characteristic == platform::kMediaCharacteristicLegible) return GST_STREAM_TYPE_TEXT;
  if (characteristic == platform::kMediaCharacteristicVisual) return GST_STREAM_TYPE_VIDEO;
  return std::nullopt;
}

const char* defaultNamePrefix(GstStreamType type) {
  if (type & GST_STREAM_TYPE_VIDEO) return "Video ";
  return type & GST_STREAM_TYPE_AUDIO ? "Audio " : "Subtitles ";
}

bool has(const StreamDescription& stream, std::string_view characteristic) {
  return std::find(stream.characteristics.begin(), stream.characteristics.end(), characteristic) !=
         stream.characteristics.end();
}

std::string_view mediaTypeOf(const GstCaps* caps) {
  if (!caps || gst_caps_is_any(caps) || gst_caps_is_empty(caps)) return {};
  return gst_structure_get_name(gst_caps_get_structure(caps, 0));
}

/// Returns whether a stream is left out: bitmap subtitles of an unsupported format, and single
/// images. An image without a container has no slash in its stream id.
bool isNoMedia(GstStream* stream) {
  const GstRef<GstCaps> caps(gst_stream_get_caps(stream));
  const std::string_view type = mediaTypeOf(caps.get());
  if (type.starts_with("image/")) return !std::strchr(gst_stream_get_stream_id(stream), '/');
  return type.starts_with("subpicture/") && !ImageSubtitles::isSupported(type);
}

/// Streams that are not selected by default.
bool isSpecial(const StreamDescription& stream) {
  return has(stream, platform::kMediaOptionDescribesVideo) ||
         has(stream, platform::kMediaOptionCommentary);
}

}  // namespace

std::vector<StreamDescription> StreamCatalog::_describe(GstStreamCollection* collection) const {
  constexpr int kPlayable = GST_STREAM_TYPE_VIDEO | GST_STREAM_TYPE_AUDIO | GST_STREAM_TYPE_TEXT;
  std::vector<StreamDescription> streams;
  for (guint index = 0; index < gst_stream_collection_get_size(collection); ++index) {
    GstStream* stream = gst_stream_collection_get_stream(collection, index);
    if ((gst_stream_get_stream_type(stream) & kPlayable) == 0 || isNoMedia(stream)) continue;
    StreamDescription& description = streams.emplace_back(describeStream(stream));
    description.forced = description.forced || _forced.contains(description.id);
  }
  return streams;
}

bool StreamCatalog::update(std::vector<StreamDescription> streams) {
  if (streams == _streams) return false;
  const bool sameSelection = std::any_of(streams.begin(), streams.end(),
                                         [&](const auto& each) { return _isSelected(each); });
  _streams = std::move(streams);
  std::set<std::uint32_t> numbers;
  for (const StreamDescription& each : _streams)
    if (each.number) numbers.insert(*each.number);
  _numbered = numbers.size() == _streams.size();
  if (!sameSelection) {
    // The selection of GStreamer until it reports another one: the first of each kind, and no text.
    _selection.clear();
    for (const GstStreamType type : {GST_STREAM_TYPE_VIDEO, GST_STREAM_TYPE_AUDIO})
      for (const StreamDescription& each : _streams)
        if ((each.type & type) != 0) {
          _selection.push_back(each.id);
          break;
        }
  }
  return true;
}

bool StreamCatalog::hasMedia() const {
  return std::any_of(_streams.begin(), _streams.end(), [](const StreamDescription& each) {
    return (each.type & (GST_STREAM_TYPE_VIDEO | GST_STREAM_TYPE_AUDIO)) != 0;
  });
}

StreamCatalog::Selection StreamCatalog::selectionOf(GstMessage* message) {
  Selection selection;
  for (guint index = 0; index < gst_message_streams_selected_get_size(message); ++index) {
    GstStream* stream = gst_message_streams_selected_get_stream(message, index);
    selection.emplace_back(gst_stream_get_stream_id(stream));
    gst_object_unref(stream);
  }
  return selection;
}

bool StreamCatalog::updateSelection(Selection selection) {
  if (selection == _selection) return false;
  _selection = std::move(selection);
  return true;
}

bool StreamCatalog::_isSelected(const StreamDescription& stream) const {
  return std::find(_selection.begin(), _selection.end(), stream.id) != _selection.end();
}

bool StreamCatalog::_plays(const StreamDescription& stream) const {
  return _isSelected(stream) && (_showsText || (stream.type & GST_STREAM_TYPE_TEXT) == 0);
}

std::vector<StreamDescription> StreamCatalog::playing() const {
  std::vector<StreamDescription> result;
  for (const StreamDescription& each : _streams)
    if (_plays(each)) result.push_back(each);
  return result;
}

bool StreamCatalog::plays(GstStreamType type) const {
  return std::any_of(_streams.begin(), _streams.end(),
                     [&](const auto& each) { return (each.type & type) != 0 && _plays(each); });
}

void StreamCatalog::choose(const Choice& choice) {
  _selection = choice.streams;
  _showsText = choice.showsText;
  _textFollowsSound = choice.textFollowsSound;
}

bool StreamCatalog::changesStreams(const Choice& choice) const {
  return std::set(choice.streams.begin(), choice.streams.end()) !=
         std::set(_selection.begin(), _selection.end());
}

std::vector<platform::MediaTrack> StreamCatalog::tracks() const {
  std::vector<platform::MediaTrack> result;
  for (const StreamDescription& each : _streams) {
    const auto order = static_cast<std::uint32_t>(result.size() + 1);
    result.push_back(
        {_numbered ? *each.number : order, typeName(each.type), each.codec, _plays(each)});
  }
  return result;
}

std::vector<platform::MediaSelectionGroup> StreamCatalog::groups() const {
  std::vector<platform::MediaSelectionGroup> result;
  for (const std::string_view characteristic :
       {platform::kMediaCharacteristicVisual, platform::kMediaCharacteristicAudible,
        platform::kMediaCharacteristicLegible}) {
    platform::MediaSelectionGroup group;
    group.characteristic = characteristic;
    const GstStreamType type = *typeOf(group.characteristic);
    for (const StreamDescription& each : _streams) {
      if ((each.type & type) == 0) continue;
      if (_plays(each)) group.selected = group.options.size();
      std::string name = each.name;
      if (name.empty()) name = defaultNamePrefix(type) + std::to_string(group.options.size() + 1);
      group.options.push_back(
          {each.id, std::move(name), each.language, each.forced, each.characteristics});
    }
    // A single video stream is not offered as an option.
    const std::size_t least = type == GST_STREAM_TYPE_VIDEO ? 2 : 1;
    if (group.options.size() >= least) result.push_back(std::move(group));
  }
  return result;
}

std::optional<StreamCatalog::Choice> StreamCatalog::_choiceOf(
    const std::vector<const StreamDescription*>& playing) const {
  Choice choice;
  bool differs = false;
  const StreamDescription* otherText = nullptr;
  for (const StreamDescription& each : _streams) {
    const bool plays = std::find(playing.begin(), playing.end(), &each) != playing.end();
    const bool isText = (each.type & GST_STREAM_TYPE_TEXT) != 0;
    differs = differs || plays != _plays(each);
    if (plays) choice.streams.push_back(each.id);
    choice.showsText = choice.showsText || (isText && plays);
    if (isText && _isSelected(each)) otherText = &each;
  }
  if (!differs || choice.streams.empty()) return std::nullopt;
  if (!choice.showsText && otherText) choice.streams.push_back(otherText->id);
  return choice;
}

std::optional<StreamCatalog::Choice> StreamCatalog::withTrack(std::uint32_t trackID,
                                                              bool enabled) const {
  const auto ids = tracks();
  const auto track = std::find_if(ids.begin(), ids.end(),
                                  [&](const auto& each) { return each.trackID == trackID; });
  if (track == ids.end()) return std::nullopt;
  const StreamDescription& named = _streams[static_cast<std::size_t>(track - ids.begin())];
  std::vector<const StreamDescription*> playing;
  for (const StreamDescription& each : _streams) {
    // Only one stream of each kind plays.
    const bool replaced = enabled && each.type == named.type;
    if (&each == &named ? enabled : _plays(each) && !replaced) playing.push_back(&each);
  }
  return _choiceOf(playing);
}

std::optional<StreamCatalog::Choice> StreamCatalog::withOption(
    const std::string& characteristic, const std::optional<std::string>& identifier) const {
  const auto type = typeOf(characteristic);
  if (!type) return std::nullopt;
  std::vector<const StreamDescription*> playing;
  bool known = !identifier;
  for (const StreamDescription& each : _streams) {
    const bool inGroup = (each.type & *type) != 0;
    const bool named = inGroup && identifier && each.id == *identifier;
    known = known || named;
    if (inGroup ? named : _plays(each)) playing.push_back(&each);
  }
  if (*type == GST_STREAM_TYPE_AUDIO && known) {
    const auto ofType = [&](GstStreamType wanted) {
      return std::find_if(playing.begin(), playing.end(),
                          [&](const auto* each) { return (each->type & wanted) != 0; });
    };
    const auto text = ofType(GST_STREAM_TYPE_TEXT);
    const auto sound = ofType(GST_STREAM_TYPE_AUDIO);
    const StreamDescription* const forced = _forcedWith(sound == playing.end() ? nullptr : *sound);
    const bool follows = text == playing.end() || _textFollowsSound;
    if (text == playing.end())
      playing.push_back(forced);
    else if (follows)
      *text = forced;
    auto choice = _choiceOf(playing);
    if (choice) choice->textFollowsSound = follows;
    return choice;
  }
  return known ? _choiceOf(playing) : std::nullopt;
}

const StreamDescription* StreamCatalog::_forcedWith(const StreamDescription* sound) const {
  const auto text = std::find_if(_streams.begin(), _streams.end(), [&](const auto& each) {
    return (each.type & GST_STREAM_TYPE_TEXT) != 0 && each.forced && sound &&
           isSameLanguage(each.language, sound->language);
  });
  return text == _streams.end() ? nullptr : &*text;
}

const StreamDescription* StreamCatalog::_best(GstStreamType type,
                                              const std::vector<std::string>& languages) const {
  const StreamDescription* best = nullptr;
  std::tuple<bool, std::size_t, bool, bool> bestCost;
  for (const StreamDescription& each : _streams) {
    if ((each.type & type) == 0) continue;
    const auto language = std::find_if(languages.begin(), languages.end(), [&](const auto& tag) {
      return isSameLanguage(tag, each.language);
    });
    const std::tuple cost(isSpecial(each), static_cast<std::size_t>(language - languages.begin()),
                          !each.byDefault, has(each, platform::kMediaOptionAuxiliary));
    if (!best || cost < bestCost) {
      best = &each;
      bestCost = cost;
    }
  }
  return best;
}

std::optional<StreamCatalog::Choice> StreamCatalog::preferred(
    const std::vector<std::string>& languages) const {
  const StreamDescription* picture = _best(GST_STREAM_TYPE_VIDEO, {});
  const StreamDescription* sound = _best(GST_STREAM_TYPE_AUDIO, languages);
  const StreamDescription* text = _forcedWith(sound);
  // A single stream of its kind is selected by GStreamer.
  const auto hasSeveral = [&](GstStreamType type) {
    return std::count_if(_streams.begin(), _streams.end(),
                         [&](const auto& each) { return (each.type & type) != 0; }) > 1;
  };
  if (!text && !hasSeveral(GST_STREAM_TYPE_VIDEO) && !hasSeveral(GST_STREAM_TYPE_AUDIO))
    return std::nullopt;
  auto choice = _choiceOf({picture, sound, text});
  if (choice) choice->textFollowsSound = true;
  return choice;
}

bool StreamCatalog::knowsLanguages() const {
  const auto isSound = [](const auto& each) { return (each.type & GST_STREAM_TYPE_AUDIO) != 0; };
  if (_streams.empty()) return false;
  return std::count_if(_streams.begin(), _streams.end(), isSound) < 2 ||
         std::none_of(_streams.begin(), _streams.end(),
                      [&](const auto& each) { return isSound(each) && each.language.empty(); });
}

}  // namespace media
