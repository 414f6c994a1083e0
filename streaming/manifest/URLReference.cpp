#include "streaming/manifest/URLReference.h"

#include <algorithm>
#include <utility>

namespace streaming {
namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isSchemeName(std::string_view text) {
  return !text.empty() && isLetter(text.front()) &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
         });
}

/// The components of RFC 3986, section 3; views of the text that they were read from.
struct Components {
  std::string_view scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;

  explicit Components(std::string_view text) {
    text = text.substr(0, text.find('#'));
    const auto colon = text.find(':');
    if (colon != text.npos && isSchemeName(text.substr(0, colon))) {
      scheme = text.substr(0, colon);
      text.remove_prefix(colon + 1);
    }
    if (const auto question = text.find('?'); question != text.npos) {
      query = text.substr(question + 1);
      text = text.substr(0, question);
    }
    if (text.starts_with("//")) {
      text.remove_prefix(2);
      authority = text.substr(0, text.find('/'));
      text.remove_prefix(authority->size());
    }
    path = text;
  }
};

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

std::string composed(const Components& parts, std::string_view path) {
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

std::string_view trimmedReference(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

}  // namespace

std::optional<std::string> resolveURL(std::string_view base, std::string_view reference) {
  reference = trimmedReference(reference);
  if (reference.empty() || std::any_of(reference.begin(), reference.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
      }))
    return std::nullopt;
  Components target(reference);
  if (!target.scheme.empty()) {
    if (schemeOf(reference) == "data") return std::string(reference);
    if (!isWebURL(reference)) return composed(target, target.path);
    return composed(target, withoutDotSegments(target.path));
  }
  const Components origin(base);
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
  const Components origin(base);
  if (!origin.query || origin.query->empty() || url.find('?') != url.npos ||
      url.starts_with("data:"))
    return url;
  return url.append("?").append(*origin.query);
}

std::string schemeOf(std::string_view url) {
  std::string scheme(Components(url).scheme);
  std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return scheme;
}

bool isWebURL(std::string_view url) {
  const std::string scheme = schemeOf(url);
  return scheme == "http" || scheme == "https";
}

std::optional<std::string> queryParameter(std::string_view url, std::string_view name) {
  std::string_view query = Components(url).query.value_or("");
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    const auto equals = field.find('=');
    if (field.substr(0, equals) == name)
      return std::string(equals == field.npos ? std::string_view() : field.substr(equals + 1));
    query.remove_prefix(std::min(query.size(), field.size() + 1));
  }
  return std::nullopt;
}

}  // namespace streaming
