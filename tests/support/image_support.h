// SPDX-License-Identifier: MIT
// Bitmaps with something on them, and the way there and back through a codec.
#pragma once

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace image {

inline constexpr CoreImageFormat kFormats[] = {kCoreImagePng,  kCoreImageJpeg,     kCoreImageTiff,
                                               kCoreImageWebp, kCoreImageJpeg2000, kCoreImageBmp,
                                               kCoreImageGif};

// Those with an encoder.
inline constexpr CoreImageFormat kWritable[] = {kCoreImagePng,  kCoreImageJpeg, kCoreImageTiff,
                                                kCoreImageWebp, kCoreImageBmp,  kCoreImageJpeg2000};

inline std::string Describe(CoreImageFormat format, const CoreDib& dib) {
  return std::string(CoreImageFormatName(format)) + ", " + std::to_string(dib.GetWidth()) + "x" +
         std::to_string(dib.GetHeight()) + " of " + std::to_string(dib.GetBitsPerPixel()) + " bits, " +
         std::to_string(dib.GetPaletteSize()) + " colors";
}

// Names the instances of a test that runs once for each format.
inline std::string FormatTestName(const testing::TestParamInfo<CoreImageFormat>& format) {
  const std::string name = CoreImageFormatName(format.param);
  return name == "JPEG 2000" ? "JPEG2000" : name;
}

// Smooth with a little noise; alpha, if any, runs over all values.
inline CoreDib MakePicture(int width, int height, int bits, unsigned seed = 1) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(width, height, bits));
  unsigned state = seed;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      state = state * 1664525U + 1013904223U;
      const unsigned noise = state >> 29;
      const auto column = static_cast<unsigned>(x);
      const auto line = static_cast<unsigned>(y);
      std::uint8_t* row = dib.GetRow(y);
      if (bits >= 24) {
        std::uint8_t* p = row + static_cast<std::size_t>(x) * static_cast<std::size_t>(bits / 8);
        p[0] = static_cast<std::uint8_t>(column * 5 + noise);
        p[1] = static_cast<std::uint8_t>(line * 7 + noise);
        p[2] = static_cast<std::uint8_t>((column + line) * 3);
        if (bits == 32) p[3] = static_cast<std::uint8_t>(column * 9 + line * 11);
      } else if (bits == 8) {
        row[x] = static_cast<std::uint8_t>(column * 3 + line * 2 + noise);
      } else if (bits == 4) {
        row[x / 2] |= static_cast<std::uint8_t>(((column + line + noise) & 15U) << (x % 2 == 0 ? 4 : 0));
      } else if ((column / 3 + line / 2 + (noise & 1U)) % 2 == 0) {
        row[x / 8] |= static_cast<std::uint8_t>(0x80U >> (x % 8));
      }
    }
  }
  return dib;
}

// A full palette of different colors.
inline void GivePalette(CoreDib& dib, int count) {
  std::uint32_t entries[256];
  for (int i = 0; i < count; ++i)
    entries[i] =
        static_cast<std::uint32_t>((i * 37 + 11) % 256 | ((i * 91 + 5) % 256) << 8 | ((255 - i) << 16));
  ASSERT_TRUE(dib.SetPalette(entries, count));
}

inline std::string Encode(const CoreDib& dib, CoreImageFormat format, int quality = 0) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  CoreMemoryOutputStream out;
  if (encoder == nullptr) return {};
  encoder->SetQuality(quality);
  if (encoder->Encode(&dib, &out) == 0) return {};
  return {reinterpret_cast<const char*>(out.GetData()), out.GetSize()};
}

inline std::unique_ptr<CoreDib> Decode(CoreInputStream& in, int frame = 0, int width = 0, int height = 0,
                                       CoreImageInfo* info = nullptr) {
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
  if (decoder == nullptr || decoder->Open(&in, kCoreOpenReadAhead) == 0) return nullptr;
  if (info != nullptr) *info = decoder->GetInfo();
  return decoder->GetBitmap(frame, width, height);
}

inline std::unique_ptr<CoreDib> Decode(const std::string& bytes, int frame = 0, int width = 0, int height = 0,
                                       CoreImageInfo* info = nullptr) {
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  return Decode(in, frame, width, height, info);
}

// The first pixel where the two differ, or an empty text.
inline std::string Difference(const CoreDib& a, const CoreDib& b, int tolerance = 0) {
  if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
    return std::to_string(a.GetWidth()) + "x" + std::to_string(a.GetHeight()) + " and " +
           std::to_string(b.GetWidth()) + "x" + std::to_string(b.GetHeight());
  for (int y = 0; y < a.GetHeight(); ++y) {
    for (int x = 0; x < a.GetWidth(); ++x) {
      const std::uint32_t p = a.GetArgb(x, y);
      const std::uint32_t q = b.GetArgb(x, y);
      for (unsigned shift = 0; shift < 32; shift += 8) {
        if (std::abs(static_cast<int>(p >> shift & 255U) - static_cast<int>(q >> shift & 255U)) <= tolerance)
          continue;
        char text[80];
        std::snprintf(text, sizeof text, "at (%d, %d): %08x and %08x", x, y, p, q);
        return text;
      }
    }
  }
  return {};
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A stream that delivers its bytes in small pieces and without a view, and fails from byte `limit` on.
class StubbornInput final : public CoreInputStream {
 public:
  StubbornInput(std::string bytes, std::uint64_t limit) : bytes_(std::move(bytes)), limit_(limit) {}
  std::size_t Read(void* to, std::size_t size) override {
    const std::uint64_t end = std::min<std::uint64_t>(limit_, bytes_.size());
    if (position_ >= end) return 0;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, end - position_));
    std::memcpy(to, bytes_.data() + position_, count);
    position_ += count;
    return count;
  }
  bool Seek(std::uint64_t position) override {
    position_ = position;
    return true;
  }
  std::uint64_t GetPosition() const override { return position_; }
  std::uint64_t GetSize() const override { return bytes_.size(); }

 private:
  std::string bytes_;
  std::uint64_t limit_;
  std::uint64_t position_ = 0;
};

// Counts what is read, and how often the position is set.
class CountingInput final : public CoreInputStream {
 public:
  explicit CountingInput(std::string bytes) : bytes_(std::move(bytes)), in_(bytes_.data(), bytes_.size()) {}
  std::size_t Read(void* to, std::size_t size) override {
    const std::size_t count = in_.Read(to, size);
    total_ += count;
    return count;
  }
  bool Seek(std::uint64_t position) override {
    ++seeks_;
    return in_.Seek(position);
  }
  std::uint64_t GetPosition() const override { return in_.GetPosition(); }
  std::uint64_t GetSize() const override { return in_.GetSize(); }
  std::uint64_t Total() const { return total_; }
  int Seeks() const { return seeks_; }

 private:
  std::string bytes_;
  CoreMemoryInputStream in_;
  std::uint64_t total_ = 0;
  int seeks_ = 0;
};

// Takes `limit` bytes and refuses the rest.
class FullOutput final : public CoreOutputStream {
 public:
  explicit FullOutput(std::size_t limit) : left_(limit) {}
  bool Write(const void*, std::size_t size) override {
    if (size > left_) return false;
    left_ -= size;
    return true;
  }

 private:
  std::size_t left_;
};

}  // namespace image
