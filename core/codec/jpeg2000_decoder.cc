// SPDX-License-Identifier: MIT
// JPEG 2000, read by OpenJPEG into planes of integers, then stored row by row.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/jpeg2000_handles.h"
#include "codec/jpeg2000_head.h"
#include "pixel/color.h"
#include "tovmx/geometry.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint64_t kLeastTileBytes = 14;  // the head of a tile part
// About what the library keeps for each tile, and in it for each component, before it has read any of them.
constexpr std::uint64_t kTileRecord = 6000;
constexpr std::uint64_t kComponentRecord = 1200;

bool IsPlausible(const Jpeg2000Head& head, DecodeReason& reason) {
  if (head.tiles > head.codeBytes / kLeastTileBytes) return false;
  const std::uint64_t most = PixelLimit() / (kTileRecord + head.components * kComponentRecord) + 1;
  return head.tiles <= most || reason.OverLimit();
}

struct Source {
  CoreInputStream* stream;
  std::uint64_t start;
};

OPJ_SIZE_T ReadSource(void* to, OPJ_SIZE_T size, void* data) {
  const std::size_t count = static_cast<Source*>(data)->stream->Read(to, size);
  return count == 0 ? static_cast<OPJ_SIZE_T>(-1) : count;
}

// The library asks for no position or count below 0.
OPJ_BOOL SeekSource(OPJ_OFF_T position, void* data) {
  const Source& source = *static_cast<Source*>(data);
  return source.stream->Seek(source.start + static_cast<std::uint64_t>(position)) ? OPJ_TRUE : OPJ_FALSE;
}

OPJ_OFF_T SkipSource(OPJ_OFF_T count, void* data) {
  const Source& source = *static_cast<Source*>(data);
  const std::uint64_t position = source.stream->GetPosition() + static_cast<std::uint64_t>(count);
  if (position > source.stream->GetSize() || !source.stream->Seek(position)) return -1;
  return count;
}

// One sample as 8 bits, whatever its precision and sign.
class Plane {
 public:
  explicit Plane(const opj_image_comp_t& component)
      : component_(component),
        most_((std::int64_t{1} << component.prec) - 1),
        offset_(component.sgnd != 0 ? std::int64_t{1} << (component.prec - 1) : 0) {}

  // The sample nearest to pixel (x, y) of a picture that may hold more pixels than this plane has samples.
  std::uint8_t At(const CoreSize& size, int x, int y) const {
    const auto column = static_cast<std::size_t>(x) * component_.w / static_cast<std::size_t>(size.width);
    const auto row = static_cast<std::size_t>(y) * component_.h / static_cast<std::size_t>(size.height);
    const std::int64_t value =
        std::clamp<std::int64_t>(component_.data[row * component_.w + column] + offset_, 0, most_);
    return ByteOfSample(static_cast<std::uint64_t>(value), static_cast<std::uint64_t>(most_));
  }

 private:
  const opj_image_comp_t& component_;
  std::int64_t most_;
  std::int64_t offset_;
};

enum class Colors { kGray, kRgb, kYcc, kCmyk };

struct Layout {
  int width = 0;
  int height = 0;
  Colors colors = Colors::kGray;
  int alpha = -1;  // which component is alpha, -1 for none
  bool premultiplied = false;

  int Bits() const {
    if (alpha >= 0) return 32;
    return colors == Colors::kGray ? 8 : 24;
  }
};

bool IsSubsampled(const opj_image_t& image) {
  return image.numcomps >= 3 &&
         (image.comps[1].dx > image.comps[0].dx || image.comps[1].dy > image.comps[0].dy);
}

// What the image says by now: colors and alpha only once it is decoded.
bool ReadLayout(const opj_image_t& image, Layout& layout) {
  layout = {};
  if (image.numcomps < 1 || image.x1 <= image.x0 || image.y1 <= image.y0) return false;
  // Sides of 0 and such as no int holds, which are negative here, no bitmap has.
  layout.width = static_cast<int>(image.comps[0].w);
  layout.height = static_cast<int>(image.comps[0].h);
  const Jpeg2000Channels channels{image.numcomps, image.color_space == OPJ_CLRSPC_CMYK, false};
  const OPJ_UINT32 colors = channels.Colors();
  const bool ycc =
      image.color_space == OPJ_CLRSPC_SYCC || image.color_space == OPJ_CLRSPC_EYCC || IsSubsampled(image);
  if (colors == 4) {
    layout.colors = Colors::kCmyk;
  } else if (colors == 3) {
    layout.colors = ycc ? Colors::kYcc : Colors::kRgb;
  }
  if (channels.HasAlpha()) layout.alpha = static_cast<int>(colors);
  for (OPJ_UINT32 i = image.numcomps; i-- > colors;) {
    if (!IsJpeg2000Alpha(image.comps[i].alpha)) continue;
    layout.alpha = static_cast<int>(i);
    layout.premultiplied = image.comps[i].alpha == kJpeg2000PremultipliedOpacity;
  }
  return true;
}

// Bytes of the planes that the library unpacks.
std::uint64_t PlaneBytes(const opj_image_t& image) {
  std::uint64_t bytes = 0;
  for (OPJ_UINT32 i = 0; i < image.numcomps; ++i)
    bytes += std::uint64_t{image.comps[i].w} * image.comps[i].h * sizeof(OPJ_INT32);
  return bytes;
}

bool PlanesAreThere(const opj_image_t& image, DecodeReason& reason) {
  for (OPJ_UINT32 i = 0; i < image.numcomps; ++i) {
    const opj_image_comp_t& component = image.comps[i];
    if (component.data == nullptr || component.w == 0 || component.h == 0 || component.prec < 1) return false;
    if (component.prec > 31) return reason.Unsupported("%u-bit JPEG 2000 samples", component.prec);
  }
  return true;
}

std::uint8_t ToByte(double value) {
  return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

// JFIF's full-range YCbCr, which sYCC follows.
void StoreYcc(const std::uint8_t* ycc, std::uint8_t* bgr) {
  const double y = ycc[0];
  const double cb = ycc[1] - 128.0;
  const double cr = ycc[2] - 128.0;
  bgr[0] = ToByte(y + 1.772 * cb);
  bgr[1] = ToByte(y - 0.344136 * cb - 0.714136 * cr);
  bgr[2] = ToByte(y + 1.402 * cr);
}

void StorePixel(const Layout& layout, const std::uint8_t* samples, std::uint8_t* out) {
  switch (layout.colors) {
    case Colors::kGray:
      out[0] = samples[0];
      if (layout.alpha >= 0) out[1] = out[2] = samples[0];
      break;
    case Colors::kRgb:
      out[0] = samples[2], out[1] = samples[1], out[2] = samples[0];
      break;
    case Colors::kYcc:
      StoreYcc(samples, out);
      break;
    case Colors::kCmyk:
      for (int c = 0; c < 3; ++c) out[2 - c] = LightBehindInk(samples[c], samples[3]);
      break;
  }
}

bool HasPlainPlanes(const opj_image_t& image, const Layout& layout) {
  for (OPJ_UINT32 i = 0; i < image.numcomps; ++i) {
    const opj_image_comp_t& component = image.comps[i];
    if (component.w != static_cast<OPJ_UINT32>(layout.width) ||
        component.h != static_cast<OPJ_UINT32>(layout.height) || component.prec != 8 || component.sgnd != 0)
      return false;
  }
  return layout.colors == Colors::kGray || layout.colors == Colors::kRgb;
}

// 8-bit planes as large as the picture: the usual case, without any arithmetic. The library keeps samples
// within their depth.
void StorePlainPlanes(const opj_image_t& image, const Layout& layout, CoreDib& to) {
  const std::size_t size = static_cast<std::size_t>(layout.Bits()) / 8;
  const bool gray = layout.colors == Colors::kGray;
  for (std::size_t c = 0; c < size; ++c) {
    std::size_t plane = gray ? 0 : 2 - c;
    if (c == 3) plane = static_cast<std::size_t>(layout.alpha);
    const OPJ_INT32* from = image.comps[plane].data;
    for (int y = 0; y < layout.height; ++y) {
      std::uint8_t* out = to.GetRow(y) + c;
      for (int x = 0; x < layout.width; ++x, out += size) *out = static_cast<std::uint8_t>(*from++);
    }
  }
}

void StorePlanes(const opj_image_t& image, const Layout& layout, CoreDib& to) {
  if (HasPlainPlanes(image, layout)) return StorePlainPlanes(image, layout, to);
  const CoreSize size{layout.width, layout.height};
  std::vector<Plane> planes;
  for (OPJ_UINT32 i = 0; i < image.numcomps; ++i) planes.emplace_back(image.comps[i]);
  const std::size_t used = layout.colors == Colors::kGray ? 1 : (layout.colors == Colors::kCmyk ? 4 : 3);
  for (int y = 0; y < layout.height; ++y) {
    std::uint8_t* out = to.GetRow(y);
    for (int x = 0; x < layout.width; ++x, out += layout.Bits() / 8) {
      std::uint8_t samples[4];
      for (std::size_t i = 0; i < used; ++i) samples[i] = planes[i].At(size, x, y);
      StorePixel(layout, samples, out);
      if (layout.alpha >= 0) out[3] = planes[static_cast<std::size_t>(layout.alpha)].At(size, x, y);
    }
  }
}

// The library with the image's head read, ready to go on to its planes. Stays in place: the library keeps its
// address.
struct Reader {
  // Reads the head from the stream's position on.
  Reader(CoreInputStream& input, DecodeReason& reason) : source{&input, input.GetPosition()} {
    if (!ReadJpeg2000Head(input, head) || !IsPlausible(head, reason)) return;
    if (!input.Seek(source.start)) return;
    stream.reset(opj_stream_default_create(OPJ_TRUE));
    codec.reset(opj_create_decompress(head.bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
    if (stream == nullptr || codec == nullptr) {
      reason.OverLimit();
      return;
    }
    opj_stream_set_read_function(stream.get(), ReadSource);
    opj_stream_set_seek_function(stream.get(), SeekSource);
    opj_stream_set_skip_function(stream.get(), SkipSource);
    opj_stream_set_user_data(stream.get(), &source, nullptr);
    opj_stream_set_user_data_length(stream.get(), source.stream->GetSize() - source.start);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* read = nullptr;
    usable = opj_setup_decoder(codec.get(), &parameters) != 0 &&
             opj_read_header(stream.get(), codec.get(), &read) != 0;
    image.reset(read);
    position = input.GetPosition();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  Source source;
  Jpeg2000Head head;
  std::uint64_t position = 0;  // of the stream, behind what the library took from it
  Jpeg2000Stream stream;
  Jpeg2000Codec codec;
  Jpeg2000Image image;
  bool usable = false;
};

class Jpeg2000Decoder final : public FormatDecoder {
 public:
  Jpeg2000Decoder() : FormatDecoder(kCoreImageJpeg2000) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    reader_.reset();
    start_ = stream.GetPosition();
    auto opened = std::make_unique<Reader>(stream, Reason());
    const Reader& reader = *opened;
    Layout layout;
    if (!reader.usable || !ReadLayout(*reader.image, layout)) return false;
    info.width = layout.width;
    info.height = layout.height;
    info.bitsPerPixel = reader.head.channels.Bits();
    for (OPJ_UINT32 i = 0; i < reader.image->numcomps; ++i)
      info.fileBitsPerPixel += static_cast<int>(reader.image->comps[i].prec);
    info.frameCount = 1;
    info.dpiX = reader.head.resolution.dpiX;
    info.dpiY = reader.head.resolution.dpiY;
    reader_ = std::move(opened);
    return true;
  }

  bool ReadFrame(CoreInputStream& stream, int, CoreDib& bitmap) override {
    // The library decodes once: whoever asks again begins anew.
    std::unique_ptr<Reader> opened = std::move(reader_);
    if (!stream.Seek(opened == nullptr ? start_ : opened->position)) return false;
    if (opened == nullptr) opened = std::make_unique<Reader>(stream, Reason());
    const Reader& reader = *opened;
    Layout layout;
    if (!reader.usable || !ReadLayout(*reader.image, layout)) return false;
    const CoreSize size{layout.width, layout.height};
    if (!Reason().Fits(size.width, size.height, layout.Bits(), PlaneBytes(*reader.image))) return false;
    if (opj_decode(reader.codec.get(), reader.stream.get(), reader.image.get()) == 0) return false;
    if (opj_end_decompress(reader.codec.get(), reader.stream.get()) == 0) return false;
    // A palette in the file is unpacked by now and channels have their places: what comes first may have
    // another size.
    if (!PlanesAreThere(*reader.image, Reason()) || !ReadLayout(*reader.image, layout)) return false;
    layout.width = size.width;
    layout.height = size.height;
    if (!Reason().Create(bitmap, layout.width, layout.height, layout.Bits(), PlaneBytes(*reader.image)))
      return false;
    bitmap.SetDpi(GetInfo().dpiX, GetInfo().dpiY);
    StorePlanes(*reader.image, layout, bitmap);
    if (layout.premultiplied) bitmap.Unpremultiply();
    return true;
  }

  std::uint64_t start_ = 0;
  std::unique_ptr<Reader> reader_;  // null once its planes are decoded
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeJpeg2000Decoder() { return std::make_unique<Jpeg2000Decoder>(); }

}  // namespace tovmx
