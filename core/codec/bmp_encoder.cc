// SPDX-License-Identifier: MIT
// BMP: own code. The bitmap's rows are the file's, from the bottom up; alpha takes the 108-byte head of
// Windows.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint32_t kFileHead = 14;
constexpr std::uint32_t kPlainHead = 40;
constexpr std::uint32_t kAlphaHead = 108;
constexpr std::uint32_t kMasks = 3;

// Numbers in the file's order, lowest byte first.
class Head {
 public:
  void Put16(std::uint32_t value) {
    bytes_.push_back(static_cast<std::uint8_t>(value));
    bytes_.push_back(static_cast<std::uint8_t>(value >> 8));
  }
  void Put32(std::uint32_t value) {
    Put16(value & 0xffff);
    Put16(value >> 16);
  }
  void PadTo(std::size_t size) { bytes_.resize(size); }
  const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

std::uint32_t DotsPerMeter(float dpi) {
  const double dots = std::round(static_cast<double>(dpi) / 0.0254);
  return dots >= INT32_MAX ? std::uint32_t{INT32_MAX} : static_cast<std::uint32_t>(dots);
}

void PutPalette(Head& head, const CoreDib& bitmap, int count) {
  if (count == 0) return;
  const int levels = (1 << bitmap.GetBitsPerPixel()) - 1;
  for (int i = 0; i < count; ++i) {
    const auto gray = static_cast<std::uint32_t>(i * 255 / levels) * 0x010101U;
    const std::uint32_t entry = bitmap.GetPaletteSize() == 0 ? gray : bitmap.GetPaletteEntry(i);
    head.Put32((entry & 0xffU) << 16 | (entry & 0xff00U) | entry >> 16);
  }
}

class BmpEncoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    const bool alpha = bitmap.HasAlpha();
    const int bits = alpha ? 32 : bitmap.GetBitsPerPixel();
    const std::uint64_t pixels = CoreDib::BytesNeeded(bitmap.GetWidth(), bitmap.GetHeight(), bits);
    const int colors = bits > 8 ? 0 : UsedColors(bitmap);
    const std::uint32_t headSize = alpha ? kAlphaHead : kPlainHead;
    const std::uint32_t offset = kFileHead + headSize + static_cast<std::uint32_t>(colors) * 4;
    if (pixels == 0 || pixels > UINT32_MAX - offset) return false;

    Head head;
    head.Put16('B' | 'M' << 8);
    head.Put32(static_cast<std::uint32_t>(pixels) + offset);
    head.Put32(0);
    head.Put32(offset);
    head.Put32(headSize);
    head.Put32(static_cast<std::uint32_t>(bitmap.GetWidth()));
    head.Put32(static_cast<std::uint32_t>(bitmap.GetHeight()));
    head.Put16(1);
    head.Put16(static_cast<std::uint32_t>(bits));
    head.Put32(alpha ? kMasks : 0);
    head.Put32(static_cast<std::uint32_t>(pixels));
    head.Put32(DotsPerMeter(bitmap.GetDpiX()));
    head.Put32(DotsPerMeter(bitmap.GetDpiY()));
    head.Put32(static_cast<std::uint32_t>(colors));
    head.Put32(0);
    if (alpha) {
      for (const std::uint32_t mask : {0xff0000U, 0xff00U, 0xffU, 0xff000000U}) head.Put32(mask);
      head.Put32('s' << 24 | 'R' << 16 | 'G' << 8 | 'B');
      head.PadTo(kFileHead + kAlphaHead);
    }
    PutPalette(head, bitmap, colors);
    return stream.Write(head.Bytes().data(), head.Bytes().size()) && WriteRows(bitmap, alpha, stream);
  }

  // Several rows are written at a time, since a call for each takes longer than the copy.
  static bool WriteRows(const CoreDib& bitmap, bool alpha, CoreOutputStream& stream) {
    constexpr std::size_t kBlock = std::size_t{32} << 10;
    RowReader rows(bitmap, RowLayout::kBgra);
    const auto size =
        static_cast<std::size_t>(alpha ? bitmap.GetWidth() * std::int64_t{4} : bitmap.GetStride());
    std::vector<std::uint8_t> block;
    if (size < kBlock) block.reserve(kBlock);
    for (int y = bitmap.GetHeight() - 1; y >= 0; --y) {
      const std::uint8_t* const row = alpha ? rows.Row(y) : bitmap.GetRow(y);
      if (size >= kBlock) {
        if (!stream.Write(row, size)) return false;
        continue;
      }
      block.insert(block.end(), row, row + size);
      if (y > 0 && block.size() + size <= kBlock) continue;
      if (!stream.Write(block.data(), block.size())) return false;
      block.clear();
    }
    return true;
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakeBmpEncoder() { return std::make_unique<BmpEncoder>(); }

}  // namespace tovmx
