// SPDX-License-Identifier: MIT
// One decoder over any bytes: whatever it returns has pixels of the depth that it told, whatever it refuses
// leaks nothing and says why, and a frame is the same after those behind it as after those before. Each
// target is this file with a format of its own. Half of the mutations make one number of the file's structure
// odd and leave the rest whole.
#include "picture_fields.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

constexpr CoreImageFormat kFormat = TOVMX_FUZZ_FORMAT;
constexpr int kMostFrames = 3;

void Require(bool holds) {
  if (!holds) __builtin_trap();
}

// Reads every byte of the frame's pixels; 0 when there is no such frame.
std::uint64_t DigestOf(CoreImageDecoder& decoder, int frame) {
  const auto bitmap = decoder.GetBitmap(frame, 0, 0);
  Require((bitmap == nullptr) == (CoreGetDecodeFailure(&decoder) != kCoreDecodeNoFailure));
  if (bitmap == nullptr) return 0;
  if (frame == 0) Require(bitmap->GetBitsPerPixel() == decoder.GetInfo().bitsPerPixel);
  std::uint64_t digest = bitmap->GetArgb(bitmap->GetWidth() - 1, bitmap->GetHeight() - 1) + 1;
  for (std::size_t at = 0; at < bitmap->GetBufferSize(); ++at) {
    digest = (digest ^ bitmap->GetBuffer()[at]) * 0x100000001B3;
  }
  return digest | 1;
}

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
    Require(mark >= 1 && mark <= 8 && in.GetPosition() == 0);
  }
  const auto decoder = registry.GetFactory().CreateDecoder(kFormat);
  if (decoder->Open(&in, kCoreOpenReadAhead) == 0) {
    Require(CoreGetDecodeFailure(decoder.get()) != kCoreDecodeNoFailure);
    return 0;
  }
  const int frames = std::min(decoder->GetInfo().frameCount, kMostFrames);
  std::array<std::uint64_t, kMostFrames> digests = {};
  const auto digest = [&digests](int frame) -> std::uint64_t& {
    return digests[static_cast<std::size_t>(frame)];
  };
  for (int i = 0; i < frames; ++i) digest(i) = DigestOf(*decoder, i);
  for (int i = frames - 2; i >= 0; --i) Require(DigestOf(*decoder, i) == digest(i));
  if (size % 16 == 0 && decoder->GetInfo().width < 4096) decoder->GetBitmap(0, 5, 0);
  return 0;
}
