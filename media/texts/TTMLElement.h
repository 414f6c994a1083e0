#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "media/texts/CueList.h"
#include "media/texts/TTMLContent.h"
#include "media/texts/TTMLStyle.h"
#include "media/texts/TTMLTimedStyle.h"

namespace media {

/// An element of a TTML document that is open.
struct TTMLElement {
  std::string name;
  double begin = 0;
  double end = HUGE_VAL;
  std::string region;
  std::string identifier;
  TTMLTimedStyle own;
  bool preservesSpace = false;
  bool isSequence = false;
  double sequenceEnd = 0;  ///< of the last child
};

struct TTMLRegion {
  TTMLTimedStyle own;
  double begin = 0;
  double end = HUGE_VAL;
};

/// Limits the work for a document, because each paragraph depends on all changes around it.
struct TTMLWork {
  std::uint64_t left = 400'000'000;  ///< about a nanosecond each
  /// Returns false if the limit is exceeded.
  bool take(std::uint64_t cost);
};

/// An element, and what its place and its looks depend on.
struct TTMLPlace {
  const TTMLElement& element;
  std::span<const TTMLElement> outer;  ///< the elements around it, the outermost first
  const TTMLRegion* region;            ///< may be null
  const TTMLRoot& root;

  /// Returns the times between which the element and its region are active.
  std::pair<double, double> times() const;
  bool isDisplayedAt(double time) const;
  /// Returns the box of the element: its own, that of an outer element, or that of its region.
  std::optional<TTMLStyle> boxAt(double time) const;
  /// Returns what the functions above cost, in units of TTMLWork.
  std::uint64_t cost() const;
};

/// Adds the cues of a paragraph, one for each time range in which it does not change. `order` is
/// the order of its cues. Returns false, and adds none, if it exceeds the limit of the
/// work.
///
/// Limit: 128 changes of a paragraph.
bool addParagraph(const TTMLPlace& paragraph, const TTMLContent& content, std::int32_t order,
                  TTMLWork& work, CueList& cues);

}  // namespace media
