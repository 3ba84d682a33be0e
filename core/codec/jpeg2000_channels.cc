#include "codec/jpeg2000_channels.h"

#include "codec/jpeg2000_box.h"

namespace {

constexpr std::uint32_t kColours = 0x636f6c72;      // "colr"
constexpr std::uint32_t kPalette = 0x70636c72;      // "pclr"
constexpr std::uint32_t kPaletteMap = 0x636d6170;   // "cmap"
constexpr std::uint32_t kDefinitions = 0x63646566;  // "cdef"
constexpr std::uint8_t kEnumerated = 1;
constexpr std::uint32_t kCmyk = 12;

// The first `size` bytes of the first box of a type in the header.
bool ReadBox(CoreInputStream& stream, const Jpeg2000Box& header, std::uint32_t type, std::uint8_t* to,
             std::size_t size) {
  Jpeg2000Box box;
  return FindJpeg2000Box(stream, header.content, header.end, type, box) && stream.Seek(box.content) &&
         stream.Read(to, size) == size;
}

bool TellsAlpha(CoreInputStream& stream, const Jpeg2000Box& header) {
  std::uint8_t number[2];
  if (!ReadBox(stream, header, kDefinitions, number, sizeof number)) return false;
  for (unsigned left = number[0] * 256U + number[1]; left != 0; --left) {
    std::uint8_t definition[6];  // which channel, its kind, and the colour that it belongs to
    if (stream.Read(definition, sizeof definition) != sizeof definition) return false;
    if (IsJpeg2000Alpha(definition[2] * 256U + definition[3])) return true;
  }
  return false;
}

}  // namespace

Jpeg2000Channels ReadJpeg2000Channels(CoreInputStream& stream, std::uint64_t start,
                                      std::uint32_t components) {
  Jpeg2000Channels channels;
  channels.count = components;
  Jpeg2000Box header;
  if (!FindJpeg2000Box(stream, start, UINT64_MAX, kJpeg2000Header, header)) return channels;
  std::uint8_t colours[7];  // method, precedence, approximation and the number of the colour space
  if (ReadBox(stream, header, kColours, colours, sizeof colours) && colours[0] == kEnumerated)
    channels.cmyk = GetJpeg2000Number(colours + 3) == kCmyk;
  std::uint8_t palette[3];  // how many entries of how many channels
  std::uint8_t mapped = 0;
  if (ReadBox(stream, header, kPaletteMap, &mapped, 1) &&
      ReadBox(stream, header, kPalette, palette, sizeof palette))
    channels.count = palette[2];
  channels.alphaTold = TellsAlpha(stream, header);
  return channels;
}
