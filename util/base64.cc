// SPDX-License-Identifier: MIT
// Base64 of RFC 4648: what callers see, and the scalar loops.
#include "base64_kernels.h"
#include "tovkit/util.h"

#include <cassert>
#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tovkit {

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr char kPadding = '=';

const Base64Kernels& Kernels() {
  static const Base64Kernels& kernels = Base64KernelsFor(base::ChosenSimdLevel());
  return kernels;
}

void EncodeGroup(const unsigned char* b, char* out) {
  out[0] = kAlphabet[b[0] >> 2];
  out[1] = kAlphabet[((b[0] & 3) << 4) + (b[1] >> 4)];
  out[2] = kAlphabet[((b[1] & 15) << 2) + (b[2] >> 6)];
  out[3] = kAlphabet[b[2] & 63];
}

void EncodeGroups(const unsigned char* data, std::size_t size, char* out) {
  for (; size >= 3; size -= 3, data += 3, out += 4) EncodeGroup(data, out);
}

// Letters and digits as in the C locale, whatever locale the process has set.
constexpr bool IsAccepted(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

// Decodes a group into three bytes. Zeros, which are not in the alphabet, fill up an unfinished group; the
// bytes that they reach are dropped.
void DecodeGroup(const char* characters, unsigned char* out) {
  unsigned s[4];
  for (int i = 0; i < 4; ++i) s[i] = static_cast<unsigned>(kAlphabet.find(characters[i]));
  out[0] = static_cast<unsigned char>((s[0] << 2) + ((s[1] & 0x30) >> 4));
  out[1] = static_cast<unsigned char>((s[1] << 4) + ((s[2] & 0x3C) >> 2));
  out[2] = static_cast<unsigned char>((s[2] << 6) + s[3]);
}

std::size_t Decode(const char* text, std::size_t size, char* out) {
  std::size_t accepted = 0;
  char group[4] = {};
  unsigned char bytes[3];
  for (; accepted < size && IsAccepted(text[accepted]); ++accepted) {
    group[accepted % 4] = text[accepted];
    if (accepted % 4 != 3) continue;
    DecodeGroup(group, bytes);
    std::memcpy(out + accepted / 4 * 3, bytes, 3);
    std::memset(group, 0, sizeof(group));
  }
  const std::size_t rest = accepted % 4;
  if (rest > 1) {
    DecodeGroup(group, bytes);
    std::memcpy(out + accepted / 4 * 3, bytes, rest - 1);
  }
  return Base64DecodedSize(accepted);
}

// A core string counts in an int.
char* BufferOf(CoreString& text, std::int64_t capacity) {
  if (capacity >= INT_MAX) throw std::length_error("Base64");
  return text.GetBuffer(static_cast<int>(capacity));
}

}  // namespace

const Base64Kernels kBase64Scalar = {EncodeGroups, Decode};

const char* Base64Alphabet() { return kAlphabet.data(); }

CoreString Base64Encode(const unsigned char* data, int len) {
  CoreString text;
  if (data == nullptr || len <= 0) return text;
  char* out = BufferOf(text, static_cast<std::int64_t>(len) + len / 3 + 20);
  const auto size = static_cast<std::size_t>(len);
  Kernels().encodeGroups(data, size, out);
  std::size_t written = size / 3 * 4;

  const std::size_t rest = size % 3;
  if (rest != 0) {
    unsigned char group[3] = {};
    std::memcpy(group, data + size - rest, rest);
    EncodeGroup(group, out + written);
    std::memset(out + written + rest + 1, kPadding, 3 - rest);
    written += 4;
  }
  text.ReleaseBuffer(static_cast<int>(written));
  return text;
}

CoreString Base64Decode(const char* text, int len) {
  CoreString data;
  if (text == nullptr || len < -1) return data;
  const std::size_t size = len == -1 ? std::strlen(text) : static_cast<std::size_t>(len);
  if (size == 0) return data;
  char* out = BufferOf(data, static_cast<std::int64_t>(size - size / 4));
  const std::size_t decoded = Kernels().decode(text, size, out);
  assert(decoded <= size - size / 4);
  data.ReleaseBuffer(static_cast<int>(decoded));
  return data;
}

}  // namespace tovkit
