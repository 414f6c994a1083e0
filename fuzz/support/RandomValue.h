#pragma once

#include "fuzz/support/Random.h"
#include "platform/foundation/Value.h"

namespace fuzz {

std::string randomText(Random& random);
double randomDouble(Random& random);
/// A property list, rarely nested deeper than a reader accepts.
platform::Value randomValue(Random& random, int depth = 0);
/// Its keys are often those of the receiver interface.
platform::Dictionary randomDictionary(Random& random, int depth = 0);
platform::Array randomArray(Random& random, int depth = 0);

}  // namespace fuzz
