"""AES-128 in CBC mode, with libcrypto."""

import ctypes

_crypto = ctypes.CDLL("libcrypto.so.3")
_crypto.EVP_CIPHER_CTX_new.restype = ctypes.c_void_p
_crypto.EVP_aes_128_cbc.restype = ctypes.c_void_p


def encrypt(key, vector, text):
    context = ctypes.c_void_p(_crypto.EVP_CIPHER_CTX_new())
    cipher = ctypes.c_void_p(_crypto.EVP_aes_128_cbc())
    result = ctypes.create_string_buffer(len(text) + 16)
    length = ctypes.c_int()
    done = _crypto.EVP_EncryptInit_ex(context, cipher, None, bytes(key), bytes(vector)) \
        and _crypto.EVP_CIPHER_CTX_set_padding(context, 0) \
        and _crypto.EVP_EncryptUpdate(context, result, ctypes.byref(length), bytes(text), len(text))
    _crypto.EVP_CIPHER_CTX_free(context)
    if not done or length.value != len(text):
        raise ValueError("not a whole number of blocks")
    return result.raw[:length.value]


def encrypt_padded(key, vector, text):
    rest = 16 - len(text) % 16
    return encrypt(key, vector, text + bytes([rest]) * rest)
