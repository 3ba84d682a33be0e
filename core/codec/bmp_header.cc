// SPDX-License-Identifier: MIT
// The length of the second head tells its kind, and all kinds but the oldest have the same fields at the
// same places. A head that is shorter than a field has it as 0. No field is believed before it is compared
// with the others.
#include "codec/bmp_header.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace tovmx {

namespace {

constexpr std::uint32_t kFileHead = 14;
constexpr std::uint32_t kOs2Head = 12;
constexpr std::uint32_t kShortestOs2Head = 16;  // sides, planes and depth of OS/2 2
constexpr std::uint32_t kLongestOs2Head = 64;
constexpr std::uint32_t kWindowsHead = 40;
constexpr std::uint32_t kMaskedHead = 52;  // from here on the masks are part of the head
constexpr std::uint32_t kAlphaHead = 56;
constexpr std::uint32_t kLongestHead = 124;

// What the number of a packing stands for.
enum Packing : std::uint32_t {
  kPlain = 0,
  kRuns8 = 1,
  kRuns4 = 2,
  kMasksOfColors = 3,  // in a head of OS/2: the code of fax machines
  kJpegInside = 4,     // in a head of OS/2: runs of 24 bits
  kPngInside = 5,
  kMasksWithAlpha = 6,
};

std::uint32_t Get16(const std::uint8_t* p) { return p[0] | std::uint32_t{p[1]} << 8; }
std::uint32_t Get32(const std::uint8_t* p) { return Get16(p) | Get16(p + 2) << 16; }
std::int32_t GetSigned32(const std::uint8_t* p) { return static_cast<std::int32_t>(Get32(p)); }

float Dpi(std::int32_t perMeter) { return perMeter > 0 ? static_cast<float>(perMeter * 0.0254) : 0.0f; }

bool IsDepth(std::uint32_t bits) {
  constexpr std::uint32_t kDepths[] = {1, 2, 4, 8, 16, 24, 32};
  return std::find(std::begin(kDepths), std::end(kDepths), bits) != std::end(kDepths);
}

bool IsOs2Second(std::uint32_t size) {
  return size >= kShortestOs2Head && size <= kLongestOs2Head && size != kWindowsHead && size != kMaskedHead &&
         size != kAlphaHead;
}

bool SetPacking(BmpHeader& header, BmpPacking packing, bool fits) {
  header.packing = packing;
  return fits;
}

// False for a packing that is not read, with a note, and for one that does not go with the depth.
bool ReadPacking(std::uint32_t number, bool os2, BmpHeader& header, DecodeReason& reason) {
  switch (number) {
    case kPlain:
      return SetPacking(header, BmpPacking::kNone, true);
    case kRuns8:
      return SetPacking(header, BmpPacking::kRle8, header.bits == 8);
    case kRuns4:
      return SetPacking(header, BmpPacking::kRle4, header.bits == 4);
    case kMasksOfColors:
      if (os2) return reason.Unsupported("BMP packed as fax");
      return SetPacking(header, BmpPacking::kMasks, header.bits == 16 || header.bits == 32);
    case kJpegInside:
      if (!os2) return reason.Unsupported("JPEG inside BMP");
      return SetPacking(header, BmpPacking::kRle24, header.bits == 24);
    case kPngInside:
      return reason.Unsupported("PNG inside BMP");
    case kMasksWithAlpha:
      return SetPacking(header, BmpPacking::kMasks, header.bits == 16 || header.bits == 32);
    default:
      return reason.Unsupported("BMP of packing %u", number);
  }
}

void SetMasks(BmpHeader& header, std::uint32_t red, std::uint32_t green, std::uint32_t blue,
              std::uint32_t alpha) {
  header.masks[0] = red, header.masks[1] = green, header.masks[2] = blue, header.masks[3] = alpha;
}

bool ReadMasks(CoreInputStream& stream, const std::uint8_t* head, std::uint32_t size, std::uint32_t packing,
               BmpHeader& header) {
  if (header.packing != BmpPacking::kMasks) {
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

bool IsGrayRamp(const std::vector<std::uint32_t>& palette, int bits) {
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
  if (IsGrayRamp(header.palette, header.bits)) header.palette.clear();
  return true;
}

}  // namespace

bool ReadBmpHeader(CoreInputStream& stream, BmpHeader& header, DecodeReason& reason) {
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t file[kFileHead];
  std::uint8_t head[kLongestHead] = {};
  if (stream.Read(file, kFileHead) != kFileHead || std::memcmp(file, "BM", 2) != 0) return false;
  if (stream.Read(head, 4) != 4) return false;
  const std::uint32_t size = Get32(head);
  const bool oldest = size == kOs2Head;
  if (!oldest && (size < kShortestOs2Head || size > kLongestHead))
    return reason.Unsupported("BMP with a head of %u bytes", size);
  if (stream.Read(head + 4, size - 4) != size - 4) return false;

  std::int32_t width = GetSigned32(head + 4);
  std::int32_t height = GetSigned32(head + 8);
  if (oldest) {
    width = static_cast<std::int32_t>(Get16(head + 4));
    height = static_cast<std::int32_t>(Get16(head + 6));
  }
  if (width < 1 || height == 0 || height == INT32_MIN) return false;
  header.width = width;
  header.topDown = height < 0;
  header.height = std::abs(height);
  const std::uint32_t bits = Get16(head + (oldest ? 10 : 14));
  const std::uint32_t packing = oldest ? std::uint32_t{kPlain} : Get32(head + 16);
  header.bits = static_cast<int>(bits);
  if (!ReadPacking(packing, IsOs2Second(size), header, reason)) return false;
  if (!IsDepth(bits)) return reason.Unsupported("BMP of %u bits a pixel", bits);
  if (!oldest) {
    header.dpiX = Dpi(GetSigned32(head + 24));
    header.dpiY = Dpi(GetSigned32(head + 28));
  }
  header.pixelOffset = Get32(file + 10);
  if (!ReadMasks(stream, head, size, packing, header)) return false;
  if (bits <= 8 && !ReadPalette(stream, start, oldest ? 0 : Get32(head + 32), oldest ? 3 : 4, header))
    return false;
  header.pixelOffset = std::max(header.pixelOffset, stream.GetPosition() - start);
  return true;
}

}  // namespace tovmx
