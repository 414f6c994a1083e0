#include "box/relay/XMLText.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace box {
namespace {

constexpr std::string_view blanks = " \t\r\n";

constexpr std::array<std::pair<std::string_view, char>, 5> entities = {
    {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};

std::optional<std::size_t> sizeUntil(std::string_view text, std::string_view end) {
  const auto at = text.find(end);
  if (at == text.npos) return {};
  return at + end.size();
}

void appendUTF8(std::string& text, std::uint32_t code) {
  const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

std::optional<std::uint32_t> characterReference(std::string_view entity) {
  if (!entity.starts_with('#')) return {};
  entity.remove_prefix(1);
  const int base = entity.starts_with('x') ? 16 : 10;
  if (base == 16) entity.remove_prefix(1);
  std::uint32_t code = 0;
  const char* const end = entity.data() + entity.size();
  const auto parsed = std::from_chars(entity.data(), end, code, base);
  if (parsed.ec != std::errc{} || parsed.ptr != end || code == 0 || code > 0x10FFFF) return {};
  return code;
}

}  // namespace

std::optional<std::size_t> markupSize(std::string_view text) {
  if (text.starts_with("<!")) {
    constexpr std::string_view comment = "<!--", data = "<![CDATA[";
    if (text.starts_with(comment)) return sizeUntil(text, "-->");
    if (text.starts_with(data)) return sizeUntil(text, "]]>");
    if (comment.starts_with(text) || data.starts_with(text)) return {};
  }
  if (text.starts_with("<?")) return sizeUntil(text, "?>");
  char quote = 0;
  int brackets = 0;  // of a document type's own declarations
  for (std::size_t i = 1; i < text.size(); ++i) {
    const char c = text[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '[') {
      ++brackets;
    } else if (c == ']') {
      --brackets;
    } else if (c == '>' && brackets <= 0) {
      return i + 1;
    }
  }
  return {};
}

std::optional<XMLTag> XMLTag::of(std::string_view markup) {
  if (markup.size() < 3 || markup[1] == '!' || markup[1] == '?') return {};
  XMLTag tag;
  tag.starts = markup[1] != '/';
  tag.ends = !tag.starts || markup[markup.size() - 2] == '/';
  markup.remove_prefix(tag.starts ? 1 : 2);
  tag.name = markup.substr(0, markup.find_first_of(" \t\r\n/>"));
  const auto colon = tag.name.find(':');
  if (colon != tag.name.npos) {
    tag.prefix = tag.name.substr(0, colon + 1);
    tag.name.remove_prefix(colon + 1);
  }
  return tag;
}

std::string withAttributes(std::string_view tag,
                           const std::function<std::optional<std::string>(
                               std::string_view name, const std::string& value)>& change) {
  std::string result;
  std::size_t copied = 0;
  std::size_t at = tag.find_first_of(blanks);
  while (at != tag.npos) {
    at = tag.find_first_not_of(blanks, at);
    const auto equals = at == tag.npos ? at : tag.find('=', at);
    const auto open = equals == tag.npos ? equals : tag.find_first_of("\"'", equals);
    const auto close = open == tag.npos ? open : tag.find(tag[open], open + 1);
    if (close == tag.npos) break;
    const std::string_view name = tag.substr(at, tag.find_first_of("= \t\r\n", at) - at);
    if (const auto value = change(name, withoutEntities(tag.substr(open + 1, close - open - 1)))) {
      result.append(tag.substr(copied, open + 1 - copied)).append(withEntities(*value));
      copied = close;
    }
    at = close + 1;
  }
  return result.append(tag.substr(copied));
}

std::string withoutEntities(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto end = text[i] == '&' ? text.find(';', i) : text.npos;
    if (end == text.npos) {
      result += text[i];
      continue;
    }
    const std::string_view entity = text.substr(i + 1, end - i - 1);
    const std::size_t before = result.size();
    for (const auto& [name, character] : entities)
      if (name == entity) result += character;
    if (const auto code = characterReference(entity)) appendUTF8(result, *code);
    if (result.size() == before)
      result += '&';
    else
      i = end;
  }
  return result;
}

std::string withEntities(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto* entity = entities.begin();
    while (entity != entities.end() && entity->second != c) ++entity;
    if (entity == entities.end())
      result += c;
    else
      result.append("&").append(entity->first).append(";");
  }
  return result;
}

}  // namespace box
