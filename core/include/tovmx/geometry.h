/// \file
/// The core's plain geometric records: points, sizes, rectangles, the affine matrix.
///
/// Fields stand in the order in which they travel as numbers. The types with an F hold single-precision
/// numbers, the others 32-bit integers. Nothing here allocates, throws or locks.
///
/// \code{.cc}
/// CoreMatrix place;                // the identity
/// place.Translate(10.0f, 26.0f);   // then 10 to the right and 26 down
/// CorePointF p = place.Transform({1.0f, 2.0f});
/// \endcode
#pragma once

template <typename T>
struct CoreBasicPoint {
  T x{};
  T y{};
  friend bool operator==(const CoreBasicPoint& a, const CoreBasicPoint& b) noexcept {
    return a.x == b.x && a.y == b.y;
  }
  friend bool operator!=(const CoreBasicPoint& a, const CoreBasicPoint& b) noexcept { return !(a == b); }
};

template <typename T>
struct CoreBasicSize {
  T width{};
  T height{};
  friend bool operator==(const CoreBasicSize& a, const CoreBasicSize& b) noexcept {
    return a.width == b.width && a.height == b.height;
  }
  friend bool operator!=(const CoreBasicSize& a, const CoreBasicSize& b) noexcept { return !(a == b); }
};

/// Right and bottom are exclusive. The edges may be reversed until Normalize() is called.
template <typename T>
struct CoreBasicRect {
  T left{};
  T top{};
  T right{};
  T bottom{};

  /// True when the rectangle has no width or no height; a reversed one is not empty.
  bool IsEmpty() const noexcept { return left == right || top == bottom; }

  /// Swaps reversed edges, so that left <= right and top <= bottom.
  void Normalize() noexcept {
    if (left > right) Exchange(left, right);
    if (top > bottom) Exchange(top, bottom);
  }

  friend bool operator==(const CoreBasicRect& a, const CoreBasicRect& b) noexcept {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
  }
  friend bool operator!=(const CoreBasicRect& a, const CoreBasicRect& b) noexcept { return !(a == b); }

 private:
  static void Exchange(T& a, T& b) noexcept {
    const T kept = a;
    a = b;
    b = kept;
  }
};

using CorePoint = CoreBasicPoint<int>;
using CorePointF = CoreBasicPoint<float>;
using CoreSize = CoreBasicSize<int>;
using CoreSizeF = CoreBasicSize<float>;
using CoreRect = CoreBasicRect<int>;
using CoreRectF = CoreBasicRect<float>;

/// The affine map (x, y) -> (a x + c y + e, b x + d y + f); the identity by default.
struct CoreMatrix {
  float a = 1.0f;
  float b = 0.0f;
  float c = 0.0f;
  float d = 1.0f;
  float e = 0.0f;
  float f = 0.0f;

  /// Appends a translation: points are mapped as before, then moved by (dx, dy).
  void Translate(float dx, float dy) noexcept {
    e += dx;
    f += dy;
  }

  /// Appends a scaling about the origin.
  void Scale(float sx, float sy) noexcept {
    a *= sx;
    c *= sx;
    e *= sx;
    b *= sy;
    d *= sy;
    f *= sy;
  }

  /// Appends another map: points are mapped as before, then by `next`.
  void Concat(const CoreMatrix& next) noexcept {
    *this = {a * next.a + b * next.c, a * next.b + b * next.d,          c * next.a + d * next.c,
             c * next.b + d * next.d, e * next.a + f * next.c + next.e, e * next.b + f * next.d + next.f};
  }

  CorePointF Transform(CorePointF p) const noexcept { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }

  friend bool operator==(const CoreMatrix& m, const CoreMatrix& n) noexcept {
    return m.a == n.a && m.b == n.b && m.c == n.c && m.d == n.d && m.e == n.e && m.f == n.f;
  }
  friend bool operator!=(const CoreMatrix& m, const CoreMatrix& n) noexcept { return !(m == n); }
};
