// SPDX-License-Identifier: MIT
// PNG beside plain libpng: the same files are taken, with the same pixels, whether they lie in memory or come
// through a stream without a view. Checksums of chunks are put right on most inputs, so that more than these
// is looked at.
#include "picture_fields.h"
#include "png_reference.h"
#include "stream_without_view.h"

#include <tovmx/codec.h>

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{4} << 20;

std::unique_ptr<CoreDib> Decode(CoreInputStream& in) {
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImagePng);
  return decoder->Open(&in, kCoreOpenReadAhead) == 0 ? nullptr : decoder->GetBitmap(0, 0, 0);
}

// Whether zlib refuses the content of the IDAT chunks.
bool IsRefusedByZlib(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> packed;
  for (std::size_t at = 8; at + 12 <= size;) {
    const std::size_t length = fuzz::GetField(data, {at, 4, true});
    if (length > size - at - 12) break;
    if (std::memcmp(data + at + 4, "IDAT", 4) == 0)
      packed.insert(packed.end(), data + at + 8, data + at + 8 + length);
    at += 12 + length;
  }
  std::vector<std::uint8_t> pixels(kMostBytes);
  uLongf count = kMostBytes;
  return uncompress(pixels.data(), &count, packed.data(), packed.size()) == Z_DATA_ERROR;
}

// What is read from memory is unpacked by libdeflate, whose older versions take code lengths that run past
// their end, which zlib refuses. The checksum of the pixels is right then.
void ExpectSame(const CoreDib* expected, const CoreDib* got, const std::uint8_t* viewed = nullptr,
                std::size_t size = 0) {
  if (expected == nullptr && got != nullptr && viewed != nullptr && IsRefusedByZlib(viewed, size)) return;
  if ((expected == nullptr) != (got == nullptr)) __builtin_trap();
  if (expected == nullptr) return;
  if (expected->GetBitsPerPixel() != got->GetBitsPerPixel() || expected->GetWidth() != got->GetWidth() ||
      expected->GetHeight() != got->GetHeight() || expected->GetPaletteSize() != got->GetPaletteSize() ||
      expected->GetDpiX() != got->GetDpiX() || expected->GetDpiY() != got->GetDpiY())
    __builtin_trap();
  if (std::memcmp(expected->GetBuffer(), got->GetBuffer(), got->GetBufferSize()) != 0) __builtin_trap();
  for (int i = 0; i < got->GetPaletteSize(); ++i) {
    if (expected->GetPaletteEntry(i) != got->GetPaletteEntry(i) ||
        expected->GetPaletteAlpha(i) != got->GetPaletteAlpha(i))
      __builtin_trap();
  }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
  size = LLVMFuzzerMutate(data, size, most);
  if (seed % 8 != 0 && size > 8) fuzz::PutPngChecksumsRight(data, size);
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CoreCodecRegistry::Get().SetPixelLimit(kMostBytes);
  const auto expected = ReadByLibpng(data, size, kMostBytes);
  CoreMemoryInputStream viewed(data, size);
  ExpectSame(expected.get(), Decode(viewed).get(), data, size);
  StreamWithoutView pipe(data, size);
  ExpectSame(expected.get(), Decode(pipe).get());
  return 0;
}
