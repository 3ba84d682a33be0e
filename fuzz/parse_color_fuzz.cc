// SPDX-License-Identifier: MIT
// ParseColor over any text, held to what can be said of every result.
#include <tovkit/imaging.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  constexpr std::uint32_t kUntouched = 0x5A5A5A5A;
  std::uint32_t color = kUntouched;
  std::uint32_t kind = kUntouched;
  const bool parsed = tovkit::ParseColor(text.c_str(), color, kind);
  if (parsed ? kind < 1 || kind > 3 : color != kUntouched || kind != kUntouched) std::abort();
  return 0;
}
