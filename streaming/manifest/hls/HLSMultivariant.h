#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/hls/HLSLines.h"

namespace streaming {

/// Parses a multivariant playlist, tag by tag.
class HLSMultivariant {
 public:
  explicit HLSMultivariant(const ManifestOrigin& origin) : _origin(origin) {}

  void addTag(std::string_view name, std::string_view value);
  void addURI(std::string_view reference);

  bool isMultivariant() const { return _isMultivariant; }
  /// Call after the last line. Null: there is no variant.
  std::shared_ptr<const Presentation> finish();

 private:
  struct Rendition {
    std::string type;  // such as "AUDIO"
    std::string group;
    std::string url;  // empty: muxed into the variants
    std::string channels;
    Track track;
  };
  using Variants = std::vector<std::shared_ptr<Representation>>;

  std::optional<std::string> _resolved(std::string_view reference) const;
  void _addRendition(const HLSAttributes& attributes);
  std::shared_ptr<Representation> _variant(const HLSAttributes& attributes) const;
  void _keep(std::shared_ptr<Representation> variant);
  bool _hasMuxedAudio(const Representation& variant) const;
  void _addVideo(std::vector<Track>& tracks);
  void _addAudio(std::vector<Track>& tracks) const;
  void _addRenditions(std::string_view type, MediaKind kind, std::vector<Track>& tracks) const;
  void _addMuxedRendition(const Rendition& rendition, Track& track, bool hasVideo) const;
  /// Returns whether a variant refers to the group of the rendition.
  bool _isUsed(const Rendition& rendition) const;
  TextFormat _textFormat(const std::string& group) const;
  std::vector<std::string> _audioCodecs(const std::string& group) const;

  const ManifestOrigin& _origin;
  bool _isMultivariant = false;
  std::shared_ptr<Representation> _next;  // waits for its URI
  Variants _variants;
  std::vector<Rendition> _renditions;
  std::optional<double> _startOffset;
};

}  // namespace streaming
