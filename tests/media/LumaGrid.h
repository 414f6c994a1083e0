#pragma once

#include <string>
#include <vector>

#include "media/output/VideoFrames.h"

namespace testing_media {

/// The luma of a picture, averaged over the cells of a grid: 0 to 255, row by row.
struct LumaGrid {
  int columns = 0;
  int rows = 0;
  std::vector<double> cells = {};
};

/// Converts limited range to full range.
LumaGrid lumaOf(const media::VideoFrame& frame, int columns, int rows);

/// Returns each frame of a source of ffmpeg, without a codec. `input`: options of ffmpeg.
std::vector<LumaGrid> lumaOfSource(const std::string& input, int columns, int rows);

/// Returns the mean of the differences of the cells.
double difference(const LumaGrid& left, const LumaGrid& right);

}  // namespace testing_media
