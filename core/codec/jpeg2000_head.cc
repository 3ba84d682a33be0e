// SPDX-License-Identifier: MIT
// The boxes are walked once; each that matters is read as it is met. Nothing is decoded for it: the depth
// of the bitmap must be known before the library unpacks a palette or moves channels to their places.
#include "codec/jpeg2000_head.h"

#include <utility>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint32_t kSizeMarkers = 0xff4fff51;  // start of code stream, then the size segment
constexpr std::uint32_t kColors = 0x636f6c72;       // "colr"
constexpr std::uint32_t kPalette = 0x70636c72;      // "pclr"
constexpr std::uint32_t kPaletteMap = 0x636d6170;   // "cmap"
constexpr std::uint32_t kDefinitions = 0x63646566;  // "cdef"
constexpr unsigned kEnumerated = 1;
constexpr unsigned kProfile = 2;
constexpr std::uint32_t kCmyk = 12;

unsigned Get16(const std::uint8_t* p) { return static_cast<unsigned>(p[0]) << 8 | p[1]; }

// What one channel is, and of which color, counted from 1; 0 and 65535 stand for the whole picture and for
// none.
struct Definition {
  unsigned channel;
  unsigned kind;
  unsigned color;
};

class BoxReader {
 public:
  explicit BoxReader(CoreInputStream& stream) : stream_(stream) {}

  // Walks the boxes of a file up to its code stream. False when there is none.
  bool FindCodeStream(std::uint64_t start, Jpeg2000Box& box) {
    for (std::uint64_t at = start; at != UINT64_MAX && NextJpeg2000Box(stream_, at, box); at = box.end) {
      if (box.type == kJpeg2000CodeStream) return true;
      if (box.type == kJpeg2000Header) {
        ReadHeader(box);
      } else if (seenHeader_) {
        ReadOne(box);
      }
    }
    return false;
  }

  Jpeg2000Resolution Resolution() const { return resolution_; }

  Jpeg2000Channels ChannelsOf(std::uint32_t components) {
    Jpeg2000Channels channels;
    channels.count = mapped_ && paletteChannels_ != 0 ? paletteChannels_ : components;
    channels.cmyk = cmyk_;
    const std::vector<unsigned> kinds = Arrange(channels.count);
    for (std::size_t i = channels.Colors(); i < kinds.size(); ++i)
      channels.alphaTold = channels.alphaTold || IsJpeg2000Alpha(kinds[i]);
    return channels;
  }

 private:
  void ReadHeader(const Jpeg2000Box& header) {
    Jpeg2000Box box;
    for (std::uint64_t at = header.content; at < header.end && NextJpeg2000Box(stream_, at, box);
         at = box.end) {
      if (box.type == kJpeg2000CodeStream) break;
      ReadOne(box);
      if (box.type != kJpeg2000Resolution || seenResolution_ || seenHeader_) continue;
      seenResolution_ = true;
      resolution_ = ReadJpeg2000Resolution(stream_, box);
    }
    seenHeader_ = true;
  }

  bool Get(const Jpeg2000Box& box, std::uint8_t* to, std::size_t size) {
    return stream_.Seek(box.content) && stream_.Read(to, size) == size;
  }

  void ReadOne(const Jpeg2000Box& box) {
    std::uint8_t head[7];
    if (box.type == kColors && !seenColors_ && Get(box, head, 3)) {
      // The method, precedence and approximation, then the number of the color space.
      seenColors_ = head[0] == kEnumerated || head[0] == kProfile;
      if (head[0] == kEnumerated && Get(box, head, 7)) cmyk_ = GetJpeg2000Number(head + 3) == kCmyk;
    } else if (box.type == kPalette && paletteChannels_ == 0 && Get(box, head, 3)) {
      paletteChannels_ = head[2];  // behind the number of entries
    } else if (box.type == kPaletteMap) {
      mapped_ = true;
    } else if (box.type == kDefinitions && definitions_.empty() && Get(box, head, 2)) {
      for (unsigned left = Get16(head); left != 0; --left) {
        std::uint8_t bytes[6];
        if (stream_.Read(bytes, sizeof bytes) != sizeof bytes) return;
        definitions_.push_back({Get16(bytes), Get16(bytes + 2), Get16(bytes + 4)});
      }
    }
  }

  // The kinds of the channels once each color has its place.
  std::vector<unsigned> Arrange(std::size_t count) {
    std::vector<unsigned> kinds(count, 0);
    for (std::size_t i = 0; i < definitions_.size(); ++i) {
      const Definition& now = definitions_[i];
      const unsigned place = now.color - 1;
      if (now.channel >= count) continue;
      const bool placed = now.color != 0 && now.color != 65535;
      if (placed && place >= count) continue;
      if (placed && now.channel != place && now.kind == 0) {
        std::swap(kinds[now.channel], kinds[place]);
        for (std::size_t j = i + 1; j < definitions_.size(); ++j) {
          unsigned& channel = definitions_[j].channel;
          if (channel == now.channel) {
            channel = place;
          } else if (channel == place) {
            channel = now.channel;
          }
        }
      }
      kinds[now.channel] = now.kind;
    }
    return kinds;
  }

  CoreInputStream& stream_;
  bool seenHeader_ = false;
  bool seenColors_ = false;
  bool seenResolution_ = false;
  bool cmyk_ = false;
  bool mapped_ = false;
  std::uint32_t paletteChannels_ = 0;
  std::vector<Definition> definitions_;
  Jpeg2000Resolution resolution_;
};

bool ReadExactly(CoreInputStream& stream, std::uint8_t* to, std::size_t size) {
  return stream.Read(to, size) == size;
}

std::uint64_t TilesAcross(std::uint32_t end, std::uint32_t tileStart, std::uint32_t tileSize) {
  return (std::uint64_t{end} - tileStart + tileSize - 1) / tileSize;
}

// Reads the size segment at the start of the code stream:
//
//     0   two markers          8   width, height      24  tile width, tile height
//     4   length               16  origin: x, y       32  origin of the tiles: x, y
//     6   capabilities                                40  number of components
bool ReadSize(CoreInputStream& stream, Jpeg2000Head& head) {
  const std::uint64_t code = stream.GetPosition();
  std::uint8_t segment[42];
  if (!ReadExactly(stream, segment, sizeof segment) || GetJpeg2000Number(segment) != kSizeMarkers)
    return false;
  std::uint32_t field[8];
  for (std::size_t i = 0; i < 8; ++i) field[i] = GetJpeg2000Number(segment + 8 + 4 * i);
  if (field[4] == 0 || field[5] == 0 || field[6] > field[0] || field[7] > field[1]) return false;
  head.tiles = TilesAcross(field[0], field[6], field[4]) * TilesAcross(field[1], field[7], field[5]);
  head.components = Get16(segment + 40);
  head.codeBytes = stream.GetSize() > code ? stream.GetSize() - code : 0;
  return true;
}

}  // namespace

bool ReadJpeg2000Head(CoreInputStream& stream, Jpeg2000Head& head) {
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t first[4];
  if (!ReadExactly(stream, first, sizeof first) || !stream.Seek(start)) return false;
  head.bare = GetJpeg2000Number(first) == kSizeMarkers;
  BoxReader boxes(stream);
  Jpeg2000Box code;
  if (!head.bare && !(boxes.FindCodeStream(start, code) && stream.Seek(code.content))) return false;
  if (!ReadSize(stream, head)) return false;
  head.channels = boxes.ChannelsOf(head.components);
  head.resolution = boxes.Resolution();
  return true;
}

}  // namespace tovmx
