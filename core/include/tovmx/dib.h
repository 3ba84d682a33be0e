// SPDX-License-Identifier: MIT
/// \file
/// CoreDib: a bitmap of 1, 4, 8, 24 or 32 bits per pixel.
///
/// Rows run from the top down and are padded to a multiple of 4 bytes (the stride). In memory
///
///     32 bits   blue, green, red, alpha: the 32-bit number 0xAARRGGBB of this machine. Alpha is STRAIGHT:
///               the color is not multiplied by it. Premultiply() and Unpremultiply() convert in place
///               for libraries that paint premultiplied pixels; between them the bitmap must not be
///               encoded.
///     24 bits   blue, green, red
///     8 bits    an index into the palette, or a gray level when there is no palette
///     4 bits    the same; the left pixel in the upper half of the byte; without a palette 15 is white
///     1 bit     the same; the leftmost pixel in the highest bit; without a palette 0 is black and 1 white
///
/// Thread-safety: as an int; different threads may write different rows.
///
/// \code{.cc}
/// CoreDib page;
/// if (page.Create(595, 842, 24)) {                                // false when memory is short
///   std::fill_n(page.GetBuffer(), page.GetBufferSize(), 255);     // white
///   page.SetDpi(72.0f, 72.0f);                                    // A4
/// }
/// \endcode
#pragma once

#include <tovmx/export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// A bitmap: its pixels, palette and resolution.
class TOVMX_API CoreDib {
 public:
  /// A bitmap without pixels: width, height, bits and stride are 0, the buffer is null.
  CoreDib() noexcept = default;

  /// Takes the other's pixels; what was moved from has none.
  /// @{
  CoreDib(CoreDib&& other) noexcept;
  CoreDib& operator=(CoreDib&& other) noexcept;
  /// @}

  /// Frees the pixels.
  ~CoreDib();

  /// Makes this a bitmap of that size with every byte 0, no palette and an unknown resolution. False, and the
  /// bitmap unchanged, for a width or height below 1, another number of bits than 1, 4, 8, 24 and 32, a row
  /// of more than 2^31 - 1 bytes, or when memory is short.
  bool Create(int width, int height, int bitsPerPixel);

  /// Makes this a copy of `other`. False, and the bitmap unchanged, when memory is short.
  bool CopyFrom(const CoreDib& other);

  /// What Create was given, 0 without pixels.
  /// @{
  int GetWidth() const noexcept { return width_; }
  int GetHeight() const noexcept { return height_; }
  int GetBitsPerPixel() const noexcept { return bitsPerPixel_; }
  /// @}

  /// Bytes from one row to the next.
  int GetStride() const noexcept { return stride_; }

  /// @{
  /// The pixels, GetBufferSize() bytes: stride times height.
  std::uint8_t* GetBuffer() noexcept { return pixels_; }
  const std::uint8_t* GetBuffer() const noexcept { return pixels_; }
  std::size_t GetBufferSize() const noexcept {
    return static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_);
  }
  /// @}

  /// @{
  /// The first byte of a row, counted from the top. Precondition: 0 <= row < GetHeight().
  std::uint8_t* GetRow(int row) noexcept { return pixels_ + RowOffset(row); }
  const std::uint8_t* GetRow(int row) const noexcept { return pixels_ + RowOffset(row); }
  /// @}

  /// The number of palette entries, 0 without a palette. A pixel may hold an index that the palette lacks;
  /// such a pixel is opaque black.
  int GetPaletteSize() const noexcept { return static_cast<int>(palette_.size()); }

  /// A palette color: red in bits 0-7, green in 8-15, blue in 16-23, the rest 0. An index outside the
  /// palette is 0.
  std::uint32_t GetPaletteEntry(int index) const noexcept;

  /// The alpha of a palette color, 255 unless SetPaletteAlpha said otherwise or for an index outside.
  std::uint8_t GetPaletteAlpha(int index) const noexcept;

  /// Gives the bitmap `count` palette colors, all opaque; bits 24-31 of the entries are ignored. A count of
  /// 0 takes the palette away. False, and the palette unchanged, when the bitmap has more than 8 bits or too
  /// few for that many colors, or when `entries` is null with a count above 0.
  bool SetPalette(const std::uint32_t* entries, int count);

  /// Sets the alpha of a palette color. False when the palette has no such entry.
  bool SetPaletteAlpha(int index, std::uint8_t alpha);

  /// True when the bitmap can hold pixels that are not opaque: 32 bits, or a palette color with an alpha
  /// below 255.
  bool HasAlpha() const noexcept;

  /// @{
  /// Pixels per inch, 0 when unknown.
  float GetDpiX() const noexcept { return dpiX_; }
  float GetDpiY() const noexcept { return dpiY_; }
  /// @}

  /// Sets the pixels per inch; a value that is no positive finite number means unknown.
  void SetDpi(float dpiX, float dpiY) noexcept;

  /// The pixel as 0xAARRGGBB, whatever the depth. Precondition: the pixel lies in the bitmap.
  std::uint32_t GetArgb(int x, int y) const noexcept;

  /// @{
  /// Converts a 32-bit bitmap in place from straight to premultiplied alpha and back; other depths are left
  /// alone. Opaque pixels come back unchanged; the others lose color precision as alpha falls, and a pixel
  /// of alpha 0 comes back as 0.
  void Premultiply() noexcept;
  void Unpremultiply() noexcept;
  /// @}

  /// The bytes that Create would need for such a bitmap, 0 when it would refuse the arguments.
  static std::uint64_t BytesNeeded(int width, int height, int bitsPerPixel) noexcept;

  /// All GetPaletteSize() palette colors, as GetPaletteEntry has them one by one; may be null without a
  /// palette. Valid until the palette or the bitmap changes.
  const std::uint32_t* GetPalette() const noexcept { return palette_.data(); }

 private:
  std::size_t RowOffset(int row) const noexcept {
    return static_cast<std::size_t>(stride_) * static_cast<std::size_t>(row);
  }

  friend TOVMX_API bool CoreDropAlpha(CoreDib* bitmap) noexcept;

  std::uint8_t* pixels_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  int bitsPerPixel_ = 0;
  int stride_ = 0;
  float dpiX_ = 0;
  float dpiY_ = 0;
  std::vector<std::uint32_t> palette_;      // 0x00BBGGRR
  std::vector<std::uint8_t> paletteAlpha_;  // as long as the palette, or empty while all are opaque
};

/// How CoreResample makes new pixels of old ones.
enum CoreFilter : std::uint32_t {
  kCoreFilterNearest = 0,   ///< the old pixel beneath the new one's center, of two the later; no new colors
  kCoreFilterTriangle = 1,  ///< linear interpolation; soft
  kCoreFilterCubic = 2,     ///< Catmull and Rom's cubic spline; sharper
  kCoreFilterLanczos = 3,   ///< a windowed sinc of three lobes; the sharpest, with faint rings beside edges
};

/// Makes `to` a copy of `from` with that many pixels: gray of 8 bits, 32 bits where there is alpha, or else
/// 24. All filters but the nearest weigh every old pixel that a new one covers, so that a picture may shrink
/// to any size, and weigh colors by their alpha. The resolution follows the size: the copy is as large on
/// paper. Both may be the same bitmap.
///
/// False, and `to` unchanged, for a bitmap without pixels, a side below 1, an unknown filter, and when memory
/// is short. Memory beside the two bitmaps: some rows of floats, no more than 17 MB or 4 rows.
///
/// \code{.cc}
/// CoreDib picture, thumbnail;
/// picture.Create(800, 600, 24);
/// if (!CoreResample(picture, 160, 120, kCoreFilterLanczos, thumbnail)) std::puts("no memory");
/// \endcode
TOVMX_API bool CoreResample(const CoreDib& from, int width, int height, CoreFilter filter, CoreDib& to);

/// Makes a bitmap of 32 bits one of 24 in place: the colors stay as they are and the alpha goes, whatever it
/// was. The buffer may move. True, or false and nothing changed for a null pointer and for another depth.
///
/// \code{.cc}
/// CoreDib page;
/// if (page.Create(2, 2, 32) && CoreDropAlpha(&page)) std::printf("%d bits\n", page.GetBitsPerPixel());
/// \endcode
TOVMX_API bool CoreDropAlpha(CoreDib* bitmap) noexcept;
