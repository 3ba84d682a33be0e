// SPDX-License-Identifier: MIT
// SSE2, which every x86-64 processor has, so there is no level to choose. Multiplications and additions stay
// apart: a sum is the same to the bit as in plain code.
#include "bitmap/row_scaling.h"

#include <emmintrin.h>

#include <algorithm>

namespace tovmx {

namespace {

std::uint8_t ToByte(float value) noexcept {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

// The values of four of ToByte, in the four parts.
__m128i ToBytes(__m128 values) {
  const __m128 raised = _mm_add_ps(values, _mm_set1_ps(0.5f));
  return _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(raised, _mm_setzero_ps()), _mm_set1_ps(255.0f)));
}

void StoreOpaque(const std::vector<float>& sums, std::uint8_t* out) {
  const float* in = sums.data();
  const float* const end = in + sums.size();
  for (; end - in >= 16; in += 16, out += 16) {
    const __m128i low = _mm_packs_epi32(ToBytes(_mm_loadu_ps(in)), ToBytes(_mm_loadu_ps(in + 4)));
    const __m128i high = _mm_packs_epi32(ToBytes(_mm_loadu_ps(in + 8)), ToBytes(_mm_loadu_ps(in + 12)));
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out)), _mm_packus_epi16(low, high));
  }
  for (; in != end; ++in) *out++ = ToByte(*in);
}

}  // namespace

RowScaler::RowScaler(const Axis& axis, int width, int channels)
    : axis_(axis), width_(static_cast<std::size_t>(width)), channels_(channels) {
  if (channels > 1) pixels_.resize(4 * width_, 1.0f);
  if (channels == 4) alphas_.resize(width_);
}

void RowScaler::Scale(const std::uint8_t* row, float* out) {
  if (channels_ == 1) {
    ScaleGray(row, out);
    return;
  }
  Widen(row);
  if (channels_ == 3) {
    ScaleColor(out);
  } else {
    ScaleAlpha(out);
  }
}

void RowScaler::ScaleGray(const std::uint8_t* row, float* out) const {
  for (std::size_t i = 0; i < axis_.first.size(); ++i) {
    float sum = 0;
    const std::uint8_t* p = row + axis_.first[i];
    for (std::size_t k = axis_.start[i]; k < axis_.start[i + 1]; ++k) sum += axis_.weights[k] * *p++;
    *out++ = sum;
  }
}

void RowScaler::Widen(const std::uint8_t* row) {
  const auto channels = static_cast<std::size_t>(channels_);
  float* out = pixels_.data();
  for (std::size_t x = 0; x < width_; ++x, row += channels, out += 4) {
    out[0] = row[0];
    out[1] = row[1];
    out[2] = row[2];
    if (channels == 4) alphas_[x] = row[3];
  }
}

void RowScaler::ScaleColor(float* out) const {
  float* const end = out + 3 * axis_.first.size();
  for (std::size_t i = 0; i < axis_.first.size(); ++i, out += 3) {
    const float* p = pixels_.data() + 4 * static_cast<std::size_t>(axis_.first[i]);
    __m128 sums = _mm_setzero_ps();
    for (std::size_t k = axis_.start[i]; k < axis_.start[i + 1]; ++k, p += 4) {
      sums = _mm_add_ps(sums, _mm_mul_ps(_mm_set1_ps(axis_.weights[k]), _mm_loadu_ps(p)));
    }
    if (end - out >= 4) {
      _mm_storeu_ps(out, sums);  // the next pixel comes over the fourth
    } else {
      alignas(16) float last[4];
      _mm_store_ps(last, sums);
      std::copy(last, last + 3, out);
    }
  }
}

void RowScaler::ScaleAlpha(float* out) const {
  for (std::size_t i = 0; i < axis_.first.size(); ++i, out += 4) {
    const auto first = static_cast<std::size_t>(axis_.first[i]);
    const float* p = pixels_.data() + 4 * first;
    const float* alpha = alphas_.data() + first;
    __m128 sums = _mm_setzero_ps();
    for (std::size_t k = axis_.start[i]; k < axis_.start[i + 1]; ++k, p += 4) {
      const float amount = axis_.weights[k] * *alpha++;
      sums = _mm_add_ps(sums, _mm_mul_ps(_mm_set1_ps(amount), _mm_loadu_ps(p)));
    }
    _mm_storeu_ps(out, sums);
  }
}

void AddWeighted(const std::vector<float>& row, float weight, std::vector<float>& sums) {
  constexpr std::size_t kLanes = 4;
  const __m128 weights = _mm_set1_ps(weight);
  std::size_t i = 0;
  for (; i + kLanes <= sums.size(); i += kLanes) {
    const __m128 product = _mm_mul_ps(weights, _mm_loadu_ps(row.data() + i));
    _mm_storeu_ps(sums.data() + i, _mm_add_ps(_mm_loadu_ps(sums.data() + i), product));
  }
  for (; i < sums.size(); ++i) sums[i] += weight * row[i];
}

void StoreRow(const std::vector<float>& sums, int channels, std::uint8_t* out) {
  if (channels != 4) {
    StoreOpaque(sums, out);
    return;
  }
  for (std::size_t i = 0; i < sums.size(); i += 4) {
    const float alpha = sums[i + 3];
    for (std::size_t c = 0; c < 3; ++c) *out++ = alpha > 0 ? ToByte(sums[i + c] / alpha) : std::uint8_t{0};
    *out++ = ToByte(alpha);
  }
}

}  // namespace tovmx
