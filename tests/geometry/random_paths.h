// SPDX-License-Identifier: MIT
// Seeded random paths, points and tolerances for the comparison with the reference implementation.
#pragma once

#include <tovmx/path.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace reference {

// How the numbers of a case are drawn.
enum class Numbers {
  kOrdinary,  // a page's coordinates
  kGrid,      // small whole numbers: many equal coordinates, vertical and horizontal edges
  kTiny,      // denormals and their neighbors
  kHuge,      // up to the largest float
  kWild,      // any bit pattern: NaN, infinities, everything
};
inline constexpr int kNumberKinds = 5;

class RandomPaths {
 public:
  explicit RandomPaths(std::uint64_t seed) : random_(seed) {}

  std::uint32_t Below(std::uint32_t count) { return static_cast<std::uint32_t>(random_() % count); }
  float Unit() { return static_cast<float>(random_() >> 40) * 0x1p-24f; }

  float Number(Numbers kind) {
    switch (kind) {
      case Numbers::kOrdinary:
        return Unit() * 200.0f - 100.0f;
      case Numbers::kGrid:
        return static_cast<float>(Below(9)) - 4.0f;
      case Numbers::kTiny:
        return (Unit() - 0.5f) * std::ldexp(1.0f, -static_cast<int>(Below(150)));
      case Numbers::kHuge:
        return (Unit() - 0.5f) * std::ldexp(1.0f, static_cast<int>(Below(129)) - 1);
      case Numbers::kWild:
        break;
    }
    const auto bits = static_cast<std::uint32_t>(random_());
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return Below(8) == 0 ? std::numeric_limits<float>::infinity() : value;
  }

  CorePointF Point(Numbers kind) { return {Number(kind), Number(kind)}; }

  float Tolerance(Numbers kind) {
    switch (Below(8)) {
      case 0:
        return 0.0f;
      case 1:
        return Number(kind);
      case 2:
        return -1.0f;
      default:
        return std::fabs(Number(kind)) * std::ldexp(1.0f, -static_cast<int>(Below(8)));
    }
  }

  // A path of up to `operations` operations, now and then with records that no operation of CorePath writes.
  CorePath Path(Numbers kind, int operations) {
    CorePath path;
    for (int i = 0; i < operations; ++i) {
      const CorePointF a = Point(kind), b = Point(kind), c = Point(kind);
      switch (i == 0 ? 0 : Below(24)) {
        case 0:
        case 1:
          path.MoveTo(a.x, a.y);
          break;
        case 2:
          path.Close();
          break;
        case 3:
          path.AddPoint({a.x, a.y, static_cast<std::uint32_t>(random_())});
          break;
        case 4:
          path.AddPoint({a.x, a.y, 1u << Below(14)});
          break;
        case 5:
        case 6:
        case 7:
          path.QuadTo(a.x, a.y, b.x, b.y);
          break;
        case 8:
        case 9:
        case 10:
        case 11:
        case 12:
        case 13:
          path.CubicTo(a.x, a.y, b.x, b.y, c.x, c.y);
          break;
        case 14:
        case 15:
          path.ArcTo(a.x, a.y, Rotation(kind), Flag(), Flag(), b.x, b.y);
          break;
        default:
          path.LineTo(a.x, a.y);
          break;
      }
    }
    return path;
  }

 private:
  // The reference implementation subtracts turn by turn, so most rotations are modest.
  float Rotation(Numbers kind) {
    if (kind == Numbers::kWild && Below(4) == 0) return 1e30f;
    return (Unit() - 0.5f) * 100.0f;
  }
  float Flag() { return Below(9) == 0 ? -2.5f : static_cast<float>(Below(2)); }

  std::mt19937_64 random_;
};

}  // namespace reference
