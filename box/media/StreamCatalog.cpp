#include "box/media/StreamCatalog.h"

#include <algorithm>

#include "box/media/GstRef.h"

namespace box {
namespace {

std::string tagText(const GstTagList* tags, const char* name) {
  gchar* text = nullptr;
  if (!tags || !gst_tag_list_get_string(tags, name, &text)) return {};
  const GstRef<gchar> owned(text);
  return text;
}

const char* typeName(GstStreamType type) {
  if (type & GST_STREAM_TYPE_VIDEO) return "video";
  if (type & GST_STREAM_TYPE_AUDIO) return "audio";
  return "text";
}

std::optional<GstStreamType> typeOf(const std::string& characteristic) {
  if (characteristic == platform::kMediaCharacteristicAudible) return GST_STREAM_TYPE_AUDIO;
  if (characteristic == platform::kMediaCharacteristicLegible) return GST_STREAM_TYPE_TEXT;
  return std::nullopt;
}

}  // namespace

StreamCatalog::Stream StreamCatalog::_describe(GstStream* stream) {
  Stream result;
  result.id = gst_stream_get_stream_id(stream);
  result.type = gst_stream_get_stream_type(stream);
  if (const GstRef<GstTagList> tags{gst_stream_get_tags(stream)}) {
    result.title = tagText(tags.get(), GST_TAG_TITLE);
    result.language = tagText(tags.get(), GST_TAG_LANGUAGE_CODE);
    if (result.language == "und") result.language.clear();
    result.codec = tagText(tags.get(), GST_TAG_CODEC);
    for (const char* name : {GST_TAG_VIDEO_CODEC, GST_TAG_AUDIO_CODEC, GST_TAG_SUBTITLE_CODEC})
      if (result.codec.empty()) result.codec = tagText(tags.get(), name);
  }
  if (result.codec.empty()) {
    const GstRef<GstCaps> caps(gst_stream_get_caps(stream));
    if (caps && gst_caps_get_size(caps.get()) > 0)
      result.codec = gst_structure_get_name(gst_caps_get_structure(caps.get(), 0));
  }
  return result;
}

bool StreamCatalog::update(GstStreamCollection* collection) {
  constexpr int kPlayable = GST_STREAM_TYPE_VIDEO | GST_STREAM_TYPE_AUDIO | GST_STREAM_TYPE_TEXT;
  std::vector<Stream> streams;
  for (guint index = 0; index < gst_stream_collection_get_size(collection); ++index) {
    GstStream* stream = gst_stream_collection_get_stream(collection, index);
    if (gst_stream_get_stream_type(stream) & kPlayable) streams.push_back(_describe(stream));
  }
  if (streams == _streams) return false;
  const bool sameSelection = std::any_of(streams.begin(), streams.end(),
                                         [&](const Stream& each) { return _isSelected(each); });
  _streams = std::move(streams);
  if (!sameSelection) {
    // What plays until the library says otherwise: the first of each kind, and no text.
    _selection.clear();
    for (const GstStreamType type : {GST_STREAM_TYPE_VIDEO, GST_STREAM_TYPE_AUDIO})
      for (const Stream& each : _streams)
        if ((each.type & type) != 0) {
          _selection.push_back(each.id);
          break;
        }
  }
  return true;
}

bool StreamCatalog::updateSelection(GstMessage* message) {
  Selection selection;
  for (guint index = 0; index < gst_message_streams_selected_get_size(message); ++index) {
    GstStream* stream = gst_message_streams_selected_get_stream(message, index);
    selection.emplace_back(gst_stream_get_stream_id(stream));
    gst_object_unref(stream);
  }
  if (selection == _selection) return false;
  _selection = std::move(selection);
  return true;
}

bool StreamCatalog::_isSelected(const Stream& stream) const {
  return std::find(_selection.begin(), _selection.end(), stream.id) != _selection.end();
}

bool StreamCatalog::plays(GstStreamType type) const {
  return std::any_of(_streams.begin(), _streams.end(), [&](const Stream& each) {
    return (each.type & type) != 0 && _isSelected(each);
  });
}

std::vector<platform::MediaTrack> StreamCatalog::tracks() const {
  std::vector<platform::MediaTrack> result;
  for (const Stream& each : _streams)
    result.push_back({static_cast<std::uint32_t>(result.size() + 1), typeName(each.type),
                      each.codec, _isSelected(each)});
  return result;
}

std::vector<platform::MediaSelectionGroup> StreamCatalog::groups() const {
  std::vector<platform::MediaSelectionGroup> result;
  for (const std::string_view characteristic :
       {platform::kMediaCharacteristicAudible, platform::kMediaCharacteristicLegible}) {
    platform::MediaSelectionGroup group;
    group.characteristic = characteristic;
    const GstStreamType type = *typeOf(group.characteristic);
    for (const Stream& each : _streams) {
      if ((each.type & type) == 0) continue;
      if (_isSelected(each)) group.selected = group.options.size();
      std::string name = !each.title.empty() ? each.title : each.language;
      if (name.empty())
        name = (type == GST_STREAM_TYPE_AUDIO ? "Audio " : "Subtitles ") +
               std::to_string(group.options.size() + 1);
      group.options.push_back({each.id, std::move(name), each.language});
    }
    if (!group.options.empty()) result.push_back(std::move(group));
  }
  return result;
}

std::optional<StreamCatalog::Selection> StreamCatalog::_changed(Selection selection) const {
  if (selection.empty() || selection == _selection) return std::nullopt;
  return selection;
}

std::optional<StreamCatalog::Selection> StreamCatalog::withTrack(std::uint32_t trackID,
                                                                 bool enabled) const {
  if (trackID == 0 || trackID > _streams.size()) return std::nullopt;
  const Stream& named = _streams[trackID - 1];
  Selection selection;
  for (const Stream& each : _streams) {
    // One of a kind plays at a time.
    const bool replaced = enabled && each.type == named.type;
    const bool plays = &each == &named ? enabled : _isSelected(each) && !replaced;
    if (plays) selection.push_back(each.id);
  }
  if (_isSelected(named) == enabled) return std::nullopt;
  return _changed(std::move(selection));
}

std::optional<StreamCatalog::Selection> StreamCatalog::withOption(
    const std::string& characteristic, const std::optional<std::string>& identifier) const {
  const auto type = typeOf(characteristic);
  if (!type) return std::nullopt;
  Selection selection;
  bool known = !identifier;
  bool differs = false;
  for (const Stream& each : _streams) {
    const bool inGroup = (each.type & *type) != 0;
    const bool named = inGroup && identifier && each.id == *identifier;
    known = known || named;
    const bool plays = inGroup ? named : _isSelected(each);
    differs = differs || plays != _isSelected(each);
    if (plays) selection.push_back(each.id);
  }
  if (!known || !differs) return std::nullopt;
  return _changed(std::move(selection));
}

}  // namespace box
