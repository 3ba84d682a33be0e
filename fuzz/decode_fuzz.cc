// SPDX-License-Identifier: MIT
// One decoder over any bytes: whatever it returns has pixels of the depth that it told, whatever it refuses
// leaks nothing. Each target is this file with a format of its own.
#include <tovmx/codec.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  registry.SetPixelLimit(std::uint64_t{4} << 20);
  CoreMemoryInputStream in(data, size);
  CoreDetectImageFormat(&in);
  for (const int frame : {0, 3}) {
    const int mark = CoreReadOrientation(&in, frame);
    if (mark < 1 || mark > 8 || in.GetPosition() != 0) __builtin_trap();
  }
  const auto decoder = registry.GetFactory().CreateDecoder(TOVMX_FUZZ_FORMAT);
  if (decoder->Open(&in, kCoreOpenReadAhead) == 0) return 0;
  const int frames = std::min(decoder->GetInfo().frameCount, 3);
  std::uint32_t sum = 0;
  for (int i = 0; i < frames; ++i) {
    const auto bitmap = decoder->GetBitmap(i, 0, 0);
    if (bitmap == nullptr) continue;
    if (i == 0 && bitmap->GetBitsPerPixel() != decoder->GetInfo().bitsPerPixel) __builtin_trap();
    for (std::size_t at = 0; at < bitmap->GetBufferSize(); ++at) sum += bitmap->GetBuffer()[at];
    sum += bitmap->GetArgb(bitmap->GetWidth() - 1, bitmap->GetHeight() - 1);
  }
  if (size % 16 == 0 && decoder->GetInfo().width < 4096) decoder->GetBitmap(0, 5, 0);
  static volatile std::uint32_t keep;  // so that the reads above are not left out
  keep = sum;
  return keep == sum ? 0 : -1;
}
