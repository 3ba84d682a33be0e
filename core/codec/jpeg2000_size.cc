#include "codec/jpeg2000_size.h"

#include "codec/jpeg2000_box.h"

#include <algorithm>

namespace tovmx {

namespace {

constexpr std::uint32_t kSizeMarkers = 0xff4fff51;  // start of code stream, then the size segment

bool ReadExactly(CoreInputStream& stream, std::uint8_t* to, std::size_t size) {
  return stream.Read(to, size) == size;
}

// Moves the position behind the head of the code stream's box.
bool FindCodeStream(CoreInputStream& stream) {
  Jpeg2000Box box;
  return FindJpeg2000Box(stream, stream.GetPosition(), UINT64_MAX, kJpeg2000CodeStream, box) &&
         stream.Seek(box.content);
}

std::uint64_t TilesAcross(std::uint32_t end, std::uint32_t tileStart, std::uint32_t tileSize) {
  return (std::uint64_t{end} - tileStart + tileSize - 1) / tileSize;
}

}  // namespace

bool ReadJpeg2000Size(CoreInputStream& stream, Jpeg2000Size& size) {
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t head[4];
  if (!ReadExactly(stream, head, sizeof head) || !stream.Seek(start)) return false;
  size.bare = GetJpeg2000Number(head) == kSizeMarkers;
  if (!size.bare && !FindCodeStream(stream)) return false;
  const std::uint64_t code = stream.GetPosition();
  // The two markers, length and capabilities, then width and height, origin, tile width and height, tile
  // origin.
  std::uint8_t segment[42];
  if (!ReadExactly(stream, segment, sizeof segment) || GetJpeg2000Number(segment) != kSizeMarkers)
    return false;
  std::uint32_t field[8];
  for (std::size_t i = 0; i < 8; ++i) field[i] = GetJpeg2000Number(segment + 8 + 4 * i);
  if (field[4] == 0 || field[5] == 0 || field[6] > field[0] || field[7] > field[1]) return false;
  size.tiles = TilesAcross(field[0], field[6], field[4]) * TilesAcross(field[1], field[7], field[5]);
  size.components = static_cast<std::uint32_t>(segment[40]) << 8 | segment[41];
  size.codeBytes = stream.GetSize() > code ? stream.GetSize() - code : 0;
  return true;
}

}  // namespace tovmx
