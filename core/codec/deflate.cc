// SPDX-License-Identifier: MIT
// Three ways to compress a block, and the choice between them.
#include "codec/deflate.h"

#include "codec/entropy.h"
#include "codec/run_deflate.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tovmx {

namespace {

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};
struct FreeDecompressor {
  void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

// Levels of libdeflate. Those that are left out cost more than the next one or make larger files.
constexpr std::array<int, 9> kLevels = {1, 2, 3, 4, 5, 6, 8, 10, 12};

Deflated DeflateWithMatches(const std::uint8_t* data, std::size_t size, int effort) {
  const int level = kLevels[static_cast<std::size_t>(std::clamp(effort, 1, 9) - 1)];
  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(libdeflate_alloc_compressor(level));
  if (compressor == nullptr) return {};
  const std::size_t room = libdeflate_zlib_compress_bound(compressor.get(), size);
  Deflated result{AllocateBytes(room), 0};
  if (result.bytes == nullptr) return {};
  result.size = libdeflate_zlib_compress(compressor.get(), data, size, result.bytes.get(), room);
  return result.size == 0 ? Deflated{} : std::move(result);
}

// ---- What bytes need when only their frequency counts

constexpr std::size_t kCodeBlock = 32768;  // zlib makes a code for as many
constexpr std::uint64_t kCodeBits = 640;   // what a code takes

std::uint64_t BitsOfBlock(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kTables = 4;
  std::uint32_t counts[kTables][256] = {};  // so that equal neighbors do not wait for one another
  std::size_t i = 0;
  for (; i + kTables <= size; i += kTables) {
    for (std::size_t k = 0; k < kTables; ++k) ++counts[k][data[i + k]];
  }
  for (; i < size; ++i) ++counts[0][data[i]];
  for (std::size_t k = 1; k < kTables; ++k) {
    for (std::size_t value = 0; value < 256; ++value) counts[0][value] += counts[k][value];
  }
  return BitsOfSymbols(counts[0], 256) + kCodeBits;
}

std::uint64_t BitsOfCodes(const std::uint8_t* data, std::size_t size) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < size; i += kCodeBlock)
    bits += BitsOfBlock(data + i, std::min(kCodeBlock, size - i));
  return bits;
}

// Codes alone, or codes and runs of one byte.
Deflated DeflateWithCodes(const std::uint8_t* data, std::size_t size, int strategy) {
  z_stream zlib = {};
  if (deflateInit2(&zlib, 1, Z_DEFLATED, 15, 9, strategy) != Z_OK) return {};
  const std::size_t room = deflateBound(&zlib, size);
  Deflated result{AllocateBytes(room), 0};
  int status = Z_STREAM_ERROR;
  if (result.bytes != nullptr && room <= std::numeric_limits<uInt>::max()) {
    zlib.next_in = const_cast<Bytef*>(data);
    zlib.avail_in = static_cast<uInt>(size);
    zlib.next_out = result.bytes.get();
    zlib.avail_out = static_cast<uInt>(room);
    status = deflate(&zlib, Z_FINISH);
    result.size = zlib.total_out;
  }
  deflateEnd(&zlib);
  return status == Z_STREAM_END ? std::move(result) : Deflated{};
}

}  // namespace

// Noise, which the rows of photographs are once they are filtered, is full of short matches that cost more
// than the bytes that they spare. It is smaller, and sooner done, as codes alone.
Deflated Deflate(const std::uint8_t* data, std::size_t size, int effort) {
  Deflated matched;
  if (effort <= kMostRunEffort && HasLongRuns(data, size)) matched = DeflateRuns(data, size, effort);
  if (matched.bytes == nullptr) matched = DeflateWithMatches(data, size, effort);
  if (matched.bytes == nullptr || matched.size < size / 8) return matched;
  const std::uint64_t codes = BitsOfCodes(data, size) / 8;
  if (codes >= matched.size) return matched;
  Deflated coded = DeflateWithCodes(data, size, codes < size / 8 ? Z_RLE : Z_HUFFMAN_ONLY);
  if (coded.bytes == nullptr) return {};
  return coded.size < matched.size ? std::move(coded) : std::move(matched);
}

bool Inflate(const std::uint8_t* from, std::size_t fromSize, std::uint8_t* to, std::size_t size) {
  if (fromSize < 2) return false;
  const unsigned window = 256U << (from[0] >> 4 & 7U);
  if (window < 32768 && size > window) return false;
  const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor(
      libdeflate_alloc_decompressor());
  if (decompressor == nullptr) return false;
  std::size_t taken = 0;
  std::size_t written = 0;
  const libdeflate_result result =
      libdeflate_zlib_decompress_ex(decompressor.get(), from, fromSize, to, size, &taken, &written);
  return result == LIBDEFLATE_SUCCESS && taken == fromSize && written == size;
}

}  // namespace tovmx
