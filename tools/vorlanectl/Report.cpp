#include <cstdio>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

std::string_view statusDescription(std::int32_t status) {
  switch (status) {
    case 0:
      return "success";
    case -6700:
      return "the operation failed";
    case -6705:
      return "invalid value or missing URL";
    case -6708:
      return "response without a request identifier";
    case -6718:
      return "no such session";
    case -6727:
      return "no such item or request";
    case -6735:
      return "unsupported property";
    case -6745:
      return "the session has no player";
    case -6756:
      return "parameter of the wrong type";
    default:
      return "the call failed";
  }
}

int report(std::int32_t status) {
  if (status == 0) return kSuccess;
  const std::string meaning(statusDescription(status));
  std::fprintf(stderr, "vorlanectl: %d: %s\n", status, meaning.c_str());
  return kFailure;
}

void print(const Json& value) {
  // D-Bus strings are valid UTF-8, so dump() does not throw.
  std::printf("%s\n", value.dump(2).c_str());
}

}  // namespace vorlanectl
