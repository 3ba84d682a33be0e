// Imaging: bitmaps into streams and back, a bitmap eraser, colours written as text, and text drawn onto a
// device.
//
// Thread-safety: every function may be called from any thread; a device, a bitmap, a stream and a JSON
// document belong to one thread at a time.
//
//   CoreFileInputStream in("scan.tif");
//   std::unique_ptr<CoreDib> page(ImageDecode(&in));
//   CoreFileOutputStream out("scan.png");
//   if (page == nullptr || ImageEncode(page.get(), kCoreImagePng, &out) == 0 || !out.Close()) Complain();
#pragma once

#include <tovkit/export.h>

#include <tovmx/codec.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <string>

namespace tovkit {

// ---- Images ----

// Writes `bitmap` to `stream` in that format with the format's default quality (CoreImageEncoder has more to
// set). Gives the encoder's result: 1, or 0 when it failed; the stream may then hold a part. 0, and nothing
// touched, for a format that has no encoder (GIF, unknown values). The bitmap and the stream stay the
// caller's.
TOVKIT_API std::uint32_t ImageEncode(CoreDib* bitmap, CoreImageFormat format, CoreOutputStream* stream);

// Decodes the first frame of the image at the stream's position; the format is told by its content. The
// caller owns the new bitmap and deletes it. Null for a null stream, content of no known format, and an image
// that is broken or beyond the registry's pixel limit. The stream stays the caller's; its position is
// anywhere afterwards.
TOVKIT_API CoreDib* ImageDecode(CoreInputStream* stream);

// Writes an RGB colour as "#RRGGBB", red being bits 0-7, green 8-15 and blue 16-23; bits 24-31 are ignored.
// False, and `text` untouched, for every colour-space kind other than 2 (kCoreColorRgb).
TOVKIT_API bool ColorToText(const std::uint32_t& color, const std::uint32_t& kind, std::string& text);

// Blanks a rectangle of `bitmap` to its brightest colour: the palette entry whose three components have the
// greatest sum (the last of several), or 255 in every byte without a palette, alpha included. What lies
// outside the bitmap is cut off, so a rectangle that misses it blanks nothing; reversed edges are swapped.
// The cut is made at the end of the padded row, so padding may be blanked too.
//
// A bitmap of fewer than 8 bits per pixel is treated coarsely: on each row the bytes left / 8 up to right / 8
// become 0, whatever the palette, and the bytes at the edges that the rectangle covers only in part are left
// alone. That suits 1 bit per pixel, where 0 is black without a palette; with 4 it blanks half the width.
//
// False, and nothing changed, for a null bitmap and an empty rectangle (left == right or top == bottom).
TOVKIT_API bool DeleteRectDib(CoreDib* bitmap, CoreRect rect);

// Does nothing and gives false: a placeholder that callers link against.
TOVKIT_API bool AlphaBlending(const CoreDib* bitmap, std::uint32_t level);

// Does nothing and gives null: a placeholder that callers link against.
TOVKIT_API CoreDib* ImageBinary(const CoreDib* bitmap);

}  // namespace tovkit
