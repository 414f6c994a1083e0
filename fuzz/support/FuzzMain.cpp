#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/support/FuzzTarget.h"

namespace fuzz {
namespace {

std::vector<FuzzTarget>& registeredTargets() {
  static std::vector<FuzzTarget> all;
  return all;
}

const FuzzTarget* chosenTarget = nullptr;

/// The variable and not an argument, because libFuzzer starts itself again with its own arguments.
constexpr const char* kVariable = "VORLANE_FUZZ_TARGET";

}  // namespace

const std::vector<FuzzTarget>& targets() { return registeredTargets(); }

Registration::Registration(const FuzzTarget& target) { registeredTargets().push_back(target); }

void failTarget(const char* reason) {
  std::fprintf(stderr, "==ERROR: %s\n", reason);
  std::abort();
}

}  // namespace fuzz

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t limit);

/// Without a target in the environment, prints the names of all targets.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* const name = std::getenv(fuzz::kVariable);
  for (const fuzz::FuzzTarget& each : fuzz::targets()) {
    if (name == nullptr) std::puts(each.name);
    if (name != nullptr && std::strcmp(each.name, name) == 0) fuzz::chosenTarget = &each;
  }
  if (name == nullptr) std::exit(0);
  if (fuzz::chosenTarget == nullptr) {
    std::fprintf(stderr, "%s: unknown target '%s'\n", fuzz::kVariable, name);
    std::exit(2);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::InputMeter meter(fuzz::chosenTarget->limits, size);
  fuzz::chosenTarget->run({data, size});
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t limit, unsigned seed) {
  fuzz::Random random(seed);
  const auto mutate = fuzz::chosenTarget->mutate;
  if (mutate == nullptr || random.oneIn(3)) return LLVMFuzzerMutate(data, size, limit);
  std::string input(reinterpret_cast<const char*>(data), size);
  do {
    mutate(input, random);
    if (input.size() > limit) input.resize(limit);
  } while (random.oneIn(2));
  std::copy(input.begin(), input.end(), data);
  return input.size();
}
