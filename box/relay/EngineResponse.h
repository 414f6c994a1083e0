#pragma once

#include <string>

#include "box/relay/ResourceHead.h"

namespace box {

/// How the body behind a head is told from what follows it.
enum class BodyFraming { Length, Chunks, Close };

/// The first lines of an answer to the engine: of the source's fields, those that mean something to
/// it.
std::string headOfResponse(const ResourceHead& head, BodyFraming framing, bool isLast);

}  // namespace box
