// SPDX-License-Identifier: MIT
#include "near_grid.h"

#include "float_steps.h"

#include <algorithm>
#include <limits>

namespace tovkit {

namespace {

constexpr std::size_t kLargestSide = 512;
constexpr double kPlacesOfStick = 8;  // on the average, at most
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// The places of all sticks in a grid of side * side cells are about
//   the sticks + side * linear + side^2 * area
struct Places {
  double linear = 0;
  double area = 0;

  void Add(const Stick& stick, double width, double height) {
    const double dx = std::fabs(static_cast<double>(stick.b.x) - static_cast<double>(stick.a.x));
    const double dy = std::fabs(static_cast<double>(stick.b.y) - static_cast<double>(stick.a.y));
    const double across = 2 * static_cast<double>(stick.reach);
    linear += (dx + across) / width + (dy + across) / height;
    area += across * (dx + dy + across) / (width * height);
  }
  double In(std::size_t sticks, double side) const {
    return static_cast<double>(sticks) + linear * side + area * side * side;
  }
};

}  // namespace

// Row by row, from where the stick enters what reaches the row to where it leaves it.
template <typename Visit>
void NearGrid::ForEachCell(const Stick& stick, const Visit& visit) const {
  const double ax = stick.a.x, ay = stick.a.y, bx = stick.b.x, by = stick.b.y, reach = stick.reach;
  const double lowY = std::min(ay, by), highY = std::max(ay, by);
  const double lowX = std::min(ax, bx), highX = std::max(ax, bx);
  const auto atRow = [&](double y) {
    const double x = ax + (bx - ax) * (std::clamp(y, lowY, highY) - ay) / (by - ay);
    return std::clamp(x, lowX, highX);
  };
  const std::size_t first = IndexOf(Below(lowY - reach) - low_.y, scale_.y);
  const std::size_t last = IndexOf(Above(highY + reach) - low_.y, scale_.y);
  for (std::size_t row = first; row <= last; ++row) {
    double left = lowX, right = highX;
    if (highY > lowY && first < last) {
      const auto edge = [&](double rows) {
        return static_cast<double>(low_.y) + rows / static_cast<double>(scale_.y);
      };
      const double enter = atRow(row == 0 ? lowY : edge(static_cast<double>(row) - kOverlap) - reach);
      const double leave =
          atRow(row + 1 == side_ ? highY : edge(static_cast<double>(row) + 1 + kOverlap) + reach);
      left = std::min(enter, leave);
      right = std::max(enter, leave);
    }
    const std::size_t to = IndexOf(Above(right + reach) - low_.x, scale_.x);
    for (std::size_t column = IndexOf(Below(left - reach) - low_.x, scale_.x); column <= to; ++column)
      visit(row * side_ + column);
  }
}

void NearGrid::Build(const std::vector<Stick>& sticks) {
  if (sticks.empty()) return;
  low_ = {kInfinity, kInfinity};
  high_ = {-kInfinity, -kInfinity};
  for (const Stick& stick : sticks) {
    const double reach = stick.reach;
    for (const CorePointF& end : {stick.a, stick.b}) {
      low_.x = std::min(low_.x, Below(static_cast<double>(end.x) - reach));
      low_.y = std::min(low_.y, Below(static_cast<double>(end.y) - reach));
      high_.x = std::max(high_.x, Above(static_cast<double>(end.x) + reach));
      high_.y = std::max(high_.y, Above(static_cast<double>(end.y) + reach));
    }
  }
  const double width = static_cast<double>(high_.x) - static_cast<double>(low_.x);
  const double height = static_cast<double>(high_.y) - static_cast<double>(low_.y);
  Places places;
  for (const Stick& stick : sticks) places.Add(stick, width, height);
  side_ = kLargestSide;
  while (side_ > 1 && (places.In(sticks.size(), static_cast<double>(side_)) >
                           kPlacesOfStick * static_cast<double>(sticks.size()) ||
                       side_ * side_ > 8 * sticks.size() + 64))
    side_ /= 2;
  last_ = static_cast<float>(side_ - 1);
  scale_ = {static_cast<float>(static_cast<double>(side_) / width),
            static_cast<float>(static_cast<double>(side_) / height)};

  near_.reserve(sticks.size());
  starts_.assign(side_ * side_ + 2, 0);
  for (const Stick& stick : sticks) {
    const float dx = stick.b.x - stick.a.x, dy = stick.b.y - stick.a.y;
    const float square = dx * dx + dy * dy;
    near_.push_back({stick.a.x, stick.a.y, dx, dy, square > 0.0f ? 1.0f / square : 0.0f,
                     stick.reach * stick.reach, stick.segment, stick.sampled});
    ForEachCell(stick, [&](std::size_t cell) { ++starts_[cell + 2]; });
  }
  for (std::size_t cell = 2; cell < starts_.size(); ++cell) starts_[cell] += starts_[cell - 1];
  places_.resize(starts_.back());
  for (std::uint32_t i = 0; i < sticks.size(); ++i)
    ForEachCell(sticks[i], [&](std::size_t cell) { places_[starts_[cell + 1]++] = i; });
  starts_.pop_back();
}

}  // namespace tovkit
