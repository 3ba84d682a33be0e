// SPDX-License-Identifier: MIT
// Codes are unpacked from their ends: code = (prefix code, last index), so a chain is followed backwards
// into `pending_`, whose length is known beforehand, and then read forwards.
#include "codec/gif_lzw.h"

#include <gif_lib.h>

#include <algorithm>
#include <cstring>

namespace tovmx {

GifLzw::GifLzw(GifFileType* gif) : gif_(gif) {
  int indexBits = 0;
  GifByteType* block = nullptr;
  if (DGifGetCode(gif, &indexBits, &block) != GIF_OK || indexBits < 0 || indexBits > 8) return;
  block_ = block;
  usable_ = true;
  clear_ = 1U << indexBits;
  for (unsigned i = 0; i < clear_; ++i) {
    prefix_[i] = 0;
    length_[i] = 1;
    first_[i] = last_[i] = static_cast<std::uint8_t>(i);
  }
  Clear();
}

bool GifLzw::Read(std::uint8_t* to, std::size_t count) {
  while (count != 0) {
    if (pendingAt_ == pendingSize_ && !Unpack()) return false;
    const std::size_t now = std::min(count, pendingSize_ - pendingAt_);
    std::memcpy(to, pending_ + pendingAt_, now);
    pendingAt_ += now;
    to += now;
    count -= now;
  }
  return true;
}

bool GifLzw::Finish() {
  while (usable_ && block_ != nullptr) NextBlock();
  return usable_;
}

// Goes to the next block, null behind the last. False when the file ends within.
bool GifLzw::NextBlock() {
  GifByteType* block = nullptr;
  usable_ = DGifGetCodeNext(gif_, &block) == GIF_OK;
  block_ = usable_ ? block : nullptr;
  at_ = 1;
  return usable_;
}

bool GifLzw::NextCode(unsigned& code) {
  while (bitCount_ < codeBits_) {
    if (block_ == nullptr) return false;
    if (at_ > block_[0]) {
      if (!NextBlock()) return false;
      continue;
    }
    bitsRead_ |= std::uint32_t{block_[at_++]} << bitCount_;
    bitCount_ += 8;
  }
  code = bitsRead_ & ((1U << codeBits_) - 1);
  bitsRead_ >>= codeBits_;
  bitCount_ -= codeBits_;
  return true;
}

void GifLzw::Clear() {
  next_ = clear_ + 2;
  previous_ = kNoCode;
  codeBits_ = 1;
  while (1U << codeBits_ <= clear_) ++codeBits_;
}

// Fills the pending indices with what the next code stands for; with nothing when it clears the table.
bool GifLzw::Unpack() {
  pendingSize_ = pendingAt_ = 0;
  unsigned code = 0;
  if (!NextCode(code)) return false;
  if (code == clear_) {
    Clear();
    return true;
  }
  const bool known = code < next_ && code != clear_ + 1;
  if (previous_ == kNoCode) {
    if (code >= clear_) return false;
  } else {
    // A code that the table lacks is the one that is about to be added.
    if (!known && (code != next_ || next_ == kMostCodes)) return false;
    if (next_ < kMostCodes) {
      prefix_[next_] = static_cast<std::uint16_t>(previous_);
      length_[next_] = static_cast<std::uint16_t>(length_[previous_] + 1);
      first_[next_] = first_[previous_];
      last_[next_] = first_[known ? code : previous_];
      ++next_;
    }
  }
  if (next_ >= 1U << codeBits_ && codeBits_ < kMostBits) ++codeBits_;
  previous_ = code;
  Store(code, length_[code]);
  return true;
}

void GifLzw::Store(unsigned code, std::size_t length) {
  pendingSize_ = length;
  for (std::size_t i = length; i-- != 0; code = prefix_[code]) pending_[i] = last_[code];
}

}  // namespace tovmx
