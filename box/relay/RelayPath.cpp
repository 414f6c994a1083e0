#include "box/relay/RelayPath.h"

#include "box/relay/URLParts.h"

namespace box {
namespace {

bool isUnreserved(char c) { return isAlphanumeric(c) || isOneOf(c, "-._~"); }

std::string escaped(std::string_view text, std::string_view kept) {
  std::string result;
  for (const char c : text)
    if (isUnreserved(c) || isOneOf(c, kept))
      result += c;
    else
      appendEscape(result, c);
  return result;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i];
      continue;
    }
    const auto byte = escapeAt(text, i);
    if (!byte) return {};
    result += *byte;
    i += 2;
  }
  return result;
}

/// Readers act on dot segments, whichever way they are written.
bool hasDotSegment(std::string_view path) {
  while (true) {
    const auto end = path.find('/');
    const std::string segment = unescaped(path.substr(0, end)).value_or("");
    if (segment == "." || segment == "..") return true;
    if (end == path.npos) return false;
    path.remove_prefix(end + 1);
  }
}

/// Some drop empty segments, too.
bool isKeptByReaders(std::string_view path) {
  return path.find("//") == path.npos && !hasDotSegment(path);
}

bool canBeMirrored(const URLParts& url) {
  if (url.scheme.empty() || !url.authority || url.authority->empty()) return false;
  if (hasDotSegment(*url.authority) || !isKeptByReaders(url.path)) return false;
  for (const char c : url.path)
    if (!isUnreserved(c) && !isOneOf(c, "!$&'()*+,;=:@/%")) return false;
  return true;
}

bool isOnePlainField(std::string_view query) {
  const auto isPlain = [](std::string_view text) {
    for (const char c : text)
      if (!isAlphanumeric(c) && !isOneOf(c, "-._")) return false;
    return true;
  };
  const auto equals = query.find('=');
  const std::string_view name = query.substr(0, equals);
  return !name.empty() && isPlain(name) &&
         (equals == query.npos || isPlain(query.substr(equals + 1)));
}

std::string mirrored(const URLParts& url) {
  std::string result(url.scheme);
  result += '/';
  result += escaped(*url.authority, ":@");
  for (const char c : url.path)
    if (c == '%')
      result += "%25";
    else
      result += c;
  if (!url.query) return result;
  if (isOnePlainField(*url.query)) return result.append("?").append(*url.query);
  return result.append("?~=").append(escaped(*url.query, ""));
}

std::optional<std::string> original(std::string_view mirror) {
  const auto question = mirror.find('?');
  const std::string_view hierarchy = mirror.substr(0, question);
  const auto slash = hierarchy.find('/');
  if (slash == hierarchy.npos || !isScheme(hierarchy.substr(0, slash))) return {};
  const auto pathBegin = hierarchy.find('/', slash + 1);
  const auto authority = unescaped(hierarchy.substr(slash + 1, pathBegin - slash - 1));
  if (!authority || authority->empty()) return {};

  std::string result(hierarchy.substr(0, slash));
  result.append("://").append(*authority);
  if (pathBegin != hierarchy.npos) {
    const std::string_view path = hierarchy.substr(pathBegin);
    if (hasDotSegment(path)) return {};
    for (std::size_t i = 0; i < path.size(); ++i) {
      result += path[i];
      if (path.substr(i, 3) == "%25") i += 2;
    }
  }
  if (question == mirror.npos) return result;
  const std::string_view query = mirror.substr(question + 1);
  if (!query.starts_with("~=")) return result.append("?").append(query);
  const auto whole = unescaped(query.substr(2));
  if (!whole) return {};
  return result.append("?").append(*whole);
}

std::string withoutDotSegments(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const bool rooted = path.front() == '/';
    const auto end = path.find('/', rooted ? 1 : 0);
    const std::string_view segment = path.substr(0, end);
    const std::string_view name = segment.substr(rooted ? 1 : 0);
    const bool last = end == path.npos;
    if (name == "..") {
      const auto slash = result.rfind('/');
      result.erase(slash == result.npos ? 0 : slash);
      if (last) result += '/';
    } else if (name == ".") {
      if (last) result += '/';
    } else {
      result += segment;
    }
    path = last ? std::string_view{} : path.substr(end);
  }
  return result;
}

/// RFC 3986, 5.2.3.
std::string merged(const URLParts& base, std::string_view path) {
  if (base.authority && base.path.empty()) return "/" + std::string(path);
  const auto slash = base.path.rfind('/');
  std::string result(base.path.substr(0, slash == base.path.npos ? 0 : slash + 1));
  return result.append(path);
}

}  // namespace

std::string RelayPath::make() const {
  const std::string_view bare = std::string_view(url).substr(0, url.find('#'));
  std::string result = "/" + token + (kind == Kind::Key ? "/k/" : "/r/");
  const URLParts parts = URLParts::of(bare);
  return canBeMirrored(parts) ? result.append(mirrored(parts))
                              : result.append("-/").append(escaped(bare, ""));
}

std::optional<RelayPath> RelayPath::parse(std::string_view target) {
  if (!target.starts_with('/')) return {};
  target.remove_prefix(1);
  const auto tokenEnd = target.find('/');
  if (tokenEnd == target.npos || tokenEnd == 0) return {};
  RelayPath result;
  result.token = target.substr(0, tokenEnd);
  for (const char c : result.token)
    if (!isHexDigit(c)) return {};
  target.remove_prefix(tokenEnd);

  if (target.starts_with("/k/"))
    result.kind = Kind::Key;
  else if (!target.starts_with("/r/"))
    return {};
  target.remove_prefix(3);

  const bool opaque = target.starts_with("-/");
  auto url = opaque ? unescaped(target.substr(2)) : original(target);
  if (!url || url->empty()) return {};
  result.url = std::move(*url);
  return result;
}

std::optional<std::string> resolvedURL(const std::string& base, const std::string& reference) {
  const auto bare = [](std::string_view text) { return text.substr(0, text.find('#')); };
  const std::string cleanReference = withLegalCharacters(bare(reference));
  const std::string cleanBase = withLegalCharacters(bare(base));
  for (const char c : reference)
    if (isControl(c)) return {};
  const URLParts to = URLParts::of(cleanReference);
  const URLParts from = URLParts::of(cleanBase);
  if (from.scheme.empty() && to.scheme.empty()) return {};

  std::string result(to.scheme.empty() ? from.scheme : to.scheme);
  result += ':';
  const bool ownAuthority = !to.scheme.empty() || to.authority;
  const auto& authority = ownAuthority ? to.authority : from.authority;
  if (authority) result.append("//").append(*authority);

  auto query = to.query;
  if (ownAuthority || to.path.starts_with('/')) {
    // An absolute URL is taken as it was written: whom it names may look at its dots.
    result += to.scheme.empty() ? withoutDotSegments(to.path) : std::string(to.path);
  } else if (to.path.empty()) {
    result += from.path;
    if (!query) query = from.query;
  } else {
    result += withoutDotSegments(merged(from, to.path));
  }
  if (query) result.append("?").append(*query);
  return result;
}

}  // namespace box
