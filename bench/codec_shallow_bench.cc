// SPDX-License-Identifier: MIT
// A scanned page of one bit, 2,480 x 3,508 pixels, as TIFF with CCITT group 4; a GIF of 1,024 x 768; and an
// animation, each beside its library called directly.
#include "codec_direct.h"

#include <tovmx/codec.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kPageWidth = 2496;
constexpr int kPageHeight = 3508;
constexpr int kWidth = 1024;
constexpr int kHeight = 768;
constexpr int kFrames = 20;
constexpr int kSide = 128;  // of the animation

// Lines of marks that look like words.
const CoreDib& Page() {
  static const CoreDib page = [] {
    CoreDib made;
    made.Create(kPageWidth, kPageHeight, 1);
    std::memset(made.GetBuffer(), 255, made.GetBufferSize());
    unsigned state = 1;
    for (int y = 200; y < kPageHeight - 200; ++y) {
      if (y % 50 >= 32) continue;
      state = static_cast<unsigned>(y / 50 * 77 + y % 50 / 6);
      for (int x = 20; x < kPageWidth / 8 - 20; ++x) {
        state = state * 1664525U + 1013904223U;
        if (state >> 30 == 0) made.GetRow(y)[x] = static_cast<std::uint8_t>(state >> 16);
      }
    }
    return made;
  }();
  return page;
}

std::vector<std::uint8_t> Indices(int width, int height) {
  std::vector<std::uint8_t> indices;
  unsigned state = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      state = state * 1664525U + 1013904223U;
      indices.push_back(static_cast<std::uint8_t>(x / 8 + y / 6 + static_cast<int>(state >> 30)));
    }
  }
  return indices;
}

std::string PageFile() {
  CoreMemoryOutputStream file;
  CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageTiff)->Encode(&Page(), &file);
  return {reinterpret_cast<const char*>(file.GetData()), file.GetSize()};
}

void EncodeG4Tovkit(benchmark::State& state) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageTiff);
  for (auto _ : state) {
    CoreMemoryOutputStream out;
    if (encoder->Encode(&Page(), &out) == 0) state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(out.GetData());
  }
}

void EncodeG4Direct(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(direct::EncodeG4(Page().GetBuffer(), kPageWidth, kPageHeight).data());
}

// Decodes the first `frames` frames in order.
void DecodeTovkit(benchmark::State& state, const std::string& file, int frames) {
  for (auto _ : state) {
    CoreMemoryInputStream in(file.data(), file.size());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
    decoder->Open(&in, kCoreOpenReadAhead);
    for (int i = 0; i < frames; ++i) {
      const auto bitmap = decoder->GetBitmap(i, 0, 0);
      if (bitmap == nullptr) state.SkipWithError("not decoded");
      benchmark::DoNotOptimize(bitmap.get());
    }
  }
  state.SetItemsProcessed(state.iterations() * frames);
}

void DecodeG4Tovkit(benchmark::State& state) { DecodeTovkit(state, PageFile(), 1); }

void DecodeG4Direct(benchmark::State& state) {
  const std::string file = PageFile();
  for (auto _ : state) benchmark::DoNotOptimize(direct::DecodeG4(file, kPageWidth, kPageHeight));
}

std::string GifFile(int width, int height, int frames) {
  return direct::EncodeGif(Indices(width, height).data(), width, height, frames);
}

void DecodeGifTovkit(benchmark::State& state) { DecodeTovkit(state, GifFile(kWidth, kHeight, 1), 1); }

void DecodeGifDirect(benchmark::State& state) {
  const std::string file = GifFile(kWidth, kHeight, 1);
  for (auto _ : state) benchmark::DoNotOptimize(direct::DecodeGif(file, kWidth, kHeight));
}

// The time of a frame does not grow with the number of frames.
void DecodeFrames(benchmark::State& state) {
  DecodeTovkit(state, GifFile(kSide, kSide, static_cast<int>(state.range(0))),
               static_cast<int>(state.range(0)));
}

BENCHMARK(EncodeG4Tovkit)->Name("codec/encode_g4/tovkit");
BENCHMARK(EncodeG4Direct)->Name("codec/encode_g4/libtiff");
BENCHMARK(DecodeG4Tovkit)->Name("codec/decode_g4/tovkit");
BENCHMARK(DecodeG4Direct)->Name("codec/decode_g4/libtiff");
BENCHMARK(DecodeGifTovkit)->Name("codec/decode_gif/tovkit");
BENCHMARK(DecodeGifDirect)->Name("codec/decode_gif/giflib");
BENCHMARK(DecodeFrames)->Name("codec/decode_gif_frames/tovkit")->Arg(kFrames)->Arg(16 * kFrames);

}  // namespace
