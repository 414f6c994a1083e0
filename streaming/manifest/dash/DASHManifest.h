#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/DASHSegmentInfo.h"

namespace streaming {

/// Parses an MPD into a presentation. The numbers of elements and the length of inherited URLs are
/// limited.
class DASHManifest {
 public:
  DASHManifest(pugi::xml_node root, const ManifestOrigin& origin);
  /// Null: no period is playable.
  std::shared_ptr<Presentation> read();

 private:
  struct PeriodContext {
    double start = 0;
    std::optional<double> duration;
    std::uint64_t discontinuity = 0;
    std::string prefix;  // of representation IDs
    DASHSegmentInfo info;
    std::vector<std::string> bases;
  };
  struct SetContext {
    pugi::xml_node node;
    std::string id;
    DASHSegmentInfo info;
    std::vector<std::string> bases;
    std::vector<Protection> protections;
    // Cached, to avoid a search through the children for each representation.
    std::vector<pugi::xml_node> protectionNodes;
    std::optional<MediaKind> componentKind;
    bool hasUnknownEncryption = false;
  };
  struct ParsedSet {
    Track track;
    std::vector<Track> captions;  // CEA-608 in the video
    std::string id;
    std::vector<std::string>
        linkedSets;  // IDs of sets to switch to, or of the set whose key frames these are
    bool isKeyFramesOnly = false;
  };

  void _readHead(Presentation& presentation);
  void _readReload(Presentation& presentation);
  void _readClocks(Presentation& presentation) const;
  std::vector<pugi::xml_node> _periodNodes() const;
  void _readPeriods(Presentation& presentation);
  void _readPeriod(pugi::xml_node node, PeriodContext context,
                   const std::vector<std::string>& bases, Presentation& presentation);
  std::string _reference(std::string_view reference) const;

  std::vector<Track> _readTracks(pugi::xml_node period, const PeriodContext& context);
  std::optional<ParsedSet> _readSet(pugi::xml_node node, const PeriodContext& period,
                                    std::size_t number);
  void _readRepresentations(const SetContext& set, const PeriodContext& period, ParsedSet& read);

  std::shared_ptr<Representation> _representation(const SetContext& set, pugi::xml_node node,
                                                  const PeriodContext& period);
  std::string _uniqueID(std::string id);
  std::optional<IndexedFile> _indexedFile(const DASHSegmentInfo& info,
                                          const std::vector<std::string>& bases,
                                          const PeriodContext& period, std::string_view identifier,
                                          const Representation& representation) const;
  void _setSegmentSource(const DASHSegmentInfo& info, std::vector<std::string> bases,
                         const PeriodContext& period, std::string_view identifier,
                         std::shared_ptr<const std::vector<SegmentKeyPeriod>> keys,
                         Representation& representation);
  bool _isComplete(const SegmentTiming& timing, const DASHSegmentInfo& info,
                   const PeriodContext& period) const;
  std::shared_ptr<const Initialization> _initialization(const DASHSegmentInfo& info,
                                                        const std::vector<std::string>& bases,
                                                        std::string_view identifier,
                                                        std::uint64_t bandwidth) const;

  const pugi::xml_node _root;
  const ManifestOrigin& _origin;
  const std::shared_ptr<const std::string> _queryFrom;  // null: queries are not inherited
  bool _isLive = false;
  bool _isReloaded = false;
  std::optional<platform::Date> _availabilityStart;
  std::optional<double> _timeShiftDepth;
  double _longestSegment = 0;
  std::map<std::string, unsigned, std::less<>> _identifiers;  // IDs of representations
  std::size_t _urlBudget;  // bytes of URLs that may still be stored
};

}  // namespace streaming
