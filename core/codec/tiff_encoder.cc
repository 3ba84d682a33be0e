// SPDX-License-Identifier: MIT
// TIFF, written by libtiff: CCITT group 4 for one bit, LZW with the horizontal predictor otherwise.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"
#include "codec/tiff_file.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint64_t kMostClassicBytes = std::uint64_t{3} << 30;  // leaves room for what does not compress
constexpr int kStripBytes = 65536;

// What one bitmap becomes.
struct Shape {
  std::uint16_t photometric = PHOTOMETRIC_RGB;
  std::uint16_t bits = 8;
  std::uint16_t samples = 1;
  bool inverted = false;  // the file holds the complement of the pixels
};

bool IsBlackAndWhite(const CoreDib& bitmap, std::uint32_t first, std::uint32_t second) {
  return bitmap.GetPaletteSize() == 2 && bitmap.GetPaletteEntry(0) == first &&
         bitmap.GetPaletteEntry(1) == second;
}

Shape ShapeOf(const CoreDib& bitmap) {
  if (bitmap.HasAlpha()) return {PHOTOMETRIC_RGB, 8, 4, false};
  const int bits = bitmap.GetBitsPerPixel();
  if (bits == 24) return {PHOTOMETRIC_RGB, 8, 3, false};
  const auto depth = static_cast<std::uint16_t>(bits);
  if (bits == 1) {
    // Fax readers expect paper to be 0, whatever the bitmap counts as white.
    if (bitmap.GetPaletteSize() == 0 || IsBlackAndWhite(bitmap, 0, 0xffffff))
      return {PHOTOMETRIC_MINISWHITE, depth, 1, true};
    if (IsBlackAndWhite(bitmap, 0xffffff, 0)) return {PHOTOMETRIC_MINISWHITE, depth, 1, false};
  }
  const bool gray = bitmap.GetPaletteSize() == 0;
  return {static_cast<std::uint16_t>(gray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_PALETTE), depth, 1, false};
}

void SetColorMap(TIFF* tiff, const CoreDib& bitmap) {
  std::uint16_t map[3][256] = {};
  for (int i = 0; i < bitmap.GetPaletteSize(); ++i) {
    for (int c = 0; c < 3; ++c)
      map[c][i] = static_cast<std::uint16_t>((bitmap.GetPaletteEntry(i) >> (8 * c) & 0xffU) * 257);
  }
  TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0], map[1], map[2]);
}

std::uint64_t PixelBytes(const CoreDib& bitmap, const Shape& shape) {
  return CoreDib::BytesNeeded(bitmap.GetWidth(), bitmap.GetHeight(), shape.bits * shape.samples);
}

void Describe(TIFF* tiff, const CoreDib& bitmap, const Shape& shape) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(bitmap.GetWidth()));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(bitmap.GetHeight()));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, shape.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, shape.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, shape.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  if (shape.samples == 4) {
    const std::uint16_t straight = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &straight);
  }
  if (shape.photometric == PHOTOMETRIC_PALETTE) SetColorMap(tiff, bitmap);
  if (bitmap.GetDpiX() > 0 && bitmap.GetDpiY() > 0) {
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, bitmap.GetDpiX());
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, bitmap.GetDpiY());
  }
  int rowsPerStrip = bitmap.GetHeight();
  if (shape.bits == 1) {
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
  } else {
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    if (shape.bits == 8 && shape.photometric != PHOTOMETRIC_PALETTE)
      TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    rowsPerStrip = std::clamp(kStripBytes / bitmap.GetStride(), 1, rowsPerStrip);
  }
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rowsPerStrip));
}

bool WriteRows(TIFF* tiff, const CoreDib& bitmap, const Shape& shape) {
  RowReader rows(bitmap, shape.samples == 4 ? RowLayout::kRgba : RowLayout::kRgb);
  const auto size = static_cast<std::size_t>(TIFFScanlineSize(tiff));
  std::vector<std::uint8_t> row(size);  // the library's predictor changes the row that it is given
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    std::memcpy(row.data(), shape.samples == 1 ? bitmap.GetRow(y) : rows.Row(y), size);
    if (shape.inverted) {
      for (std::uint8_t& byte : row) byte = static_cast<std::uint8_t>(~byte);
    }
    if (TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0) < 0) return false;
  }
  return true;
}

// Adds the directory that is being described.
bool WriteDirectory(TIFF* tiff, const CoreDib& bitmap, const Shape& shape) {
  Describe(tiff, bitmap, shape);
  return WriteRows(tiff, bitmap, shape) && TIFFWriteDirectory(tiff) != 0;
}

class TiffEncoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    const Shape shape = ShapeOf(bitmap);
    SeekableBuffer buffer;
    {
      const TiffHandle tiff = CreateTiff(buffer, PixelBytes(bitmap, shape) > kMostClassicBytes);
      if (tiff == nullptr || !WriteDirectory(tiff.get(), bitmap, shape)) return false;
    }
    return stream.Write(buffer.GetData(), static_cast<std::size_t>(buffer.GetSize()));
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakeTiffEncoder() { return std::make_unique<TiffEncoder>(); }

// The library's own text is "LIBTIFF, Version 4.5.0" and a copyright notice on the lines below.
CoreString DescribeTiffBackend() {
  const char* text = TIFFGetVersion();
  const char* version = std::strstr(text, "Version ");
  version = version == nullptr ? text : version + 8;
  CoreString line("libtiff ");
  return line += CoreString(version, static_cast<int>(std::strcspn(version, "\n")));
}

}  // namespace tovmx

struct CoreTiffPages::State {
  tovmx::SeekableBuffer buffer;
  tovmx::TiffHandle tiff;  // null once it failed or was written
  bool empty = true;
};

CoreTiffPages::CoreTiffPages(std::uint64_t pixelBytes) : state_(std::make_unique<State>()) {
  state_->tiff = tovmx::CreateTiff(state_->buffer, pixelBytes > tovmx::kMostClassicBytes);
}

CoreTiffPages::~CoreTiffPages() = default;

bool CoreTiffPages::Add(const CoreDib* bitmap) {
  if (state_->tiff == nullptr || bitmap == nullptr || bitmap->GetBuffer() == nullptr) return false;
  TIFFSetField(state_->tiff.get(), TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
  state_->empty = false;
  if (tovmx::WriteDirectory(state_->tiff.get(), *bitmap, tovmx::ShapeOf(*bitmap))) return true;
  state_->tiff.reset();
  return false;
}

bool CoreTiffPages::Write(CoreOutputStream* stream) {
  if (state_->tiff == nullptr || state_->empty || stream == nullptr) return false;
  state_->tiff.reset();
  return stream->Write(state_->buffer.GetData(), static_cast<std::size_t>(state_->buffer.GetSize()));
}
