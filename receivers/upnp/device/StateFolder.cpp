#include "receivers/upnp/device/StateFolder.h"

#include <glib.h>

#include "receivers/upnp/device/Didl.h"
#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/device/Log.h"

namespace upnp {

namespace {

struct KeyFileFree {
  void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

constexpr const char* kCurrentGroup = "current";
constexpr const char* kNextGroup = "next";
constexpr const char* kVolumeGroup = "volume";

std::string defaultFolder() {
  // systemd sets it, with several folders separated by colons.
  if (const char* const folder = g_getenv("STATE_DIRECTORY")) {
    const std::string folders(folder);
    return folders.substr(0, folders.find(':'));
  }
  return std::string(g_get_user_state_dir()) + "/tvvorlane-upnp";
}

/// Readable by this user only, because URIs may have passwords.
bool write(const std::string& path, const std::string& contents) {
  constexpr int kMode = 0600;
  GError* error = nullptr;
  g_file_set_contents_full(path.c_str(), contents.c_str(), static_cast<gssize>(contents.size()),
                           G_FILE_SET_CONTENTS_CONSISTENT, kMode, &error);
  const OwnedError owned(error);
  if (error) log("Cannot write " + path + ": " + error->message);
  return !error;
}

void write(const std::string& path, GKeyFile* file) {
  write(path, textOf(OwnedText(g_key_file_to_data(file, nullptr, nullptr)).get()));
}

std::string valueOf(GKeyFile* file, const char* group, const char* key) {
  return textOf(OwnedText(g_key_file_get_string(file, group, key, nullptr)).get());
}

std::optional<Track> readTrack(GKeyFile* file, const char* group) {
  const std::string uri = valueOf(file, group, "uri");
  const std::string uuid = valueOf(file, group, "uuid");
  if (uri.empty() || uuid.empty()) return std::nullopt;
  auto item = readItem(uri, valueOf(file, group, "metadata"));
  if (!item) return std::nullopt;
  return Track{*std::move(item), uuid};
}

void writeTrack(GKeyFile* file, const char* group, const std::optional<Track>& track) {
  if (!track) return;
  g_key_file_set_string(file, group, "uuid", track->uuid.c_str());
  g_key_file_set_string(file, group, "uri", track->item.uri.c_str());
  g_key_file_set_string(file, group, "metadata", track->item.metadata.c_str());
}

}  // namespace

StateFolder::StateFolder(const std::string& path) : _path(path.empty() ? defaultFolder() : path) {
  constexpr int kPrivate = 0700;
  if (g_mkdir_with_parents(_path.c_str(), kPrivate) != 0) log("Cannot make the folder " + _path);
}

std::string StateFolder::deviceUuid() const {
  const std::string path = _path + "/uuid";
  char* contents = nullptr;
  gsize size = 0;
  if (g_file_get_contents(path.c_str(), &contents, &size, nullptr)) {
    const OwnedText text(g_strstrip(contents));
    if (g_uuid_string_is_valid(text.get())) return text.get();
  }
  const OwnedText uuid(g_uuid_string_random());
  if (!write(path, uuid.get())) log("Controllers see a new device after each start");
  return uuid.get();
}

Snapshot StateFolder::load() const {
  const KeyFile file(g_key_file_new());
  const std::string path = _path + "/playing";
  if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr)) return {};
  Snapshot snapshot;
  snapshot.session = static_cast<std::uint32_t>(
      g_key_file_get_uint64(file.get(), kCurrentGroup, "session", nullptr));
  snapshot.current = readTrack(file.get(), kCurrentGroup);
  snapshot.next = readTrack(file.get(), kNextGroup);
  return snapshot;
}

void StateFolder::save(const Snapshot& snapshot) const {
  const KeyFile file(g_key_file_new());
  if (snapshot.session) {
    g_key_file_set_uint64(file.get(), kCurrentGroup, "session", snapshot.session);
    writeTrack(file.get(), kCurrentGroup, snapshot.current);
    writeTrack(file.get(), kNextGroup, snapshot.next);
  }
  write(_path + "/playing", file.get());
}

void StateFolder::loadVolume(Rendering& rendering) const {
  const KeyFile file(g_key_file_new());
  const std::string path = _path + "/volume";
  if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr)) return;
  rendering.restore(g_key_file_get_integer(file.get(), kVolumeGroup, "volume", nullptr),
                    g_key_file_get_boolean(file.get(), kVolumeGroup, "muted", nullptr) != FALSE);
}

void StateFolder::saveVolume(const Rendering& rendering) const {
  const KeyFile file(g_key_file_new());
  g_key_file_set_integer(file.get(), kVolumeGroup, "volume", rendering.volume());
  g_key_file_set_boolean(file.get(), kVolumeGroup, "muted", rendering.isMuted() ? TRUE : FALSE);
  write(_path + "/volume", file.get());
}

}  // namespace upnp
