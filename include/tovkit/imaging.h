// SPDX-License-Identifier: MIT
/// \file
/// Imaging: bitmaps into streams and back, a bitmap eraser, colors written as text, and text drawn onto a
/// device.
///
/// Thread-safety: every function may be called from any thread; a device, a bitmap, a stream and a JSON
/// document belong to one thread at a time.
///
/// \code{.cc}
/// using namespace tovkit;
/// CoreFileInputStream in("scan.tif");
/// std::unique_ptr<CoreDib> page(ImageDecode(&in));   // null when it is no picture
/// if (page != nullptr) {
///   const char text[] = "{\"Content\": \"Seen\", \"DeltaX\": 10}";
///   CoreBitmapDevice device(page.get());             // <tovmx/device.h>
///   DrawTextOnDevice(&device, Json::Parse(text, sizeof text - 1, nullptr));
///
///   CoreFileOutputStream out("scan.png");
///   if (ImageEncode(page.get(), kCoreImagePng, &out) == 0 || !out.Close()) std::perror("scan.png");
/// }
/// \endcode
#pragma once

#include <tovkit/export.h>
#include <tovkit/json.h>

#include <tovmx/codec.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <string>

class CoreDevice;

namespace tovkit {

/// \defgroup images Images
/// @{

/// Writes `bitmap` to `stream` in that format with the format's default quality (CoreImageEncoder has more to
/// set). Gives the encoder's result: 1, or 0 when it failed; the stream may then hold a part. 0, and nothing
/// touched, for a format that has no encoder (GIF, unknown values). The bitmap and the stream stay the
/// caller's.
TOVKIT_API std::uint32_t ImageEncode(CoreDib* bitmap, CoreImageFormat format, CoreOutputStream* stream);

/// Decodes the first frame of the image at the stream's position; the format is told by its content. The
/// caller owns the new bitmap and deletes it. Null for a null stream, content of no known format, and an
/// image that is broken or beyond the registry's pixel limit. The stream stays the caller's; its position is
/// anywhere afterwards.
TOVKIT_API CoreDib* ImageDecode(CoreInputStream* stream);

/// Writes an RGB color as "#RRGGBB", red being bits 0-7, green 8-15 and blue 16-23; bits 24-31 are ignored.
/// False, and `text` untouched, for every color-space kind other than 2 (kCoreColorRgb).
TOVKIT_API bool ColorToText(const std::uint32_t& color, const std::uint32_t& kind, std::string& text);

/// Blanks a rectangle of `bitmap` to its brightest color: the palette entry whose three components have the
/// greatest sum (the last of several), or 255 in every byte without a palette, alpha included. What lies
/// outside the bitmap is cut off, so a rectangle that misses it blanks nothing; reversed edges are swapped.
/// The cut is made at the end of the padded row, so padding may be blanked too.
///
/// A bitmap of fewer than 8 bits per pixel is treated coarsely: on each row the bytes left / 8 up to right /
/// 8 become 0, whatever the palette. So a byte that the left edge cuts is blanked whole, and one that the
/// right edge cuts is left alone. That suits 1 bit per pixel, where 0 is black without a palette; with 4 it
/// blanks a quarter of the width, from a quarter of the left edge on.
///
/// False, and nothing changed, for a null bitmap and an empty rectangle (left == right or top == bottom).
TOVKIT_API bool DeleteRectDib(CoreDib* bitmap, CoreRect rect);

/// Does nothing and returns false: a placeholder that callers link against.
TOVKIT_API bool AlphaBlending(const CoreDib* bitmap, std::uint32_t level);

/// Does nothing and returns null: a placeholder that callers link against.
TOVKIT_API CoreDib* ImageBinary(const CoreDib* bitmap);

/// @}

/// \defgroup text_drawing Color text and text drawing
/// @{

/// Reads a color. `color` gets the packed value and `kind` its space, 1 gray, 2 RGB or 3 CMYK
/// (CoreColorSpaceKind):
///
///     "#gg"               1   gg in bits 0-7, 8-15 and 16-23
///     "#rrggbb"           2   rr in bits 0-7, gg in 8-15, bb in 16-23
///     "#ccmmyykk"         3   cc in bits 24-31, mm in 16-23, yy in 8-15, kk in 0-7
///     1, 3 or 4 numbers   1, 2 or 3, packed in the same way
///
/// The numbers are decimal and divided by spaces, and only by spaces: "255,0,0" is the one number 255. A word
/// that is no number is 0, so "red" is the gray level 0.
///
/// Nothing is masked. A number above 255 or below 0 runs into the bytes above its own; a pair with a bad
/// second digit counts as -1 and one with only a bad first digit as -16, so "#0x" is 0xFFFFFFFF.
///
/// False, and both outputs untouched, for a null text, another number of characters after "#", no number at
/// all, two of them or more than four.
TOVKIT_API bool ParseColor(const char* text, std::uint32_t& color, std::uint32_t& kind);

/// Draws one line of text that a JSON object describes:
///
///     "Content"             the text, UTF-8
///     "DeltaX", "DeltaY"    numbers, 0 by default: where the line starts, in device units
///     "Font"                an object, every key of it optional:
///       "FontSize"          an integer, points; 26 when it is missing or below 1
///       "FontName"          a family; "SimSun" when it is missing or empty
///       "Bold", "Italic"    booleans
///       "Color"             as ParseColor reads it; black when it is missing, empty or no color
///
/// A value of another kind counts as missing. The baseline starts at (DeltaX, DeltaY + FontSize): the points
/// are added as they are, while the em is FontSize / 72 * 96 pixels. The text is always opaque. A color's
/// kind is not looked at: the eight digits of a CMYK color are taken for its last three bytes, "#00112233"
/// as red 0x33, green 0x22 and blue 0x11.
///
/// The device gets DrawText, EndText and Flush, in this order, with a font loader that lives for the call.
/// True when it got them, whatever it made of them. False, and the device not touched, for a null device, an
/// empty handle, and a "Content" that is missing, empty or no string.
TOVKIT_API bool DrawTextOnDevice(CoreDevice* device, SharedPtr<const JsonValue> description);

/// Tells what DrawTextOnDevice would draw of the same description, as a new JSON object. Numbers are device
/// units; positions count the text's characters (code points) from 0.
///
///     "drawable"   false when nothing would reach the page: no "Content", a text of more than 262,144
///                  characters, a "FontSize" above 75,000, no font at all. Then "reason" says which of
///                  them in words, and only warnings follow
///     "content"    the text
///     "font"       "wanted" and whether the description has "named" it, the "family" that is drawn with,
///                  whether it is "substituted" for the wanted one, "size" in points, "pixelSize", "bold" and
///                  "italic"
///     "color"      "#RRGGBB" as it is drawn
///     "baseline"   "x" and "y" of its left end
///     "ink"        "left", "top", "right" and "bottom" of what is painted; missing for blank text
///     "logical"    the same from the line's ascent to its descent
///     "runCount"   of all runs
///     "runs"       from left to right: "text", "first" and "count" of its characters, "script" (ISO 15924),
///                  "direction" ("ltr" or "rtl"), "left", "right", the font's "family", "style", "file" and
///                  "face" in it, and "standsInFor", the wanted family, when this is another one
///     "missingCount"   of all characters that no font holds and that show as boxes
///     "missing"    each such "character" ("U+20BB7") with its "name" in Unicode, "count" and "positions"
///     "warningCount"   of all warnings
///     "warnings"   what of the description is not used as it stands: "pointer" (RFC 6901, from the
///                  description), "kind" ("unknown-key", "duplicate-key", "wrong-type", "out-of-range",
///                  "color" or "text"), "message" in words, of an unknown key the "nearest" known one, and of
///                  an unknown or duplicate key the "member", counted from 0 in its object: a pointer cannot
///                  tell keys of one name apart, nor name bytes that are no UTF-8
///
/// At most `limit` runs, positions of missing characters and warnings are told, and 1,000 characters of any
/// text but a pointer; the counts are of all. Time and memory grow with the description alone.
///
/// It costs at most twice a measurement of the same description. A line that is new is shaped once, and
/// making the document takes half as long again. One that the thread has drawn, measured or described before
/// is not shaped again, as long as it is among the thread's last 512 lines and 65,536 glyphs, or the
/// last of all. A description that comes again, from the third time on, costs a copy of its report,
/// which this thread keeps. Between the two lies a line that was drawn or measured before and is described
/// for the first time: a few microseconds for its document of some 40 values, less than drawing it.
///
/// Nothing is printed, and whatever the description holds the report is valid JSON. A null handle for an
/// empty one.
///
/// \code{.cc}
/// using namespace tovkit;
/// const char text[] = R"({"Content": "Hello", "Font": {"FontNmae": "Arial"}})";
/// const SharedPtr<JsonValue> report = DescribeText(Json::Parse(text, sizeof text - 1, nullptr));
/// std::puts(report->GetMember("warnings")->GetAt(0)->GetMemberString("nearest", ""));   // FontName
/// \endcode
TOVKIT_API SharedPtr<JsonValue> DescribeText(SharedPtr<const JsonValue> description,
                                             std::uint32_t limit = 1000);

/// @}

}  // namespace tovkit
