// SPDX-License-Identifier: MIT
// JPEG, written by libjpeg-turbo from the rows of the bitmap.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"
#include "codec/jpeg_session.h"

#include <jerror.h>

#include <algorithm>
#include <cmath>

namespace tovmx {

namespace {

constexpr int kDefaultQuality = 90;
constexpr int kFullColorQuality = 90;  // from here on color is stored at full size: text keeps its edges

// Hands what libjpeg wrote to a stream, block by block.
struct Destination {
  explicit Destination(CoreOutputStream& output) : stream(&output) {
    base.init_destination = [](j_compress_ptr jpeg) { Restart(reinterpret_cast<Destination*>(jpeg->dest)); };
    base.empty_output_buffer = [](j_compress_ptr jpeg) -> boolean {
      auto* destination = reinterpret_cast<Destination*>(jpeg->dest);
      if (!destination->stream->Write(destination->block, sizeof block)) ERREXIT(jpeg, JERR_FILE_WRITE);
      Restart(destination);
      return TRUE;
    };
    base.term_destination = [](j_compress_ptr jpeg) {
      auto* destination = reinterpret_cast<Destination*>(jpeg->dest);
      const std::size_t count = sizeof block - destination->base.free_in_buffer;
      if (!destination->stream->Write(destination->block, count)) ERREXIT(jpeg, JERR_FILE_WRITE);
    };
  }

  static void Restart(Destination* destination) {
    destination->base.next_output_byte = destination->block;
    destination->base.free_in_buffer = sizeof block;
  }

  jpeg_destination_mgr base{};
  CoreOutputStream* stream;
  JOCTET block[32768];
};

UINT16 Density(float dpi) { return static_cast<UINT16>(std::clamp(std::round(dpi), 1.0f, 65535.0f)); }

class JpegEncoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    if (bitmap.GetWidth() > JPEG_MAX_DIMENSION || bitmap.GetHeight() > JPEG_MAX_DIMENSION) return false;
    const bool gray = PlainLayoutOf(bitmap) == RowLayout::kGray;
    RowReader rows(bitmap, gray ? RowLayout::kGray : RowLayout::kBgr);
    const int quality = quality_ == 0 ? kDefaultQuality : quality_;
    Destination destination(stream);
    JpegSession<jpeg_compress_struct> session;
    return session.Run([&](j_compress_ptr jpeg) {
      jpeg_create_compress(jpeg);
      jpeg->dest = &destination.base;
      jpeg->image_width = static_cast<JDIMENSION>(bitmap.GetWidth());
      jpeg->image_height = static_cast<JDIMENSION>(bitmap.GetHeight());
      jpeg->input_components = gray ? 1 : 3;
      jpeg->in_color_space = gray ? JCS_GRAYSCALE : JCS_EXT_BGR;
      jpeg_set_defaults(jpeg);
      jpeg_set_quality(jpeg, quality, TRUE);
      if (quality >= kFullColorQuality)
        jpeg->comp_info[0].h_samp_factor = jpeg->comp_info[0].v_samp_factor = 1;
      if (bitmap.GetDpiX() > 0 && bitmap.GetDpiY() > 0) {
        jpeg->density_unit = 1;
        jpeg->X_density = Density(bitmap.GetDpiX());
        jpeg->Y_density = Density(bitmap.GetDpiY());
      }
      jpeg_start_compress(jpeg, TRUE);
      for (int y = 0; y < bitmap.GetHeight(); ++y) {
        JSAMPROW row = const_cast<JSAMPROW>(rows.Row(y));
        jpeg_write_scanlines(jpeg, &row, 1);
      }
      jpeg_finish_compress(jpeg);
    });
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakeJpegEncoder() { return std::make_unique<JpegEncoder>(); }

#define TOVMX_TEXT_OF(x) #x
#define TOVMX_TEXT(x) TOVMX_TEXT_OF(x)

CoreString DescribeJpegBackend() { return "libjpeg-turbo " TOVMX_TEXT(LIBJPEG_TURBO_VERSION); }

}  // namespace tovmx
