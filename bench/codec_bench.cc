// SPDX-License-Identifier: MIT
// Encoding and decoding a 24-bit picture of 1024 x 768 in memory, beside the codec library called directly
// with the same settings, and beside Qt, ImageMagick and Pillow. BMP has no library; its bound is a memcpy of
// the pixels.
#include "codec_direct.h"
#include "codec_peers.h"

#include <tovmx/codec.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <string>

namespace {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;

// Smooth, with noise and edges: neither a photograph nor a drawing, a bit of both.
void Paint(std::uint8_t* pixels) {
  unsigned state = 1;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x, pixels += 3) {
      state = state * 1664525U + 1013904223U;
      const unsigned edge = (x / 64 + y / 48) % 2 == 0 ? 60 : 0;
      for (int c = 0; c < 3; ++c)
        pixels[c] =
            static_cast<std::uint8_t>((x * (c + 1) / 8 + y / (c + 2)) / 2 + edge + (state >> (28 + c)));
    }
  }
}

const CoreDib& Dib() {
  static const CoreDib dib = [] {
    CoreDib made;
    made.Create(kWidth, kHeight, 24);
    Paint(made.GetBuffer());
    return made;
  }();
  return dib;
}

const direct::Picture& Picture() {
  static const direct::Picture picture(kWidth, kHeight);
  static const bool painted = (Paint(picture.pixels), true);
  benchmark::DoNotOptimize(painted);
  return picture;
}

void EncodeTovkit(benchmark::State& state, CoreImageFormat format, int quality) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  encoder->SetQuality(quality);
  for (auto _ : state) {
    CoreMemoryOutputStream out;
    if (encoder->Encode(&Dib(), &out) == 0) state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(out.GetData());
  }
}

void DecodeTovkit(benchmark::State& state, CoreImageFormat format) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  CoreMemoryOutputStream file;
  encoder->Encode(&Dib(), &file);
  for (auto _ : state) {
    CoreMemoryInputStream in(file.GetData(), file.GetSize());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    decoder->Open(&in, kCoreOpenReadAhead);
    const auto bitmap = decoder->GetBitmap(0, 0, 0);
    if (bitmap == nullptr) state.SkipWithError("not decoded");
    benchmark::DoNotOptimize(bitmap.get());
  }
}

void EncodeDirect(benchmark::State& state, const std::function<std::string(const direct::Picture&)>& encode) {
  for (auto _ : state) benchmark::DoNotOptimize(encode(Picture()).data());
}

void DecodeDirect(benchmark::State& state, CoreImageFormat format,
                  std::uint8_t (*decode)(const std::string&, int, int)) {
  CoreMemoryOutputStream file;
  CoreCodecRegistry::Get().GetFactory().CreateEncoder(format)->Encode(&Dib(), &file);
  const std::string bytes(reinterpret_cast<const char*>(file.GetData()), file.GetSize());
  for (auto _ : state) benchmark::DoNotOptimize(decode(bytes, kWidth, kHeight));
}

std::string Encoded(CoreImageFormat format, int quality) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  encoder->SetQuality(quality);
  CoreMemoryOutputStream file;
  encoder->Encode(&Dib(), &file);
  return {reinterpret_cast<const char*>(file.GetData()), static_cast<std::size_t>(file.GetSize())};
}

void EncodePeer(benchmark::State& state, peers::Encode (*make)(const direct::Picture&, const std::string&),
                const std::string& format) {
  const peers::Encode encode = make(Picture(), format);
  for (auto _ : state) {
    const std::size_t size = encode();
    if (size == 0) state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(size);
  }
}

void DecodePeer(benchmark::State& state, peers::Decode (*make)(const std::string&, const std::string&),
                CoreImageFormat kind, const std::string& format) {
  const peers::Decode decode = make(Encoded(kind, 0), format);
  for (auto _ : state) {
    if (!decode()) state.SkipWithError("not decoded");
  }
}

void CopyPixels(benchmark::State& state) {
  for (auto _ : state) {
    const direct::Picture copy(kWidth, kHeight);
    std::memcpy(copy.pixels, Dib().GetBuffer(), Dib().GetBufferSize());
    benchmark::DoNotOptimize(copy.pixels);
  }
}

BENCHMARK_CAPTURE(EncodeTovkit, png, kCoreImagePng, 0)->Name("codec/encode_png/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, png, direct::EncodePng)->Name("codec/encode_png/libpng");
BENCHMARK_CAPTURE(DecodeTovkit, png, kCoreImagePng)->Name("codec/decode_png/tovkit");
BENCHMARK_CAPTURE(DecodeDirect, png, kCoreImagePng, direct::DecodePng)->Name("codec/decode_png/libpng");

BENCHMARK_CAPTURE(EncodeTovkit, jpeg, kCoreImageJpeg, 90)->Name("codec/encode_jpeg/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, jpeg, [](const direct::Picture& p) {
  return direct::EncodeJpeg(p, 90);
})->Name("codec/encode_jpeg/libjpeg-turbo");
BENCHMARK_CAPTURE(DecodeTovkit, jpeg, kCoreImageJpeg)->Name("codec/decode_jpeg/tovkit");
BENCHMARK_CAPTURE(DecodeDirect, jpeg, kCoreImageJpeg, direct::DecodeJpeg)
    ->Name("codec/decode_jpeg/libjpeg-turbo");

BENCHMARK_CAPTURE(EncodeTovkit, tiff, kCoreImageTiff, 0)->Name("codec/encode_tiff/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, tiff, direct::EncodeTiff)->Name("codec/encode_tiff/libtiff");
BENCHMARK_CAPTURE(DecodeTovkit, tiff, kCoreImageTiff)->Name("codec/decode_tiff/tovkit");
BENCHMARK_CAPTURE(DecodeDirect, tiff, kCoreImageTiff, direct::DecodeTiff)->Name("codec/decode_tiff/libtiff");

BENCHMARK_CAPTURE(EncodeTovkit, webp, kCoreImageWebp, 80)->Name("codec/encode_webp_lossy/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, webp, [](const direct::Picture& p) {
  return direct::EncodeWebp(p, 80);
})->Name("codec/encode_webp_lossy/libwebp");
BENCHMARK_CAPTURE(EncodeTovkit, webpl, kCoreImageWebp, 0)->Name("codec/encode_webp/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, webpl, [](const direct::Picture& p) {
  return direct::EncodeWebp(p, 0);
})->Name("codec/encode_webp/libwebp");
BENCHMARK_CAPTURE(DecodeTovkit, webp, kCoreImageWebp)->Name("codec/decode_webp/tovkit");
BENCHMARK_CAPTURE(DecodeDirect, webp, kCoreImageWebp, direct::DecodeWebp)->Name("codec/decode_webp/libwebp");

BENCHMARK_CAPTURE(EncodeTovkit, jp2, kCoreImageJpeg2000, 0)->Name("codec/encode_jpeg2000/tovkit");
BENCHMARK_CAPTURE(EncodeDirect, jp2, direct::EncodeJpeg2000)->Name("codec/encode_jpeg2000/openjpeg");
BENCHMARK_CAPTURE(DecodeTovkit, jp2, kCoreImageJpeg2000)->Name("codec/decode_jpeg2000/tovkit");
BENCHMARK_CAPTURE(DecodeDirect, jp2, kCoreImageJpeg2000, direct::DecodeJpeg2000)
    ->Name("codec/decode_jpeg2000/openjpeg");

BENCHMARK_CAPTURE(EncodeTovkit, bmp, kCoreImageBmp, 0)->Name("codec/encode_bmp/tovkit");
BENCHMARK_CAPTURE(DecodeTovkit, bmp, kCoreImageBmp)->Name("codec/decode_bmp/tovkit");
BENCHMARK(CopyPixels)->Name("codec/decode_bmp/memcpy");

struct Peer {
  const char* who;
  peers::Encode (*encode)(const direct::Picture&, const std::string&);
  peers::Decode (*decode)(const std::string&, const std::string&);
};

struct Job {
  const char* name;
  const char* format;
  CoreImageFormat kind;
};

// What a library cannot do with like settings, or not at all, is left out.
bool IsLeftOut(const std::string& who, const std::string& format, bool encodes) {
  if (format != "JPEG2000") return false;
  return who == "qt" || (who == "imagemagick" && encodes);
}

const bool kPeersRegistered = [] {
  constexpr Peer kPeers[] = {{"qt", peers::QtEncoder, peers::QtDecoder},
                             {"imagemagick", peers::ImageMagickEncoder, peers::ImageMagickDecoder},
                             {"pillow", peers::PillowEncoder, peers::PillowDecoder}};
  constexpr Job kJobs[] = {{"png", "PNG", kCoreImagePng},
                           {"jpeg", "JPEG", kCoreImageJpeg},
                           {"tiff", "TIFF", kCoreImageTiff},
                           {"webp_lossy", "WEBP", kCoreImageWebp},
                           {"webp", "WEBP_LOSSLESS", kCoreImageWebp},
                           {"jpeg2000", "JPEG2000", kCoreImageJpeg2000},
                           {"bmp", "BMP", kCoreImageBmp}};
  for (const Job& job : kJobs) {
    const std::string format = job.format;
    for (const Peer& peer : kPeers) {
      const std::string tail = std::string(job.name) + "/" + peer.who;
      if (!IsLeftOut(peer.who, format, true))
        benchmark::RegisterBenchmark(("codec/encode_" + tail).c_str(), EncodePeer, peer.encode, format);
      if (!IsLeftOut(peer.who, format, false) && format != "WEBP")
        benchmark::RegisterBenchmark(("codec/decode_" + tail).c_str(), DecodePeer, peer.decode, job.kind,
                                     format);
    }
  }
  return true;
}();

}  // namespace
