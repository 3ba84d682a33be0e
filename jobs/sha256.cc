// SPDX-License-Identifier: MIT
// libcrypto's digest: it uses the processor's own instructions, so that hashing an output costs little beside
// drawing it.
#include "sha256.h"

#include <openssl/evp.h>

#include <new>

namespace jobs {

std::string Sha256(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  // EVP_sha256() would be looked up again for every text, which takes longer than a short text's hash.
  static const EVP_MD* const kMethod = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, kMethod, nullptr) != 1) {
    throw std::bad_alloc();
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(64);
  for (unsigned int i = 0; i < length; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 15];
  }
  return text;
}

}  // namespace jobs
