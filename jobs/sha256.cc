// SPDX-License-Identifier: MIT
// libcrypto's digest: it uses the processor's own instructions, so that hashing an output costs little beside
// drawing it.
#include "sha256.h"

#include "retried.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

namespace jobs {

namespace {

// EVP_sha256() would be looked up again for every text, which takes longer than a short text's hash.
const EVP_MD* Method() {
  static const EVP_MD* const kMethod = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return kMethod;
}

std::string Digits(const unsigned char* digest, unsigned int length) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(64);
  for (unsigned int i = 0; i < length; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 15];
  }
  return text;
}

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

}  // namespace

std::string Sha256(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, Method(), nullptr) != 1) throw std::bad_alloc();
  return Digits(digest, length);
}

std::string Sha256OfFile(int fd) {
  const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
  bool hashed = context != nullptr && EVP_DigestInit_ex(context.get(), Method(), nullptr) == 1;
  char piece[65536];
  for (off_t at = 0; hashed;) {
    const ssize_t count = base::Retried([&] { return pread(fd, piece, sizeof piece, at); });
    if (count < 0) return "";
    if (count == 0) break;
    hashed = EVP_DigestUpdate(context.get(), piece, static_cast<std::size_t>(count)) == 1;
    at += count;
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (!hashed || EVP_DigestFinal_ex(context.get(), digest, &length) != 1) throw std::bad_alloc();
  return Digits(digest, length);
}

}  // namespace jobs
