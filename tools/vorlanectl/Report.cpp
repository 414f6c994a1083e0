#include <cstdio>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

std::string_view meaningOfStatus(std::int32_t status) {
  switch (status) {
    case 0:
      return "success";
    case -6700:
      return "the operation failed";
    case -6705:
      return "a bad value, or no URL";
    case -6708:
      return "a response without a request identifier";
    case -6718:
      return "no session to address";
    case -6727:
      return "no such item or request";
    case -6735:
      return "an unsupported property";
    case -6745:
      return "the session has no player";
    case -6756:
      return "a parameter of the wrong type";
    default:
      return "the call failed";
  }
}

int report(std::int32_t status) {
  if (status == 0) return kSuccess;
  const std::string meaning(meaningOfStatus(status));
  std::fprintf(stderr, "vorlanectl: %d: %s\n", status, meaning.c_str());
  return kFailure;
}

void print(const Json& value) {
  // Text that is not UTF-8 cannot come over the bus.
  std::printf("%s\n", value.dump(2).c_str());
}

}  // namespace vorlanectl
