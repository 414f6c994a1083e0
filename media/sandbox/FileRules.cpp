#include "media/sandbox/FileRules.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace media {
namespace {

// Defined here because linux/landlock.h may be older than the running kernel.

constexpr std::uint64_t kExecute = 1u << 0;
constexpr std::uint64_t kWriteFile = 1u << 1;
constexpr std::uint64_t kReadFile = 1u << 2;
constexpr std::uint64_t kReadFolder = 1u << 3;
constexpr std::uint64_t kRemoveFolder = 1u << 4;
constexpr std::uint64_t kRemoveFile = 1u << 5;
constexpr std::uint64_t kMakeFolder = 1u << 7;
constexpr std::uint64_t kMakeFile = 1u << 8;
constexpr std::uint64_t kMoveBetweenFolders = 1u << 13;
constexpr std::uint64_t kTruncate = 1u << 14;
constexpr std::uint64_t kControlDevice = 1u << 15;
/// Access rights that apply to files other than folders.
constexpr std::uint64_t kFileAccess =
    kExecute | kWriteFile | kReadFile | kTruncate | kControlDevice;

constexpr std::uint64_t kBindTCP = 1u << 0;
constexpr std::uint64_t kAbstractSockets = 1u << 0;
constexpr std::uint64_t kSignals = 1u << 1;

struct RulesetAttributes {
  std::uint64_t files;
  std::uint64_t network;
  std::uint64_t scopes;
};

struct [[gnu::packed]] PathAttributes {
  std::uint64_t allowed;
  std::int32_t parent;
};

constexpr std::uint32_t kQueryVersion = 1;
constexpr int kPathRule = 1;

RulesetAttributes handledAccess(long version) {
  std::uint64_t files = kMoveBetweenFolders - 1;
  if (version >= 2) files |= kMoveBetweenFolders;
  if (version >= 3) files |= kTruncate;
  if (version >= 5) files |= kControlDevice;
  return {files, version >= 4 ? kBindTCP : 0, version >= 6 ? kAbstractSockets | kSignals : 0};
}

std::uint64_t accessOf(FileAccess use) {
  switch (use) {
    case FileAccess::List:
      return kReadFolder;
    case FileAccess::Read:
      return kReadFolder | kReadFile;
    case FileAccess::Device:
      return kReadFolder | kReadFile | kWriteFile | kControlDevice;
    case FileAccess::ReadWrite:
      return kReadFolder | kReadFile | kWriteFile | kControlDevice | kRemoveFolder | kRemoveFile |
             kMakeFolder | kMakeFile | kMoveBetweenFolders | kTruncate;
  }
  return 0;
}

void add(int ruleset, const FileRule& rule, std::uint64_t handled) {
  const int file = open(rule.path.c_str(), O_PATH | O_CLOEXEC);
  if (file < 0) return;
  struct stat status {};
  std::uint64_t access = accessOf(rule.use) & handled;
  if (fstat(file, &status) == 0 && !S_ISDIR(status.st_mode)) access &= kFileAccess;
  const PathAttributes attributes{access, file};
  if (access != 0) syscall(SYS_landlock_add_rule, ruleset, kPathRule, &attributes, 0);
  close(file);
}

}  // namespace

FileRulesResult restrictFiles(const std::vector<FileRule>& rules) {
  const auto failure = [](const char* what) {
    return FileRulesResult{0, std::string(what) + ": " + std::strerror(errno)};
  };
  const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, kQueryVersion);
  if (version < 1) return failure("no Landlock");
  const RulesetAttributes handled = handledAccess(version);
  // The kernel accepts a larger structure if the members it does not know are zero.
  const auto ruleset =
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &handled, sizeof handled, 0));
  if (ruleset < 0) return failure("no ruleset");
  for (const FileRule& rule : rules) add(ruleset, rule, handled.files);
  const bool isOn = syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
  FileRulesResult result =
      isOn ? FileRulesResult{static_cast<int>(version), {}} : failure("refused");
  close(ruleset);
  return result;
}

}  // namespace media
