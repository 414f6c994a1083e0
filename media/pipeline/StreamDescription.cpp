#include "media/pipeline/StreamDescription.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

#include <gst/tag/tag.h>

#include "media/support/GstRef.h"
#include "platform/media/MediaSelection.h"

namespace media {
namespace {

std::string tagText(const GstTagList* tags, const char* name) {
  gchar* text = nullptr;
  if (!tags || !gst_tag_list_get_string(tags, name, &text)) return {};
  const GstRef<gchar> owned(text);
  return text;
}

std::string languageOf(const GstTagList* tags) {
  const std::string code = languageTagOf(tagText(tags, GST_TAG_LANGUAGE_CODE));
  // GStreamer reports tags with a region as a language name.
  return !code.empty() ? code : languageTagOf(tagText(tags, GST_TAG_LANGUAGE_NAME));
}

std::string codecOf(GstStream* stream, const GstTagList* tags) {
  for (const char* name :
       {GST_TAG_CODEC, GST_TAG_VIDEO_CODEC, GST_TAG_AUDIO_CODEC, GST_TAG_SUBTITLE_CODEC})
    if (std::string text = tagText(tags, name); !text.empty()) return text;
  const GstRef<GstCaps> caps(gst_stream_get_caps(stream));
  if (!caps || gst_caps_is_empty(caps.get()) || gst_caps_is_any(caps.get())) return {};
  return gst_structure_get_name(gst_caps_get_structure(caps.get(), 0));
}

std::string nameOfLanguage(const std::string& language) {
  if (language.empty()) return {};
  const gchar* name = gst_tag_get_language_name(language.substr(0, language.find('-')).c_str());
  return name ? name : language;
}

std::string nameOf(const GstTagList* tags, const std::string& language) {
  if (std::string title = tagText(tags, GST_TAG_TITLE); !title.empty()) return title;
  return nameOfLanguage(language);
}

/// Returns the codec without its profile parameters, such as "avc1".
std::string codecOfTrack(const streaming::Track& track) {
  for (const auto& each : track.representations)
    if (!each->codecs.empty())
      return each->codecs.front().substr(0, each->codecs.front().find('.'));
  return track.representations.empty() ? std::string() : track.representations.front()->mimeType;
}

bool isAlphanumeric(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](unsigned char each) { return std::isalnum(each) || each == '-'; });
}

}  // namespace

std::optional<std::uint32_t> numberOfStreamID(const std::string& id) {
  const std::size_t slash = id.rfind('/');
  if (slash == std::string::npos) return std::nullopt;
  const std::size_t begin = slash + 1;
  const std::size_t end = std::min(id.find(':', begin), id.size());
  // PIDs of transport streams have eight hexadecimal digits, track numbers are decimal.
  const int base = end - begin == 8 ? 16 : 10;
  std::uint32_t number = 0;
  const auto [rest, failure] = std::from_chars(id.data() + begin, id.data() + end, number, base);
  if (failure != std::errc() || rest != id.data() + end || number == 0) return std::nullopt;
  return number;
}

std::string languageTagOf(const std::string& code) {
  std::string tag = code.substr(0, code.find_first_of(".@"));
  std::replace(tag.begin(), tag.end(), '_', '-');
  const std::size_t dash = std::min(tag.find('-'), tag.size());
  if (dash < 2 || dash > 3 || !isAlphanumeric(tag)) return {};
  std::string language = tag.substr(0, dash);
  std::transform(language.begin(), language.end(), language.begin(),
                 [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
  for (const std::string_view none : {"und", "zxx", "mul", "mis"})
    if (language == none) return {};
  if (const gchar* shorter = gst_tag_get_language_code_iso_639_1(language.c_str()))
    language = shorter;
  return language + tag.substr(dash);
}

bool isSameLanguage(const std::string& tag, const std::string& other) {
  const std::string_view language = std::string_view(tag).substr(0, tag.find('-'));
  return !language.empty() && language == std::string_view(other).substr(0, other.find('-'));
}

void addCharacteristicsOfName(StreamDescription& stream) {
  std::string words = " ";
  for (const char each : stream.name) {
    const auto byte = static_cast<unsigned char>(each);
    words += std::isalnum(byte) ? static_cast<char>(std::tolower(byte)) : ' ';
  }
  words += ' ';
  const auto hasAnyOf = [&](std::initializer_list<std::string_view> phrases) {
    return std::any_of(phrases.begin(), phrases.end(), [&](std::string_view phrase) {
      return words.find(' ' + std::string(phrase) + ' ') != std::string::npos;
    });
  };
  const auto add = [&](std::string_view characteristic) {
    stream.characteristics.emplace_back(characteristic);
  };
  if (stream.type & GST_STREAM_TYPE_TEXT) {
    if (hasAnyOf({"forced"})) stream.forced = true;
    if (hasAnyOf({"sdh", "cc", "hearing impaired", "hard of hearing"}))
      add(platform::kMediaOptionHardOfHearing);
  } else if (hasAnyOf({"audio description", "descriptive", "described", "ad"})) {
    add(platform::kMediaOptionDescribesVideo);
  }
  if (hasAnyOf({"commentary"})) add(platform::kMediaOptionCommentary);
}

StreamDescription describeTrack(const streaming::Track& track) {
  StreamDescription result;
  result.id = track.id;
  result.type = track.kind == streaming::MediaKind::Video   ? GST_STREAM_TYPE_VIDEO
                : track.kind == streaming::MediaKind::Audio ? GST_STREAM_TYPE_AUDIO
                                                            : GST_STREAM_TYPE_TEXT;
  result.language = languageTagOf(track.language);
  result.name = track.name.empty() ? nameOfLanguage(result.language) : track.name;
  result.codec = codecOfTrack(track);
  result.forced = track.isForced;
  result.byDefault = track.isDefault;
  if (track.isDefault) result.characteristics.emplace_back(platform::kMediaOptionDefault);
  for (const std::string& each : track.characteristics)
    if (std::find(result.characteristics.begin(), result.characteristics.end(), each) ==
        result.characteristics.end())
      result.characteristics.push_back(each);
  return result;
}

StreamDescription describeStream(GstStream* stream) {
  StreamDescription result;
  result.id = gst_stream_get_stream_id(stream);
  result.type = gst_stream_get_stream_type(stream);
  result.number = numberOfStreamID(result.id);
  const GstRef<GstTagList> tags(gst_stream_get_tags(stream));
  result.language = languageOf(tags.get());
  result.name = nameOf(tags.get(), result.language);
  result.codec = codecOf(stream, tags.get());
  const GstStreamFlags flags = gst_stream_get_stream_flags(stream);
  result.byDefault = (flags & GST_STREAM_FLAG_SELECT) != 0;
  if (result.byDefault) result.characteristics.emplace_back(platform::kMediaOptionDefault);
  if (flags & GST_STREAM_FLAG_UNSELECT)
    result.characteristics.emplace_back(platform::kMediaOptionAuxiliary);
  addCharacteristicsOfName(result);
  return result;
}

}  // namespace media
