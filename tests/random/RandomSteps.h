#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace random_sessions {

/// Makes a random session: steps in the language of tests/scenarios. First the media, then `calls`
/// steps: receiver calls with right and wrong arguments, presses and swipes of the remote, screens
/// that open late or never, services that fail, and time that passes. Each session uses a random
/// part of the alphabet, so that rare steps are frequent in some sessions.
///
/// The steps depend on the arguments only. `$request` stands for the last event
/// "failedURLRequest".
std::vector<std::string> randomSteps(std::uint64_t seed, std::size_t calls);

}  // namespace random_sessions
