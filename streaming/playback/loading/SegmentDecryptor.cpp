#include "streaming/playback/loading/SegmentDecryptor.h"

#include <algorithm>

#include <openssl/evp.h>

namespace streaming {
namespace {

constexpr std::size_t kBlockSize = 16;
// EVP functions take lengths as int.
constexpr std::size_t kMaxAtOnce = std::size_t{1} << 20;

const unsigned char* unsignedBytes(const void* bytes) {
  return static_cast<const unsigned char*>(bytes);
}

}  // namespace

struct SegmentDecryptor::Context {
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher{EVP_CIPHER_CTX_new(),
                                                                         &EVP_CIPHER_CTX_free};
};

SegmentDecryptor::SegmentDecryptor(std::string_view key,
                                   const std::array<std::byte, 16>& initialVector)
    : _context(std::make_unique<Context>()) {
  _isBroken =
      key.size() != kBlockSize || !_context->cipher ||
      EVP_DecryptInit_ex(_context->cipher.get(), EVP_aes_128_cbc(), nullptr,
                         unsignedBytes(key.data()), unsignedBytes(initialVector.data())) != 1;
}

SegmentDecryptor::~SegmentDecryptor() = default;

std::string SegmentDecryptor::pass(std::string_view bytes) {
  std::string result;
  while (!bytes.empty() && !_isBroken) {
    const std::string_view part = bytes.substr(0, kMaxAtOnce);
    bytes.remove_prefix(part.size());
    const std::size_t before = result.size();
    result.resize(before + part.size() + kBlockSize);
    int count = 0;
    if (EVP_DecryptUpdate(_context->cipher.get(),
                          reinterpret_cast<unsigned char*>(result.data() + before), &count,
                          unsignedBytes(part.data()), static_cast<int>(part.size())) != 1) {
      _isBroken = true;
      count = 0;
    }
    result.resize(before + static_cast<std::size_t>(count));
  }
  return result;
}

std::optional<std::string> SegmentDecryptor::finish() {
  if (_isBroken) return std::nullopt;
  _isBroken = true;
  std::string rest(kBlockSize, '\0');
  int count = 0;
  if (EVP_DecryptFinal_ex(_context->cipher.get(), reinterpret_cast<unsigned char*>(rest.data()),
                          &count) != 1)
    return std::nullopt;
  rest.resize(static_cast<std::size_t>(count));
  return rest;
}

}  // namespace streaming
