#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "media/output/SubtitleColor.h"

namespace media {

/// Removes the byte order mark of UTF-8.
std::string_view withoutByteOrderMark(std::string_view text);

/// Removes the byte order mark and converts all line endings to '\n'.
std::string normalizedLines(std::string_view text);

/// Removes the first line of `text` and returns it without its end.
std::string_view takeLine(std::string_view& text);

/// Calls `use(block)` for each group of lines that are not blank.
template <typename Use>
void forEachTextBlock(std::string_view text, const Use& use) {
  while (!text.empty()) {
    const char* begin = text.data();
    std::size_t size = 0;
    while (!text.empty()) {
      const std::string_view line = takeLine(text);
      if (trimmed(line).empty()) break;
      size = static_cast<std::size_t>(line.data() + line.size() - begin);
    }
    if (size > 0) use(std::string_view(begin, size));
  }
}

}  // namespace media
