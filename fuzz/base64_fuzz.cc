// SPDX-License-Identifier: MIT
// Base64 against the plain rules, and there and back.
#include <tovkit/util.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int ValueOf(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

std::string DecodedBitByBit(const std::string& text) {
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char c : text) {
    const int value = ValueOf(c);
    if (value < 0) break;
    bits = bits << 6 | static_cast<unsigned>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count);
  }
  return bytes;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const CoreString decoded = tovkit::Base64Decode(text.data(), static_cast<int>(size));
  Require(std::string(decoded.c_str(), static_cast<std::size_t>(decoded.GetLength())) ==
          DecodedBitByBit(text));

  const CoreString encoded = tovkit::Base64Encode(data, static_cast<int>(size));
  const CoreString back = tovkit::Base64Decode(encoded.c_str(), -1);
  Require(static_cast<std::size_t>(back.GetLength()) == size);
  Require(size == 0 || std::memcmp(back.c_str(), data, size) == 0);
  return 0;
}
