// SPDX-License-Identifier: MIT
// Each format is a sequence of pieces with a length, or of entries of a fixed size; what lies in a piece is
// taken for numbers of the width that is usual there.
#include "picture_fields.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace fuzz {

namespace {

constexpr std::size_t kMostOfAPiece = 64;  // bytes of a piece that are fields, not pixels

class Walk {
 public:
  Walk(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool Holds(std::size_t at, std::size_t width) const { return at <= size_ && width <= size_ - at; }
  bool Begins(std::size_t at, const char* text) const {
    return Holds(at, std::strlen(text)) && std::memcmp(data_ + at, text, std::strlen(text)) == 0;
  }
  std::uint32_t Get(std::size_t at, std::size_t width, bool bigEndian) const {
    return Holds(at, width) ? GetField(data_, {at, width, bigEndian}) : 0;
  }
  void Add(std::size_t at, std::size_t width, bool bigEndian) {
    if (Holds(at, width)) fields_.push_back({at, width, bigEndian});
  }
  // The bytes of a piece, one by one and as numbers of a width.
  void AddPiece(std::size_t at, std::size_t length, std::size_t width, bool bigEndian) {
    length = std::min(length, kMostOfAPiece);
    for (std::size_t i = 0; i < length; ++i) Add(at + i, 1, bigEndian);
    AddNumbers(at, length, width, bigEndian);
  }
  void AddNumbers(std::size_t at, std::size_t length, std::size_t width, bool bigEndian) {
    for (std::size_t i = 0; i + width <= length; i += width) Add(at + i, width, bigEndian);
  }

  // Signature, then pieces of length, name, content and checksum.
  void OfPng() {
    for (std::size_t at = 8; Holds(at, 12);) {
      const std::size_t length = Get(at, 4, true);
      AddPiece(at, 8, 4, true);
      if (!Holds(at + 12, length)) return;
      AddPiece(at + 8, length, 4, true);
      at += length + 12;
    }
  }
  // Markers with a length, up to the entropy-coded data.
  void OfJpeg() {
    for (std::size_t at = 2; Holds(at, 4) && data_[at] == 0xFF;) {
      const std::size_t length = Get(at + 2, 2, true);
      Add(at + 1, 1, true);
      AddPiece(at + 2, length, 2, true);
      AddNumbers(at + 5, 4, 2, true);  // a frame's height and width, behind the depth of its samples
      if (data_[at + 1] == 0xDA) return;
      at += length + 2;
    }
  }
  // A chain of directories with entries of 12 bytes.
  void OfTiff() {
    const bool big = Begins(0, "MM");
    AddPiece(4, 4, 4, big);
    std::size_t at = Get(4, 4, big);
    for (int directory = 0; directory < 4 && at != 0 && Holds(at, 2); ++directory) {
      const std::size_t count = std::min<std::size_t>(Get(at, 2, big), 64);
      Add(at, 2, big);
      for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = at + 2 + 12 * i;
        for (const std::size_t offset : {0, 2, 8}) Add(entry + offset, 2, big);
        for (const std::size_t offset : {4, 8}) Add(entry + offset, 4, big);
      }
      at = Get(at + 2 + 12 * count, 4, big);
    }
  }
  void OfBmp() { AddPiece(2, kMostOfAPiece, 2, false), AddPiece(2, kMostOfAPiece, 4, false); }
  // The screen, then extensions and images with sub-blocks.
  void OfGif() {
    AddPiece(6, 7, 2, false);
    std::size_t at = 13 + ((Get(10, 1, false) & 0x80) != 0 ? std::size_t{6} << (data_[10] & 7) : 0);
    for (int block = 0; block < 64 && Holds(at, 10); ++block) {
      const bool image = data_[at] == 0x2C;
      if (!image && data_[at] != 0x21) return;
      AddPiece(at, image ? 11 : 8, 1, false);
      for (std::size_t i = 1; image && i < 9; i += 2) Add(at + i, 2, false);
      const std::uint8_t packed = data_[at + 9];
      at += image ? 11 + ((packed & 0x80) != 0 ? std::size_t{6} << (packed & 7) : 0) : 2;
      while (Holds(at, 1) && data_[at] != 0) at += data_[at] + std::size_t{1};
      ++at;
    }
  }
  // RIFF: name, length, content.
  void OfWebp() {
    Add(4, 4, false);
    for (std::size_t at = 12; Holds(at, 8);) {
      const std::size_t length = Get(at + 4, 4, false);
      AddPiece(at, 24, 4, false);
      at += 8 + length + length % 2;
    }
  }
  // Boxes of length, name and content, then the markers of the code stream.
  void OfJpeg2000() {
    std::size_t at = 0;
    while (Holds(at, 8) && data_[at] != 0xFF) {
      const std::size_t length = Get(at, 4, true);
      AddPiece(at, std::max<std::size_t>(length, 8), 4, true);
      at += Begins(at + 4, "jp2c") || Begins(at + 4, "jp2h") || length < 8 ? 8 : length;
    }
    for (at += 2; Holds(at, 4) && data_[at] == 0xFF;) {
      const std::size_t length = Get(at + 2, 2, true);
      AddPiece(at + 1, length + 1, 1, true);
      AddPiece(at + 2, length, 2, true);
      AddPiece(at + 6, length, 4, true);
      at += length + 2;
    }
  }

  std::vector<Field> Take() { return std::move(fields_); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::vector<Field> fields_;
};

}  // namespace

std::uint32_t GetField(const std::uint8_t* data, const Field& field) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < field.width; ++i) {
    const std::size_t at = field.bigEndian ? i : field.width - 1 - i;
    value = value << 8 | data[field.at + at];
  }
  return value;
}

void PutField(std::uint8_t* data, const Field& field, std::uint32_t value) {
  for (std::size_t i = 0; i < field.width; ++i, value >>= 8) {
    const std::size_t at = field.bigEndian ? field.width - 1 - i : i;
    data[field.at + at] = static_cast<std::uint8_t>(value);
  }
}

std::vector<Field> PictureFields(CoreImageFormat format, const std::uint8_t* data, std::size_t size) {
  Walk walk(data, size);
  if (format == kCoreImagePng && walk.Begins(0, "\x89PNG")) walk.OfPng();
  if (format == kCoreImageJpeg && walk.Begins(0, "\xFF\xD8")) walk.OfJpeg();
  if (format == kCoreImageTiff && (walk.Begins(0, "II") || walk.Begins(0, "MM"))) walk.OfTiff();
  if (format == kCoreImageBmp && walk.Begins(0, "BM")) walk.OfBmp();
  if (format == kCoreImageGif && walk.Begins(0, "GIF8")) walk.OfGif();
  if (format == kCoreImageWebp && walk.Begins(0, "RIFF")) walk.OfWebp();
  if (format == kCoreImageJpeg2000) walk.OfJpeg2000();
  return walk.Take();
}

void PutPngChecksumsRight(std::uint8_t* data, std::size_t size) {
  for (std::size_t at = 8; at < size && size - at >= 12;) {
    const std::size_t content = GetField(data, {at, 4, true});
    if (content > size - at - 12) return;
    const uLong sum = crc32(0, data + at + 4, static_cast<uInt>(content + 4));
    PutField(data, {at + 8 + content, 4, true}, static_cast<std::uint32_t>(sum));
    at += content + 12;
  }
}

}  // namespace fuzz
