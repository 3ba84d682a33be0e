// SPDX-License-Identifier: MIT
// BMP: own code. Rows of 1, 4, 8, 24 and, with alpha in its usual place, 32 bits are the bitmap's own and are
// read where they lie.
#include "codec/bmp_header.h"
#include "codec/bmp_runs.h"
#include "codec/codecs.h"
#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <cassert>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

// Of other pixels than those of 2 bits.
bool RowsFitBitmap(const BmpHeader& header) {
  if (header.bits <= 8 || header.bits == 24) return true;
  return header.bits == 32 && header.masks[0] == 0xff0000 && header.masks[1] == 0xff00 &&
         header.masks[2] == 0xff && header.masks[3] == 0xff000000;
}

bool ReadInPlace(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap) {
  if (header.topDown)
    return stream.Read(bitmap.GetBuffer(), bitmap.GetBufferSize()) == bitmap.GetBufferSize();
  const auto stride = static_cast<std::size_t>(bitmap.GetStride());
  for (int i = 0; i < header.height; ++i) {
    if (stream.Read(bitmap.GetRow(header.RowOf(i)), stride) != stride) return false;
  }
  return true;
}

// One component of a packed pixel, brought to 8 bits.
class Component {
 public:
  explicit Component(std::uint32_t mask) : mask_(mask) {
    while (mask != 0 && (mask & 1) == 0) mask >>= 1, ++shift_;
    most_ = mask;
  }
  std::uint8_t Of(std::uint32_t pixel) const {
    if (most_ == 0) return 0;
    return ByteOfSample((pixel & mask_) >> shift_, most_);
  }

 private:
  std::uint32_t mask_;
  unsigned shift_ = 0;
  std::uint32_t most_ = 0;
};

bool ReadMasked(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap) {
  const Component parts[4] = {Component(header.masks[2]), Component(header.masks[1]),
                              Component(header.masks[0]), Component(header.masks[3])};
  assert(header.bits == 16 || header.bits == 32);
  const auto pixelBytes = static_cast<std::size_t>(header.bits) / 8;
  const auto outBytes = static_cast<std::size_t>(bitmap.GetBitsPerPixel()) / 8;
  std::vector<std::uint8_t> row((static_cast<std::size_t>(header.width) * pixelBytes + 3) / 4 * 4);
  for (int i = 0; i < header.height; ++i) {
    if (stream.Read(row.data(), row.size()) != row.size()) return false;
    const std::uint8_t* p = row.data();
    std::uint8_t* out = bitmap.GetRow(header.RowOf(i));
    for (int x = 0; x < header.width; ++x, p += pixelBytes, out += outBytes) {
      std::uint32_t pixel = p[0] | static_cast<unsigned>(p[1]) << 8;
      if (pixelBytes == 4) pixel |= static_cast<unsigned>(p[2]) << 16 | static_cast<unsigned>(p[3]) << 24;
      for (std::size_t c = 0; c < outBytes; ++c) out[c] = parts[c].Of(pixel);
    }
  }
  return true;
}

// Indices of 2 bits get a byte each, and without a palette its range.
bool ReadTwoBits(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap) {
  const unsigned step = header.palette.empty() ? 255 / 3 : 1;
  std::vector<std::uint8_t> row((static_cast<std::size_t>(header.width) + 15) / 16 * 4);
  for (int i = 0; i < header.height; ++i) {
    if (stream.Read(row.data(), row.size()) != row.size()) return false;
    std::uint8_t* out = bitmap.GetRow(header.RowOf(i));
    for (std::size_t x = 0; x < static_cast<std::size_t>(header.width); ++x)
      out[x] = static_cast<std::uint8_t>(PackedIndex(row.data(), x, 2) * step);
  }
  return true;
}

class BmpDecoder final : public FormatDecoder {
 public:
  BmpDecoder() : FormatDecoder(kCoreImageBmp) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    start_ = stream.GetPosition();
    BmpHeader header;
    if (!ReadBmpHeader(stream, header, Reason())) return false;
    info.width = header.width;
    info.height = header.height;
    info.bitsPerPixel = header.BitmapBits();
    info.fileBitsPerPixel = header.bits;
    info.paletteSize = static_cast<int>(header.palette.size());
    info.frameCount = 1;
    info.dpiX = header.dpiX;
    info.dpiY = header.dpiY;
    header_ = std::move(header);
    return true;
  }

  bool ReadFrame(CoreInputStream& stream, int, CoreDib& bitmap) override {
    const BmpHeader& header = header_;
    if (!stream.Seek(start_ + header.pixelOffset)) return false;
    if (!Reason().Create(bitmap, header.width, header.height, header.BitmapBits())) return false;
    bitmap.SetDpi(header.dpiX, header.dpiY);
    if (!header.palette.empty())
      bitmap.SetPalette(header.palette.data(), static_cast<int>(header.palette.size()));
    if (header.HasRuns()) return ReadBmpRuns(stream, header, bitmap);
    if (header.bits == 2) return ReadTwoBits(stream, header, bitmap);
    return RowsFitBitmap(header) ? ReadInPlace(stream, header, bitmap) : ReadMasked(stream, header, bitmap);
  }

  std::uint64_t start_ = 0;
  BmpHeader header_;
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeBmpDecoder() { return std::make_unique<BmpDecoder>(); }

}  // namespace tovmx
