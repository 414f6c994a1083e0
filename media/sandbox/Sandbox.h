#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace media {

struct AllowedFiles;
class ServiceSockets;

struct SandboxOptions {
  /// The only writable folder. Created if it is missing. Empty: none.
  std::string cacheFolder;
  /// Allow reading the files of users.
  bool allowFileURLs = false;
  /// Additional files and folders, for instance those of a vendor's decoder.
  std::vector<std::string> readable = {};
  /// The same for writing. Includes reading, ioctl, and connecting to sockets.
  std::vector<std::string> writable = {};

  /// How much memory may be allocated after entering the sandbox.
  std::uint64_t memoryBytes = std::uint64_t{2} << 30;
  /// Maximum size of a file and of a block of shared memory.
  std::uint64_t fileBytes = std::uint64_t{512} << 20;
  unsigned descriptors = 512;
};

/// Which restrictions are in effect.
struct SandboxReport {
  bool noNewPrivileges = false;
  bool capabilities = false;
  bool landlock = false;
  bool seccomp = false;
  /// Unix sockets can only connect to the sound server and the name resolver.
  bool sockets = false;
  bool limits = false;
  /// One line for the log: active and missing restrictions, and why they are missing.
  std::string text;
};

/// Restricts the process to what is needed to play media. It cannot be undone. Restrictions that
/// fail are reported; the others still take effect.
///
/// Workflow: create it at the beginning of main(), because it forks a helper process, which shares
/// all memory allocated before. Call enter() once, after gst_init() and before the first thread.
/// Existing threads keep their access to files and their capabilities; the report says so.
///
/// Side effects: the helper process connects to local services for this process and exits with it.
/// SIGXFSZ is ignored, so that writing above the size limit fails with EFBIG.
class Sandbox {
 public:
  explicit Sandbox(SandboxOptions options);
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  SandboxReport enter();

 private:
  const SandboxOptions _options;
  const std::unique_ptr<AllowedFiles> _allowed;
  const std::unique_ptr<ServiceSockets> _services;
};

}  // namespace media
