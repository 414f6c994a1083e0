#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/DASHSegmentInfo.h"
#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// Reads the elements of one MPD into a presentation.
class DASHManifest {
 public:
  DASHManifest(pugi::xml_node root, const ManifestOrigin& origin) : _root(root), _origin(origin) {}
  /// Null: there is no period with something to play.
  std::shared_ptr<const Presentation> read();

 private:
  struct PeriodContext {
    double start = 0;
    std::optional<double> duration;
    std::size_t index = 0;
    DASHSegmentInfo info;
    std::vector<std::string> bases;
  };

  void _readHead(Presentation& presentation);
  void _readPeriods(Presentation& presentation);
  void _readSet(pugi::xml_node set, const PeriodContext& period, std::size_t number,
                std::vector<Track>& tracks);
  std::shared_ptr<Representation> _representation(pugi::xml_node set, pugi::xml_node node,
                                                  const PeriodContext& period,
                                                  const DASHSegmentInfo& setInfo,
                                                  const std::vector<std::string>& setBases,
                                                  const std::string& trackID) const;
  void _locate(const DASHSegmentInfo& info, const std::vector<std::string>& bases,
               const PeriodContext& period, std::string_view identifier,
               std::shared_ptr<const SegmentKey> key, Representation& representation) const;
  std::shared_ptr<const Initialization> _initialization(const DASHSegmentInfo& info,
                                                        const std::vector<std::string>& bases,
                                                        std::string_view identifier,
                                                        std::uint64_t bandwidth) const;
  static void _addSoundWithin(std::vector<Track>& tracks);

  const pugi::xml_node _root;
  const ManifestOrigin& _origin;
  bool _isLive = false;
  std::optional<platform::Date> _availabilityStart;
  std::optional<double> _timeShiftDepth;
};

}  // namespace streaming
