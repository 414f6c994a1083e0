#include "streaming/transfer/http/PreSharedKeyTLS.h"

#include <cstring>

#include <openssl/ssl.h>

namespace streaming {
namespace {

// libcurl takes the minimum version in the lower half and the maximum version in the upper half.
constexpr long kVersion = CURL_SSLVERSION_TLSv1_2;

int indexOfKey() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

unsigned provideKey(SSL* ssl, const char*, char* identity, unsigned identitySize,
                    unsigned char* secret, unsigned secretSize) {
  const auto* key =
      static_cast<const PreSharedKey*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), indexOfKey()));
  // OpenSSL expects a null-terminated identity.
  if (!key || key->identity.size() >= identitySize || key->secret.size() > secretSize) return 0;
  std::memcpy(identity, key->identity.data(), key->identity.size());
  identity[key->identity.size()] = '\0';
  std::memcpy(secret, key->secret.data(), key->secret.size());
  return static_cast<unsigned>(key->secret.size());
}

CURLcode prepare(CURL*, void* context, void* key) {
  auto* const ssl = static_cast<SSL_CTX*>(context);
  if (SSL_CTX_set_ex_data(ssl, indexOfKey(), key) != 1) return CURLE_SSL_CONNECT_ERROR;
  SSL_CTX_set_psk_client_callback(ssl, &provideKey);
  return CURLE_OK;
}

}  // namespace

void usePreSharedKey(CURL* transfer, const PreSharedKey& key) {
  curl_easy_setopt(transfer, CURLOPT_SSL_CTX_FUNCTION, &prepare);
  curl_easy_setopt(transfer, CURLOPT_SSL_CTX_DATA, &key);
  curl_easy_setopt(transfer, CURLOPT_SSLVERSION, kVersion | (kVersion << 16));
  // Only PSK ciphers: the server is authenticated by the key alone.
  curl_easy_setopt(transfer, CURLOPT_SSL_CIPHER_LIST, "PSK-AES128-CBC-SHA256");
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(transfer, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
}

}  // namespace streaming
