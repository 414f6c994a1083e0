#include "box/relay/EngineResponse.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "box/relay/URLParts.h"

namespace box {
namespace {

bool isPassedOn(std::string_view name) {
  static constexpr std::array<std::string_view, 6> names = {"Content-Type",  "Content-Range",
                                                            "Accept-Ranges", "Last-Modified",
                                                            "ETag",          "Content-Encoding"};
  return isSameName(name.substr(0, 4), "icy-") ||
         std::any_of(names.begin(), names.end(),
                     [name](std::string_view passed) { return isSameName(passed, name); });
}

const char* reasonOf(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 206:
      return "Partial Content";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 416:
      return "Range Not Satisfiable";
    case 502:
      return "Bad Gateway";
    default:
      return status < 400 ? "Success" : "Failure";
  }
}

}  // namespace

std::string headOfResponse(const ResourceHead& head, BodyFraming framing, bool isLast) {
  std::string text =
      "HTTP/1.1 " + std::to_string(head.status) + " " + reasonOf(head.status) + "\r\n";
  for (const auto& [name, value] : head.fields)
    if (isPassedOn(name) && std::none_of(value.begin(), value.end(), isControl))
      text.append(name).append(": ").append(value).append("\r\n");
  if (framing == BodyFraming::Length)
    text += "Content-Length: " + std::to_string(head.length.value_or(0)) + "\r\n";
  if (framing == BodyFraming::Chunks) text += "Transfer-Encoding: chunked\r\n";
  if (isLast) text += "Connection: close\r\n";
  return text + "\r\n";
}

}  // namespace box
