// BMP: own code. Rows of 1, 4, 8, 24 and, with alpha in its usual place, 32 bits are the bitmap's own and are
// read where they lie.
#include "codec/bmp_header.h"
#include "codec/codecs.h"
#include "codec/pixel_limit.h"
#include "io/read_rest.h"

#include <algorithm>
#include <vector>

namespace {

// The place of row number `i` of the file in the bitmap.
int RowOf(const BmpHeader& header, int i) { return header.topDown ? i : header.height - 1 - i; }

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
    if (stream.Read(bitmap.GetRow(RowOf(header, i)), stride) != stride) return false;
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
    return static_cast<std::uint8_t>((std::uint64_t{(pixel & mask_) >> shift_} * 255 + most_ / 2) / most_);
  }

 private:
  std::uint32_t mask_;
  unsigned shift_ = 0;
  std::uint32_t most_ = 0;
};

bool ReadMasked(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap) {
  const Component parts[4] = {Component(header.masks[2]), Component(header.masks[1]),
                              Component(header.masks[0]), Component(header.masks[3])};
  const auto pixelBytes = static_cast<std::size_t>(header.bits) / 8;
  const auto outBytes = static_cast<std::size_t>(bitmap.GetBitsPerPixel()) / 8;
  std::vector<std::uint8_t> row((static_cast<std::size_t>(header.width) * pixelBytes + 3) / 4 * 4);
  for (int i = 0; i < header.height; ++i) {
    if (stream.Read(row.data(), row.size()) != row.size()) return false;
    const std::uint8_t* p = row.data();
    std::uint8_t* out = bitmap.GetRow(RowOf(header, i));
    for (int x = 0; x < header.width; ++x, p += pixelBytes, out += outBytes) {
      std::uint32_t pixel = p[0] | static_cast<unsigned>(p[1]) << 8;
      if (pixelBytes == 4) pixel |= static_cast<unsigned>(p[2]) << 16 | static_cast<unsigned>(p[3]) << 24;
      for (std::size_t c = 0; c < outBytes; ++c) out[c] = parts[c].Of(pixel);
    }
  }
  return true;
}

// Runs of 4- and 8-bit pixels; what a jump passes over keeps index 0.
class RunReader {
 public:
  RunReader(const Bytes& bytes, const BmpHeader& header, CoreDib& bitmap)
      : bytes_(bytes), header_(header), bitmap_(bitmap), half_(header.bits == 4) {}

  // False when the data end before the picture does.
  bool Read() {
    for (;;) {
      if (at_ + 2 > bytes_.size) return false;
      const unsigned count = bytes_.data[at_];
      const unsigned value = bytes_.data[at_ + 1];
      at_ += 2;
      if (count != 0) {
        for (unsigned i = 0; i < count; ++i) Put(half_ && i % 2 == 0 ? value >> 4 : value);
      } else if (value == kEndOfRow) {
        x_ = 0;
        ++y_;
      } else if (value == kEndOfPicture) {
        return true;
      } else if (value == kJump) {
        if (!Jump()) return false;
      } else if (!Literal(value)) {
        return false;
      }
    }
  }

 private:
  static constexpr unsigned kEndOfRow = 0;
  static constexpr unsigned kEndOfPicture = 1;
  static constexpr unsigned kJump = 2;

  bool Jump() {
    if (at_ + 2 > bytes_.size) return false;
    x_ += bytes_.data[at_];
    y_ += bytes_.data[at_ + 1];
    at_ += 2;
    return true;
  }

  bool Literal(unsigned count) {
    const std::size_t used = half_ ? (count + 1) / 2 : count;
    const std::size_t stored = (used + 1) / 2 * 2;
    if (stored > bytes_.size - at_) return false;
    for (unsigned i = 0; i < count; ++i) {
      const unsigned byte = bytes_.data[at_ + (half_ ? i / 2 : i)];
      Put(half_ && i % 2 == 0 ? byte >> 4 : byte);
    }
    at_ += stored;
    return true;
  }

  // Stores one pixel; outside the picture it is lost.
  void Put(unsigned value) {
    const std::uint64_t x = x_++;
    if (x >= static_cast<std::uint64_t>(header_.width) || y_ >= static_cast<std::uint64_t>(header_.height))
      return;
    std::uint8_t* row = bitmap_.GetRow(RowOf(header_, static_cast<int>(y_)));
    if (!half_) {
      row[x] = static_cast<std::uint8_t>(value);
    } else {
      const unsigned shift = x % 2 == 0 ? 4 : 0;
      row[x / 2] = static_cast<std::uint8_t>((row[x / 2] & (0xf0U >> shift)) | (value & 15) << shift);
    }
  }

  Bytes bytes_;
  const BmpHeader& header_;
  CoreDib& bitmap_;
  bool half_;
  std::size_t at_ = 0;
  std::uint64_t x_ = 0;
  std::uint64_t y_ = 0;
};

class BmpDecoder final : public CoreImageDecoder {
 private:
  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    BmpHeader header;
    if (!ReadBmpHeader(stream, header)) return false;
    info.width = header.width;
    info.height = header.height;
    info.bitsPerPixel = header.BitmapBits();
    info.fileBitsPerPixel = header.bits;
    info.paletteSize = static_cast<int>(header.palette.size());
    info.frameCount = 1;
    info.dpiX = header.dpiX;
    info.dpiY = header.dpiY;
    return true;
  }

  bool ReadFrame(CoreInputStream& stream, int, CoreDib& bitmap) override {
    const std::uint64_t start = stream.GetPosition();
    BmpHeader header;
    if (!ReadBmpHeader(stream, header) || !stream.Seek(start + header.pixelOffset)) return false;
    if (!FitsPixelLimit(header.width, header.height, header.BitmapBits())) return false;
    if (!bitmap.Create(header.width, header.height, header.BitmapBits())) return false;
    bitmap.SetDpi(header.dpiX, header.dpiY);
    if (!header.palette.empty())
      bitmap.SetPalette(header.palette.data(), static_cast<int>(header.palette.size()));
    if (header.packing == BmpPacking::kRle8 || header.packing == BmpPacking::kRle4) {
      std::vector<std::uint8_t> storage;
      return RunReader(ReadRest(stream, UINT64_MAX, storage), header, bitmap).Read();
    }
    return RowsFitBitmap(header) ? ReadInPlace(stream, header, bitmap) : ReadMasked(stream, header, bitmap);
  }
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeBmpDecoder() { return std::make_unique<BmpDecoder>(); }
