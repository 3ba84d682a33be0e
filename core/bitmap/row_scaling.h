// SPDX-License-Identifier: MIT
// The arithmetic of scaling: a row across, the sum of rows, and sums as bytes.
//
// A pixel is a vector of four floats here, so that its channels are summed side by side, each in the order of
// the weights: the results are those of one addition after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovmx {

// For each new position along one axis: the first of the old positions beneath it and how much each counts.
struct Axis {
  std::vector<int> first;
  std::vector<std::size_t> start;  // where its weights begin; one more than positions
  std::vector<float> weights;      // those of one position sum up to 1
};

// Scales rows of one width across. Colors come out multiplied by their alpha.
class RowScaler {
 public:
  // 1, 3 or 4 channels, of which the fourth is alpha. The axis must outlive the scaler.
  RowScaler(const Axis& axis, int width, int channels);

  // `out` has room for the channels of every new position.
  void Scale(const std::uint8_t* row, float* out);

  // What a scaler takes for each pixel of the old width.
  static constexpr std::size_t kBytesPerPixel = 5 * sizeof(float);

 private:
  void ScaleGray(const std::uint8_t* row, float* out) const;
  void Widen(const std::uint8_t* row);
  void ScaleColor(float* out) const;
  void ScaleAlpha(float* out) const;

  const Axis& axis_;
  std::size_t width_;
  int channels_;
  std::vector<float> pixels_;  // the old row: blue, green, red and 1
  std::vector<float> alphas_;
};

// Adds a row times its weight.
void AddWeighted(const std::vector<float>& row, float weight, std::vector<float>& sums);

// Rounds sums into bytes, colors divided by their alpha again.
void StoreRow(const std::vector<float>& sums, int channels, std::uint8_t* out);

}  // namespace tovmx
