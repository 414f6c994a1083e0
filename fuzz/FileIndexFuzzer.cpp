// Indexes of single files of DASH: sidx boxes and Cues.

#include <variant>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/IndexWalk.h"
#include "streaming/manifest/ManifestReader.h"

namespace fuzz {
namespace {

void readIndex(Bytes input) {
  streaming::IndexedFile file;
  file.file.urls = {"http://host/dir/file.mp4"};
  const std::uint8_t options = takeByte(input);
  const std::uint64_t offset = (options & 1) != 0 ? takeByte(input) * 1000U : 0;
  file.periodStart = options & 4;
  if ((options & 2) != 0) file.periodEnd = 20;
  if ((options & 8) != 0) file.indexSpan = {offset, input.size()};
  const auto result = streaming::readFileIndex(file, offset, textOf(input));
  if (const auto* const index =
          std::get_if<std::shared_ptr<const streaming::SegmentIndex>>(&result))
    walkIndex(**index);
}

const Registration fileIndex({"FileIndex",
                              &readIndex,
                              {.heap = {std::size_t{1} << 20, 400}, .steps = {2'000'000, 1000}}});

}  // namespace
}  // namespace fuzz
