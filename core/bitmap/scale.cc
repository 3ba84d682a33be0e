#include "bitmap/scale.h"

#include "bitmap/row_reader.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

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

// Which old positions make up one new one, and how much each counts.
struct Taps {
  int first;
  std::vector<float> weights;  // they sum up to 1
};

// One axis of the triangle filter, as wide as a new pixel when shrinking and as an old one when growing.
std::vector<Taps> MakeTaps(int from, int to) {
  const double step = static_cast<double>(from) / to;
  const double reach = std::max(1.0, step);
  std::vector<Taps> axis(static_cast<std::size_t>(to));
  for (int i = 0; i < to; ++i) {
    const double centre = (i + 0.5) * step - 0.5;
    const int first = std::max(0, static_cast<int>(std::ceil(centre - reach)));
    const int last = std::min(from - 1, static_cast<int>(std::floor(centre + reach)));
    Taps& taps = axis[static_cast<std::size_t>(i)];
    taps.first = first;
    double sum = 0;
    for (int k = first; k <= last; ++k) sum += std::max(0.0, reach - std::fabs(k - centre));
    for (int k = first; k <= last; ++k)
      taps.weights.push_back(static_cast<float>(std::max(0.0, reach - std::fabs(k - centre)) / sum));
  }
  return axis;
}

// One row across: bytes in, premultiplied floats out.
void ScaleAcross(const std::uint8_t* row, int channels, const std::vector<Taps>& axis, float* out) {
  const auto size = static_cast<std::size_t>(channels);
  for (const Taps& taps : axis) {
    float sums[4] = {};
    const std::uint8_t* p = row + static_cast<std::size_t>(taps.first) * size;
    for (const float weight : taps.weights) {
      const float amount = channels == 4 ? weight * p[3] : weight;
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

}  // namespace

bool ScaleBitmap(const CoreDib& from, CoreSize size, CoreDib& to) {
  const RowLayout layout = PlainLayoutOf(from);
  const int channels = BytesPerPixel(layout);
  if (!to.Create(size.width, size.height, channels * 8)) return false;
  to.SetDpi(from.GetDpiX() * static_cast<float>(size.width) / static_cast<float>(from.GetWidth()),
            from.GetDpiY() * static_cast<float>(size.height) / static_cast<float>(from.GetHeight()));

  const std::vector<Taps> across = MakeTaps(from.GetWidth(), size.width);
  const std::vector<Taps> down = MakeTaps(from.GetHeight(), size.height);
  const std::size_t rowLength = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(channels);
  std::size_t depth = 0;
  for (const Taps& taps : down) depth = std::max(depth, taps.weights.size());

  // A ring of the rows that the current taps cover; each old row is scaled across once.
  RowReader rows(from, layout);
  std::vector<std::vector<float>> ring(depth, std::vector<float>(rowLength));
  std::vector<float> sums(rowLength);
  int next = 0;
  for (int y = 0; y < size.height; ++y) {
    const Taps& taps = down[static_cast<std::size_t>(y)];
    const int end = taps.first + static_cast<int>(taps.weights.size());
    for (next = std::max(next, taps.first); next < end; ++next)
      ScaleAcross(rows.Row(next), channels, across, ring[static_cast<std::size_t>(next) % depth].data());
    std::fill(sums.begin(), sums.end(), 0.0f);
    for (int k = taps.first; k < end; ++k) {
      const float weight = taps.weights[static_cast<std::size_t>(k - taps.first)];
      const std::vector<float>& row = ring[static_cast<std::size_t>(k) % depth];
      for (std::size_t i = 0; i < rowLength; ++i) sums[i] += weight * row[i];
    }
    StoreRow(sums, channels, to.GetRow(y));
  }
  return true;
}
