// SPDX-License-Identifier: MIT
// Scaling in two steps, rows across and then columns down, with a triangle filter whose weights are made
// once for each axis. Colors are weighed by their alpha, so that what is transparent does not bleed. Of the
// rows scaled across a few are kept, never the whole picture.
#include "bitmap/scale.h"

#include "bitmap/row_reader.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovmx {

CoreSize FillProportions(CoreSize wanted, CoreSize own) noexcept {
  const auto other = [](int side, int ownSide, int ownOther) {
    const double length = std::round(static_cast<double>(side) * ownOther / ownSide);
    return static_cast<int>(std::clamp(length, 1.0, static_cast<double>(INT_MAX)));
  };
  if (wanted.width == 0) wanted.width = other(wanted.height, own.height, own.width);
  if (wanted.height == 0) wanted.height = other(wanted.width, own.width, own.height);
  return wanted;
}

int ScaledBits(const CoreDib& from) noexcept { return BytesPerPixel(PlainLayoutOf(from)) * 8; }

namespace {

// For each new position along one axis: the first of the old positions beneath it and how much each counts.
struct Axis {
  std::vector<int> first;
  std::vector<std::size_t> start;  // where its weights begin; one more than positions
  std::vector<float> weights;      // those of one position sum up to 1
};

// A triangle filter, as wide as a new pixel when shrinking and as an old one when growing.
Axis MakeAxis(int from, int to) {
  const double step = static_cast<double>(from) / to;
  const double reach = std::max(1.0, step);
  Axis axis;
  axis.start.push_back(0);
  for (int i = 0; i < to; ++i) {
    const double center = (i + 0.5) * step - 0.5;
    const int first = std::max(0, static_cast<int>(std::ceil(center - reach)));
    const int last = std::min(from - 1, static_cast<int>(std::floor(center + reach)));
    double sum = 0;
    assert(first <= last);  // reach is 1 at least
    for (int k = first; k <= last; ++k) sum += reach - std::fabs(k - center);
    for (int k = first; k <= last; ++k)
      axis.weights.push_back(static_cast<float>((reach - std::fabs(k - center)) / sum));
    axis.first.push_back(first);
    axis.start.push_back(axis.weights.size());
  }
  return axis;
}

// One row across: bytes in, premultiplied floats out.
void ScaleAcross(const std::uint8_t* row, int channels, const Axis& axis, float* out) {
  const auto size = static_cast<std::size_t>(channels);
  for (std::size_t i = 0; i < axis.first.size(); ++i) {
    float sums[4] = {};
    const std::uint8_t* p = row + static_cast<std::size_t>(axis.first[i]) * size;
    for (std::size_t k = axis.start[i]; k < axis.start[i + 1]; ++k) {
      const float amount = channels == 4 ? axis.weights[k] * p[3] : axis.weights[k];
      for (int c = 0; c < std::min(channels, 3); ++c) sums[c] += amount * p[c];
      sums[3] += amount;
      p += size;
    }
    for (std::size_t c = 0; c < size; ++c) *out++ = sums[c];
  }
}

std::uint8_t ToByte(float value) noexcept {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

void StoreRow(const std::vector<float>& sums, int channels, std::uint8_t* out) {
  for (std::size_t i = 0; i < sums.size(); i += static_cast<std::size_t>(channels)) {
    const float alpha = channels == 4 ? sums[i + 3] : 1.0f;
    for (int c = 0; c < std::min(channels, 3); ++c)
      *out++ = alpha > 0 ? ToByte(sums[i + static_cast<std::size_t>(c)] / alpha) : std::uint8_t{0};
    if (channels == 4) *out++ = ToByte(alpha);
  }
}

// The rows of a bitmap scaled across. Few are kept: a tall picture that becomes a flat one is read twice, not
// held.
class ScaledRows {
 public:
  ScaledRows(const CoreDib& from, RowLayout layout, int width)
      : rows_(from, layout), channels_(BytesPerPixel(layout)), axis_(MakeAxis(from.GetWidth(), width)) {
    const std::size_t length = static_cast<std::size_t>(width) * static_cast<std::size_t>(channels_);
    for (std::vector<float>& row : kept_) row.resize(length);
  }

  const std::vector<float>& Row(int y) {
    const std::size_t slot = static_cast<std::size_t>(y) % kKept;
    if (number_[slot] != y) ScaleAcross(rows_.Row(y), channels_, axis_, kept_[slot].data());
    number_[slot] = y;
    return kept_[slot];
  }

 private:
  static constexpr std::size_t kKept = 4;

  RowReader rows_;
  int channels_;
  Axis axis_;
  std::array<std::vector<float>, kKept> kept_;
  std::array<int, kKept> number_{-1, -1, -1, -1};
};

}  // namespace

std::uint64_t ScalingBytes(const CoreDib& from, CoreSize size) noexcept {
  constexpr std::uint64_t kPerOld = 3 * sizeof(float);
  constexpr std::uint64_t kPerNew = 64 + 5 * 4 * sizeof(float);
  return (static_cast<std::uint64_t>(from.GetWidth()) + static_cast<std::uint64_t>(from.GetHeight())) *
             kPerOld +
         (static_cast<std::uint64_t>(size.width) + static_cast<std::uint64_t>(size.height)) * kPerNew;
}

bool ScaleBitmap(const CoreDib& from, CoreSize size, CoreDib& to) {
  const RowLayout layout = PlainLayoutOf(from);
  const int channels = BytesPerPixel(layout);
  if (!to.Create(size.width, size.height, channels * 8)) return false;
  to.SetDpi(from.GetDpiX() * static_cast<float>(size.width) / static_cast<float>(from.GetWidth()),
            from.GetDpiY() * static_cast<float>(size.height) / static_cast<float>(from.GetHeight()));

  ScaledRows rows(from, layout, size.width);
  const Axis down = MakeAxis(from.GetHeight(), size.height);
  std::vector<float> sums(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(channels));
  for (std::size_t y = 0; y < down.first.size(); ++y) {
    std::fill(sums.begin(), sums.end(), 0.0f);
    int line = down.first[y];
    for (std::size_t k = down.start[y]; k < down.start[y + 1]; ++k, ++line) {
      const std::vector<float>& row = rows.Row(line);
      for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += down.weights[k] * row[i];
    }
    StoreRow(sums, channels, to.GetRow(static_cast<int>(y)));
  }
  return true;
}

}  // namespace tovmx
