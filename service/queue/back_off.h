// SPDX-License-Identifier: MIT
// BackOff: how long to wait before the next attempt: twice as long each time up to half a minute, and
// somewhere between half of that and all of it, so that a hundred workers do not come back at once.
//
//   BackOff backOff(std::random_device{}());
//   const auto pause = backOff.Next();   // 0.25 to 0.5 s, then 0.5 to 1 s ...
//   backOff.Reset();                     // it went well
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>

namespace queue {

class BackOff {
 public:
  using Pause = std::chrono::milliseconds;

  static constexpr Pause kFirst{500};
  static constexpr Pause kLongest{30000};

  explicit BackOff(unsigned seed) : random_(seed) {}

  Pause Next() {
    const Pause whole = next_;
    next_ = std::min(kLongest, next_ * 2);
    return Pause(std::uniform_int_distribution<Pause::rep>((whole / 2).count(), whole.count())(random_));
  }
  void Reset() { next_ = kFirst; }

 private:
  std::mt19937 random_;
  Pause next_ = kFirst;
};

// A pause for messages: "1.5 s".
[[nodiscard]] inline std::string SecondsText(BackOff::Pause pause) {
  char text[40];
  std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(pause.count()) / 1000);
  return text;
}

}  // namespace queue
