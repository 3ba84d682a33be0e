// SPDX-License-Identifier: MIT
// Qt and ImageMagick.
#include "codec_peers.h"

#include <wand/MagickWand.h>

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <memory>

namespace peers {

namespace {

bool IsWebp(const std::string& format) { return format == "WEBP" || format == "WEBP_LOSSLESS"; }

// Its TIFF has LZW without a predictor, its JPEG stores color at half size whatever the quality.
void SetQuality(QImageWriter& writer, const std::string& format) {
  if (format == "JPEG") writer.setQuality(90);
  if (format == "WEBP") writer.setQuality(80);
  if (format == "WEBP_LOSSLESS") writer.setQuality(100);
  if (format == "TIFF") writer.setCompression(1);
}

}  // namespace

Encode QtEncoder(const direct::Picture& picture, const std::string& format) {
  const QImage image =
      QImage(picture.pixels, picture.width, picture.height, picture.width * 3, QImage::Format_BGR888)
          .convertToFormat(QImage::Format_RGB32);
  return [image, format]() -> std::size_t {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, IsWebp(format) ? "WEBP" : QByteArray::fromStdString(format));
    SetQuality(writer, format);
    return writer.write(image) ? static_cast<std::size_t>(buffer.size()) : 0;
  };
}

Decode QtDecoder(const std::string& bytes, const std::string& format) {
  return [bytes, format] {
    QBuffer buffer;
    buffer.setData(bytes.data(), static_cast<int>(bytes.size()));
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, IsWebp(format) ? "WEBP" : QByteArray::fromStdString(format));
    return !reader.read().isNull();
  };
}

namespace {

class Magick {
 public:
  Magick() {
    MagickWandGenesis();
    MagickSetResourceLimit(ThreadResource, 1);  // as the others
  }
  ~Magick() { MagickWandTerminus(); }
};

using Wand = std::shared_ptr<MagickWand>;

Wand NewWand() {
  static const Magick magick;
  return Wand(NewMagickWand(), DestroyMagickWand);
}

const char* MagickName(const std::string& format) {
  if (IsWebp(format)) return "WEBP";
  if (format == "JPEG2000") return "JP2";
  return format == "BMP" ? "BMP3" : format.c_str();
}

struct Option {
  const char* format;
  const char* key;
  const char* value;
};

// A PNG quality is ten times zlib's level, plus 5 for filters chosen row by row.
constexpr Option kOptions[] = {
    {"JPEG", "jpeg:sampling-factor", "1x1"}, {"JPEG", "jpeg:optimize-coding", "false"},
    {"TIFF", "tiff:predictor", "2"},         {"WEBP_LOSSLESS", "webp:lossless", "true"},
    {"WEBP_LOSSLESS", "webp:exact", "true"},
};

void SetQuality(MagickWand* wand, const std::string& format) {
  for (const Option& option : kOptions) {
    if (format == option.format) MagickSetOption(wand, option.key, option.value);
  }
  const std::size_t quality = format == "PNG" ? 65 : format == "JPEG" ? 90 : format == "WEBP" ? 80 : 75;
  MagickSetImageCompressionQuality(wand, quality);
  MagickSetImageCompression(wand, format == "TIFF" ? LZWCompression : UndefinedCompression);
}

}  // namespace

Encode ImageMagickEncoder(const direct::Picture& picture, const std::string& format) {
  const Wand wand = NewWand();
  MagickConstituteImage(wand.get(), static_cast<std::size_t>(picture.width),
                        static_cast<std::size_t>(picture.height), "BGR", CharPixel, picture.pixels);
  MagickSetImageDepth(wand.get(), 8);
  MagickSetImageFormat(wand.get(), MagickName(format));
  SetQuality(wand.get(), format);
  return [wand]() -> std::size_t {
    std::size_t size = 0;
    unsigned char* bytes = MagickGetImageBlob(wand.get(), &size);
    if (bytes == nullptr) return 0;
    MagickRelinquishMemory(bytes);
    return size;
  };
}

Decode ImageMagickDecoder(const std::string& bytes, const std::string& format) {
  return [bytes, format] {
    const Wand wand = NewWand();
    MagickSetFormat(wand.get(), MagickName(format));
    return MagickReadImageBlob(wand.get(), bytes.data(), bytes.size()) == MagickTrue;
  };
}

}  // namespace peers
