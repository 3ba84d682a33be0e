// SPDX-License-Identifier: MIT
// From chunk to chunk to the compressed rows, and these into a bitmap.
#include "codec/plain_png.h"

#include "codec/png_filter.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace tovmx {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n"sv;
constexpr std::uint32_t kMostInChunk = 8000000;  // libpng refuses longer ones
constexpr std::uint32_t kLargestSide = 0x7fffffff;

// Chunks that tell nothing of the pixels, and that no reader refuses for their content or their number.
constexpr std::string_view kPassedOver[] = {"gAMA"sv, "cHRM"sv, "sRGB"sv, "sBIT"sv, "bKGD"sv, "iCCP"sv,
                                            "tIME"sv, "tEXt"sv, "zTXt"sv, "iTXt"sv, "eXIf"sv};

std::uint32_t ReadWord(const std::uint8_t* at) noexcept {
  return static_cast<std::uint32_t>(at[0]) << 24 | static_cast<std::uint32_t>(at[1]) << 16 |
         static_cast<std::uint32_t>(at[2]) << 8 | at[3];
}

struct Chunk {
  std::string_view type;
  const std::uint8_t* content = nullptr;
  std::uint32_t size = 0;
};

// Goes from chunk to chunk as long as their checksums are right.
class Chunks {
 public:
  Chunks(const std::uint8_t* data, std::size_t size) noexcept : at_(data), left_(size) {}

  bool Next(Chunk& chunk) noexcept {
    if (left_ < kAround) return false;
    chunk.size = ReadWord(at_);
    if (chunk.size > left_ - kAround) return false;
    chunk.type = {reinterpret_cast<const char*>(at_ + 4), 4};
    chunk.content = at_ + 8;
    if (libdeflate_crc32(0, at_ + 4, std::size_t{chunk.size} + 4) != ReadWord(chunk.content + chunk.size))
      return false;
    at_ += kAround + chunk.size;
    left_ -= kAround + chunk.size;
    return true;
  }

 private:
  static constexpr std::size_t kAround = 12;  // size, type and checksum

  const std::uint8_t* at_;
  std::size_t left_;
};

bool TakeHead(const Chunk& chunk, PlainPng& png) {
  if (chunk.type != "IHDR"sv || chunk.size != 13) return false;
  png.width = ReadWord(chunk.content);
  png.height = ReadWord(chunk.content + 4);
  png.bits = chunk.content[8];
  png.color = chunk.content[9];
  const bool known = chunk.content[10] == 0 && chunk.content[11] == 0 && chunk.content[12] == 0;
  const bool shallow = png.bits == 1 || png.bits == 4;
  const bool packs = png.color == 0 || png.color == 3;
  return known && png.width - 1 < kLargestSide && png.height - 1 < kLargestSide &&
         (packs ? shallow || png.bits == 8 : (png.color == 2 || png.color == 6) && png.bits == 8);
}

bool TakePalette(const Chunk& chunk, PlainPng& png) {
  const auto most = std::uint32_t{3} << png.bits;
  if (png.color != 3 || png.paletteSize != 0 || chunk.size == 0 || chunk.size % 3 != 0 || chunk.size > most)
    return false;
  png.paletteSize = static_cast<int>(chunk.size / 3);
  for (std::size_t i = 0; i < chunk.size / 3; ++i) {
    const std::uint8_t* color = chunk.content + 3 * i;
    png.palette[i] =
        color[0] | static_cast<std::uint32_t>(color[1]) << 8 | static_cast<std::uint32_t>(color[2]) << 16;
  }
  return true;
}

bool TakeAlpha(const Chunk& chunk, PlainPng& png) {
  if (png.alphaSize != 0 || chunk.size == 0 || chunk.size > static_cast<std::uint32_t>(png.paletteSize))
    return false;
  png.alphaSize = static_cast<int>(chunk.size);
  std::copy_n(chunk.content, chunk.size, png.alpha.begin());
  return true;
}

bool TakeResolution(const Chunk& chunk, PlainPng& png) {
  if (chunk.size != 9) return false;
  if (chunk.content[8] != 1) return true;
  png.dotsX = ReadWord(chunk.content);
  png.dotsY = ReadWord(chunk.content + 4);
  return true;
}

bool IsPassedOver(const Chunk& chunk) {
  return chunk.size <= kMostInChunk &&
         std::find(std::begin(kPassedOver), std::end(kPassedOver), chunk.type) != std::end(kPassedOver);
}

// The chunks between the head and the pixels, up to the first of these.
bool TakeToPixels(Chunks& chunks, Chunk& chunk, PlainPng& png) {
  bool hasResolution = false;
  while (chunks.Next(chunk)) {
    if (chunk.type == "IDAT"sv) return png.color != 3 || png.paletteSize != 0;
    bool good = false;
    if (chunk.type == "PLTE"sv) {
      good = TakePalette(chunk, png);
    } else if (chunk.type == "tRNS"sv) {
      good = TakeAlpha(chunk, png);
    } else if (chunk.type == "pHYs"sv) {
      good = !hasResolution && TakeResolution(chunk, png);
      hasResolution = true;
    } else {
      good = IsPassedOver(chunk);
    }
    if (!good) return false;
  }
  return false;
}

// The pixels and what follows them.
bool TakePixels(Chunks& chunks, Chunk& chunk, PlainPng& png) {
  png.pixels = chunk.content - 8;
  const std::uint64_t most = std::max<std::uint64_t>(kMostInChunk, png.InflatedBytes());
  do {
    if (chunk.size > most) return false;
    png.compressed += chunk.size;
    ++png.chunks;
    if (!chunks.Next(chunk)) return false;
  } while (chunk.type == "IDAT"sv);
  while (chunk.type != "IEND"sv) {
    if (!IsPassedOver(chunk) || !chunks.Next(chunk)) return false;
  }
  return chunk.size == 0;
}

// The compressed rows in one piece: in place, or in `joined`. Null when memory is short.
const std::uint8_t* Join(const PlainPng& png, ByteBlock& joined) {
  if (png.chunks == 1) return png.pixels + 8;
  joined = AllocateBytes(std::max<std::size_t>(1, png.compressed));
  std::uint8_t* out = joined.get();
  const std::uint8_t* chunk = png.pixels;
  for (int i = 0; i < png.chunks && out != nullptr; ++i) {
    const std::uint32_t size = ReadWord(chunk);
    out = std::copy_n(chunk + 8, size, out);
    chunk += 12 + std::size_t{size};
  }
  return joined.get();
}

// The bits behind the last pixel of each row, which the rows below were filtered with.
void ClearPadding(const PlainPng& png, CoreDib& bitmap) {
  const unsigned used = static_cast<unsigned>(png.width % 8) * static_cast<unsigned>(png.BitsPerPixel()) % 8;
  if (used == 0) return;
  const auto last = static_cast<std::size_t>(png.RowBytes()) - 1;
  for (int y = 0; y < bitmap.GetHeight(); ++y)
    bitmap.GetRow(y)[last] &= static_cast<std::uint8_t>(0xff00U >> used);
}

// The rows move to their places, blue first, with their filters on, which are then taken off there.
bool PlaceRows(const PlainPng& png, const std::uint8_t* rows, CoreDib& bitmap) {
  const auto size = static_cast<std::size_t>(png.RowBytes());
  const std::size_t pixel = png.color == 2 ? 3 : png.color == 6 ? 4 : 1;
  const std::vector<std::uint8_t> none(size);
  const std::uint8_t* above = none.data();
  for (int y = 0; y < bitmap.GetHeight(); ++y, rows += 1 + size) {
    if (*rows >= kPngFilters) return false;
    std::uint8_t* const row = bitmap.GetRow(y);
    if (pixel == 1) {
      std::memcpy(row, rows + 1, size);
    } else {
      PngFilters().turn(rows + 1, png.width, pixel, row);
    }
    UndoPngFilter(static_cast<PngFilter>(*rows), row, above, size, pixel);
    above = row;
  }
  ClearPadding(png, bitmap);
  return true;
}

}  // namespace

std::optional<PlainPng> FindPlainPng(const std::uint8_t* data, std::size_t size) {
  if (size < kSignature.size() || std::memcmp(data, kSignature.data(), kSignature.size()) != 0) return {};
  Chunks chunks(data + kSignature.size(), size - kSignature.size());
  Chunk chunk;
  std::optional<PlainPng> png(std::in_place);
  if (!chunks.Next(chunk) || !TakeHead(chunk, *png) || !TakeToPixels(chunks, chunk, *png) ||
      !TakePixels(chunks, chunk, *png))
    return {};
  return png;
}

bool ReadPlainPixels(const PlainPng& png, CoreDib& bitmap) {
  const auto size = static_cast<std::size_t>(png.InflatedBytes());
  const ByteBlock rows = AllocateBytes(size);
  ByteBlock joined;
  const std::uint8_t* const compressed = rows == nullptr ? nullptr : Join(png, joined);
  if (compressed == nullptr || !Inflate(compressed, png.compressed, rows.get(), size)) return false;
  return PlaceRows(png, rows.get(), bitmap);
}

}  // namespace tovmx
