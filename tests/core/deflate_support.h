// SPDX-License-Identifier: MIT
// Bytes at random, and zlib's opinion of what they were compressed to.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tests {

using Data = std::vector<std::uint8_t>;

class Random {
 public:
  explicit Random(unsigned seed) : state_(seed * 2654435761U + 1) {}
  unsigned Below(unsigned end) {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<unsigned>(std::uint64_t{state_ >> 8} * end >> 24);
  }

 private:
  unsigned state_;
};

constexpr int kZlibStream = 15;
constexpr int kBareStream = -15;

// What zlib makes of a stream, which must end with its last byte.
inline Data Inflated(const Data& packed, std::size_t size, int windowBits) {
  Data out(size + 1);
  z_stream zlib = {};
  EXPECT_EQ(inflateInit2(&zlib, windowBits), Z_OK);
  zlib.next_in = const_cast<Bytef*>(packed.data());
  zlib.avail_in = static_cast<uInt>(packed.size());
  zlib.next_out = out.data();
  zlib.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&zlib, Z_FINISH), Z_STREAM_END) << (zlib.msg == nullptr ? "" : zlib.msg);
  EXPECT_EQ(zlib.avail_in, 0u);
  out.resize(zlib.total_out);
  inflateEnd(&zlib);
  return out;
}

}  // namespace tests
