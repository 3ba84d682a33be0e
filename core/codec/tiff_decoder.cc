// SPDX-License-Identifier: MIT
// TIFF, read by libtiff: rows go straight into the bitmap where its form allows it.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/tiff_file.h"
#include "codec/tiff_layout.h"
#include "codec/tiff_samples.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

float Dpi(TIFF* tiff, std::uint32_t tag) {
  float value = 0;
  std::uint16_t unit = RESUNIT_INCH;
  if (TIFFGetField(tiff, tag, &value) == 0) return 0;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (unit == RESUNIT_NONE) return 0;
  return unit == RESUNIT_CENTIMETER ? value * 2.54f : value;
}

bool ReadInPlace(TIFF* tiff, const TiffLayout& layout, CoreDib& bitmap) {
  for (int y = 0; y < layout.height; ++y) {
    std::uint8_t* row = bitmap.GetRow(y);
    if (TIFFReadScanline(tiff, row, static_cast<std::uint32_t>(y), 0) < 0) return false;
    StoreTiffSpan(layout, row, 0, bitmap, 0, y, layout.width);
  }
  return true;
}

// Stores spans of samples as the file has them.
class Spans {
 public:
  // Spans of up to `most` pixels.
  Spans(const TiffLayout& layout, int most, CoreDib& bitmap)
      : layout_(layout), stored_(layout.narrow ? layout.Narrowed() : layout), bitmap_(bitmap) {
    narrowed_.resize(ExtraBytes(layout, most));
  }

  // What they hold besides the bitmap.
  static std::size_t ExtraBytes(const TiffLayout& layout, int most) {
    return layout.narrow ? layout.Narrowed().RowBytes(most) : 0;
  }

  void Store(const std::uint8_t* from, int plane, int x, int y, int count) {
    if (layout_.narrow) {
      NarrowTiffSamples(layout_, from, stored_.RowBytes(count), narrowed_.data());
      from = narrowed_.data();
    }
    StoreTiffSpan(stored_, from, plane, bitmap_, x, y, count);
  }

 private:
  const TiffLayout& layout_;
  TiffLayout stored_;
  CoreDib& bitmap_;
  std::vector<std::uint8_t> narrowed_;
};

// How many planes are read, one after the other.
int PlanesOf(const TiffLayout& layout) { return layout.separate ? layout.samples : 1; }

bool ReadRows(TIFF* tiff, const TiffLayout& layout, CoreDib& bitmap, DecodeReason& reason) {
  const auto rowBytes = static_cast<std::uint64_t>(std::max<tmsize_t>(0, TIFFScanlineSize(tiff)));
  if (rowBytes < layout.RowBytes(layout.width)) return false;
  // A pixel may claim thousands of samples, so one row may claim more than the whole bitmap.
  if (!reason.Fits(layout.width, layout.height, layout.BitmapBits(),
                   rowBytes + Spans::ExtraBytes(layout, layout.width)))
    return false;
  Spans spans(layout, layout.width, bitmap);
  std::vector<std::uint8_t> row(static_cast<std::size_t>(rowBytes));
  for (int plane = 0; plane < PlanesOf(layout); ++plane) {
    for (int y = 0; y < layout.height; ++y) {
      if (TIFFReadScanline(tiff, row.data(), static_cast<std::uint32_t>(y),
                           static_cast<std::uint16_t>(plane)) < 0)
        return false;
      spans.Store(row.data(), plane, 0, y, layout.width);
    }
  }
  return true;
}

// How many rows are read at once, a strip of them; 0 when rows are read one by one. A run of PackBits may go
// on in the next row, though it should not: row by row the library loses what is behind. Strips beyond the
// limit are read by row all the same.
std::uint32_t RowsOfWholeStrips(TIFF* tiff, const TiffLayout& layout) {
  std::uint16_t compression = COMPRESSION_NONE;
  std::uint32_t rows = 0;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rows);
  rows = std::min(rows, static_cast<std::uint32_t>(layout.height));
  const auto rowBytes = static_cast<std::uint64_t>(std::max<tmsize_t>(0, TIFFScanlineSize(tiff)));
  if (compression != COMPRESSION_PACKBITS || rows == 0 || rowBytes > PixelLimit() / rows) return 0;
  const bool fits = FitsPixelLimit(layout.width, layout.height, layout.BitmapBits(),
                                   rowBytes * rows + Spans::ExtraBytes(layout, layout.width));
  return fits ? rows : 0;
}

bool ReadStrips(TIFF* tiff, const TiffLayout& layout, std::uint32_t stripRows, CoreDib& bitmap) {
  const auto height = static_cast<std::uint32_t>(layout.height);
  const auto rowBytes = static_cast<std::size_t>(TIFFScanlineSize(tiff));
  if (rowBytes < layout.RowBytes(layout.width)) return false;
  Spans spans(layout, layout.width, bitmap);
  std::vector<std::uint8_t> strip(rowBytes * stripRows);
  for (int plane = 0; plane < PlanesOf(layout); ++plane) {
    for (std::uint32_t top = 0; top < height; top += stripRows) {
      const std::uint32_t rows = std::min(stripRows, height - top);
      const std::uint32_t number = TIFFComputeStrip(tiff, top, static_cast<std::uint16_t>(plane));
      if (TIFFReadEncodedStrip(tiff, number, strip.data(), static_cast<tmsize_t>(rowBytes * rows)) < 0)
        return false;
      for (std::uint32_t y = 0; y < rows; ++y)
        spans.Store(strip.data() + y * rowBytes, plane, 0, static_cast<int>(top + y), layout.width);
    }
  }
  return true;
}

bool ReadTiles(TIFF* tiff, const TiffLayout& layout, CoreDib& bitmap, DecodeReason& reason) {
  std::uint32_t tileWidth = 0;
  std::uint32_t tileHeight = 0;
  TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth);
  TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight);
  if (tileWidth == 0 || tileHeight == 0 || tileWidth % 8 != 0 || tileWidth > INT_MAX || tileHeight > INT_MAX)
    return false;
  const tmsize_t tileBytes = TIFFTileSize(tiff);
  const std::size_t rowBytes = layout.RowBytes(static_cast<int>(tileWidth));
  if (tileBytes <= 0 || static_cast<std::size_t>(tileBytes) / tileHeight < rowBytes) return false;
  const int most = static_cast<int>(tileWidth);
  if (!reason.Fits(layout.width, layout.height, layout.BitmapBits(),
                   static_cast<std::uint64_t>(tileBytes) + Spans::ExtraBytes(layout, most)))
    return false;
  Spans spans(layout, most, bitmap);
  std::vector<std::uint8_t> tile(static_cast<std::size_t>(tileBytes));
  for (int plane = 0; plane < PlanesOf(layout); ++plane) {
    for (std::int64_t top = 0; top < layout.height; top += tileHeight) {
      for (std::int64_t left = 0; left < layout.width; left += tileWidth) {
        if (TIFFReadTile(tiff, tile.data(), static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top),
                         0, static_cast<std::uint16_t>(plane)) < 0)
          return false;
        const int columns = static_cast<int>(std::min<std::int64_t>(tileWidth, layout.width - left));
        const int rows = static_cast<int>(std::min<std::int64_t>(tileHeight, layout.height - top));
        for (int y = 0; y < rows; ++y)
          spans.Store(tile.data() + static_cast<std::size_t>(y) * rowBytes, plane, static_cast<int>(left),
                      static_cast<int>(top) + y, columns);
      }
    }
  }
  return true;
}

// What the samples are when they are not whole numbers without a sign, for a message.
const char* KindOfSamples(TIFF* tiff) {
  std::uint16_t format = SAMPLEFORMAT_UINT;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
  switch (format) {
    case SAMPLEFORMAT_INT:
      return "signed ";
    case SAMPLEFORMAT_IEEEFP:
      return "floating-point ";
    case SAMPLEFORMAT_COMPLEXINT:
    case SAMPLEFORMAT_COMPLEXIEEEFP:
      return "complex ";
    default:
      return "";
  }
}

// Everything else (YCbCr, Lab, signed samples) as the library sees it: premultiplied RGBA, top row first.
bool ReadOther(TIFF* tiff, const TiffLayout& layout, CoreDib& bitmap, DecodeReason& reason) {
  char message[1024] = "";
  TIFFRGBAImage image;
  if (TIFFRGBAImageOK(tiff, message) == 0 || TIFFRGBAImageBegin(&image, tiff, 1, message) == 0) {
    if (std::strstr(message, "Missing") != nullptr) return false;
    return reason.Unsupported("TIFF with %d %ssamples of %d bits, photometric interpretation %u",
                              layout.samples, KindOfSamples(tiff), layout.bits, layout.photometric);
  }
  image.req_orientation = image.orientation;  // rows as they are stored
  auto* pixels = reinterpret_cast<std::uint32_t*>(bitmap.GetBuffer());
  const bool read = TIFFRGBAImageGet(&image, pixels, image.width, image.height) != 0;
  const bool alpha = image.alpha != 0;
  TIFFRGBAImageEnd(&image);
  if (!read) return false;
  std::uint8_t* const end = bitmap.GetBuffer() + bitmap.GetBufferSize();
  for (std::uint8_t* p = bitmap.GetBuffer(); p != end; p += 4) std::swap(p[0], p[2]);
  if (alpha) bitmap.Unpremultiply();
  return true;
}

// A pixel may have 65,535 samples, and nearly no bytes in the file: the time that they take has a bound too.
bool HasBoundedSamples(const TiffLayout& layout) {
  const std::uint64_t pixels =
      static_cast<std::uint64_t>(layout.width) * static_cast<unsigned>(layout.height);
  return layout.samples <= 4 ||
         pixels <= CoreCodecRegistry::Get().GetPixelLimit() / static_cast<unsigned>(layout.samples);
}

bool IsReadable(TIFF* tiff, const TiffLayout& layout, DecodeReason& reason) {
  if (!HasBoundedSamples(layout)) return reason.OverLimit();
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  if (TIFFIsCODECConfigured(compression) == 0) return reason.Unsupported("TIFF compression %u", compression);
  if (compression == COMPRESSION_JPEG && layout.bits != 8)
    return reason.Unsupported("%d-bit JPEG inside TIFF", layout.bits);
  return true;
}

bool ReadPixels(TIFF* tiff, const TiffLayout& layout, CoreDib& bitmap, DecodeReason& reason) {
  if (!IsReadable(tiff, layout, reason)) return false;
  if (layout.colors == TiffColors::kOther) return ReadOther(tiff, layout, bitmap, reason);
  if (layout.tiled) return ReadTiles(tiff, layout, bitmap, reason);
  if (const std::uint32_t rows = RowsOfWholeStrips(tiff, layout))
    return ReadStrips(tiff, layout, rows, bitmap);
  const auto rowBytes = static_cast<std::size_t>(std::max<tmsize_t>(0, TIFFScanlineSize(tiff)));
  if (layout.RowsFitBitmap() && rowBytes <= static_cast<std::size_t>(bitmap.GetStride()))
    return ReadInPlace(tiff, layout, bitmap);
  return ReadRows(tiff, layout, bitmap, reason);
}

// A TIFF with the directory of one of its pages read.
struct TiffPage {
  TiffSource source;
  TiffHandle tiff;
  TiffLayout layout;
  int frame = 0;
};

class TiffDecoder final : public FormatDecoder {
 public:
  TiffDecoder() : FormatDecoder(kCoreImageTiff) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  // The first page; null when there is none.
  std::unique_ptr<TiffPage> OpenFirst(CoreInputStream& stream) {
    auto page = std::make_unique<TiffPage>(TiffPage{{&stream, start_, &Reason()}, nullptr, {}, 0});
    if (!stream.Seek(start_)) return nullptr;
    page->tiff = OpenTiff(page->source);
    if (page->tiff == nullptr || !ReadTiffLayout(page->tiff.get(), page->layout, Reason())) return nullptr;
    return page;
  }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    page_.reset();
    start_ = stream.GetPosition();
    std::unique_ptr<TiffPage> page = OpenFirst(stream);
    if (page == nullptr) return false;
    const TiffHandle& tiff = page->tiff;
    const TiffLayout& layout = page->layout;
    info.width = layout.width;
    info.height = layout.height;
    info.bitsPerPixel = layout.BitmapBits();
    info.fileBitsPerPixel = static_cast<int>(std::min<std::size_t>(layout.PixelBits(), INT_MAX));
    if (layout.photometric == PHOTOMETRIC_PALETTE && layout.colors == TiffColors::kIndexed)
      info.paletteSize = 1 << layout.bits;
    info.dpiX = Dpi(tiff.get(), TIFFTAG_XRESOLUTION);
    info.dpiY = Dpi(tiff.get(), TIFFTAG_YRESOLUTION);
    info.frameCount = std::max(1, static_cast<int>(TIFFNumberOfDirectories(tiff.get())));
    page_ = std::move(page);
    fresh_ = true;
    return true;
  }

  bool ReadFrame(CoreInputStream& stream, int frame, CoreDib& bitmap) override {
    // After a failure it is dropped: the library may stand anywhere then.
    std::unique_ptr<TiffPage> page = std::move(page_);
    if (page == nullptr) {
      page = OpenFirst(stream);
      fresh_ = true;
    }
    if (page == nullptr || !GoTo(*page, frame)) return false;
    if (!Decode(*page, bitmap)) return false;
    page_ = std::move(page);
    return true;
  }

  // What the library has unpacked of a page it does not unpack again: only a directory that was just read
  // will do. It goes to any page from the first on, but knows where the next one is.
  bool GoTo(TiffPage& page, int frame) {
    const bool there = fresh_ && frame == 0;
    fresh_ = false;
    if (there) return true;
    TIFF* tiff = page.tiff.get();
    const int read = frame == page.frame + 1 ? TIFFReadDirectory(tiff)
                                             : TIFFSetDirectory(tiff, static_cast<tdir_t>(frame));
    page.frame = frame;
    return read != 0 && ReadTiffLayout(tiff, page.layout, Reason());
  }

  bool Decode(TiffPage& page, CoreDib& bitmap) {
    const TiffHandle& tiff = page.tiff;
    const TiffLayout& layout = page.layout;
    if (!Reason().Create(bitmap, layout.width, layout.height, layout.BitmapBits())) return false;
    bitmap.SetDpi(Dpi(tiff.get(), TIFFTAG_XRESOLUTION), Dpi(tiff.get(), TIFFTAG_YRESOLUTION));
    if (layout.photometric == PHOTOMETRIC_PALETTE) CopyTiffPalette(tiff.get(), layout, bitmap);
    if (!ReadPixels(tiff.get(), layout, bitmap, Reason())) return false;
    if (layout.premultiplied) bitmap.Unpremultiply();
    return true;
  }

  std::uint64_t start_ = 0;
  std::unique_ptr<TiffPage> page_;  // the page read last; null after a failure
  bool fresh_ = false;              // the first page, of which nothing is decoded yet
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeTiffDecoder() { return std::make_unique<TiffDecoder>(); }

}  // namespace tovmx
