#include "streaming/foundation/URL.h"

#include <algorithm>
#include <utility>

#include "streaming/foundation/Text.h"

namespace streaming {
namespace {

bool isScheme(std::string_view text) {
  return !text.empty() && isLetter(text.front()) &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAlphanumeric(c) || isOneOf(c, "+-."); });
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char letter = static_cast<char>(c | 0x20);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/// RFC 3986, section 5.2.4.
std::string withoutDotSegments(std::string_view path) {
  std::string result;
  bool first = true;
  while (!path.empty() || first) {
    first = false;
    const bool hasSlash = path.starts_with('/');
    const auto begin = hasSlash ? std::size_t{1} : std::size_t{0};
    const auto end = path.find('/', begin);
    const std::string_view segment = path.substr(begin, end == path.npos ? end : end - begin);
    const bool isLast = end == path.npos;
    path = isLast ? std::string_view() : path.substr(end);
    if (segment == ".." || segment == ".") {
      if (segment == "..") {
        const auto slash = result.rfind('/');
        result.erase(slash == result.npos ? 0 : slash);
      }
      if (isLast && (hasSlash || !result.empty())) result += '/';
      continue;
    }
    if (hasSlash) result += '/';
    result += segment;
  }
  return result;
}

bool mayStandInURL(char c) {
  return c > ' ' && c < '\x7f' && c != '"' && c != '<' && c != '>' && c != '\\' && c != '^' &&
         c != '`' && c != '{' && c != '|' && c != '}';
}

std::string escaped(std::string text) {
  if (std::all_of(text.begin(), text.end(), mayStandInURL)) return text;
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    if (mayStandInURL(c)) {
      result += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return result;
}

std::string composed(const URLParts& parts, std::string_view path) {
  std::string result(parts.scheme);
  result += ':';
  if (parts.authority) {
    result += "//";
    result += *parts.authority;
  }
  result += path;
  if (parts.query) {
    result += '?';
    result += *parts.query;
  }
  return escaped(std::move(result));
}

}  // namespace

URLParts URLParts::of(std::string_view text) {
  URLParts parts;
  text = text.substr(0, text.find('#'));
  const auto colon = text.find(':');
  if (colon != text.npos && isScheme(text.substr(0, colon))) {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  const auto question = text.find('?');
  if (question != text.npos) {
    parts.query = text.substr(question + 1);
    text = text.substr(0, question);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    parts.authority = text.substr(0, text.find('/'));
    text.remove_prefix(parts.authority->size());
  }
  parts.path = text;
  return parts;
}

std::string schemeOf(std::string_view url) { return lowercase(URLParts::of(url).scheme); }

bool isWebURL(std::string_view url) {
  const std::string scheme = schemeOf(url);
  return scheme == "http" || scheme == "https";
}

URLServer URLServer::of(std::string_view url) {
  URLServer server;
  const auto parts = URLParts::of(url);
  if (!parts.authority) return server;
  std::string_view text = *parts.authority;
  if (const auto at = text.rfind('@'); at != text.npos) text.remove_prefix(at + 1);
  const bool isBracketed = text.starts_with('[');
  const auto end = isBracketed ? text.find(']') : text.find(':');
  server.host = lowercase(isBracketed ? text.substr(1, end == text.npos ? end : end - 1)
                                      : text.substr(0, end));
  std::string_view port = end == text.npos ? std::string_view() : text.substr(end);
  if (port.starts_with(']')) port.remove_prefix(1);
  if (port.starts_with(':')) port.remove_prefix(1);
  if (port.empty())
    server.port = isSameName(parts.scheme, "https") ? 443 : 80;
  else if (const auto number = numberOf(port); number && *number <= 65535)
    server.port = static_cast<unsigned>(*number);
  return server;
}

std::optional<std::string> resolveURL(std::string_view base, std::string_view reference) {
  reference = trimmed(reference);
  if (reference.empty() || std::any_of(reference.begin(), reference.end(), isControl))
    return std::nullopt;
  URLParts target = URLParts::of(reference);
  if (!target.scheme.empty()) {
    if (schemeOf(reference) == "data") return std::string(reference);
    if (!isWebURL(reference)) return composed(target, target.path);
    return composed(target, withoutDotSegments(target.path));
  }
  const URLParts origin = URLParts::of(base);
  if (origin.scheme.empty()) return std::nullopt;
  target.scheme = origin.scheme;
  if (target.authority) return composed(target, withoutDotSegments(target.path));
  target.authority = origin.authority;
  if (target.path.empty()) {
    if (!target.query) target.query = origin.query;
    return composed(target, origin.path);
  }
  if (target.path.starts_with('/')) return composed(target, withoutDotSegments(target.path));
  std::string merged;
  if (origin.authority && origin.path.empty())
    merged = '/';
  else if (const auto slash = origin.path.rfind('/'); slash != origin.path.npos)
    merged = origin.path.substr(0, slash + 1);
  merged += target.path;
  return composed(target, withoutDotSegments(merged));
}

std::string withQueryOf(std::string_view base, std::string url) {
  const URLParts origin = URLParts::of(base);
  if (!origin.query || origin.query->empty() || url.find('?') != url.npos ||
      url.starts_with("data:"))
    return url;
  return url.append("?").append(*origin.query);
}

std::optional<std::string> queryParameter(std::string_view url, std::string_view name) {
  std::string_view query = URLParts::of(url).query.value_or("");
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    const auto equals = field.find('=');
    if (field.substr(0, equals) == name)
      return std::string(equals == field.npos ? std::string_view() : field.substr(equals + 1));
    query.remove_prefix(std::min(query.size(), field.size() + 1));
  }
  return std::nullopt;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '%') {
      result += text[index];
      continue;
    }
    if (index + 2 >= text.size()) return std::nullopt;
    const int high = hexValue(text[index + 1]);
    const int low = hexValue(text[index + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    result += static_cast<char>(high * 16 + low);
    index += 2;
  }
  return result;
}

}  // namespace streaming
