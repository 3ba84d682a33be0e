// SPDX-License-Identifier: MIT
// WebP, written by libwebp: lossless unless a quality is given.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"

#include <webp/encode.h>

#include <cstdio>
#include <cstring>

namespace tovmx {

namespace {

class Picture {
 public:
  Picture() : usable_(WebPPictureInit(&picture_) != 0) {}
  ~Picture() { WebPPictureFree(&picture_); }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  // Its pixels are 32-bit numbers of the form 0xAARRGGBB, as in a 32-bit bitmap: that one is used where it
  // lies.
  bool Load(const CoreDib& bitmap) {
    if (!usable_ || bitmap.GetWidth() > WEBP_MAX_DIMENSION || bitmap.GetHeight() > WEBP_MAX_DIMENSION)
      return false;
    picture_.use_argb = 1;
    picture_.width = bitmap.GetWidth();
    picture_.height = bitmap.GetHeight();
    if (bitmap.GetBitsPerPixel() == 32) {
      picture_.argb = reinterpret_cast<std::uint32_t*>(const_cast<std::uint8_t*>(bitmap.GetBuffer()));
      picture_.argb_stride = bitmap.GetStride() / 4;
      return true;
    }
    if (WebPPictureAlloc(&picture_) == 0) return false;
    RowReader rows(bitmap, RowLayout::kBgra);
    for (int y = 0; y < picture_.height; ++y) {
      std::memcpy(picture_.argb + static_cast<std::ptrdiff_t>(y) * picture_.argb_stride, rows.Row(y),
                  static_cast<std::size_t>(picture_.width) * 4);
    }
    return true;
  }

  bool Encode(const WebPConfig& config, CoreOutputStream& stream) {
    picture_.writer = [](const std::uint8_t* data, std::size_t size, const WebPPicture* picture) {
      return static_cast<CoreOutputStream*>(picture->custom_ptr)->Write(data, size) ? 1 : 0;
    };
    picture_.custom_ptr = &stream;
    return WebPEncode(&config, &picture_) != 0;
  }

 private:
  WebPPicture picture_;
  bool usable_;
};

class WebpEncoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    WebPConfig config;
    if (WebPConfigInit(&config) == 0) return false;
    config.lossless = quality_ == 0 ? 1 : 0;
    if (quality_ != 0) config.quality = static_cast<float>(quality_);
    config.exact = 1;  // colors under alpha 0 are kept, and the library leaves our pixels alone
    Picture picture;
    return picture.Load(bitmap) && picture.Encode(config, stream);
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakeWebpEncoder() { return std::make_unique<WebpEncoder>(); }

CoreString DescribeWebpBackend() {
  const auto version = static_cast<unsigned>(WebPGetEncoderVersion());
  char text[64];
  std::snprintf(text, sizeof text, "libwebp %u.%u.%u", version >> 16 & 255, version >> 8 & 255,
                version & 255);
  return text;
}

}  // namespace tovmx
