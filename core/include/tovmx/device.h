// SPDX-License-Identifier: MIT
/// \file
/// CoreDevice: what text is drawn onto, and the devices of this core: a bitmap, a PDF page, an SVG page.
///
/// A line is drawn by three calls in this order: DrawText, which may be repeated for the lines of one piece
/// of text, EndText, which ends the piece, and Flush, after which a bitmap holds what was drawn. A document
/// is written as a whole when its page ends (CoreDocumentDevice::Finish); none of the three ends a page.
/// Coordinates are device units, 96 to the inch, with y growing downwards.
///
/// Thread-safety: a device belongs to one thread at a time; different threads may use different devices.
///
/// \code{.cc}
/// CoreFontLoader fonts(nullptr);   // the default font
/// CoreDib picture;
/// picture.Create(400, 60, 32);
/// CoreBitmapDevice device(&picture);
/// device.FillPage(0xFFFFFFFF);
/// CoreMatrix place;
/// place.Translate(10.0f, 40.0f);
/// device.DrawText(L"Hello", 5, fonts, place, 0xFF000000, 32.0f);
/// device.EndText();
/// device.Flush();
/// \endcode
#pragma once

#include <tovmx/dib.h>
#include <tovmx/export.h>
#include <tovmx/font.h>
#include <tovmx/geometry.h>
#include <tovmx/path.h>
#include <tovmx/stream.h>

#include <cstdint>
#include <memory>

/// What a line of text is drawn onto.
class TOVMX_API CoreDevice {
 public:
  virtual ~CoreDevice();

  /// Draws one line. `matrix` maps the text's own plane, whose origin is the left end of the baseline, to
  /// device units; `argb` is 0xAARRGGBB with straight alpha; `pixelSize` is the size of the em in device
  /// units. A negative count means up to the terminating NUL. Text is shaped: letters join, scripts that run
  /// from right to left do, and a character that the font lacks comes from another. Tabs and line breaks
  /// count as spaces, other control characters are skipped, and what is no character shows as U+FFFD. Of
  /// combining marks and format characters in a row the first 128 count.
  ///
  /// Emoji show as pictures in their own colors where a font has such pictures; of `argb` only the alpha
  /// counts for them, as in web browsers. A character that has both forms, such as a digit or U+00A9, is text
  /// unless U+FE0F follows.
  ///
  /// False, and nothing drawn, for null characters, more than 262,144 of them, a matrix with a number that is
  /// not finite, a size that is not finite or not above 0, fonts from a source that has none, a font
  /// whose file cannot be read at the moment, and a device that has failed. Text that lies outside the page,
  /// or whose em is below 1/64 or above 100,000 pixels, leaves no ink and returns true.
  virtual bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts,
                        const CoreMatrix& matrix, std::uint32_t argb, float pixelSize) = 0;

  /// Ends the present piece of text. False when the device has failed.
  virtual bool EndText() = 0;

  /// Brings everything drawn so far into a target that can be looked at, a bitmap. A document's stream gets
  /// nothing before the page ends. False when the device has failed.
  virtual bool Flush() = 0;

 protected:
  CoreDevice() = default;
  CoreDevice(const CoreDevice&) = delete;
  CoreDevice& operator=(const CoreDevice&) = delete;
};

/// A device that paths can be drawn onto: dynamic_cast tells whether a CoreDevice is one. Paths and text
/// cover each other in the order of the calls, and Flush hands both to the target.
///
/// \code{.cc}
/// CoreDib picture;
/// picture.Create(100, 100, 32);
/// CoreBitmapDevice page(&picture);
/// CoreDevice& device = page;
/// CorePath triangle;
/// triangle.MoveTo(10, 90);
/// triangle.LineTo(90, 90);
/// triangle.LineTo(50, 10);
/// triangle.Close();
/// if (auto* paths = dynamic_cast<CorePathDevice*>(&device)) {
///   paths->FillPath(triangle, kCoreFillWinding, CoreMatrix(), 0xFFE0E8F0);
///   paths->StrokePath(triangle, 2.0f, CoreMatrix(), 0xFF1F4E79);
///   device.Flush();
/// }
/// \endcode
class TOVMX_API CorePathDevice : public CoreDevice {
 public:
  ~CorePathDevice() override;

  /// The farthest that a path may reach from the page's origin, in pixels or points of the target.
  static constexpr double kMaxReach = 4e6;

  /// Fills the inside of a path, by the fill mode's rule, with one color, 0xAARRGGBB with straight alpha.
  /// `matrix` maps the path to device units. The path's segments are those of CoreWalkPath; a subpath that is
  /// open is closed for it. Edges are smoothed.
  ///
  /// False, and nothing drawn, for numbers of the path or the matrix that are not finite, a path that reaches
  /// beyond kMaxReach, and a device that has failed.
  virtual bool FillPath(const CorePath& path, CoreFillMode fillMode, const CoreMatrix& matrix,
                        std::uint32_t argb) = 0;

  /// Draws along a path with a pen `width` units of the path wide. Corners are mitered as far as four times
  /// the width and beveled beyond; ends are cut where the path ends, and a closed subpath has none. Results
  /// as FillPath's; false also for a width that is not finite or not above 0, or beyond kMaxReach.
  virtual bool StrokePath(const CorePath& path, float width, const CoreMatrix& matrix,
                          std::uint32_t argb) = 0;
};

class CoreCanvas;  // private to the core

/// What this core's devices share.
class TOVMX_API CorePageDevice : public CorePathDevice {
 public:
  ~CorePageDevice() override;

  /// As CoreDevice says.
  /// @{
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override;
  bool EndText() override;
  bool Flush() override;
  /// @}

  /// As CorePathDevice says.
  /// @{
  bool FillPath(const CorePath& path, CoreFillMode fillMode, const CoreMatrix& matrix,
                std::uint32_t argb) override;
  bool StrokePath(const CorePath& path, float width, const CoreMatrix& matrix, std::uint32_t argb) override;
  /// @}

  /// Replaces everything on the page by one color, 0xAARRGGBB with straight alpha. On a PDF or SVG page it
  /// must come first: it covers what is below it. False when the device has failed.
  bool FillPage(std::uint32_t argb);

  /// False once something failed: the target was refused at construction, memory was short, a stream refused
  /// bytes. A device that failed draws nothing more.
  bool IsGood() const noexcept;

 protected:
  /// Takes the canvas to draw on; a null one makes a device that has failed.
  explicit CorePageDevice(std::unique_ptr<CoreCanvas> canvas) noexcept;

  std::unique_ptr<CoreCanvas> canvas_;  ///< null in a device that has failed from the start
};

/// Draws into a bitmap of any depth. Pixels without ink keep their bits; a palette or gray bitmap gets the
/// nearest color it has. A 32-bit bitmap is drawn into at once as long as all that was drawn on is opaque,
/// any other at Flush. What lies far from all that is drawn is not looked at, whatever the size of the
/// bitmap.
class TOVMX_API CoreBitmapDevice final : public CorePageDevice {
 public:
  /// The widest and highest bitmap that can be drawn into.
  static constexpr int kMaxSide = 32767;

  /// `bitmap` stays the caller's, must live as long as the device, and is the device's alone until Flush.
  /// `dpi` is how many of its pixels make an inch: at 192 text is twice as large. The device fails for a null
  /// or empty bitmap, one beyond kMaxSide, and a dpi that is not finite or not above 0.
  explicit CoreBitmapDevice(CoreDib* bitmap, float dpi = 96.0f);
};

/// What the devices that write a document share.
class TOVMX_API CoreDocumentDevice : public CorePageDevice {
 public:
  /// The longest side of a page, 200 inches.
  static constexpr float kMaxSide = 19200.0f;

  /// Writes the document. True when the stream took all of it. Nothing can be drawn afterwards, and a second
  /// call returns false. Until then the stream is left alone, so a device that is destroyed without it writes
  /// nothing.
  bool Finish();

 protected:
  using CorePageDevice::CorePageDevice;  ///< as CorePageDevice
};

/// One page of PDF. The text can be searched and copied. With SOURCE_DATE_EPOCH set, its time stands in the
/// file instead of the present one.
class TOVMX_API CorePdfDevice final : public CoreDocumentDevice {
 public:
  /// `stream` stays the caller's and must live until Finish. Width and height are device units. The device
  /// fails for a null stream and for a side that is not above 0 or beyond kMaxSide.
  CorePdfDevice(CoreOutputStream* stream, float width, float height);
};

/// One page of SVG 1.1; text is written as outlines, so that it looks the same without the fonts.
class TOVMX_API CoreSvgDevice final : public CoreDocumentDevice {
 public:
  /// As CorePdfDevice.
  CoreSvgDevice(CoreOutputStream* stream, float width, float height);
};

/// A PDF of any number of pages, which share their fonts and emoji. In all else as CorePdfDevice.
///
/// \code{.cc}
/// CoreMemoryOutputStream out;
/// CorePdfPagesDevice pages(&out, 595, 842);
/// CoreFontLoader fonts(nullptr);
/// CoreMatrix place;
/// place.Translate(50, 100);
/// pages.DrawText(L"first", 5, fonts, place, 0xFF000000, 32);
/// if (pages.NextPage(842, 595)) pages.DrawText(L"second, on its side", 19, fonts, place, 0xFF000000, 32);
/// if (!pages.Finish()) std::puts("no document");
/// \endcode
class TOVMX_API CorePdfPagesDevice final : public CoreDocumentDevice {
 public:
  /// The first page; as CorePdfDevice.
  CorePdfPagesDevice(CoreOutputStream* stream, float width, float height);

  /// Ends the present page and starts an empty one, of a size of its own in device units. False for a side
  /// that is not above 0 or beyond kMaxSide, and the present page goes on; false also when the device has
  /// failed or finished.
  bool NextPage(float width, float height);
};
