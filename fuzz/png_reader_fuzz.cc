// SPDX-License-Identifier: MIT
// PNG beside plain libpng: the same files are taken, with the same pixels, whether they lie in memory or come
// through a stream without a view. Checksums of chunks are put right on most inputs, so that more than these
// is looked at.
#include "png_reference.h"

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

void PutWord(std::uint8_t* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

std::uint32_t WordAt(const std::uint8_t* at) {
  return static_cast<std::uint32_t>(at[0]) << 24 | static_cast<std::uint32_t>(at[1]) << 16 |
         static_cast<std::uint32_t>(at[2]) << 8 | at[3];
}

void PutChecksumsRight(std::uint8_t* data, std::size_t size) {
  for (std::size_t at = 8; size - at >= 12 && at < size;) {
    const std::size_t content = WordAt(data + at);
    if (content > size - at - 12) return;
    PutWord(data + at + 8 + content,
            static_cast<std::uint32_t>(crc32(0, data + at + 4, static_cast<uInt>(content + 4))));
    at += content + 12;
  }
}

std::unique_ptr<CoreDib> Decode(CoreInputStream& in) {
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImagePng);
  return decoder->Open(&in, kCoreOpenReadAhead) == 0 ? nullptr : decoder->GetBitmap(0, 0, 0);
}

// A stream without a view.
class Pipe final : public CoreInputStream {
 public:
  Pipe(const std::uint8_t* data, std::size_t size) : in_(data, size) {}
  std::size_t Read(void* to, std::size_t size) override { return in_.Read(to, size); }
  bool Seek(std::uint64_t position) override { return in_.Seek(position); }
  std::uint64_t GetPosition() const override { return in_.GetPosition(); }
  std::uint64_t GetSize() const override { return in_.GetSize(); }

 private:
  CoreMemoryInputStream in_;
};

void ExpectSame(const CoreDib* expected, const CoreDib* got) {
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
  if (seed % 8 != 0 && size > 8) PutChecksumsRight(data, size);
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CoreCodecRegistry::Get().SetPixelLimit(kMostBytes);
  const auto expected = ReadByLibpng(data, size, kMostBytes);
  CoreMemoryInputStream viewed(data, size);
  ExpectSame(expected.get(), Decode(viewed).get());
  Pipe pipe(data, size);
  ExpectSame(expected.get(), Decode(pipe).get());
  return 0;
}
