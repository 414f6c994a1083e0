#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gst/gst.h>

namespace media {

/// The workarounds for defects of the media libraries: the list, the versions that need them, and
/// which are active in this process. The table is in Workarounds.cpp; each workaround's header
/// describes the defect.
///
/// The versions at run time decide. The environment variable VORLANE_WORKAROUNDS overrides them for
/// tests and diagnosis; for its syntax see chooseWorkarounds().
///
/// Threads: any, after gst_init().
class Workarounds {
 public:
  /// The first call reads the versions and the environment.
  static const Workarounds& shared();

  bool isOn(std::string_view name) const;
  /// Returns whether the versions need it, regardless of the environment.
  bool isNeeded(std::string_view name) const;

  /// Call it once, before the first pipeline is created. Logs the active workarounds.
  void installForProcess() const;
  /// One line for the log: the version of GStreamer and the active workarounds.
  const std::string& summary() const { return _summary; }
  /// Call it before `pipeline` leaves the NULL state.
  void installForPipeline(GstElement* pipeline) const;
  /// Returns whether a demuxer in `pipeline` has failed without an error message.
  bool hasLostError(GstElement* pipeline) const;
  /// Returns whether a seek would make the media of `pipeline` unreadable.
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
