#include "tools/vorlanectl/SenderService.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kKeySize = 16;
// The D-Bus server accepts messages of up to 16 MiB. 16 KiB are reserved for the other entries.
constexpr std::uintmax_t kMaxBodyBytes =
    std::uintmax_t{16} * 1024 * 1024 - std::uintmax_t{16} * 1024;
constexpr std::string_view kKeyScheme = "clearkey:";

constexpr std::array<std::pair<std::string_view, const char*>, 7> kContentTypes{{
    {".m3u8", "application/vnd.apple.mpegurl"},
    {".mpd", "application/dash+xml"},
    {".mp4", "video/mp4"},
    {".m4s", "video/mp4"},
    {".ts", "video/mp2t"},
    {".vtt", "text/vtt"},
    {".aac", "audio/aac"},
}};

std::string contentTypeOf(const std::string& file) {
  for (const auto& [ending, type] : kContentTypes)
    if (file.ends_with(ending)) return type;
  return "application/octet-stream";
}

std::string textAt(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string contentOf(const std::string& file) {
  std::ifstream input(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

std::string base64url(const std::string& bytes) {
  std::string text = base64(bytes.data(), bytes.size());
  text.resize(std::min(text.find('='), text.size()));
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

/// Accepts base64 and base64url, with or without padding. Throws CodingError.
std::string decodeAnyBase64(std::string text) {
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  text.resize((text.size() + 3) / 4 * 4, '=');
  return decodeBase64(text);
}

std::optional<std::string> decodeHex(std::string text) {
  std::erase(text, '-');  // manifests write identifiers with dashes
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    unsigned value = 0;
    const char* const end = text.data() + at + 2;
    if (std::from_chars(text.data() + at, end, value, 16).ptr != end) return std::nullopt;
    bytes += static_cast<char>(value);
  }
  return bytes;
}

/// Parses 16 bytes in hex or base64.
std::optional<std::string> parseKey(const std::string& text) {
  auto bytes = decodeHex(text);
  if (!bytes || bytes->size() != kKeySize) {
    try {
      bytes = decodeAnyBase64(text);
    } catch (const CodingError&) {
      return std::nullopt;
    }
  }
  if (bytes->size() != kKeySize) return std::nullopt;
  return bytes;
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto octet = text[at] == '%' && at + 2 < text.size()
                           ? decodeHex(std::string(text.substr(at + 1, 2)))
                           : std::nullopt;
    result += octet ? *octet : std::string(1, text[at]);
    if (octet) at += 2;
  }
  return result;
}

struct Range {
  std::uintmax_t first = 0;
  std::uintmax_t last = 0;
};

/// Parses `bytes=first-`, `bytes=first-last` or `bytes=-length` for a resource of `size` bytes.
/// Returns nothing for any other range.
std::optional<Range> rangeOf(std::string_view text, std::uintmax_t size) {
  constexpr std::string_view kUnit = "bytes=";
  const std::size_t dash = text.find('-');
  if (!text.starts_with(kUnit) || dash == std::string_view::npos || size == 0) return std::nullopt;
  const auto number = [](std::string_view digits) {
    std::uintmax_t value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [at, error] = std::from_chars(digits.data(), end, value);
    return error == std::errc() && at == end ? std::optional(value) : std::nullopt;
  };
  const auto first = number(text.substr(kUnit.size(), dash - kUnit.size()));
  const auto last = number(text.substr(dash + 1));
  if (!first && last && *last > 0) return Range{size - std::min(*last, size), size - 1};
  if (!first || *first >= size || (last && *last < *first)) return std::nullopt;
  return Range{*first, std::min(last.value_or(size - 1), size - 1)};
}

Json performed(Connection& box, const char* action, const Json& params, std::int32_t& status) {
  Answer answer = box.call("Perform", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', action);
    appendDictionary(call, params);
  });
  status = answer.readStatus();
  return answer.read();
}

}  // namespace

std::optional<std::string> fileOfURL(const std::string& folder, const std::string& url) {
  const std::size_t colon = url.find(':');
  if (colon == std::string::npos) return std::nullopt;
  const std::size_t end = std::min(url.find_first_of("?#"), url.size());
  const fs::path names(percentDecoded(std::string_view(url).substr(0, end).substr(colon + 1)));
  std::error_code failure;
  const fs::path root = fs::canonical(folder, failure);
  if (failure) return std::nullopt;
  fs::path path = root;
  for (const fs::path& name : names.relative_path()) {
    if (name == "..") return std::nullopt;
    if (fs::is_regular_file(path, failure)) path = path.parent_path();
    path /= name;
  }
  // The target of symbolic links must be inside the folder.
  const fs::path file = fs::canonical(path, failure);
  if (failure || !fs::is_regular_file(file, failure)) return std::nullopt;
  const auto [rootEnd, fileEnd] = std::mismatch(root.begin(), root.end(), file.begin(), file.end());
  if (rootEnd != root.end() || fileEnd == file.end()) return std::nullopt;
  return file.string();
}

SenderService::SenderService(Connection& box, const std::optional<std::string>& folder,
                             const std::optional<std::string>& keyFile)
    : _box(box) {
  if (folder) {
    if (!fs::is_directory(*folder)) throw UsageError("there is no folder " + *folder);
    _folder = *folder;
  }
  if (keyFile) _readKeys(*keyFile);
}

void SenderService::_readKeys(const std::string& file) {
  _servesKeys = true;
  if (!fs::is_regular_file(file)) throw UsageError("there is no file " + file);
  const std::string content = contentOf(file);
  if (content.size() == kKeySize) {
    _sharedKey = content;
    return;
  }
  const Json keys = Json::parse(content, nullptr, false);
  if (!keys.is_object())
    throw UsageError(file + " is neither a key of 16 bytes nor a JSON object of keys");
  for (const auto& [name, value] : keys.items()) {
    const auto key = value.is_string() ? parseKey(value.get<std::string>()) : std::nullopt;
    if (!key) throw UsageError("the key of " + name + " is not 16 bytes in hex or base64");
    _keys.push_back({parseKey(name).value_or(name), *key});
  }
}

void SenderService::answer(const Event& event) {
  if (event.name != "failedURLRequest" || !event.info.is_object()) return;
  const std::string kind = textAt(event.info, "FCUP_Request_Kind");
  if (kind == "resource" && !_folder.empty()) _serveFile(event.info);
  if (kind == "key" && _servesKeys) _serveKey(event.info);
}

void SenderService::_serveFile(const Json& request) {
  const auto file = fileOfURL(_folder, textAt(request, "FCUP_Request_URL"));
  if (!file) return _respond(request, 404, Json::object());
  const std::uintmax_t size = fs::file_size(*file);
  const std::string wanted = textAt(request, "FCUP_Request_Range");
  const auto range = rangeOf(wanted, size);
  const std::uintmax_t first = range ? range->first : 0;
  const std::uintmax_t length = range ? range->last - first + 1 : size;
  if (length > kMaxBodyBytes) {
    std::fprintf(stderr,
                 "vorlanectl: %s: %ju bytes do not fit into one message, which holds 16 MiB\n",
                 file->c_str(), length);
    return _respond(request, 413, Json::object());
  }
  std::string body(length, '\0');
  std::ifstream input(*file, std::ios::binary);
  input.seekg(static_cast<std::streamoff>(first));
  if (!input.read(body.data(), static_cast<std::streamsize>(length)))
    return _respond(request, 500, Json::object());
  Json headers = {{"Content-Type", contentTypeOf(*file)}};
  if (range) {
    headers["Content-Range"] = "bytes " + std::to_string(first) + "-" +
                               std::to_string(range->last) + "/" + std::to_string(size);
  }
  _respond(request, range ? 206 : 200,
           {{"FCUP_Response_Data", {{"$data", base64(body.data(), body.size())}}},
            {"FCUP_Response_Headers", std::move(headers)}});
}

void SenderService::_serveKey(const Json& request) {
  const std::string url = textAt(request, "FCUP_Request_URL");
  std::string name = url;
  if (url.starts_with(kKeyScheme)) name = parseKey(url.substr(kKeyScheme.size())).value_or(url);
  std::int32_t status = 0;
  const Json out =
      performed(_box, "requestForStreamingKey",
                {{"assetID", {{"$data", base64(name.data(), name.size())}}},
                 {"requestContext",
                  {{"FCUP_Request_RequestID", request.value("FCUP_Request_RequestID", Json())}}}},
                status);
  const Json value = out.value("value", Json());
  if (report(status) != kSuccess || !value.is_object())
    return _respond(request, 404, Json::object());
  std::string answer = _licenceFor(decodeBase64(textAt(value, "$data")));
  if (answer.empty()) return _respond(request, 404, Json::object());
  _respond(request, 200,
           {{"FCUP_Response_Data", {{"$data", base64(answer.data(), answer.size())}}}});
}

std::string SenderService::_licenceFor(const std::string& keyRequest) const {
  const Json wanted = Json::parse(keyRequest, nullptr, false);
  Json keys = Json::array();
  std::string rawKey;
  if (!wanted.is_object()) return {};
  for (const Json& each : wanted.value("kids", Json::array())) {
    if (!each.is_string()) continue;
    const std::string name = decodeAnyBase64(each.get<std::string>());
    const std::string* const key = _keyNamed(name);
    if (!key) continue;
    keys.push_back({{"kty", "oct"}, {"kid", each}, {"k", base64url(*key)}});
    // HLS playlists identify a key by URL and expect its raw bytes.
    if (name.size() != kKeySize) rawKey = *key;
  }
  if (!rawKey.empty() && keys.size() == 1) return rawKey;
  if (keys.empty()) return {};
  return Json{{"keys", std::move(keys)}, {"type", wanted.value("type", Json("temporary"))}}.dump();
}

const std::string* SenderService::_keyNamed(const std::string& name) const {
  if (!_sharedKey.empty()) return &_sharedKey;
  for (const NamedKey& each : _keys)
    if (each.name == name) return &each.key;
  return nullptr;
}

void SenderService::_respond(const Json& request, int status, Json response) {
  const std::string url = textAt(request, "FCUP_Request_URL");
  response["FCUP_Response_RequestID"] = request.value("FCUP_Request_RequestID", Json());
  response["FCUP_Response_StatusCode"] = status;
  response["FCUP_Response_URL"] = url;
  std::int32_t result = 0;
  performed(_box, "failedURLResponse", response, result);
  if (status >= 400) {
    std::fprintf(stderr, "vorlanectl: %s: answered with status %d\n", url.c_str(), status);
  } else if (report(result) == kSuccess) {
    std::printf("served %s\n", url.c_str());
    std::fflush(stdout);
  }
}

}  // namespace vorlanectl
