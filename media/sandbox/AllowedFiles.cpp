#include "media/sandbox/AllowedFiles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>

#include <unistd.h>

#include "media/sandbox/Sandbox.h"

namespace media {
namespace {

namespace fs = std::filesystem;

constexpr const char* kReadable[] = {
    // Libraries, plugins, fonts, certificates, configuration of the sound server.
    "/usr", "/lib", "/lib32", "/lib64", "/libx32", "/var/cache/fontconfig",
    "/var/lib/dbus/machine-id",
    // Name servers; the files change at run time.
    "/run/NetworkManager", "/run/connman", "/run/resolvconf", "/run/systemd/resolve",
    // This process, and information on processor and memory that libraries read.
    "/proc/self", "/proc/asound", "/proc/cpuinfo", "/proc/filesystems", "/proc/meminfo",
    "/proc/stat", "/proc/version", "/proc/sys/kernel/osrelease", "/proc/sys/vm/overcommit_memory",
    // Devices for graphics and sound, and processors.
    "/sys/bus", "/sys/class", "/sys/dev", "/sys/devices", "/run/udev/data", "/dev/random",
    "/dev/urandom"};

constexpr const char* kDevices[] = {"/dev/null", "/dev/zero", "/dev/full", "/dev/snd", "/dev/dri"};

/// Files in /etc, for root, who could read everything in it.
constexpr const char* kConfiguration[] = {
    "alsa",          "asound.conf", "ca-certificates", "ca-certificates.conf",
    "drirc",         "fonts",       "gai.conf",        "glvnd",
    "group",         "host.conf",   "hostname",        "hosts",
    "ld.so.cache",   "ld.so.conf",  "ld.so.conf.d",    "libva.conf",
    "localtime",     "machine-id",  "mime.types",      "networks",
    "nsswitch.conf", "OpenCL",      "os-release",      "passwd",
    "pipewire",      "protocols",   "pulse",           "resolv.conf",
    "services",      "ssl/certs",   "ssl/openssl.cnf", "timezone",
    "vulkan"};

/// Environment variables with files and folders, separated by colons.
constexpr const char* kReadableVariables[] = {
    "ALSA_CONFIG_DIR",        "ALSA_CONFIG_PATH",
    "ALSA_PLUGIN_DIR",        "CURL_CA_BUNDLE",
    "GST_PLUGIN_PATH",        "GST_PLUGIN_PATH_1_0",
    "GST_PLUGIN_SYSTEM_PATH", "GST_PLUGIN_SYSTEM_PATH_1_0",
    "GST_REGISTRY",           "GST_REGISTRY_1_0",
    "LD_LIBRARY_PATH",        "LIBGL_DRIVERS_PATH",
    "LIBVA_DRIVERS_PATH",     "OPENSSL_CONF",
    "PULSE_CLIENTCONFIG",     "PULSE_COOKIE",
    "PULSE_RUNTIME_PATH",     "SSL_CERT_DIR",
    "SSL_CERT_FILE"};

/// In the home folder: the user's configuration of the sound server, and plugins.
constexpr const char* kHomePaths[] = {".asoundrc",
                                      ".config/alsa",
                                      ".config/pipewire",
                                      ".config/pulse",
                                      ".local/share/gstreamer-1.0",
                                      ".cache/gstreamer-1.0"};

constexpr const char* kServices[] = {
    "/run/pulse/native",    "/var/run/pulse/native",    "/run/pipewire",
    "/run/systemd/resolve", "/run/avahi-daemon/socket", "/var/run/avahi-daemon/socket",
    "/run/nscd/socket",     "/var/run/nscd/socket"};

/// Top-level folders without media of users.
constexpr const char* kSystemFolders[] = {"/boot", "/dev", "/etc", "/proc", "/run", "/sys"};

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

template <typename Visit>
void forEachPath(std::string_view list, char separator, Visit visit) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(separator), list.size());
    if (list.front() == '/') visit(std::string(list.substr(0, end)));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
}

void addConfiguration(std::vector<FileRule>& rules) {
  // A rule applies to an inode. Some of these files are replaced at run time, above all
  // resolv.conf, so the whole folder is allowed unless the process runs as root.
  if (geteuid() != 0) return rules.push_back({"/etc", FileAccess::Read});
  for (const char* name : kConfiguration)
    rules.push_back({std::string("/etc/") + name, FileAccess::Read});
}

void addFilesOfUsers(std::vector<FileRule>& rules) {
  std::error_code error;
  for (fs::directory_iterator each("/", error), end; !error && each != end; each.increment(error)) {
    const std::string path = each->path();
    if (std::find(std::begin(kSystemFolders), std::end(kSystemFolders), path) ==
        std::end(kSystemFolders))
      rules.push_back({path, FileAccess::Read});
  }
  // Mount points of removable drives.
  rules.push_back({"/run/media", FileAccess::Read});
}

void addSoundServers(AllowedFiles& allowed) {
  std::string runtime = variable("XDG_RUNTIME_DIR");
  if (runtime.empty()) runtime = "/run/user/" + std::to_string(geteuid());
  // The client library opens the folder of the server, which may not exist yet.
  allowed.rules.push_back({runtime, FileAccess::List});
  allowed.sockets.push_back(runtime + "/pulse/native");
  allowed.sockets.push_back(runtime + "/pipewire-0");
  if (const std::string own = variable("PULSE_RUNTIME_PATH"); !own.empty())
    allowed.sockets.push_back(own + "/native");
  if (const std::string own = variable("PIPEWIRE_RUNTIME_DIR"); !own.empty())
    allowed.sockets.push_back(own + "/pipewire-0");
  // A list of servers in the syntax of PulseAudio.
  const std::string servers = variable("PULSE_SERVER");
  forEachPath(servers, ' ', [&](std::string path) { allowed.sockets.push_back(std::move(path)); });
  constexpr std::string_view kUnix = "unix:";
  for (std::size_t at = servers.find(kUnix); at != std::string::npos;
       at = servers.find(kUnix, at + 1))
    allowed.sockets.push_back(
        servers.substr(at + kUnix.size(), servers.find(' ', at) - at - kUnix.size()));
}

}  // namespace

AllowedFiles allowedFiles(const SandboxOptions& options) {
  AllowedFiles allowed;
  std::vector<FileRule>& rules = allowed.rules;
  for (const char* path : kReadable) rules.push_back({path, FileAccess::Read});
  for (const char* path : kDevices) rules.push_back({path, FileAccess::Device});
  addConfiguration(rules);
  for (const char* name : kReadableVariables)
    forEachPath(variable(name), ':', [&](std::string path) {
      rules.push_back({std::move(path), FileAccess::Read});
    });
  if (const std::string home = variable("HOME"); !home.empty())
    for (const char* path : kHomePaths) rules.push_back({home + "/" + path, FileAccess::Read});
  if (options.allowFileURLs) addFilesOfUsers(rules);
  for (const std::string& path : options.readable) rules.push_back({path, FileAccess::Read});
  for (const std::string& path : options.writable) {
    rules.push_back({path, FileAccess::ReadWrite});
    allowed.sockets.push_back(path);
  }
  if (!options.cacheFolder.empty()) rules.push_back({options.cacheFolder, FileAccess::ReadWrite});
  for (const char* path : kServices) allowed.sockets.emplace_back(path);
  addSoundServers(allowed);
  return allowed;
}

}  // namespace media
