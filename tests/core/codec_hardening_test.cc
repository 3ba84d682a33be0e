// SPDX-License-Identifier: MIT
// What broken, lying and hostile files do to the decoders: nothing.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

using image::Decode;
using image::Encode;

struct Sample {
  std::string name;
  std::string bytes;
};

// Small files of a format, deep and shallow, and with everything that is optional.
std::vector<Sample> SamplesOf(CoreImageFormat format) {
  std::vector<Sample> samples;
  const auto add = [&](int bits, int colors) {
    CoreDib dib = image::MakePicture(9, 7, bits);
    dib.SetDpi(72, 72);
    if (colors > 0) image::GivePalette(dib, colors);
    samples.push_back({std::string(CoreImageFormatName(format)) + " of " + std::to_string(bits) + " bits, " +
                           std::to_string(colors) + " colors",
                       Encode(dib, format)});
  };
  if (CoreCodecRegistry::Get().GetFactory().CreateEncoder(format) != nullptr) {
    for (const int bits : {1, 24, 32}) add(bits, 0);
    add(4, 13);
  }
  for (const auto& file : std::filesystem::directory_iterator(TOVKIT_SOURCE_DIR "/tests/data/images")) {
    const std::string name = file.path().filename();
    if (CoreImageFormatFromExtension(file.path().extension().c_str()) == format)
      samples.push_back({name, image::ReadFile(file.path())});
  }
  EXPECT_FALSE(samples.empty());
  for (const Sample& sample : samples) EXPECT_FALSE(sample.bytes.empty()) << sample.name;
  return samples;
}

// Keeps the memory that a lie about the size can take small.
class CodecHardening : public testing::Test {
 protected:
  CodecHardening() { CoreCodecRegistry::Get().SetPixelLimit(std::uint64_t{4} << 20); }
  ~CodecHardening() override { CoreCodecRegistry::Get().SetPixelLimit(std::uint64_t{1} << 30); }
};

// The sweeps, one test for each format.
class CodecSweep : public CodecHardening, public testing::WithParamInterface<CoreImageFormat> {
 protected:
  const std::vector<Sample> samples_ = SamplesOf(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Formats, CodecSweep, testing::ValuesIn(image::kFormats), image::FormatTestName);

// Decodes every frame; whatever comes out has pixels that can be looked at.
int CountFrames(CoreInputStream& in) {
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
  if (decoder == nullptr || decoder->Open(&in, kCoreOpenReadAhead) == 0) return 0;
  int decoded = 0;
  for (int i = 0; i < std::min(decoder->GetInfo().frameCount, 20); ++i) {
    const auto frame = decoder->GetBitmap(i, 0, 0);
    if (frame == nullptr) continue;
    ++decoded;
    EXPECT_GT(frame->GetWidth(), 0);
    EXPECT_GT(frame->GetHeight(), 0);
    frame->GetArgb(frame->GetWidth() - 1, frame->GetHeight() - 1);
  }
  return decoded;
}

int CountFrames(const std::string& bytes) {
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  return CountFrames(in);
}

TEST_P(CodecSweep, SamplesAreWhole) {
  for (const Sample& sample : samples_) EXPECT_GT(CountFrames(sample.bytes), 0) << sample.name;
}

// Null, or the whole picture where only notes that follow the pixels (the resolution in a TIFF) are lost.
std::string Mismatch(const Sample& sample, const CoreDib* cut) {
  if (cut == nullptr) return {};
  const std::string difference = image::Difference(*Decode(sample.bytes), *cut);
  return difference.empty() && sample.name.find("TIFF") == 0 ? "" : "decoded: " + difference;
}

TEST_P(CodecSweep, AFileCutAnywhereGivesNull) {
  for (const Sample& sample : samples_) {
    for (std::size_t size = 0; size < sample.bytes.size(); ++size) {
      const std::string cut = sample.bytes.substr(0, size);
      EXPECT_EQ(Mismatch(sample, Decode(cut).get()), "")
          << sample.name << ", " << size << " of " << sample.bytes.size() << " bytes";
    }
  }
}

TEST_P(CodecSweep, AStreamThatEndsMidwayGivesNull) {
  for (const Sample& sample : samples_) {
    for (std::size_t size = 0; size < sample.bytes.size(); ++size) {
      image::StubbornInput in(sample.bytes, size);
      EXPECT_EQ(Mismatch(sample, Decode(in).get()), "")
          << sample.name << ", " << size << " of " << sample.bytes.size() << " bytes";
    }
    image::StubbornInput in(sample.bytes, sample.bytes.size());
    EXPECT_NE(Decode(in), nullptr) << sample.name;
  }
}

// Fails once, in operation number `first`, counted from 1, or from that one on.
class FaultyInput final : public CoreInputStream {
 public:
  FaultyInput(const std::string& bytes, long first, bool once)
      : in_(bytes, bytes.size()), first_(first), once_(once) {}
  std::size_t Read(void* to, std::size_t size) override { return Fails() ? 0 : in_.Read(to, size); }
  bool Seek(std::uint64_t position) override { return !Fails() && in_.Seek(position); }
  std::uint64_t GetPosition() const override { return in_.GetPosition(); }
  std::uint64_t GetSize() const override { return in_.GetSize(); }
  bool HasFailed() const { return seen_ >= first_; }

 private:
  bool Fails() {
    ++seen_;
    return once_ ? seen_ == first_ : seen_ >= first_;
  }

  image::StubbornInput in_;
  long first_;
  bool once_;
  long seen_ = 0;
};

TEST_P(CodecSweep, AStreamThatFailsAnywhereGivesNullOrThePicture) {
  for (const Sample& sample : samples_) {
    const auto whole = Decode(sample.bytes);
    ASSERT_NE(whole, nullptr) << sample.name;
    for (const bool once : {false, true}) {
      bool failed = true;
      for (long n = 1; failed; ++n) {
        FaultyInput in(sample.bytes, n, once);
        const auto bitmap = Decode(in);
        failed = in.HasFailed();
        if (bitmap == nullptr) {
          EXPECT_TRUE(failed) << sample.name;
        } else {
          EXPECT_EQ(image::Difference(*bitmap, *whole), "") << sample.name << ", operation " << n << once;
        }
      }
    }
  }
}

// What a limit lets through, any larger one lets through too.
TEST_P(CodecSweep, ThePixelLimitIsAThreshold) {
  for (const Sample& sample : samples_) {
    const auto whole = Decode(sample.bytes);
    ASSERT_NE(whole, nullptr) << sample.name;
    bool fitted = false;
    for (std::uint64_t limit = 1; limit < std::uint64_t{4} << 20; limit += 1 + limit / 16) {
      CoreCodecRegistry::Get().SetPixelLimit(limit);
      const auto bitmap = Decode(sample.bytes);
      EXPECT_TRUE(bitmap != nullptr || !fitted) << sample.name << ", limit " << limit;
      if (bitmap == nullptr) continue;
      fitted = true;
      EXPECT_GE(limit, whole->GetBufferSize()) << sample.name;
      EXPECT_EQ(image::Difference(*bitmap, *whole), "") << sample.name << ", limit " << limit;
    }
    EXPECT_TRUE(fitted) << sample.name;
    CoreCodecRegistry::Get().SetPixelLimit(std::uint64_t{4} << 20);
  }
}

// The decoder that may not read ahead leaves the stream where it was, or fails.
TEST_P(CodecSweep, AStreamThatCannotGoBackGivesNull) {
  for (const Sample& sample : samples_) {
    bool failed = true;
    for (long n = 1; failed; ++n) {
      FaultyInput in(sample.bytes, n, true);
      const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(GetParam());
      const bool opened = decoder->Open(&in, 0) != 0;
      if (opened) {
        EXPECT_EQ(in.GetPosition(), 0u) << sample.name << ", operation " << n;
      }
      const auto bitmap = decoder->GetBitmap(0, decoder->GetInfo().width, decoder->GetInfo().height);
      if (bitmap != nullptr) {
        EXPECT_EQ(in.GetPosition(), 0u) << sample.name << ", operation " << n;
      }
      failed = in.HasFailed();
      EXPECT_TRUE(failed || bitmap != nullptr) << sample.name;
    }
  }
}

TEST_P(CodecSweep, ALimitThatIsLoweredAfterOpeningHoldsForTheBitmap) {
  for (const Sample& sample : samples_) {
    CoreMemoryInputStream in(sample.bytes.data(), sample.bytes.size());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(GetParam());
    ASSERT_NE(decoder->Open(&in, kCoreOpenReadAhead), 0u) << sample.name;
    CoreCodecRegistry::Get().SetPixelLimit(16);
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr) << sample.name;
    CoreCodecRegistry::Get().SetPixelLimit(std::uint64_t{4} << 20);
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr) << sample.name;
  }
}

TEST_P(CodecSweep, AFlippedBitIsHarmless) {
  for (const Sample& sample : samples_) {
    std::string bytes = sample.bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        bytes[i] = static_cast<char>(bytes[i] ^ (1U << bit));
        CountFrames(bytes);
        bytes[i] = static_cast<char>(bytes[i] ^ (1U << bit));
      }
    }
  }
}

TEST_P(CodecSweep, EveryByteAtItsLimitsIsHarmless) {
  for (const Sample& sample : samples_) {
    for (std::size_t i = 0; i + 4 <= sample.bytes.size(); ++i) {
      for (const char* four :
           {"\0\0\0\0", "\xff\xff\xff\xff", "\x7f\xff\xff\xff", "\xff\xff\xff\x7f", "\x80\0\0\0"}) {
        std::string bytes = sample.bytes;
        bytes.replace(i, 4, four, 4);
        CountFrames(bytes);
      }
    }
  }
}

// Where each format keeps its width and height, and in which form.
TEST_F(CodecHardening, SizesOfZeroAndOfTwoToThe31Minus1GiveNull) {
  const struct {
    CoreImageFormat format;
    std::size_t width, height;
    int bytes;
    bool bigEndian;
  } cases[] = {{kCoreImagePng, 16, 20, 4, true}, {kCoreImageBmp, 18, 22, 4, false}};
  const std::uint32_t sizes[] = {0, 0x7fffffff, 0x80000000, 0xffffffff};
  for (const auto& c : cases) {
    for (const std::uint32_t size : sizes) {
      for (const std::size_t at : {c.width, c.height}) {
        std::string bytes = Encode(image::MakePicture(9, 7, 24), c.format);
        for (unsigned i = 0; i < 4; ++i)
          bytes[at + i] = static_cast<char>(size >> (c.bigEndian ? 24 - 8 * i : 8 * i));
        const bool topDown = c.format == kCoreImageBmp && at == c.height && size == 0xffffffff;  // one row
        EXPECT_EQ(CountFrames(bytes), topDown ? 1 : 0)
            << CoreImageFormatName(c.format) << " " << size << " at " << at;
      }
    }
  }
  std::string gif = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/interlaced.gif");
  for (const std::size_t at : {std::size_t{6}, std::size_t{8}}) {
    std::string bytes = gif;
    bytes[at] = bytes[at + 1] = 0;
    EXPECT_EQ(CountFrames(bytes), 0) << "GIF with a side of 0";
  }
  std::string tiff = Encode(image::MakePicture(9, 7, 24), kCoreImageTiff);
  const auto get = [&](std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i)
      value = value << 8 | static_cast<unsigned char>(tiff[at + static_cast<std::size_t>(i)]);
    return value;
  };
  const std::size_t directory = get(4, 4);
  for (std::size_t i = 0; i < get(directory, 2); ++i) {
    const std::size_t entry = directory + 2 + 12 * i;
    if (get(entry, 2) != 256 && get(entry, 2) != 257) continue;
    for (const std::uint32_t size : sizes) {
      std::string bytes = tiff;
      bytes[entry + 2] = 4;  // a 32-bit number
      for (unsigned k = 0; k < 4; ++k) bytes[entry + 8 + k] = static_cast<char>(size >> (8 * k));
      EXPECT_EQ(CountFrames(bytes), 0) << "TIFF " << size << " in tag " << get(entry, 2);
    }
  }
}

// A small TIFF whose entries of the given tags are replaced by `entries`: a type, a count and a value, 10
// bytes.
std::string TiffWithEntries(const std::map<std::size_t, std::string>& entries) {
  std::string bytes = Encode(image::MakePicture(9, 7, 8), kCoreImageTiff);
  const auto at = [&](std::size_t i) {
    return static_cast<std::size_t>(static_cast<unsigned char>(bytes[i]));
  };
  const std::size_t directory = at(4) | at(5) << 8;
  for (std::size_t i = 0; i < at(directory); ++i) {
    const std::size_t entry = directory + 2 + 12 * i;
    const auto found = entries.find(at(entry) | at(entry + 1) << 8);
    if (found != entries.end()) bytes.replace(entry + 2, 10, found->second);
  }
  return bytes;
}

constexpr std::size_t kTiffWidth = 256;
constexpr std::size_t kTiffBits = 258;
constexpr std::size_t kTiffSamples = 277;
constexpr std::size_t kTiffPredictor = 317;

TEST_F(CodecHardening, ATiffWhosePixelsClaimThousandsOfSamplesIsRefusedBeforeItsRowsAreMade) {
  EXPECT_EQ(
      CountFrames(TiffWithEntries({{kTiffWidth, std::string("\4\0\1\0\0\0\x20\xa1\7\0", 10)},    // 500,000
                                   {kTiffSamples, std::string("\3\0\1\0\0\0\x60\xea\0\0", 10)},  // 60,000
                                   {kTiffPredictor, std::string("\3\0\1\0\0\0\1\0\0\0", 10)}})),
      0);
}

// 182 bytes of a fax with 1,601 samples to a pixel: 8 by 25,094 pixels, whose 321 million samples took
// seconds.
TEST_F(CodecHardening, ATiffOfFewBytesAndManySamplesIsRefusedBeforeTheyAreUnpacked) {
  const std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/many_samples.tif");
  ASSERT_EQ(file.size(), 182u);
  CoreMemoryInputStream in(file.data(), file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageTiff);
  ASSERT_NE(decoder->Open(&in, kCoreOpenReadAhead), 0);
  EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit);
}

TEST_F(CodecHardening, ATiffWhosePixelsHaveMoreBitsThanAnIntCountsIsHarmless) {
  const std::string bytes =
      TiffWithEntries({{kTiffBits, std::string("\3\0\1\0\0\0\x50\xe0\0\0", 10)},     // 57,424
                       {kTiffSamples, std::string("\3\0\1\0\0\0\xf7\xff\0\0", 10)},  // 65,527
                       {kTiffPredictor, std::string("\3\0\1\0\0\0\1\0\0\0", 10)}});
  EXPECT_EQ(CountFrames(bytes), 0);
  CoreMemoryInputStream stream(bytes.data(), bytes.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageTiff);
  if (decoder->Open(&stream, kCoreOpenReadAhead) != 0) {
    EXPECT_EQ(decoder->GetInfo().fileBitsPerPixel, INT_MAX);
  }
}

TEST_F(CodecHardening, AJpegWithoutEndOfScansIsBounded) {
  // A progressive file whose last scan is repeated many times over.
  const std::string bytes = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/progressive.jpg");
  ASSERT_GT(CountFrames(bytes), 0);
  const std::size_t scan = bytes.rfind("\xff\xda");
  const std::string last = bytes.substr(scan, bytes.size() - 2 - scan);
  std::string many = bytes.substr(0, bytes.size() - 2);
  for (int i = 0; i < 2000; ++i) many += last;
  EXPECT_EQ(CountFrames(many + "\xff\xd9"), 0);
}

TEST_F(CodecHardening, APngWhoseTextUnpacksToGigabytesIsReadWithoutIt) {
  // Chunks that no one asked for are passed over: this one is not even compressed data.
  std::string bytes = Encode(image::MakePicture(5, 5, 24), kCoreImagePng);
  const std::string chunk("\0\0\0\4zTXtabcd\x12\x34\x56\x78", 16);
  bytes.insert(33, chunk);
  EXPECT_EQ(CountFrames(bytes), 1);
}

std::string BigEndian(std::size_t value) {
  std::string bytes;
  for (unsigned shift = 32; shift != 0;) bytes += static_cast<char>(value >> (shift -= 8) & 255U);
  return bytes;
}

std::string PngChunk(const std::string& typeAndData) {
  std::uint32_t crc = UINT32_MAX;
  for (const char c : typeAndData) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xedb88320U : crc >> 1;
  }
  return BigEndian(typeAndData.size() - 4) + typeAndData + BigEndian(crc ^ UINT32_MAX);
}

// A row of black pixels, 16 bits for each of red, green, blue and alpha.
std::string DeepPngRow(std::size_t width) {
  const std::size_t size = 1 + 8 * width;  // the filter, and the pixels
  std::string data("\x78\x01", 2);
  std::uint32_t sum = 1;  // of zeros: the first half of the checksum stays 1, the second counts the bytes
  for (std::size_t at = 0; at < size; at += 65535) {
    const std::size_t count = std::min<std::size_t>(65535, size - at);
    data += {static_cast<char>(at + count == size), static_cast<char>(count), static_cast<char>(count >> 8),
             static_cast<char>(~count), static_cast<char>(~count >> 8)};
    data += std::string(count, '\0');
  }
  sum |= static_cast<std::uint32_t>(size % 65521) << 16;
  return "\x89PNG\r\n\x1a\n" +
         PngChunk("IHDR" + BigEndian(width) + BigEndian(1) + std::string("\x10\6\0\0\0", 5)) +
         PngChunk("IDAT" + data + BigEndian(sum)) + PngChunk("IEND");
}

// The bitmap of 32 bits would just fit the limit, the library's two rows of 64 bits do not.
TEST_F(CodecHardening, APngWhoseRowsOutweighItsBitmapIsRefusedBeforeTheyAreMade) {
  EXPECT_EQ(CountFrames(DeepPngRow(1000)), 1);
  EXPECT_EQ(CountFrames(DeepPngRow((std::size_t{4} << 20) / 16)), 1) << "two rows as large as the limit";
  EXPECT_EQ(CountFrames(DeepPngRow((std::size_t{4} << 20) / 16 + 1)), 0);
  EXPECT_EQ(CountFrames(DeepPngRow((std::size_t{4} << 20) / 4)), 0) << "a bitmap as large as the limit";
}

TEST_F(CodecHardening, AJpeg2000OfManyTilesIsRefusedBeforeTheyAreMade) {
  std::string bytes = Encode(image::MakePicture(9, 7, 24), kCoreImageJpeg2000);
  const std::size_t size = bytes.find("\xff\x4f\xff\x51");
  ASSERT_NE(size, std::string::npos);
  // A canvas of 65,535 by 1 in tiles of 1 by 1.
  const std::string canvas("\0\0\xff\xff\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\1", 24);
  bytes.replace(size + 8, canvas.size(), canvas);
  EXPECT_EQ(CountFrames(bytes), 0);
}

TEST_F(CodecHardening, AJpeg2000OfManyTilesOfManyComponentsIsRefusedBeforeTheyAreMade) {
  // 4,000 tiles of 16,384 components each, of which the library would keep records by the gigabyte.
  std::string bytes("\xff\x4f\xff\x51\xc0\x26\0\0\0\0\x0f\xa0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\1", 32);
  bytes += std::string(8, '\0') + std::string("\x40\0", 2);
  for (int i = 0; i < 16384; ++i) bytes += std::string("\7\1\1", 3);
  bytes += std::string(60000, '\0');
  EXPECT_EQ(CountFrames(bytes), 0);
}

TEST_F(CodecHardening, ABmpWithAShortPaletteReadsWhatIsThere) {
  CoreDib dib = image::MakePicture(6, 6, 8);
  image::GivePalette(dib, 256);
  std::string bytes = Encode(dib, kCoreImageBmp);
  bytes[46] = 3, bytes[47] = 0;        // colors used
  bytes.erase(54 + 12, 253 * 4);       // their bytes
  bytes[10] = 54 + 12, bytes[11] = 0;  // where the pixels begin
  const auto back = Decode(bytes);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetPaletteSize(), 3);
}

}  // namespace
