#pragma once

#include <string>

#include "receivers/upnp/model/Transport.h"

namespace upnp {

/// The files that outlive the program: the UUID of the device, what plays, and the volume.
class StateFolder {
 public:
  /// An empty `path` is $STATE_DIRECTORY, else tvvorlane-upnp in the user's state folder.
  explicit StateFolder(const std::string& path = {});

  const std::string& path() const { return _path; }
  /// Made at the first call. If it cannot be written, the device has a new one after each start.
  std::string deviceUuid() const;
  Snapshot load() const;
  void save(const Snapshot& snapshot) const;
  void loadVolume(Rendering& rendering) const;
  void saveVolume(const Rendering& rendering) const;

 private:
  std::string _path;
};

}  // namespace upnp
