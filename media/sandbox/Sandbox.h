#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace media {

struct AllowedFiles;
class ServiceSockets;

struct SandboxOptions {
  /// The only folder that is written to. It is created if it is missing. Empty: none.
  std::string cacheFolder;
  /// Whether the files of users may be read.
  bool allowFileURLs = false;
  /// Files and folders beside the built-in ones, for instance those of a vendor's decoder.
  std::vector<std::string> readable = {};
  /// The same for writing. Includes reading, the controls of devices, and connecting to sockets.
  std::vector<std::string> writable = {};

  /// What may be allocated in addition to what the process has when it enters the sandbox.
  std::uint64_t memoryBytes = std::uint64_t{2} << 30;
  /// The size of one file, and of one block of shared memory.
  std::uint64_t fileBytes = std::uint64_t{512} << 20;
  unsigned descriptors = 512;
};

/// What is in effect.
struct SandboxReport {
  bool noNewPrivileges = false;
  bool capabilities = false;
  bool landlock = false;
  bool seccomp = false;
  /// Whether Unix sockets are limited to the services of sound and name resolution.
  bool sockets = false;
  bool limits = false;
  /// One line for the log: what is in effect, what is not, and why.
  std::string text;
};

/// Takes from the process what playing media does not need. It cannot be undone. What fails is
/// reported, and the rest still takes effect.
///
/// Workflow: made at the beginning of main(), because it starts a helper process that is a copy of
/// this one and keeps what the copy holds in memory; enter() once, after gst_init() and before the
/// first thread. A thread that exists already keeps its access to files and its capabilities, and
/// the report says so.
///
/// Side effects: the helper process connects to local services on behalf of this one, and ends with
/// it. SIGXFSZ is ignored, so that a write over the limit fails with EFBIG.
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
