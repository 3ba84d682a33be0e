// SPDX-License-Identifier: MIT
// Scaling in two steps, rows across and then columns down, with a triangle filter whose weights are made
// once for each axis. Colors are weighed by their alpha, so that what is transparent does not bleed. Of the
// rows scaled across a few are kept, never the whole picture.
#include "bitmap/scale.h"

#include "bitmap/row_reader.h"
#include "bitmap/row_scaling.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
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

// How much a pixel counts at a distance, in pixels, and from where on it does not.
struct Kernel {
  double reach;
  double (*weight)(double distance);
};

double Triangle(double distance) { return 1 - std::fabs(distance); }

// Catmull and Rom's spline.
double Cubic(double distance) {
  const double x = std::fabs(distance);
  return x < 1 ? (1.5 * x - 2.5) * x * x + 1 : ((-0.5 * x + 2.5) * x - 4) * x + 2;
}

double Sinc(double x) {
  constexpr double kPi = 3.14159265358979323846;
  return x == 0 ? 1 : std::sin(kPi * x) / (kPi * x);
}

double Lanczos(double distance) { return Sinc(distance) * Sinc(distance / 3); }

Kernel KernelOf(CoreFilter filter) {
  if (filter == kCoreFilterCubic) return {2, Cubic};
  if (filter == kCoreFilterLanczos) return {3, Lanczos};
  return {1, Triangle};
}

Axis MakeAxis(int from, int to, const Kernel& kernel) {
  const double step = static_cast<double>(from) / to;
  const double unit = std::max(1.0, step);
  const double reach = kernel.reach * unit;
  Axis axis;
  axis.start.push_back(0);
  for (int i = 0; i < to; ++i) {
    const double center = (i + 0.5) * step - 0.5;
    const int first = std::max(0, static_cast<int>(std::ceil(center - reach)));
    const int last = std::min(from - 1, static_cast<int>(std::floor(center + reach)));
    double sum = 0;
    assert(first <= last);  // reach is 1 at least
    for (int k = first; k <= last; ++k) sum += kernel.weight((k - center) / unit);
    for (int k = first; k <= last; ++k)
      axis.weights.push_back(static_cast<float>(kernel.weight((k - center) / unit) / sum));
    axis.first.push_back(first);
    axis.start.push_back(axis.weights.size());
  }
  return axis;
}

// How many old rows the wide filters look at for one new row.
std::size_t WindowOf(const Axis& axis) {
  std::size_t most = 0;
  for (std::size_t i = 0; i < axis.first.size(); ++i)
    most = std::max(most, axis.start[i + 1] - axis.start[i]);
  return most;
}

// The rows of a bitmap scaled across. Few are kept: a tall picture that becomes a flat one is read again, not
// held.
class ScaledRows {
 public:
  // `wanted` are as many rows as it helps to keep.
  ScaledRows(const CoreDib& from, RowLayout layout, int width, const Kernel& kernel, std::size_t wanted)
      : rows_(from, layout),
        axis_(MakeAxis(from.GetWidth(), width, kernel)),
        scaler_(axis_, from.GetWidth(), BytesPerPixel(layout)) {
    const std::size_t length =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(BytesPerPixel(layout));
    const std::size_t most = std::max(kFewest, kMostKeptBytes / (length * sizeof(float)));
    kept_.resize(std::clamp(wanted, kFewest, most));
    for (std::vector<float>& row : kept_) row.resize(length);
    number_.resize(kept_.size(), -1);
  }

  const std::vector<float>& Row(int y) {
    const std::size_t slot = static_cast<std::size_t>(y) % kept_.size();
    if (number_[slot] != y) scaler_.Scale(rows_.Row(y), kept_[slot].data());
    number_[slot] = y;
    return kept_[slot];
  }

 private:
  static constexpr std::size_t kFewest = 4;
  static constexpr std::size_t kMostKeptBytes = std::size_t{16} << 20;

  RowReader rows_;
  Axis axis_;
  RowScaler scaler_;
  std::vector<std::vector<float>> kept_;
  std::vector<int> number_;  // of each kept row, -1 for none
};

}  // namespace

std::uint64_t ScalingBytes(const CoreDib& from, CoreSize size) noexcept {
  constexpr std::uint64_t kPerOld = 3 * sizeof(float) + RowScaler::kBytesPerPixel;
  constexpr std::uint64_t kPerNew = 64 + 5 * 4 * sizeof(float);
  return (static_cast<std::uint64_t>(from.GetWidth()) + static_cast<std::uint64_t>(from.GetHeight())) *
             kPerOld +
         (static_cast<std::uint64_t>(size.width) + static_cast<std::uint64_t>(size.height)) * kPerNew;
}

bool ScaleBitmap(const CoreDib& from, CoreSize size, CoreDib& to, CoreFilter filter) {
  const RowLayout layout = PlainLayoutOf(from);
  const int channels = BytesPerPixel(layout);
  if (!to.Create(size.width, size.height, channels * 8)) return false;
  to.SetDpi(from.GetDpiX() * static_cast<float>(size.width) / static_cast<float>(from.GetWidth()),
            from.GetDpiY() * static_cast<float>(size.height) / static_cast<float>(from.GetHeight()));

  const Kernel kernel = KernelOf(filter);
  const Axis down = MakeAxis(from.GetHeight(), size.height, kernel);
  ScaledRows rows(from, layout, size.width, kernel, filter == kCoreFilterTriangle ? 0 : WindowOf(down));
  std::vector<float> sums(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(channels));
  for (std::size_t y = 0; y < down.first.size(); ++y) {
    std::fill(sums.begin(), sums.end(), 0.0f);
    int line = down.first[y];
    for (std::size_t k = down.start[y]; k < down.start[y + 1]; ++k, ++line) {
      AddWeighted(rows.Row(line), down.weights[k], sums);
    }
    StoreRow(sums, channels, to.GetRow(static_cast<int>(y)));
  }
  return true;
}

namespace {

// Every new pixel is the old one beneath its center.
bool PickNearest(const CoreDib& from, CoreSize size, CoreDib& to) {
  const RowLayout layout = PlainLayoutOf(from);
  const auto bytes = static_cast<std::size_t>(BytesPerPixel(layout));
  if (!to.Create(size.width, size.height, static_cast<int>(bytes) * 8)) return false;
  const auto beneath = [](int position, int old, int now) {
    return static_cast<int>((2 * std::int64_t{position} + 1) * old / (2 * std::int64_t{now}));
  };
  RowReader rows(from, layout);
  for (int y = 0; y < size.height; ++y) {
    const std::uint8_t* const row = rows.Row(beneath(y, from.GetHeight(), size.height));
    std::uint8_t* out = to.GetRow(y);
    for (int x = 0; x < size.width; ++x, out += bytes) {
      std::memcpy(out, row + static_cast<std::size_t>(beneath(x, from.GetWidth(), size.width)) * bytes,
                  bytes);
    }
  }
  return true;
}

}  // namespace

}  // namespace tovmx

bool CoreResample(const CoreDib& from, int width, int height, CoreFilter filter, CoreDib& to) try {
  if (from.GetBuffer() == nullptr || width < 1 || height < 1 || filter > kCoreFilterLanczos) return false;
  const CoreSize size = {width, height};
  CoreDib made;
  const bool done = filter == kCoreFilterNearest ? tovmx::PickNearest(from, size, made)
                                                 : tovmx::ScaleBitmap(from, size, made, filter);
  if (!done) return false;
  made.SetDpi(from.GetDpiX() * static_cast<float>(width) / static_cast<float>(from.GetWidth()),
              from.GetDpiY() * static_cast<float>(height) / static_cast<float>(from.GetHeight()));
  to = std::move(made);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}
