// SPDX-License-Identifier: MIT
// KeptFrames: frames of an animation as they were composed, for somebody who walks back.
//
// A frame is composed on those before it, so a step back would begin with the first frame. Those right before
// the one that is wanted are drawn on the way, and are kept for the next steps back. Nothing is kept while
// the walk goes forward.
#pragma once

#include "codec/pixel_limit.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace tovmx {

class KeptFrames {
 public:
  // From now on frames right before number `frame` are kept, of those that Keep() gets. `others` are the
  // canvases that the decoder holds besides.
  void KeepBefore(int frame, int width, int height, std::uint64_t others) {
    Clear();
    width_ = width;
    height_ = height;
    const std::uint64_t canvas = CoreDib::BytesNeeded(width, height, 32);
    const std::uint64_t held = others * canvas;
    const std::uint64_t room = PixelLimit() > held ? std::min(PixelLimit() - held, kMostBytes) : 0;
    const std::uint64_t most = canvas == 0 ? 0 : room / canvas;
    end_ = frame;
    first_ = frame - static_cast<int>(std::min<std::uint64_t>(most, static_cast<std::uint64_t>(frame)));
  }

  // Keeps a copy of the frame if it is one of those that are wanted and memory allows it. Frames come one
  // after the other.
  void Keep(int frame, const void* pixels) {
    if (frame < first_ || frame >= end_) return;
    assert(static_cast<std::size_t>(frame - first_) == frames_.size());
    CoreDib copy;
    if (!copy.Create(width_, height_, 32)) {
      end_ = frame;
      return;
    }
    std::memcpy(copy.GetBuffer(), pixels, copy.GetBufferSize());
    frames_.push_back(std::move(copy));
  }

  // Null when it is not kept.
  const CoreDib* Find(int frame) const {
    const std::int64_t place = std::int64_t{frame} - first_;
    const bool isKept = place >= 0 && place < static_cast<std::int64_t>(frames_.size());
    return isKept ? &frames_[static_cast<std::size_t>(place)] : nullptr;
  }

  void Clear() {
    frames_.clear();
    first_ = end_ = 0;
  }

 private:
  static constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;

  std::vector<CoreDib> frames_;  // from number first_ on
  int width_ = 0;
  int height_ = 0;
  int first_ = 0;
  int end_ = 0;
};

}  // namespace tovmx
