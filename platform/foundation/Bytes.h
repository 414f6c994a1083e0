#pragma once

#include <cstddef>
#include <vector>

namespace platform {

using Bytes = std::vector<std::byte>;

}  // namespace platform
