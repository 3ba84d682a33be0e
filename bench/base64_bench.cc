// SPDX-License-Identifier: MIT
// Base64 both ways, in bytes of binary data. TOVKIT_SIMD=scalar|avx2|avx512 forces the instructions.
#include <tovkit/util.h>

#include <Poco/Base64Decoder.h>
#include <Poco/Base64Encoder.h>
#include <benchmark/benchmark.h>
#include <glib.h>

#include <QByteArray>

#include <cstring>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<unsigned char> RandomBytes(std::size_t size) {
  std::mt19937 random(1);
  std::vector<unsigned char> data(size);
  for (auto& byte : data) byte = static_cast<unsigned char>(random());
  return data;
}

void CountBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

void EncodeTovkit(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  for (auto _ : state) {
    const CoreString text = tovkit::Base64Encode(data.data(), static_cast<int>(data.size()));
    benchmark::DoNotOptimize(text.GetData());
  }
  CountBytes(state, size);
}

void EncodeGlib(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  for (auto _ : state) {
    gchar* text = g_base64_encode(data.data(), data.size());
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  CountBytes(state, size);
}

void DecodeTovkit(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  const CoreString text = tovkit::Base64Encode(data.data(), static_cast<int>(data.size()));
  for (auto _ : state) {
    const CoreString bytes = tovkit::Base64Decode(text.GetData(), text.GetLength());
    benchmark::DoNotOptimize(bytes.GetData());
  }
  CountBytes(state, size);
}

void DecodeGlib(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  const CoreString text = tovkit::Base64Encode(data.data(), static_cast<int>(data.size()));
  for (auto _ : state) {
    gsize length = 0;
    guchar* bytes = g_base64_decode(text.GetData(), &length);
    benchmark::DoNotOptimize(bytes);
    g_free(bytes);
  }
  CountBytes(state, size);
}

void EncodeQt(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  const auto bytes =
      QByteArray::fromRawData(reinterpret_cast<const char*>(data.data()), static_cast<int>(size));
  for (auto _ : state) benchmark::DoNotOptimize(bytes.toBase64().constData());
  CountBytes(state, size);
}

void DecodeQt(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  const QByteArray text =
      QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<int>(size)).toBase64();
  for (auto _ : state) benchmark::DoNotOptimize(QByteArray::fromBase64(text).constData());
  CountBytes(state, size);
}

// POCO converts between streams only.
void EncodePoco(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  for (auto _ : state) {
    std::ostringstream text;
    Poco::Base64Encoder encoder(text);
    encoder.rdbuf()->setLineLength(0);
    encoder.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(size));
    encoder.close();
    benchmark::DoNotOptimize(text.str().data());
  }
  CountBytes(state, size);
}

void DecodePoco(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  const CoreString text = tovkit::Base64Encode(data.data(), static_cast<int>(data.size()));
  for (auto _ : state) {
    std::istringstream in(std::string(text.GetData(), static_cast<std::size_t>(text.GetLength())));
    Poco::Base64Decoder decoder(in);
    const std::string bytes(std::istreambuf_iterator<char>(decoder), {});
    benchmark::DoNotOptimize(bytes.data());
  }
  CountBytes(state, size);
}

void Memcpy(benchmark::State& state, std::size_t size) {
  const auto data = RandomBytes(size);
  std::vector<unsigned char> copy(size);
  for (auto _ : state) {
    std::memcpy(copy.data(), data.data(), size);
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, size);
}

struct Size {
  const char* name;
  std::size_t bytes;
};

const bool kRegistered = [] {
  for (const Size& size : {Size{"12B", 12}, Size{"48B", 48}, Size{"64KiB", 65536}, Size{"16MiB", 1 << 24}}) {
    const std::string encode = std::string("base64_encode/") + size.name;
    const std::string decode = std::string("base64_decode/") + size.name;
    benchmark::RegisterBenchmark((encode + "/tovkit").c_str(), EncodeTovkit, size.bytes);
    benchmark::RegisterBenchmark((encode + "/glib").c_str(), EncodeGlib, size.bytes);
    benchmark::RegisterBenchmark((encode + "/qt").c_str(), EncodeQt, size.bytes);
    benchmark::RegisterBenchmark((encode + "/poco").c_str(), EncodePoco, size.bytes);
    benchmark::RegisterBenchmark((encode + "/memcpy").c_str(), Memcpy, size.bytes);
    benchmark::RegisterBenchmark((decode + "/tovkit").c_str(), DecodeTovkit, size.bytes);
    benchmark::RegisterBenchmark((decode + "/glib").c_str(), DecodeGlib, size.bytes);
    benchmark::RegisterBenchmark((decode + "/qt").c_str(), DecodeQt, size.bytes);
    benchmark::RegisterBenchmark((decode + "/poco").c_str(), DecodePoco, size.bytes);
    benchmark::RegisterBenchmark((decode + "/memcpy").c_str(), Memcpy, size.bytes);
  }
  return true;
}();

}  // namespace
