#include "media/workarounds/Workarounds.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>

#include "media/support/GstRef.h"
#include "media/workarounds/AvdecH264Gaps.h"
#include "media/workarounds/Decodebin3EarlyEos.h"
#include "media/workarounds/Decodebin3EmptyStream.h"
#include "media/workarounds/DemuxerLostError.h"
#include "media/workarounds/FlvdemuxAccurateSeek.h"
#include "media/workarounds/QtdemuxEncryptedSeek.h"
#include "media/workarounds/QtdemuxGrowingDuration.h"
#include "media/workarounds/QtdemuxSampleEntries.h"
#include "media/workarounds/WorkaroundRules.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

// The versions that the workarounds were tested with: those of Debian 12 and of Debian 13.
constexpr VersionRange kGStreamer13{{1, 26, 2}, {1, 26, 2}};
/// These and all versions between. Only for workarounds that use nothing but public functions.
constexpr VersionRange kGStreamerBoth{{1, 22, 0}, {1, 26, 2}};

std::optional<LibraryVersion> versionOfPlugin(const char* name) {
  GstPlugin* const plugin = gst_registry_find_plugin(gst_registry_get(), name);
  if (!plugin) return std::nullopt;
  const auto version = libraryVersionOf(gst_plugin_get_version(plugin));
  gst_object_unref(plugin);
  return version;
}

std::string textOf(const LibraryVersion& version) {
  return std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
         std::to_string(version.micro);
}

}  // namespace

/// How a workaround is installed: the members that are not null.
struct Workarounds::Entry {
  WorkaroundRule rule;
  struct Hooks {
    void (*forProcess)() = nullptr;
    void (*forPipeline)(GstElement*) = nullptr;
    bool (*hasLostError)(GstElement*) = nullptr;
    bool (*losesMediaBySeeks)(GstElement*) = nullptr;
  } hooks;
};

const std::vector<Workarounds::Entry>& Workarounds::_entries() {
  static const std::vector<Entry> entries = {
      {{"AvdecH264Gaps", "libav", {kGStreamer13}}, {.forProcess = installAvdecH264Gaps}},
      {{"Decodebin3EarlyEos", "playback", {kGStreamerBoth}},
       {.forPipeline = installDecodebin3EarlyEos}},
      {{"Decodebin3EmptyStream", "playback", {kGStreamer13}},
       {.forPipeline = installDecodebin3EmptyStream}},
      {{"DemuxerLostError", "playback", {kGStreamerBoth}},
       {.hasLostError = hasDemuxerWithoutResult}},
      {{"FlvdemuxAccurateSeek", "flv", {kGStreamer13}},
       {.forPipeline = installFlvdemuxAccurateSeek}},
      {{"QtdemuxEncryptedSeek", "isomp4", {kGStreamerBoth}},
       {.losesMediaBySeeks = losesDecryptionBySeeks}},
      {{"QtdemuxGrowingDuration", "isomp4", {kGStreamerBoth}},
       {.forPipeline = installQtdemuxGrowingDuration}},
      {{"QtdemuxSampleEntries", "isomp4", {kGStreamerBoth}},
       {.forPipeline = installQtdemuxSampleEntries}},
  };
  return entries;
}

const Workarounds& Workarounds::shared() {
  static const Workarounds workarounds;
  return workarounds;
}

Workarounds::Workarounds() {
  std::vector<WorkaroundRule> rules;
  for (const Entry& entry : _entries()) rules.push_back(entry.rule);
  std::map<std::string, LibraryVersion> running;
  for (const WorkaroundRule& rule : rules)
    if (const auto version = versionOfPlugin(rule.component.c_str()))
      running[rule.component] = *version;

  const char* const setting = std::getenv("VORLANE_WORKAROUNDS");
  const WorkaroundChoice choice = chooseWorkarounds(rules, running, setting ? setting : "");
  for (const std::string& word : choice.unknownWords)
    TVSLogError(TVSSystemLog, "VORLANE_WORKAROUNDS has the unknown word \"%@\"", word);
  const WorkaroundChoice needed = chooseWorkarounds(rules, running, {});
  for (std::size_t index = 0; index < rules.size(); ++index)
    if (needed.isOn[index]) _needed.push_back(rules[index].name);
  std::string names;
  for (std::size_t index = 0; index < rules.size(); ++index) {
    if (!choice.isOn[index]) continue;
    _active.push_back(&_entries()[index]);
    names += (names.empty() ? ": " : ", ") + rules[index].name;
  }
  LibraryVersion gstreamer;
  guint nano = 0;
  gst_version(&gstreamer.major, &gstreamer.minor, &gstreamer.micro, &nano);
  _summary = "GStreamer " + textOf(gstreamer) + ": " + std::to_string(_active.size()) + " of " +
             std::to_string(rules.size()) + " workarounds" + names;
}

bool Workarounds::isOn(std::string_view name) const {
  return std::any_of(_active.begin(), _active.end(),
                     [&](const Entry* entry) { return entry->rule.name == name; });
}

bool Workarounds::isNeeded(std::string_view name) const {
  return std::find(_needed.begin(), _needed.end(), name) != _needed.end();
}

void Workarounds::installForProcess() const {
  static std::once_flag once;
  std::call_once(once, [this] {
    for (const Entry* entry : _active)
      if (entry->hooks.forProcess) entry->hooks.forProcess();
  });
}

void Workarounds::installForPipeline(GstElement* pipeline) const {
  for (const Entry* entry : _active)
    if (entry->hooks.forPipeline) entry->hooks.forPipeline(pipeline);
}

bool Workarounds::hasLostError(GstElement* pipeline) const {
  return std::any_of(_active.begin(), _active.end(), [&](const Entry* entry) {
    return entry->hooks.hasLostError && entry->hooks.hasLostError(pipeline);
  });
}

bool Workarounds::losesMediaBySeeks(GstElement* pipeline) const {
  return std::any_of(_active.begin(), _active.end(), [&](const Entry* entry) {
    return entry->hooks.losesMediaBySeeks && entry->hooks.losesMediaBySeeks(pipeline);
  });
}

}  // namespace media
