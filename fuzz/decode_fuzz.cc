// SPDX-License-Identifier: MIT
// One decoder over any bytes: whatever it returns has pixels of the depth that it told, whatever it refuses
// leaks nothing. Each target is this file with a format of its own. Half of the mutations make one number of
// the file's structure odd and leave the rest whole.
#include "picture_fields.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

constexpr CoreImageFormat kFormat = TOVMX_FUZZ_FORMAT;

std::uint32_t OddValue(std::uint32_t value, std::minstd_rand& random) {
  constexpr std::uint32_t kOdd[] = {0,       1,          2,          3,         4,      8,
                                    0x7F,    0x80,       0xFF,       0x7FFF,    0x8000, 0xFFFF,
                                    0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  switch (random() % 5) {
    case 0:
      return value + 1;
    case 1:
      return value - 1;
    case 2:
      return value ^ 1u << random() % 32;
    case 3:
      return static_cast<std::uint32_t>(random());
    default:
      return kOdd[random() % std::size(kOdd)];
  }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
  std::minstd_rand random(seed);
  const std::vector<fuzz::Field> fields = fuzz::PictureFields(kFormat, data, size);
  if (fields.empty() || random() % 2 == 0) {
    size = LLVMFuzzerMutate(data, size, most);
  } else {
    const fuzz::Field& field = fields[random() % fields.size()];
    fuzz::PutField(data, field, OddValue(fuzz::GetField(data, field), random));
  }
  if (kFormat == kCoreImagePng && random() % 8 != 0) fuzz::PutPngChecksumsRight(data, size);
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  registry.SetPixelLimit(std::uint64_t{4} << 20);
  CoreMemoryInputStream in(data, size);
  CoreDetectImageFormat(&in);
  for (const int frame : {0, 3}) {
    const int mark = CoreReadOrientation(&in, frame);
    if (mark < 1 || mark > 8 || in.GetPosition() != 0) __builtin_trap();
  }
  const auto decoder = registry.GetFactory().CreateDecoder(kFormat);
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
