// SPDX-License-Identifier: MIT
// The one table of formats: names, extensions, makers and the libraries behind them. A format is told from
// content by the first bytes only; names of files are for choosing an encoder.
#include "codec/codecs.h"

#include <strings.h>

#include <array>
#include <cstring>
#include <string_view>

using namespace tovmx;

namespace {

struct Codec {
  CoreImageFormat format;
  const char* name;
  std::array<const char*, 5> extensions;
  std::unique_ptr<CoreImageEncoder> (*makeEncoder)();
  std::unique_ptr<CoreImageDecoder> (*makeDecoder)();
  CoreString (*describe)();
};

constexpr Codec kCodecs[] = {
    {kCoreImagePng, "PNG", {"png"}, MakePngEncoder, MakePngDecoder, DescribePngBackend},
    {kCoreImageJpeg,
     "JPEG",
     {"jpg", "jpeg", "jpe", "jfif"},
     MakeJpegEncoder,
     MakeJpegDecoder,
     DescribeJpegBackend},
    {kCoreImageTiff, "TIFF", {"tif", "tiff"}, MakeTiffEncoder, MakeTiffDecoder, DescribeTiffBackend},
    {kCoreImageWebp, "WebP", {"webp"}, MakeWebpEncoder, MakeWebpDecoder, DescribeWebpBackend},
    {kCoreImageJpeg2000,
     "JPEG 2000",
     {"jp2", "j2k", "j2c", "jpx"},
     MakeJpeg2000Encoder,
     MakeJpeg2000Decoder,
     DescribeJpeg2000Backend},
    {kCoreImageBmp, "BMP", {"bmp", "dib"}, MakeBmpEncoder, MakeBmpDecoder, nullptr},
    {kCoreImageGif, "GIF", {"gif"}, nullptr, MakeGifDecoder, DescribeGifBackend},
};

const Codec* FindCodec(CoreImageFormat format) {
  for (const Codec& codec : kCodecs) {
    if (codec.format == format) return &codec;
  }
  return nullptr;
}

struct Signature {
  CoreImageFormat format;
  std::size_t offset;
  std::string_view bytes;
  std::string_view start = {};  // what the content also begins with
};

using namespace std::string_view_literals;

constexpr Signature kSignatures[] = {
    {kCoreImagePng, 0, "\x89PNG\r\n\x1a\n"sv},
    {kCoreImageJpeg, 0, "\xff\xd8\xff"sv},
    {kCoreImageTiff, 0, "II*\0"sv},
    {kCoreImageTiff, 0, "MM\0*"sv},
    {kCoreImageTiff, 0, "II+\0"sv},  // BigTIFF
    {kCoreImageTiff, 0, "MM\0+"sv},
    {kCoreImageWebp, 8, "WEBP"sv, "RIFF"sv},
    {kCoreImageJpeg2000, 0, "\0\0\0\x0cjP  \r\n\x87\n"sv},
    {kCoreImageJpeg2000, 0, "\xff\x4f\xff\x51"sv},  // a bare code stream
    {kCoreImageBmp, 0, "BM"sv},
    {kCoreImageGif, 0, "GIF87a"sv},
    {kCoreImageGif, 0, "GIF89a"sv},
};

}  // namespace

CoreImageFormat CoreDetectImageFormat(CoreInputStream* stream) {
  if (stream == nullptr) return kCoreImageUnknown;
  char head[16];
  const std::uint64_t start = stream->GetPosition();
  const std::string_view text(head, stream->Read(head, sizeof head));
  if (!stream->Seek(start)) return kCoreImageUnknown;
  for (const Signature& signature : kSignatures) {
    if (text.size() < signature.offset + signature.bytes.size()) continue;
    if (text.compare(0, signature.start.size(), signature.start) == 0 &&
        text.compare(signature.offset, signature.bytes.size(), signature.bytes) == 0)
      return signature.format;
  }
  return kCoreImageUnknown;
}

CoreImageFormat CoreImageFormatFromExtension(const char* extension) {
  if (extension == nullptr) return kCoreImageUnknown;
  if (*extension == '.') ++extension;
  for (const Codec& codec : kCodecs) {
    for (const char* known : codec.extensions) {
      if (known != nullptr && strcasecmp(known, extension) == 0) return codec.format;
    }
  }
  return kCoreImageUnknown;
}

const char* CoreImageFormatName(CoreImageFormat format) {
  const Codec* codec = FindCodec(format);
  return codec == nullptr ? "unknown" : codec->name;
}

std::unique_ptr<CoreImageEncoder> CoreCodecFactory::CreateEncoder(CoreImageFormat format) const {
  const Codec* codec = FindCodec(format);
  return codec == nullptr || codec->makeEncoder == nullptr ? nullptr : codec->makeEncoder();
}

std::unique_ptr<CoreImageDecoder> CoreCodecFactory::CreateDecoder(CoreImageFormat format) const {
  const Codec* codec = FindCodec(format);
  return codec == nullptr || codec->makeDecoder == nullptr ? nullptr : codec->makeDecoder();
}

CoreCodecRegistry& CoreCodecRegistry::Get() {
  static CoreCodecRegistry registry;
  return registry;
}

CoreStringList<CoreString> CoreCodecRegistry::DescribeBackends() const {
  CoreStringList<CoreString> lines;
  for (const Codec& codec : kCodecs) {
    if (codec.describe != nullptr) lines.Add(codec.describe());
  }
  return lines;
}
