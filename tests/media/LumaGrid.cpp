#include "tests/media/LumaGrid.h"

#include <cmath>
#include <cstddef>
#include <cstdio>

namespace testing_media {

LumaGrid lumaOf(const media::VideoFrame& frame, int columns, int rows) {
  LumaGrid result{columns, rows};
  const media::VideoPlane& luma = frame.planes[0];
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      double sum = 0;
      int count = 0;
      for (int y = row * frame.height / rows; y < (row + 1) * frame.height / rows; ++y)
        for (int x = column * frame.width / columns; x < (column + 1) * frame.width / columns;
             ++x, ++count)
          sum += luma.data[static_cast<std::size_t>(y) * luma.stride + static_cast<std::size_t>(x)];
      const double mean = sum / count;
      result.cells.push_back(frame.fullRange ? mean : (mean - 16) * 255 / 219);
    }
  }
  return result;
}

std::vector<LumaGrid> lumaOfSource(const std::string& input, int columns, int rows) {
  const std::string size = std::to_string(columns) + ":" + std::to_string(rows);
  const std::string command = "ffmpeg -v error -nostdin " + input +
                              " -vf format=gray,scale=" + size +
                              ":flags=area -f rawvideo -pix_fmt gray -";
  FILE* const pipe = popen(command.c_str(), "r");
  if (!pipe) return {};
  std::vector<unsigned char> bytes(static_cast<std::size_t>(columns) *
                                   static_cast<std::size_t>(rows));
  std::vector<LumaGrid> result;
  while (std::fread(bytes.data(), 1, bytes.size(), pipe) == bytes.size())
    result.push_back({columns, rows, {bytes.begin(), bytes.end()}});
  pclose(pipe);
  return result;
}

double difference(const LumaGrid& left, const LumaGrid& right) {
  double sum = 0;
  for (std::size_t index = 0; index < left.cells.size(); ++index)
    sum += std::abs(left.cells[index] - right.cells.at(index));
  return sum / static_cast<double>(left.cells.size());
}

}  // namespace testing_media
