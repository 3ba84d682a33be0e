// SPDX-License-Identifier: MIT
// The orientation mark that cameras and scanners leave in a picture, read from the file's own structure: a
// directory of TIFF, or one of EXIF inside JPEG, PNG and WebP.
#include "tovmx/codec.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>

namespace {

using Mark = std::optional<std::uint64_t>;  // nothing where the file has none

constexpr int kUpright = 1;
constexpr int kMostSegments = 1 << 20;  // of a file; more are no camera's

// Numbers of a stretch of a stream, in one byte order.
class Fields {
 public:
  Fields(CoreInputStream& stream, std::uint64_t start) : stream_(stream), start_(start) {}

  void SetBigEndian(bool big) { big_ = big; }

  // Nothing where the stream ends.
  std::optional<std::uint64_t> Number(std::uint64_t offset, std::size_t size) const {
    std::uint8_t bytes[8];
    if (!Bytes(offset, bytes, size)) return std::nullopt;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | bytes[big_ ? i : size - 1 - i];
    return number;
  }

  bool Bytes(std::uint64_t offset, void* to, std::size_t size) const {
    return stream_.Seek(start_ + offset) && stream_.Read(to, size) == size;
  }

 private:
  CoreInputStream& stream_;
  std::uint64_t start_;
  bool big_ = true;
};

// Where the fields of a directory stand, in a TIFF and in a BigTIFF.
struct DirectoryForm {
  std::size_t counter;  // size of the number of entries
  std::size_t entry;    // size of one
  std::size_t offset;   // size of an offset, the directory's end; values stand as far before an entry's end
};
constexpr DirectoryForm kClassic = {2, 12, 4};
constexpr DirectoryForm kBig = {8, 20, 8};

// The mark of one directory; `directory` moves on to the next, or to 0.
Mark MarkOfDirectory(const Fields& tiff, const DirectoryForm& form, std::uint64_t& directory) {
  constexpr std::uint64_t kTag = 0x112;
  constexpr std::uint64_t kMostEntries = 0xFFFF;
  const std::uint64_t count = tiff.Number(directory, form.counter).value_or(0);
  const std::uint64_t first = directory + form.counter;
  directory = 0;
  if (count > kMostEntries) return {};
  Mark mark;
  for (std::uint64_t entry = first; entry < first + count * form.entry; entry += form.entry) {
    if (tiff.Number(entry, 2) != kTag) continue;
    mark = tiff.Number(entry + form.entry - form.offset, 2);
    break;
  }
  directory = tiff.Number(first + count * form.entry, form.offset).value_or(0);
  return mark;
}

Mark MarkOfTiff(CoreInputStream& stream, std::uint64_t start, int frame) {
  Fields tiff(stream, start);
  const std::uint64_t order = tiff.Number(0, 2).value_or(0);
  if (order != 0x4949 && order != 0x4D4D) return {};
  tiff.SetBigEndian(order == 0x4D4D);
  const bool big = tiff.Number(2, 2) == 43;
  const DirectoryForm& form = big ? kBig : kClassic;
  std::uint64_t directory = tiff.Number(big ? 8 : 4, form.offset).value_or(0);
  Mark mark;
  for (int i = 0; i <= frame && directory != 0; ++i) {
    if (directory > std::numeric_limits<std::int64_t>::max()) return {};
    mark = MarkOfDirectory(tiff, form, directory);
    if (i < frame && directory == 0) return {};
  }
  return mark;
}

// The mark of what EXIF calls its body, with or without the head that JPEG puts before it.
Mark MarkOfExif(CoreInputStream& stream, std::uint64_t start) {
  char head[6];
  const bool read = Fields(stream, start).Bytes(0, head, sizeof head);
  return MarkOfTiff(stream, read && std::memcmp(head, "Exif\0\0", 6) == 0 ? start + 6 : start, 0);
}

Mark MarkOfJpeg(CoreInputStream& stream, std::uint64_t start) {
  const Fields file(stream, start);
  std::uint64_t at = 2;
  for (int i = 0; i < kMostSegments; ++i) {
    const auto marker = file.Number(at, 2);
    if (!marker || *marker < 0xFF00) return {};
    if (*marker == 0xFFFF) {  // a byte of padding
      ++at;
      continue;
    }
    constexpr std::uint64_t kScan = 0xFFDA, kApp1 = 0xFFE1;
    const auto length = file.Number(at + 2, 2);
    if (*marker == kScan || !length || *length < 2) return {};
    char head[6];
    if (*marker == kApp1 && *length >= 8 && file.Bytes(at + 4, head, sizeof head) &&
        std::memcmp(head, "Exif\0\0", 6) == 0) {
      return MarkOfTiff(stream, start + at + 10, 0);
    }
    at += 2 + *length;
  }
  return {};
}

// PNG and WebP are rows of chunks: a length and four letters, in this order or the other.
struct ChunkForm {
  std::uint64_t first;      // where the first chunk stands
  bool bigEndian;           // the lengths
  std::uint64_t length;     // where the length stands in a chunk
  std::uint64_t letters;    // and the letters
  std::uint64_t behind;     // what follows the body
  std::uint64_t alignment;  // of the body's length
  char name[5];             // of the chunk that is sought
};
constexpr ChunkForm kPng = {8, true, 0, 4, 4, 1, "eXIf"};
constexpr ChunkForm kWebp = {12, false, 4, 0, 0, 2, "EXIF"};

Mark MarkOfChunks(CoreInputStream& stream, std::uint64_t start, const ChunkForm& form) {
  Fields file(stream, start);
  file.SetBigEndian(form.bigEndian);
  std::uint64_t at = form.first;
  for (int i = 0; i < kMostSegments; ++i) {
    char name[4];
    const auto length = file.Number(at + form.length, 4);
    if (!length || !file.Bytes(at + form.letters, name, sizeof name)) return {};
    if (std::memcmp(name, form.name, sizeof name) == 0) return MarkOfExif(stream, start + at + 8);
    at += 8 + (*length + form.alignment - 1) / form.alignment * form.alignment + form.behind;
  }
  return {};
}

Mark MarkOf(CoreInputStream& stream, std::uint64_t start, int frame) {
  switch (CoreDetectImageFormat(&stream)) {
    case kCoreImageTiff:
      return MarkOfTiff(stream, start, frame);
    case kCoreImageJpeg:
      return MarkOfJpeg(stream, start);
    case kCoreImagePng:
      return MarkOfChunks(stream, start, kPng);
    case kCoreImageWebp:
      return MarkOfChunks(stream, start, kWebp);
    default:
      return {};
  }
}

}  // namespace

int CoreReadOrientation(CoreInputStream* stream, int frame) {
  if (stream == nullptr || frame < 0) return kUpright;
  const std::uint64_t start = stream->GetPosition();
  const Mark mark = MarkOf(*stream, start, frame);
  stream->Seek(start);
  return mark && *mark >= 1 && *mark <= 8 ? static_cast<int>(*mark) : kUpright;
}
