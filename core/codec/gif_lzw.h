// SPDX-License-Identifier: MIT
// GifLzw: the pixels of one GIF frame, unpacked as they are asked for.
//
// A table that is full stays as it is until the file clears it, however long that takes: such "deferred
// clears" are valid, and giflib refuses some of them.
#pragma once

#include <cstddef>
#include <cstdint>

struct GifFileType;

namespace tovmx {

class GifLzw {
 public:
  // Of the frame whose description was read last. `gif` must outlive this.
  explicit GifLzw(GifFileType* gif);

  // The next `count` color indices. False when the data are broken or end before.
  [[nodiscard]] bool Read(std::uint8_t* to, std::size_t count);

  // Passes over what is left of the frame's data. False when the file ends within.
  [[nodiscard]] bool Finish();

 private:
  static constexpr unsigned kMostBits = 12;
  static constexpr unsigned kMostCodes = 1U << kMostBits;
  static constexpr unsigned kNoCode = kMostCodes;

  bool NextBlock();
  [[nodiscard]] bool NextCode(unsigned& code);
  [[nodiscard]] bool Unpack();
  void Clear();
  void Store(unsigned code, std::size_t length);

  GifFileType* gif_;
  const std::uint8_t* block_ = nullptr;  // its length first; null behind the last
  std::size_t at_ = 1;                   // in the block
  bool usable_ = false;
  std::uint32_t bitsRead_ = 0;  // not yet made into codes, the next one lowest
  unsigned bitCount_ = 0;

  unsigned clear_ = 0;  // this code clears the table, the next one ends the data
  unsigned codeBits_ = 0;
  unsigned next_ = 0;  // the first code that the table lacks
  unsigned previous_ = kNoCode;

  // Each code stands for what another one does and one index more.
  std::uint16_t prefix_[kMostCodes];
  std::uint16_t length_[kMostCodes];
  std::uint8_t last_[kMostCodes];
  std::uint8_t first_[kMostCodes];

  // What the last code stands for and is not yet asked for: its end.
  std::uint8_t pending_[kMostCodes];
  std::size_t pendingSize_ = 0;
  std::size_t pendingAt_ = 0;
};

}  // namespace tovmx
