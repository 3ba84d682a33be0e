// SPDX-License-Identifier: MIT
/// \file
/// The core's plain geometric records: points, sizes, rectangles, the affine matrix.
///
/// Fields stand in the order in which they travel as numbers. The types with an F hold single-precision
/// numbers, the others 32-bit integers. Nothing here allocates or throws.
///
/// Thread-safety: as an int.
///
/// \code{.cc}
/// CoreMatrix place;                // the identity
/// place.Translate(10.0f, 26.0f);   // then 10 to the right and 26 down
/// CorePointF p = place.Transform({1.0f, 2.0f});   // {11, 28}
/// \endcode
#pragma once

/// A point.
template <typename T>
struct CoreBasicPoint {
  T x{};  ///< grows to the right
  T y{};  ///< grows downwards

  /// Compares both fields.
  /// @{
  friend bool operator==(const CoreBasicPoint& a, const CoreBasicPoint& b) noexcept {
    return a.x == b.x && a.y == b.y;
  }
  friend bool operator!=(const CoreBasicPoint& a, const CoreBasicPoint& b) noexcept { return !(a == b); }
  /// @}
};

/// A width and a height.
template <typename T>
struct CoreBasicSize {
  T width{};   ///< to the right
  T height{};  ///< downwards

  /// Compares both fields.
  /// @{
  friend bool operator==(const CoreBasicSize& a, const CoreBasicSize& b) noexcept {
    return a.width == b.width && a.height == b.height;
  }
  friend bool operator!=(const CoreBasicSize& a, const CoreBasicSize& b) noexcept { return !(a == b); }
  /// @}
};

/// A rectangle, its right and bottom exclusive. The edges may be reversed until Normalize() is called.
template <typename T>
struct CoreBasicRect {
  T left{};    ///< the first column
  T top{};     ///< the first row
  T right{};   ///< the column behind the last
  T bottom{};  ///< the row below the last

  /// True when the rectangle has no width or no height; a reversed one is not empty.
  bool IsEmpty() const noexcept { return left == right || top == bottom; }

  /// Swaps reversed edges, so that left <= right and top <= bottom.
  void Normalize() noexcept {
    if (left > right) Exchange(left, right);
    if (top > bottom) Exchange(top, bottom);
  }

  /// Compares the four edges as they stand.
  /// @{
  friend bool operator==(const CoreBasicRect& a, const CoreBasicRect& b) noexcept {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
  }
  friend bool operator!=(const CoreBasicRect& a, const CoreBasicRect& b) noexcept { return !(a == b); }
  /// @}

 private:
  static void Exchange(T& a, T& b) noexcept {
    const T kept = a;
    a = b;
    b = kept;
  }
};

using CorePoint = CoreBasicPoint<int>;     ///< whole numbers
using CorePointF = CoreBasicPoint<float>;  ///< single precision
using CoreSize = CoreBasicSize<int>;       ///< whole numbers
using CoreSizeF = CoreBasicSize<float>;    ///< single precision
using CoreRect = CoreBasicRect<int>;       ///< whole numbers
using CoreRectF = CoreBasicRect<float>;    ///< single precision

/// The affine map (x, y) -> (a x + c y + e, b x + d y + f); the identity by default.
struct CoreMatrix {
  float a = 1.0f;  ///< x into x
  float b = 0.0f;  ///< x into y
  float c = 0.0f;  ///< y into x
  float d = 1.0f;  ///< y into y
  float e = 0.0f;  ///< added to x
  float f = 0.0f;  ///< added to y

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

  /// Where the map takes `p`.
  CorePointF Transform(CorePointF p) const noexcept { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }

  /// Compares the six numbers.
  /// @{
  friend bool operator==(const CoreMatrix& m, const CoreMatrix& n) noexcept {
    return m.a == n.a && m.b == n.b && m.c == n.c && m.d == n.d && m.e == n.e && m.f == n.f;
  }
  friend bool operator!=(const CoreMatrix& m, const CoreMatrix& n) noexcept { return !(m == n); }
  /// @}
};
