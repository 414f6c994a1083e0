#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gst/gst.h>

namespace media {

/// The workarounds for faults of the media libraries: which there are, which versions need them,
/// and which are on in this process. The table is in Workarounds.cpp; the header of each workaround
/// describes its fault.
///
/// The versions of the libraries that run, not of those that were compiled against, decide. The
/// environment variable VORLANE_WORKAROUNDS overrides them for tests and diagnosis; its form is
/// that of chooseWorkarounds().
///
/// Threads: any, after gst_init().
class Workarounds {
 public:
  /// Reads versions and environment at the first call.
  static const Workarounds& shared();

  bool isOn(std::string_view name) const;
  /// Whether the running versions need it, whatever the environment says.
  bool isNeeded(std::string_view name) const;

  /// Once, before the first pipeline is made. Logs one line that names the workarounds that are on.
  void installForProcess() const;
  /// One line for the log: the library's version, and which of the workarounds are on.
  const std::string& summary() const { return _summary; }
  /// Before `pipeline` leaves the state NULL.
  void installForPipeline(GstElement* pipeline) const;
  /// Whether a demuxer in `pipeline` has given up without an error message.
  bool hasLostError(GstElement* pipeline) const;
  /// Whether a seek in `pipeline` would make its media unreadable.
  bool losesMediaBySeeks(GstElement* pipeline) const;

 private:
  struct Entry;

  Workarounds();
  static const std::vector<Entry>& _entries();

  std::vector<const Entry*> _active;
  std::vector<std::string> _needed;
  std::string _summary;
};

}  // namespace media
