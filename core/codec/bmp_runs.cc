// SPDX-License-Identifier: MIT
// Pairs of bytes: a count and what to repeat, or 0 and a command (end of row, end of picture, jump, literal
// pixels). Runs may leave the picture; such pixels are dropped, as other readers do, and the position goes on
// in 64 bits.
#include "codec/bmp_runs.h"

#include "io/read_rest.h"
#include "pixel/packed_index.h"

#include <cstring>
#include <vector>

namespace tovmx {

namespace {

// Two bytes say what comes: a count and the start of the pixel to repeat, or 0 and one of these; anything
// else after a 0 counts pixels that lie there one by one, padded to whole pairs of bytes.
constexpr unsigned kEndOfRow = 0;
constexpr unsigned kEndOfPicture = 1;
constexpr unsigned kJump = 2;

class RunReader {
 public:
  RunReader(const Bytes& bytes, const BmpHeader& header, CoreDib& bitmap)
      : bytes_(bytes), header_(header), bitmap_(bitmap), pixelBytes_(header.bits == 24 ? 3 : 1) {}

  bool Read() {
    for (;;) {
      if (Left() < 2) return false;
      const unsigned count = bytes_.data[at_];
      const unsigned value = bytes_.data[at_ + 1];
      if (count != 0) {
        if (!Run(count)) return false;
        continue;
      }
      at_ += 2;
      if (value == kEndOfPicture) return true;
      if (value == kEndOfRow) {
        x_ = 0;
        ++y_;
      } else if (!(value == kJump ? Jump() : Literal(value))) {
        return false;
      }
    }
  }

 private:
  std::size_t Left() const { return bytes_.size - at_; }

  // One pixel, or a pair of 4-bit ones that take turns, as often as the count says.
  bool Run(unsigned count) {
    if (Left() < 1 + pixelBytes_) return false;
    for (unsigned i = 0; i < count; ++i) Put(bytes_.data + at_ + 1, i);
    at_ += 1 + pixelBytes_;
    return true;
  }

  bool Jump() {
    if (Left() < 2) return false;
    x_ += bytes_.data[at_];
    y_ += bytes_.data[at_ + 1];
    at_ += 2;
    return true;
  }

  bool Literal(unsigned count) {
    const std::size_t used = header_.bits == 4 ? (count + 1) / 2 : count * pixelBytes_;
    const std::size_t stored = (used + 1) / 2 * 2;
    if (stored > Left()) return false;
    for (unsigned i = 0; i < count; ++i)
      Put(bytes_.data + at_ + (header_.bits == 4 ? i / 2 : i * pixelBytes_), i);
    at_ += stored;
    return true;
  }

  // Stores pixel number `i` of a run; outside the picture it is lost.
  void Put(const std::uint8_t* from, unsigned i) {
    const std::uint64_t x = x_++;
    if (x >= static_cast<std::uint64_t>(header_.width) || y_ >= static_cast<std::uint64_t>(header_.height))
      return;
    std::uint8_t* row = bitmap_.GetRow(header_.RowOf(static_cast<int>(y_)));
    if (header_.bits != 4) {
      std::memcpy(row + x * pixelBytes_, from, pixelBytes_);
      return;
    }
    SetPackedIndex(row, x, 4, PackedIndex(from, i % 2, 4));
  }

  Bytes bytes_;
  const BmpHeader& header_;
  CoreDib& bitmap_;
  std::size_t pixelBytes_;  // in the file; 1 also where a byte holds two pixels
  std::size_t at_ = 0;
  std::uint64_t x_ = 0;
  std::uint64_t y_ = 0;
};

}  // namespace

bool ReadBmpRuns(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap) {
  std::vector<std::uint8_t> storage;
  return RunReader(ReadRest(stream, UINT64_MAX, storage), header, bitmap).Read();
}

}  // namespace tovmx
