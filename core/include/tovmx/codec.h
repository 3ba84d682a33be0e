// SPDX-License-Identifier: MIT
/// \file
/// Image codecs: encoders, decoders and the registry that hands them out.
///
/// Formats are told apart by content, never by name. No codec prints, throws for bad input or ends the
/// process: what cannot be done returns 0 or null.
///
/// Thread-safety: the registry and its factory may be used from any thread. An encoder or decoder belongs to
/// one thread at a time.
///
/// \code{.cc}
/// CoreFileInputStream in("scan.tif");
/// auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
/// std::unique_ptr<CoreDib> page;
/// if (decoder && decoder->Open(&in, kCoreOpenReadAhead) != 0) page = decoder->GetBitmap(0, 0, 0);
/// \endcode
#pragma once

#include <tovmx/dib.h>
#include <tovmx/stream.h>
#include <tovmx/string_list.h>

#include <atomic>
#include <cstdint>
#include <memory>

/// The formats that pictures are read from and written in.
enum CoreImageFormat : std::uint32_t {
  kCoreImageUnknown = 0,   ///< none of them
  kCoreImagePng = 1,       ///< PNG
  kCoreImageJpeg = 2,      ///< JPEG
  kCoreImageTiff = 3,      ///< TIFF
  kCoreImageWebp = 4,      ///< WebP
  kCoreImageJpeg2000 = 5,  ///< JPEG 2000
  kCoreImageBmp = 6,       ///< Windows bitmap
  kCoreImageGif = 7,       ///< GIF, decoded only
};

/// Looks at the first bytes of the stream and goes back to where it was. kCoreImageUnknown for a null stream,
/// one that cannot be sought in, and content that no codec knows.
TOVMX_API CoreImageFormat CoreDetectImageFormat(CoreInputStream* stream);

/// The format that a file extension stands for ("png", ".JPG"), kCoreImageUnknown for null and any other.
TOVMX_API CoreImageFormat CoreImageFormatFromExtension(const char* extension);

/// The name of a format, such as "JPEG 2000"; "unknown" for any other value. A static text.
TOVMX_API const char* CoreImageFormatName(CoreImageFormat format);

/// What a decoder knows of an image before it decodes it.
struct CoreImageInfo {
  int width = 0;             ///< of the first frame, in pixels
  int height = 0;            ///< likewise
  int bitsPerPixel = 0;      ///< of the bitmap that GetBitmap returns: 1, 4, 8, 24 or 32
  int fileBitsPerPixel = 0;  ///< as the file stores them: 48 for 16-bit RGB
  int paletteSize = 0;       ///< 0 without a palette
  int frameCount = 0;        ///< pages of a TIFF, frames of an animation
  float dpiX = 0;            ///< pixels per inch, 0 when unknown
  float dpiY = 0;            ///< likewise
};

/// Writes a bitmap in one format. Encoders are reusable.
class TOVMX_API CoreImageEncoder {
 public:
  virtual ~CoreImageEncoder();

  /// 1 (smallest file) to 100 (best); 0 is the format's default, and values outside count as the nearest. By
  /// default JPEG has quality 90 and everything else loses nothing; WebP and JPEG 2000 become lossy with a
  /// quality. PNG, TIFF and BMP take no notice of it.
  void SetQuality(int quality) noexcept;

  /// Writes the bitmap to the stream: 1, or 0 when the bitmap is null or without pixels, the stream is null
  /// or refuses bytes, or the format cannot hold so large a bitmap. After a failure the stream may hold a
  /// part. Formats without alpha get the picture over white. The bitmap stays as it is.
  std::uint32_t Encode(const CoreDib* bitmap, CoreOutputStream* stream);

 protected:
  CoreImageEncoder() = default;
  int quality_ = 0;  ///< as SetQuality left it

 private:
  virtual bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) = 0;
};

/// Open flag: the decoder may leave the stream's position anywhere. Without it every call puts the position
/// back.
constexpr std::uint32_t kCoreOpenReadAhead = 1;

/// Reads bitmaps in one format.
class TOVMX_API CoreImageDecoder {
 public:
  virtual ~CoreImageDecoder();

  /// Reads what the image starts with at the stream's position. 1, or 0 for a null stream, content that is
  /// not of this format or broken, and a first frame beyond the registry's pixel limit. The stream stays the
  /// caller's, must live as long as the decoder is used, and must not change.
  std::uint32_t Open(CoreInputStream* stream, std::uint32_t flags);

  /// What Open found; all 0 before an Open that succeeded.
  const CoreImageInfo& GetInfo() const noexcept { return info_; }

  /// Decodes frame number `frame`, counted from 0, and scales it to that many pixels; a width or height of 0
  /// means the frame's own, or what keeps the proportions when only one is 0. Frames of an animation are
  /// composed as they are shown; asked for in order they are decoded once each, while a step back begins
  /// anew, and until the last one the decoder keeps up to two canvases (as far as the pixel limit leaves
  /// room). Null for a frame that is not there, a negative size, content that is broken or ends early, a
  /// bitmap beyond the registry's pixel limit, and before an Open that succeeded. Rows come as the file
  /// stores them; an orientation noted in the file is not applied.
  std::unique_ptr<CoreDib> GetBitmap(int frame, int width, int height);

 protected:
  CoreImageDecoder() = default;

 private:
  // Both find the stream at the image's first byte.
  virtual bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) = 0;
  virtual bool ReadFrame(CoreInputStream& stream, int frame, CoreDib& bitmap) = 0;

  CoreInputStream* stream_ = nullptr;
  std::uint64_t start_ = 0;
  std::uint32_t flags_ = 0;
  CoreImageInfo info_;
};

/// Makes encoders and decoders. The caller owns what it gets and releases it by letting go of it.
class TOVMX_API CoreCodecFactory {
 public:
  /// Null for a format that cannot be written (GIF) or is not known.
  std::unique_ptr<CoreImageEncoder> CreateEncoder(CoreImageFormat format) const;

  /// Null for a format that is not known.
  std::unique_ptr<CoreImageDecoder> CreateDecoder(CoreImageFormat format) const;
};

/// The process-wide home of the codecs and of what applies to all of them.
class TOVMX_API CoreCodecRegistry {
 public:
  /// The one registry of the process.
  static CoreCodecRegistry& Get();

  /// What makes encoders and decoders; lives as long as the process.
  const CoreCodecFactory& GetFactory() const noexcept { return factory_; }

  /// @{
  /// The most bytes of pixels that a decoder may hold at once for one image, the planes that a library
  /// unpacks before the bitmap is filled included; 1 GiB unless changed. Checked before pixels are allocated.
  /// A TIFF with more than four samples to a pixel has no more samples than that either.
  std::uint64_t GetPixelLimit() const noexcept { return pixelLimit_.load(std::memory_order_relaxed); }
  void SetPixelLimit(std::uint64_t bytes) noexcept { pixelLimit_.store(bytes, std::memory_order_relaxed); }
  /// @}

  /// One line for each library behind the codecs with the version that runs: "libpng 1.6.39".
  CoreStringList<CoreString> DescribeBackends() const;

  CoreCodecRegistry(const CoreCodecRegistry&) = delete;
  CoreCodecRegistry& operator=(const CoreCodecRegistry&) = delete;

 private:
  CoreCodecRegistry() = default;

  CoreCodecFactory factory_;
  std::atomic<std::uint64_t> pixelLimit_{std::uint64_t{1} << 30};
};

/// Why a decoder failed.
enum CoreDecodeFailure : std::uint32_t {
  kCoreDecodeNoFailure = 0,      ///< it did not fail
  kCoreDecodeNotThisFormat = 1,  ///< the content is of another format, or of none
  kCoreDecodeBroken = 2,         ///< the content breaks the rules of its format or ends early
  kCoreDecodeUnsupported = 3,    ///< a form of the format that this library does not read
  kCoreDecodeOverLimit = 4,      ///< beyond the registry's pixel limit or what memory there is
  kCoreDecodeNotThere = 5,       ///< a null stream, no open picture, no such frame, a negative size
};

/// Why the decoder's last Open or GetBitmap failed; kCoreDecodeNoFailure when it succeeded, before the first
/// call, for a null pointer, and for a decoder that is not from CoreCodecFactory. A call that ended with
/// std::bad_alloc counts as kCoreDecodeOverLimit. What a library unpacks counts too: kCoreDecodeOverLimit may
/// mean that a picture needs more beside its bitmap than the limit leaves, or more scans or tiles than any
/// honest file has. Changes nothing.
TOVMX_API CoreDecodeFailure CoreGetDecodeFailure(const CoreImageDecoder* decoder) noexcept;

/// After kCoreDecodeUnsupported what it is that is not read, such as "12-bit JPEG samples"; an empty text
/// otherwise, never null. Valid until the decoder's next call, and no longer than the decoder.
///
/// \code{.cc}
/// const char head[] = "BM and then no bitmap";
/// CoreMemoryInputStream in(head, sizeof head);
/// const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageBmp);
/// if (decoder->Open(&in, kCoreOpenReadAhead) == 0) {
///   const CoreDecodeFailure failure = CoreGetDecodeFailure(decoder.get());
///   std::printf("BMP: %s %s\n", CoreDecodeFailureName(failure), CoreGetUnsupportedFeature(decoder.get()));
/// }
/// \endcode
TOVMX_API const char* CoreGetUnsupportedFeature(const CoreImageDecoder* decoder) noexcept;

/// A failure in words: "no failure", "not this format", "broken", "unsupported", "over the limit", "not
/// there"; "unknown" for any other value. A static text.
TOVMX_API const char* CoreDecodeFailureName(CoreDecodeFailure failure) noexcept;

/// A TIFF of any number of pages, each compressed as it comes.
///
/// \code{.cc}
/// CoreTiffPages pages;
/// CoreDib page;
/// CoreMemoryOutputStream out;
/// for (int number = 1; number <= 3; ++number) {
///   if (!page.Create(100 * number, 100, 8) || !pages.Add(&page)) std::puts("no memory");
/// }
/// if (!pages.Write(&out)) std::puts("no file");
/// \endcode
class TOVMX_API CoreTiffPages final {
 public:
  /// No page yet. `pixelBytes` is about how many bytes of pixels all the pages will have: where they may
  /// not fit the 4 GiB of a plain TIFF, the file becomes a BigTIFF.
  explicit CoreTiffPages(std::uint64_t pixelBytes = 0);
  ~CoreTiffPages();
  CoreTiffPages(const CoreTiffPages&) = delete;
  CoreTiffPages& operator=(const CoreTiffPages&) = delete;

  /// Adds a page as the TIFF encoder writes it; the bitmap stays as it is. False for a null bitmap and one
  /// without pixels, and nothing is added; false also when memory or the file's 4 GiB are short, and then
  /// nothing can be added or written any more.
  bool Add(const CoreDib* bitmap);

  /// Writes the file. True when the stream took all of it; nothing can be added or written afterwards. False
  /// without any page, for a null stream and after a failure.
  bool Write(CoreOutputStream* stream);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The orientation mark of a picture at the stream's position, which is left there: how its rows lie when
/// it is looked at, as EXIF and TIFF count.
///
///     1  as stored                      5  mirrored at the diagonal through the first pixel
///     2  mirrored left to right         6  turned, by 90 degrees clockwise to be upright
///     3  turned by 180 degrees          7  mirrored at the other diagonal
///     4  mirrored top to bottom         8  turned, by 90 degrees counterclockwise to be upright
///
/// `frame` counts from 0 and chooses the page of a TIFF; the other formats have one mark for all. 1 also
/// without a mark, for one that is broken or outside 1 to 8, for a format that has none, a frame that is not
/// there and a null stream.
TOVMX_API int CoreReadOrientation(CoreInputStream* stream, int frame);

/// The effort of an encoder that was told of none.
constexpr int kCoreDefaultEffort = 5;

/// How much work an encoder puts into a smaller file, 1 (least) to 9 (most); values outside count as the
/// nearest. The picture is the same with each. True, or false and nothing changed for a null pointer, for a
/// format without a choice (all but PNG), and for an encoder that is not from CoreCodecFactory.
///
/// \code{.cc}
/// const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
/// if (!CoreSetEffort(encoder.get(), 9)) std::puts("one size for all");
/// \endcode
TOVMX_API bool CoreSetEffort(CoreImageEncoder* encoder, int effort) noexcept;
