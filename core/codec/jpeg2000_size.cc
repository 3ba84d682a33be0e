#include "codec/jpeg2000_size.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kSizeMarkers = 0xff4fff51;    // start of code stream, then the size segment
constexpr std::uint32_t kCodeStreamBox = 0x6a703263;  // "jp2c"

std::uint32_t Get32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
         static_cast<std::uint32_t>(p[2]) << 8 | p[3];
}

bool ReadExactly(CoreInputStream& stream, std::uint8_t* to, std::size_t size) {
  return stream.Read(to, size) == size;
}

// Moves the position behind the head of the code stream's box.
bool FindCodeStream(CoreInputStream& stream) {
  std::uint64_t at = stream.GetPosition();
  for (;;) {
    std::uint8_t head[16];
    if (!stream.Seek(at) || !ReadExactly(stream, head, 8)) return false;
    std::uint64_t length = Get32(head);
    std::uint64_t used = 8;
    if (length == 1) {
      if (!ReadExactly(stream, head + 8, 8)) return false;
      length = std::uint64_t{Get32(head + 8)} << 32 | Get32(head + 12);
      used = 16;
    }
    if (Get32(head + 4) == kCodeStreamBox) return true;
    if (length < used || length > UINT64_MAX - at) return false;
    at += length;
  }
}

std::uint64_t TilesAcross(std::uint32_t end, std::uint32_t tileStart, std::uint32_t tileSize) {
  return (std::uint64_t{end} - tileStart + tileSize - 1) / tileSize;
}

}  // namespace

bool ReadJpeg2000Size(CoreInputStream& stream, Jpeg2000Size& size) {
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t head[4];
  if (!ReadExactly(stream, head, sizeof head) || !stream.Seek(start)) return false;
  size.bare = Get32(head) == kSizeMarkers;
  if (!size.bare && !FindCodeStream(stream)) return false;
  const std::uint64_t code = stream.GetPosition();
  // The two markers, length and capabilities, then width and height, origin, tile width and height, tile
  // origin.
  std::uint8_t segment[42];
  if (!ReadExactly(stream, segment, sizeof segment) || Get32(segment) != kSizeMarkers) return false;
  std::uint32_t field[8];
  for (std::size_t i = 0; i < 8; ++i) field[i] = Get32(segment + 8 + 4 * i);
  if (field[4] == 0 || field[5] == 0 || field[6] > field[0] || field[7] > field[1]) return false;
  size.tiles = TilesAcross(field[0], field[6], field[4]) * TilesAcross(field[1], field[7], field[5]);
  size.components = static_cast<std::uint32_t>(segment[40]) << 8 | segment[41];
  size.codeBytes = stream.GetSize() > code ? stream.GetSize() - code : 0;
  return true;
}
