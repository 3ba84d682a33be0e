// SPDX-License-Identifier: MIT
// Blanking a rectangle of a bitmap beside memset over the same bytes.
#include <tovkit/imaging.h>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

// A page at 300 dpi and 24 bits; 2479 pixels a row leave three bytes of padding.
constexpr int kHeight = 3508;

CoreDib MakePage(int width) {
  CoreDib dib;
  dib.Create(width, kHeight, 24);
  std::memset(dib.GetBuffer(), 1, dib.GetBufferSize());
  return dib;
}

void Erase(benchmark::State& state, int width, int left, int right) {
  CoreDib dib = MakePage(width);
  for (auto _ : state) {
    tovkit::DeleteRectDib(&dib, {left, 0, right, kHeight});
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kHeight * (right - left) * 3);
}

// The whole pixels in one call, padding included: the least that any eraser could do.
void MemsetAll(benchmark::State& state, int width, int left, int right) {
  CoreDib dib = MakePage(width);
  for (auto _ : state) {
    std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kHeight * (right - left) * 3);
}

void MemsetRows(benchmark::State& state, int width, int left, int right) {
  CoreDib dib = MakePage(width);
  for (auto _ : state) {
    for (int y = 0; y < kHeight; ++y)
      std::memset(dib.GetRow(y) + left * 3, 255, static_cast<std::size_t>(right - left) * 3);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kHeight * (right - left) * 3);
}

BENCHMARK_CAPTURE(Erase, full, 2480, 0, 2480)->Name("dib/erase_full_width/tovkit");
BENCHMARK_CAPTURE(MemsetAll, full, 2480, 0, 2480)->Name("dib/erase_full_width/memset");
BENCHMARK_CAPTURE(Erase, padded, 2479, 0, 2479)->Name("dib/erase_full_width_padded/tovkit");
BENCHMARK_CAPTURE(MemsetAll, padded, 2479, 0, 2479)->Name("dib/erase_full_width_padded/memset");
BENCHMARK_CAPTURE(Erase, part, 2480, 100, 300)->Name("dib/erase_200_columns/tovkit");
BENCHMARK_CAPTURE(MemsetRows, part, 2480, 100, 300)->Name("dib/erase_200_columns/memset");

}  // namespace
