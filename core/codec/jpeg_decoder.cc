// SPDX-License-Identifier: MIT
// JPEG, read by libjpeg-turbo straight into the rows of the bitmap.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/jpeg_session.h"
#include "pixel/color.h"

#include <jerror.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

using ReadSession = JpegSession<jpeg_decompress_struct>;

constexpr double kCentimetersPerInch = 2.54;
constexpr int kMostScans = 500;  // each costs a walk over the whole image, whatever its length in the file

// Hands the bytes of a stream to libjpeg: the stream's own memory, or blocks of it.
struct Source {
  explicit Source(CoreInputStream& input) : stream(&input) {
    base.init_source = [](j_decompress_ptr) {};
    base.fill_input_buffer = Fill;
    base.skip_input_data = Skip;
    base.resync_to_restart = jpeg_resync_to_restart;
    base.term_source = [](j_decompress_ptr) {};
    const std::uint64_t position = input.GetPosition();
    const std::uint8_t* view = input.GetView();
    if (view == nullptr || position >= input.GetSize()) return;
    base.next_input_byte = view + position;
    base.bytes_in_buffer = static_cast<std::size_t>(input.GetSize() - position);
    stream = nullptr;
  }

  // An early end is an error: half a picture is none.
  static boolean Fill(j_decompress_ptr jpeg) {
    auto* source = reinterpret_cast<Source*>(jpeg->src);
    const std::size_t count =
        source->stream == nullptr ? 0 : source->stream->Read(source->block, sizeof source->block);
    if (count == 0) ERREXIT(jpeg, JERR_INPUT_EOF);
    source->base.next_input_byte = source->block;
    source->base.bytes_in_buffer = count;
    return TRUE;
  }

  static void Skip(j_decompress_ptr jpeg, long count) {
    for (auto rest = static_cast<std::size_t>(std::max(0L, count)); rest != 0;) {
      if (jpeg->src->bytes_in_buffer == 0) Fill(jpeg);
      const std::size_t now = std::min(rest, jpeg->src->bytes_in_buffer);
      jpeg->src->next_input_byte += now;
      jpeg->src->bytes_in_buffer -= now;
      rest -= now;
    }
  }

  jpeg_source_mgr base{};
  CoreInputStream* stream;
  JOCTET block[32768];
};

constexpr int kTooManyScans = JERR_CANT_SUSPEND;  // one that the library has no use for here

void StopAtTooManyScans(j_common_ptr jpeg) {
  if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > kMostScans) ERREXIT(jpeg, kTooManyScans);
}

// The colors to ask for; JCS_UNKNOWN for an image that no bitmap holds.
J_COLOR_SPACE WantedColors(const jpeg_decompress_struct& jpeg) {
  if (jpeg.num_components == 1) return JCS_GRAYSCALE;
  if (jpeg.num_components == 3) return JCS_EXT_BGR;
  return jpeg.num_components == 4 ? JCS_CMYK : JCS_UNKNOWN;
}

float Dpi(const jpeg_decompress_struct& jpeg, UINT16 density) {
  if (jpeg.saw_JFIF_marker == FALSE || jpeg.density_unit == 0) return 0;
  return static_cast<float>(jpeg.density_unit == 2 ? density * kCentimetersPerInch : density);
}

// A file of several scans is held as coefficients, 2 bytes each, until all are read.
std::uint64_t CoefficientBytes(jpeg_decompress_struct& jpeg) {
  if (jpeg_has_multiple_scans(&jpeg) == FALSE) return 0;
  return std::uint64_t{jpeg.image_width} * jpeg.image_height * static_cast<unsigned>(jpeg.num_components) * 2;
}

// Adobe writes the inks inverted.
void StoreCmykRow(const JSAMPLE* cmyk, bool inverted, int width, std::uint8_t* bgr) {
  const unsigned flip = inverted ? 255 : 0;
  for (int x = 0; x < width; ++x, cmyk += 4, bgr += 3) {
    for (int c = 0; c < 3; ++c) bgr[2 - c] = LightBehindInk(cmyk[c] ^ flip, cmyk[3] ^ flip);
  }
}

// Notes what kind of failure an error is; false.
bool NoteError(ReadSession& session, DecodeReason& reason) {
  switch (session.ErrorCode()) {
    case JERR_OUT_OF_MEMORY:
    case JERR_IMAGE_TOO_BIG:
    case kTooManyScans:
      return reason.OverLimit();
    case JERR_BAD_PRECISION:
      return reason.Unsupported("%d-bit JPEG samples", session.Get().data_precision);
    case JERR_BAD_J_COLORSPACE:
    case JERR_COMPONENT_COUNT:
      return reason.Unsupported("JPEG of %d components", session.Get().num_components);
    case JERR_SOF_UNSUPPORTED:
      return reason.Unsupported("lossless or hierarchical JPEG");
    case JERR_ARITH_NOTIMPL:
      return reason.Unsupported("arithmetic coding of JPEG");
    default:
      return false;
  }
}

// The library between an image's head and its rows.
struct JpegImage {
  explicit JpegImage(CoreInputStream& stream) : source(stream) {}

  Source source;
  ReadSession session;
  std::uint64_t position = 0;  // of the stream, behind what the source took from it
};

class JpegDecoder final : public FormatDecoder {
 public:
  JpegDecoder() : FormatDecoder(kCoreImageJpeg) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  // From the stream's position on. Null, with a note, when the head is not read.
  std::unique_ptr<JpegImage> ReadHead(CoreInputStream& stream) {
    auto image = std::make_unique<JpegImage>(stream);
    const bool read = image->session.Run([&](j_decompress_ptr jpeg) {
      jpeg_create_decompress(jpeg);
      jpeg->src = &image->source.base;
      jpeg_read_header(jpeg, TRUE);
      jpeg->out_color_space = WantedColors(*jpeg);
      if (jpeg->out_color_space == JCS_UNKNOWN) ERREXIT(jpeg, JERR_BAD_J_COLORSPACE);
    });
    image->position = stream.GetPosition();
    if (read) return image;
    NoteError(image->session, Reason());
    return nullptr;
  }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    image_.reset();
    start_ = stream.GetPosition();
    std::unique_ptr<JpegImage> image = ReadHead(stream);
    if (image == nullptr) return false;
    const jpeg_decompress_struct& jpeg = image->session.Get();
    info.width = static_cast<int>(jpeg.image_width);
    info.height = static_cast<int>(jpeg.image_height);
    info.bitsPerPixel = jpeg.num_components == 1 ? 8 : 24;
    info.fileBitsPerPixel = jpeg.num_components * 8;
    info.frameCount = 1;
    info.dpiX = Dpi(jpeg, jpeg.X_density);
    info.dpiY = Dpi(jpeg, jpeg.Y_density);
    if (!Reason().Fits(info.width, info.height, info.bitsPerPixel, CoefficientBytes(image->session.Get())))
      return false;
    image_ = std::move(image);
    return true;
  }

  bool ReadFrame(CoreInputStream& stream, int, CoreDib& bitmap) override {
    std::vector<JSAMPLE> inks;
    // The library reads rows once: whoever asks again begins anew.
    std::unique_ptr<JpegImage> image = std::move(image_);
    if (!stream.Seek(image == nullptr ? start_ : image->position)) return false;
    if (image == nullptr) image = ReadHead(stream);
    if (image == nullptr) return false;
    ReadSession& session = image->session;
    const jpeg_decompress_struct& jpeg = session.Get();
    const int bits = jpeg.num_components == 1 ? 8 : 24;
    if (!Reason().Create(bitmap, static_cast<int>(jpeg.image_width), static_cast<int>(jpeg.image_height),
                         bits, CoefficientBytes(session.Get())))
      return false;
    bitmap.SetDpi(Dpi(jpeg, jpeg.X_density), Dpi(jpeg, jpeg.Y_density));
    if (jpeg.num_components == 4) inks.resize(std::size_t{jpeg.image_width} * 4);

    jpeg_progress_mgr progress{};
    progress.progress_monitor = StopAtTooManyScans;
    const bool read = session.Run([&](j_decompress_ptr reader) {
      reader->progress = &progress;
      jpeg_start_decompress(reader);
      inks.empty() ? ReadRows(reader, bitmap) : ReadCmykRows(reader, inks.data(), bitmap);
      jpeg_finish_decompress(reader);
    });
    return read || NoteError(session, Reason());
  }

  static void ReadRows(j_decompress_ptr jpeg, CoreDib& bitmap) {
    constexpr int kRows = 16;
    JSAMPROW rows[kRows];
    while (jpeg->output_scanline < jpeg->output_height) {
      const int first = static_cast<int>(jpeg->output_scanline);
      const int count = std::min(kRows, bitmap.GetHeight() - first);
      for (int i = 0; i < count; ++i) rows[i] = bitmap.GetRow(first + i);
      jpeg_read_scanlines(jpeg, rows, static_cast<JDIMENSION>(count));
    }
  }

  static void ReadCmykRows(j_decompress_ptr jpeg, JSAMPLE* inks, CoreDib& bitmap) {
    for (int y = 0; y < bitmap.GetHeight(); ++y) {
      jpeg_read_scanlines(jpeg, &inks, 1);
      StoreCmykRow(inks, jpeg->saw_Adobe_marker != FALSE, bitmap.GetWidth(), bitmap.GetRow(y));
    }
  }

  std::uint64_t start_ = 0;
  std::unique_ptr<JpegImage> image_;  // null once its rows are read
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeJpegDecoder() { return std::make_unique<JpegDecoder>(); }

}  // namespace tovmx
