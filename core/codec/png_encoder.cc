// SPDX-License-Identifier: MIT
// PNG, put together here around rows that are compressed in one piece. Pictures that are too large for
// that are written row by row by libpng.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"
#include "codec/deflate.h"
#include "codec/effort_encoder.h"
#include "codec/png_filter.h"
#include "codec/png_rows.h"
#include "codec/png_session.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tovmx {

namespace {

constexpr double kInchesPerMeter = 1 / 0.0254;

// The filtered rows and what they are compressed to are held beside the bitmap; from here on libpng, which
// holds a few rows, is the better choice.
constexpr std::uint64_t kMostAtOnce = std::uint64_t{1} << 29;

// Readers that take a file in pieces need not wait for the whole picture.
constexpr std::size_t kMostInChunk = std::size_t{1} << 20;

struct Palette {
  std::array<png_color, 256> colors;
  std::array<png_byte, 256> alpha;
  int size = 0;
  int alphaSize = 0;  // up to the last one that is not opaque
};

Palette PaletteOf(const CoreDib& bitmap) {
  Palette palette{};
  if (bitmap.GetPaletteSize() > 0) palette.size = UsedColors(bitmap);
  for (int i = 0; i < palette.size; ++i) {
    const std::uint32_t entry = bitmap.GetPaletteEntry(i);
    const auto at = static_cast<std::size_t>(i);
    palette.colors[at] = {static_cast<png_byte>(entry), static_cast<png_byte>(entry >> 8),
                          static_cast<png_byte>(entry >> 16)};
    palette.alpha[at] = bitmap.GetPaletteAlpha(i);
    if (palette.alpha[at] != 255) palette.alphaSize = i + 1;
  }
  return palette;
}

int ColorTypeOf(const CoreDib& bitmap) {
  if (bitmap.GetBitsPerPixel() == 32) return PNG_COLOR_TYPE_RGB_ALPHA;
  if (bitmap.GetBitsPerPixel() == 24) return PNG_COLOR_TYPE_RGB;
  return bitmap.GetPaletteSize() > 0 ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_GRAY;
}

int SampleBits(const CoreDib& bitmap) { return std::min(bitmap.GetBitsPerPixel(), 8); }

png_uint_32 DotsPerMeter(float dpi) {
  const double dots = std::round(static_cast<double>(dpi) * kInchesPerMeter);
  return dots >= PNG_UINT_31_MAX ? PNG_UINT_31_MAX : static_cast<png_uint_32>(dots);
}

bool HasResolution(const CoreDib& bitmap) { return bitmap.GetDpiX() > 0 && bitmap.GetDpiY() > 0; }

// ---- In one piece

using Word = std::array<std::uint8_t, 4>;

Word BigEndian(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

//     | size | type | content | CRC-32 of type and content |
bool WriteChunk(CoreOutputStream& stream, const char* type, const std::uint8_t* content, std::size_t size) {
  std::array<std::uint8_t, 8> head;
  const Word length = BigEndian(static_cast<std::uint32_t>(size));
  std::copy(length.begin(), length.end(), head.begin());
  std::copy_n(type, 4, head.begin() + 4);
  std::uint32_t sum = libdeflate_crc32(0, head.data() + 4, 4);
  if (size != 0) sum = libdeflate_crc32(sum, content, size);
  const Word tail = BigEndian(sum);
  return stream.Write(head.data(), head.size()) && (size == 0 || stream.Write(content, size)) &&
         stream.Write(tail.data(), tail.size());
}

bool WriteHead(CoreOutputStream& stream, const CoreDib& bitmap) {
  constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  std::array<std::uint8_t, 13> head = {};  // no interlacing, and the one compression and filtering there is
  const Word width = BigEndian(static_cast<std::uint32_t>(bitmap.GetWidth()));
  const Word height = BigEndian(static_cast<std::uint32_t>(bitmap.GetHeight()));
  std::copy(width.begin(), width.end(), head.begin());
  std::copy(height.begin(), height.end(), head.begin() + 4);
  head[8] = static_cast<std::uint8_t>(SampleBits(bitmap));
  head[9] = static_cast<std::uint8_t>(ColorTypeOf(bitmap));
  return stream.Write(kSignature.data(), kSignature.size()) &&
         WriteChunk(stream, "IHDR", head.data(), head.size());
}

bool WritePalette(CoreOutputStream& stream, const Palette& palette) {
  if (palette.size == 0) return true;
  std::array<std::uint8_t, std::size_t{3} * 256> colors;
  auto* out = colors.data();
  for (int i = 0; i < palette.size; ++i) {
    const png_color& color = palette.colors[static_cast<std::size_t>(i)];
    *out++ = color.red;
    *out++ = color.green;
    *out++ = color.blue;
  }
  if (!WriteChunk(stream, "PLTE", colors.data(), static_cast<std::size_t>(out - colors.data()))) return false;
  return palette.alphaSize == 0 ||
         WriteChunk(stream, "tRNS", palette.alpha.data(), static_cast<std::size_t>(palette.alphaSize));
}

bool WriteResolution(CoreOutputStream& stream, const CoreDib& bitmap) {
  if (!HasResolution(bitmap)) return true;
  std::array<std::uint8_t, 9> content;
  const Word x = BigEndian(DotsPerMeter(bitmap.GetDpiX()));
  const Word y = BigEndian(DotsPerMeter(bitmap.GetDpiY()));
  std::copy(x.begin(), x.end(), content.begin());
  std::copy(y.begin(), y.end(), content.begin() + 4);
  content[8] = PNG_RESOLUTION_METER;
  return WriteChunk(stream, "pHYs", content.data(), content.size());
}

// The compressed rows; without bytes when memory is short.
Deflated CompressRows(const CoreDib& bitmap, std::size_t size, int effort) {
  PngRowFilter filter(bitmap, ChooseFiltering(bitmap));
  const ByteBlock rows = AllocateBytes(size + kPngRowSlack);
  if (rows == nullptr) return {};
  filter.Filter(0, bitmap.GetHeight(), rows.get());
  // In indices there is little to find but matches, so they are looked for longer.
  return Deflate(rows.get(), size, bitmap.GetPaletteSize() > 0 ? effort + 1 : effort);
}

bool WriteInOnePiece(CoreOutputStream& stream, const CoreDib& bitmap, const Palette& palette,
                     std::size_t size, int effort) {
  const Deflated pixels = CompressRows(bitmap, size, effort);
  if (pixels.bytes == nullptr) return false;
  if (!WriteHead(stream, bitmap) || !WritePalette(stream, palette) || !WriteResolution(stream, bitmap))
    return false;
  for (std::size_t i = 0; i < pixels.size; i += kMostInChunk) {
    if (!WriteChunk(stream, "IDAT", pixels.bytes.get() + i, std::min(kMostInChunk, pixels.size - i)))
      return false;
  }
  return WriteChunk(stream, "IEND", nullptr, 0);
}

// ---- Row by row

bool WriteByRows(CoreOutputStream& stream, const CoreDib& bitmap, const Palette& palette, int effort) {
  PngWriteSession session(stream);
  return session.Run([&](png_structp png, png_infop info) {
    // The library's own bound of a million pixels a side is none of ours.
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_compression_level(png, std::min(effort + 1, 9));
    png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.GetWidth()),
                 static_cast<png_uint_32>(bitmap.GetHeight()), SampleBits(bitmap), ColorTypeOf(bitmap),
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (palette.size > 0) png_set_PLTE(png, info, palette.colors.data(), palette.size);
    if (palette.alphaSize > 0) png_set_tRNS(png, info, palette.alpha.data(), palette.alphaSize, nullptr);
    if (HasResolution(bitmap)) {
      png_set_pHYs(png, info, DotsPerMeter(bitmap.GetDpiX()), DotsPerMeter(bitmap.GetDpiY()),
                   PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
    if (bitmap.GetBitsPerPixel() >= 24) png_set_bgr(png);
    for (int y = 0; y < bitmap.GetHeight(); ++y) png_write_row(png, bitmap.GetRow(y));
    png_write_end(png, info);
  });
}

class PngEncoder final : public EffortEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    const Palette palette = PaletteOf(bitmap);
    const std::uint64_t size =
        PngRowFilter::FilteredRowBytes(bitmap) * static_cast<std::uint64_t>(bitmap.GetHeight());
    if (size > kMostAtOnce) return WriteByRows(stream, bitmap, palette, effort_);
    return WriteInOnePiece(stream, bitmap, palette, static_cast<std::size_t>(size), effort_);
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakePngEncoder() { return std::make_unique<PngEncoder>(); }

CoreString DescribePngBackend() {
  CoreString text("libpng ");
  return text += png_get_libpng_ver(nullptr);
}

}  // namespace tovmx
