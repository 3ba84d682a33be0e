#include "codec/bmp_header.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr std::uint32_t kFileHead = 14;
constexpr std::uint32_t kOs2Head = 12;
constexpr std::uint32_t kWindowsHead = 40;
constexpr std::uint32_t kMaskedHead = 52;  // from here on the masks are part of the head
constexpr std::uint32_t kAlphaHead = 56;
constexpr std::uint32_t kLongestHead = 124;
constexpr std::uint32_t kMasksWithAlpha = 6;  // a packing that stands for masks after a 40-byte head

std::uint32_t Get16(const std::uint8_t* p) { return p[0] | static_cast<unsigned>(p[1]) << 8; }
std::uint32_t Get32(const std::uint8_t* p) { return Get16(p) | Get16(p + 2) << 16; }
std::int32_t GetSigned32(const std::uint8_t* p) { return static_cast<std::int32_t>(Get32(p)); }

float Dpi(std::int32_t perMetre) { return perMetre > 0 ? static_cast<float>(perMetre * 0.0254) : 0.0f; }

bool IsDepth(int bits) {
  return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

bool PackingFits(std::uint32_t packing, int bits) {
  switch (packing) {
    case 0:
      return true;
    case 1:
      return bits == 8;
    case 2:
      return bits == 4;
    case 3:
    case kMasksWithAlpha:
      return bits == 16 || bits == 32;
    default:
      return false;
  }
}

void SetMasks(BmpHeader& header, std::uint32_t red, std::uint32_t green, std::uint32_t blue,
              std::uint32_t alpha) {
  header.masks[0] = red, header.masks[1] = green, header.masks[2] = blue, header.masks[3] = alpha;
}

bool ReadMasks(CoreInputStream& stream, const std::uint8_t* head, std::uint32_t size, std::uint32_t packing,
               BmpHeader& header) {
  if (packing != static_cast<std::uint32_t>(BmpPacking::kMasks) && packing != kMasksWithAlpha) {
    if (header.bits == 16) SetMasks(header, 0x7c00, 0x3e0, 0x1f, 0);
    if (header.bits == 32) SetMasks(header, 0xff0000, 0xff00, 0xff, 0);
    return true;
  }
  std::uint8_t after[16] = {};
  const std::uint8_t* masks = head + kWindowsHead;
  if (size < kMaskedHead) {
    const std::size_t count = packing == kMasksWithAlpha ? 16 : 12;
    if (stream.Read(after, count) != count) return false;
    masks = after;
  }
  const bool alpha = size >= kAlphaHead || packing == kMasksWithAlpha;
  SetMasks(header, Get32(masks), Get32(masks + 4), Get32(masks + 8), alpha ? Get32(masks + 12) : 0);
  return true;
}

bool IsGreyRamp(const std::vector<std::uint32_t>& palette, int bits) {
  const std::size_t count = std::size_t{1} << bits;
  if (palette.size() != count) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (palette[i] != static_cast<std::uint32_t>(i * 255 / (count - 1)) * 0x010101U) return false;
  }
  return true;
}

// `wanted` entries of 3 or 4 bytes, fewer when the pixels begin before.
bool ReadPalette(CoreInputStream& stream, std::uint64_t start, std::uint32_t wanted, std::size_t entryBytes,
                 BmpHeader& header) {
  const std::uint32_t most = 1U << header.bits;
  std::uint64_t count = wanted == 0 ? most : std::min(wanted, most);
  const std::uint64_t here = stream.GetPosition() - start;
  if (header.pixelOffset > here) count = std::min(count, (header.pixelOffset - here) / entryBytes);
  for (std::uint64_t i = 0; i < count; ++i) {
    std::uint8_t entry[4];
    if (stream.Read(entry, entryBytes) != entryBytes) return false;
    header.palette.push_back(entry[2] | static_cast<unsigned>(entry[1]) << 8 |
                             static_cast<unsigned>(entry[0]) << 16);
  }
  if (IsGreyRamp(header.palette, header.bits)) header.palette.clear();
  return true;
}

}  // namespace

bool ReadBmpHeader(CoreInputStream& stream, BmpHeader& header) {
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t file[kFileHead];
  std::uint8_t head[kLongestHead] = {};
  if (stream.Read(file, kFileHead) != kFileHead || std::memcmp(file, "BM", 2) != 0) return false;
  if (stream.Read(head, 4) != 4) return false;
  const std::uint32_t size = Get32(head);
  const bool os2 = size == kOs2Head;
  if (!os2 && (size < kWindowsHead || size > kLongestHead)) return false;
  if (stream.Read(head + 4, size - 4) != size - 4) return false;

  const std::int64_t width = os2 ? Get16(head + 4) : GetSigned32(head + 4);
  const std::int64_t height = os2 ? Get16(head + 6) : GetSigned32(head + 8);
  header.bits = static_cast<int>(Get16(head + (os2 ? 10 : 14)));
  const std::uint32_t packing = os2 ? 0 : Get32(head + 16);
  if (width < 1 || height == 0 || height < -INT_MAX || !IsDepth(header.bits) ||
      !PackingFits(packing, header.bits))
    return false;
  header.width = static_cast<int>(width);
  header.topDown = height < 0;
  header.height = static_cast<int>(height < 0 ? -height : height);
  header.packing = packing == kMasksWithAlpha ? BmpPacking::kMasks : static_cast<BmpPacking>(packing);
  if (!os2) {
    header.dpiX = Dpi(GetSigned32(head + 24));
    header.dpiY = Dpi(GetSigned32(head + 28));
  }
  header.pixelOffset = Get32(file + 10);
  if (!ReadMasks(stream, head, size, packing, header)) return false;
  if (header.bits <= 8 && !ReadPalette(stream, start, os2 ? 0 : Get32(head + 32), os2 ? 3 : 4, header))
    return false;
  header.pixelOffset = std::max(header.pixelOffset, stream.GetPosition() - start);
  return true;
}
