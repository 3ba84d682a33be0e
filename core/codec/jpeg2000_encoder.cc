// SPDX-License-Identifier: MIT
// JPEG 2000 in a JP2 file, written by OpenJPEG: lossless unless a quality is given.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"
#include "codec/jpeg2000_box.h"
#include "codec/jpeg2000_handles.h"
#include "io/seekable_buffer.h"

#include <algorithm>

namespace tovmx {

namespace {

constexpr int kMostResolutions = 6;

SeekableBuffer& BufferOf(void* data) { return *static_cast<SeekableBuffer*>(data); }

OPJ_SIZE_T WriteBuffer(void* from, OPJ_SIZE_T size, void* data) {
  return BufferOf(data).Write(from, size) ? size : static_cast<OPJ_SIZE_T>(-1);
}

// The library asks for no position or count below 0.
OPJ_BOOL SeekBuffer(OPJ_OFF_T position, void* data) {
  BufferOf(data).Seek(static_cast<std::uint64_t>(position));
  return OPJ_TRUE;
}

OPJ_OFF_T SkipBuffer(OPJ_OFF_T count, void* data) {
  BufferOf(data).Seek(BufferOf(data).GetPosition() + static_cast<std::uint64_t>(count));
  return count;
}

// The planes of integers that the library works on.
Jpeg2000Image MakeImage(const CoreDib& bitmap) {
  RowLayout layout = PlainLayoutOf(bitmap);
  if (layout == RowLayout::kBgr) layout = RowLayout::kRgb;
  if (layout == RowLayout::kBgra) layout = RowLayout::kRgba;
  const auto count = static_cast<OPJ_UINT32>(BytesPerPixel(layout));
  opj_image_cmptparm_t parameters[4] = {};
  for (opj_image_cmptparm_t& parameter : parameters) {
    parameter.dx = parameter.dy = 1;
    parameter.w = static_cast<OPJ_UINT32>(bitmap.GetWidth());
    parameter.h = static_cast<OPJ_UINT32>(bitmap.GetHeight());
    parameter.prec = 8;
  }
  Jpeg2000Image image(opj_image_create(count, parameters, count == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
  if (image == nullptr) return nullptr;
  image->x1 = parameters[0].w;
  image->y1 = parameters[0].h;
  if (count == 4) image->comps[3].alpha = 1;
  RowReader rows(bitmap, layout);
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    const std::uint8_t* row = rows.Row(y);
    const std::size_t offset = static_cast<std::size_t>(y) * parameters[0].w;
    for (OPJ_UINT32 c = 0; c < count; ++c) {
      OPJ_INT32* out = image->comps[c].data + offset;
      for (OPJ_UINT32 x = 0; x < parameters[0].w; ++x) out[x] = row[std::size_t{x} * count + c];
    }
  }
  return image;
}

opj_cparameters_t MakeParameters(const CoreDib& bitmap, int quality) {
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.tcp_mct = PlainLayoutOf(bitmap) == RowLayout::kGray ? 0 : 1;
  // Each resolution halves the one before; the smallest must have a pixel.
  parameters.numresolution = 1;
  for (int side = std::min(bitmap.GetWidth(), bitmap.GetHeight());
       side > 1 && parameters.numresolution < kMostResolutions; side /= 2)
    ++parameters.numresolution;
  if (quality == 0) {
    parameters.cp_disto_alloc = 1;  // one layer at rate 0: everything
    parameters.tcp_rates[0] = 0;
  } else {
    parameters.irreversible = 1;
    parameters.cp_fixed_quality = 1;
    parameters.tcp_distoratio[0] = 20.0f + 0.3f * static_cast<float>(quality);  // signal to noise in dB
  }
  return parameters;
}

// Writes the file with the resolution, which the library does not know, at the end of its header box.
bool WriteWithResolution(const SeekableBuffer& file, const CoreDib& bitmap, CoreOutputStream& stream) {
  CoreMemoryInputStream in(file.GetData(), static_cast<std::size_t>(file.GetSize()));
  Jpeg2000Box header;
  if (!FindJpeg2000Box(in, 0, file.GetSize(), kJpeg2000Header, header) || header.end > file.GetSize())
    return false;
  const auto box = MakeJpeg2000Resolution(bitmap.GetDpiX(), bitmap.GetDpiY());
  const auto length = static_cast<std::uint32_t>(header.end - header.start + box.size());
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(length >> 24),
                                static_cast<std::uint8_t>(length >> 16),
                                static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
  const std::uint8_t* const data = file.GetData();
  return stream.Write(data, header.start) && stream.Write(bytes, sizeof bytes) &&
         stream.Write(data + header.start + sizeof bytes, header.end - header.start - sizeof bytes) &&
         stream.Write(box.data(), box.size()) && stream.Write(data + header.end, file.GetSize() - header.end);
}

class Jpeg2000Encoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    SeekableBuffer buffer;
    const Jpeg2000Image image = MakeImage(bitmap);
    const Jpeg2000Codec codec(opj_create_compress(OPJ_CODEC_JP2));
    opj_cparameters_t parameters = MakeParameters(bitmap, quality_);
    {
      const Jpeg2000Stream out(opj_stream_default_create(OPJ_FALSE));
      if (image == nullptr || codec == nullptr || out == nullptr) return false;
      opj_stream_set_write_function(out.get(), WriteBuffer);
      opj_stream_set_seek_function(out.get(), SeekBuffer);
      opj_stream_set_skip_function(out.get(), SkipBuffer);
      opj_stream_set_user_data(out.get(), &buffer, nullptr);
      if (opj_setup_encoder(codec.get(), &parameters, image.get()) == 0 ||
          opj_start_compress(codec.get(), image.get(), out.get()) == 0 ||
          opj_encode(codec.get(), out.get()) == 0 || opj_end_compress(codec.get(), out.get()) == 0)
        return false;
    }
    if (bitmap.GetDpiX() > 0 && bitmap.GetDpiY() > 0) return WriteWithResolution(buffer, bitmap, stream);
    return stream.Write(buffer.GetData(), static_cast<std::size_t>(buffer.GetSize()));
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakeJpeg2000Encoder() { return std::make_unique<Jpeg2000Encoder>(); }

CoreString DescribeJpeg2000Backend() {
  CoreString text("OpenJPEG ");
  return text += opj_version();
}

}  // namespace tovmx
