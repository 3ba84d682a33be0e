// SPDX-License-Identifier: MIT
// Why a decoder fails: each kind of failure in each format.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <string>

namespace {

std::unique_ptr<CoreImageDecoder> DecoderOf(CoreImageFormat format) {
  return CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
}

struct Failure {
  CoreDecodeFailure kind;
  std::string feature;
  bool operator==(const Failure& other) const { return kind == other.kind && feature == other.feature; }
};

void PrintTo(const Failure& failure, std::ostream* out) {
  *out << CoreDecodeFailureName(failure.kind) << " '" << failure.feature << "'";
}

Failure FailureOf(const CoreImageDecoder& decoder) {
  return {CoreGetDecodeFailure(&decoder), CoreGetUnsupportedFeature(&decoder)};
}

// Of opening the bytes and decoding their first frame.
Failure FailureOf(CoreImageFormat format, const std::string& bytes) {
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  const auto decoder = DecoderOf(format);
  if (decoder->Open(&in, kCoreOpenReadAhead) != 0) {
    const auto bitmap = decoder->GetBitmap(0, 0, 0);
    EXPECT_EQ(bitmap == nullptr, CoreGetDecodeFailure(decoder.get()) != kCoreDecodeNoFailure);
  } else {
    EXPECT_NE(CoreGetDecodeFailure(decoder.get()), kCoreDecodeNoFailure);
  }
  return FailureOf(*decoder);
}

const Failure kNone{kCoreDecodeNoFailure, ""};
const Failure kNotThisFormat{kCoreDecodeNotThisFormat, ""};
const Failure kBroken{kCoreDecodeBroken, ""};
const Failure kOverLimit{kCoreDecodeOverLimit, ""};
const Failure kNotThere{kCoreDecodeNotThere, ""};
Failure Unsupported(const std::string& feature) { return {kCoreDecodeUnsupported, feature}; }

std::string SampleOf(CoreImageFormat format) {
  if (format == kCoreImageGif) return image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  return image::Encode(image::MakePicture(40, 30, 24), format);
}

class DecodeFailures : public testing::TestWithParam<CoreImageFormat> {};
INSTANTIATE_TEST_SUITE_P(Formats, DecodeFailures, testing::ValuesIn(image::kFormats), image::FormatTestName);

TEST_P(DecodeFailures, OtherContentIsNotThisFormat) {
  for (const CoreImageFormat other : image::kFormats)
    EXPECT_EQ(FailureOf(GetParam(), SampleOf(other)), other == GetParam() ? kNone : kNotThisFormat)
        << CoreImageFormatName(other);
  for (const char* text : {"", "B", "some text that is no picture at all, however long it goes on"})
    EXPECT_EQ(FailureOf(GetParam(), text), kNotThisFormat) << text;
}

TEST_P(DecodeFailures, ACutFileIsBroken) {
  const std::string whole = SampleOf(GetParam());
  for (const std::size_t size : {std::size_t{20}, whole.size() / 2, whole.size() - 30}) {
    const Failure failure = FailureOf(GetParam(), whole.substr(0, size));
    EXPECT_EQ(failure, kBroken) << size;
  }
}

// Whatever the libraries have to say about a file, they say nothing to the user of the program.
TEST_P(DecodeFailures, NothingIsPrinted) {
  const std::string whole = SampleOf(GetParam());
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (std::size_t size = 0; size < whole.size(); size += 1 + size / 40)
    FailureOf(GetParam(), whole.substr(0, size));
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string bytes = whole;
    bytes[i] = static_cast<char>(bytes[i] ^ 0x55);
    FailureOf(GetParam(), bytes);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_P(DecodeFailures, APictureMayBeBeyondTheLimitWhenItIsOpenedDecodedAndScaled) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const std::string bytes = SampleOf(GetParam());
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  const auto decoder = DecoderOf(GetParam());
  registry.SetPixelLimit(100);
  EXPECT_EQ(decoder->Open(&in, 0), 0u);
  EXPECT_EQ(FailureOf(*decoder), kOverLimit);
  registry.SetPixelLimit(usual);
  ASSERT_EQ(decoder->Open(&in, 0), 1u);
  EXPECT_EQ(FailureOf(*decoder), kNone);
  registry.SetPixelLimit(100);
  EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  EXPECT_EQ(FailureOf(*decoder), kOverLimit);
  registry.SetPixelLimit(usual);
  for (const int side : {100000, INT_MAX}) {
    EXPECT_EQ(decoder->GetBitmap(0, side, side), nullptr);
    EXPECT_EQ(FailureOf(*decoder), kOverLimit) << side;
  }
  EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
  EXPECT_EQ(FailureOf(*decoder), kNone) << "a success takes the old failure away";
}

TEST(DecodeFailure, APictureOfASingleLineMayBeBeyondTheLimit) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const int sides[][2] = {{2000, 1}, {1, 2000}};
  for (const auto& side : sides) {
    for (const CoreImageFormat format : image::kWritable) {
      const std::string file = image::Encode(image::MakePicture(side[0], side[1], 24), format);
      CoreMemoryInputStream in(file.data(), file.size());
      const auto decoder = registry.GetFactory().CreateDecoder(format);
      ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u) << CoreImageFormatName(format);
      registry.SetPixelLimit(3000);
      EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
      EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit) << CoreImageFormatName(format);
      registry.SetPixelLimit(usual);
      EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr) << CoreImageFormatName(format);
    }
  }
}

TEST_P(DecodeFailures, WhatIsNotThereIsNoFaultOfTheFile) {
  const std::string bytes = SampleOf(GetParam());
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  const auto decoder = DecoderOf(GetParam());
  EXPECT_EQ(FailureOf(*decoder), kNone) << "before the first call";
  EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  EXPECT_EQ(FailureOf(*decoder), kNotThere) << "not open";
  EXPECT_EQ(decoder->Open(nullptr, 0), 0u);
  EXPECT_EQ(FailureOf(*decoder), kNotThere) << "no stream";
  ASSERT_EQ(decoder->Open(&in, 0), 1u);
  const int frames = decoder->GetInfo().frameCount;
  const struct {
    int frame, width, height;
  } calls[] = {{-1, 0, 0}, {frames, 0, 0}, {INT_MAX, 0, 0}, {0, -1, 0}, {0, 0, -1}};
  for (const auto& call : calls) {
    EXPECT_EQ(decoder->GetBitmap(call.frame, call.width, call.height), nullptr);
    EXPECT_EQ(FailureOf(*decoder), kNotThere) << call.frame << ", " << call.width << " x " << call.height;
  }
}

TEST(DecodeFailure, ADecoderThatIsNoneOrSomebodyElsesTellsNothing) {
  class Foreign final : public CoreImageDecoder {
    bool ReadInfo(CoreInputStream&, CoreImageInfo&) override { return false; }
    bool ReadFrame(CoreInputStream&, int, CoreDib&) override { return false; }
  } foreign;
  CoreMemoryInputStream in("GIF89a", 6);
  EXPECT_EQ(foreign.Open(&in, 0), 0u);
  EXPECT_EQ(FailureOf(foreign), kNone);
  EXPECT_EQ(CoreGetDecodeFailure(nullptr), kCoreDecodeNoFailure);
  EXPECT_STREQ(CoreGetUnsupportedFeature(nullptr), "");
}

TEST(DecodeFailure, EachHasAName) {
  const char* names[] = {"no failure",     "not this format", "broken", "unsupported",
                         "over the limit", "not there",       "unknown"};
  for (std::uint32_t i = 0; i < 7; ++i)
    EXPECT_STREQ(CoreDecodeFailureName(static_cast<CoreDecodeFailure>(i)), names[i]);
}

// A head of Windows of 2 by 2 pixels.
std::string Bmp(char bits, char packing, char headSize = 40) {
  std::string bytes("BM\0\0\0\0\0\0\0\0\0\0\0\0", 14);
  std::string head(64, '\0');
  head[0] = headSize, head[4] = 2, head[8] = 2, head[12] = 1, head[14] = bits, head[16] = packing;
  head.resize(static_cast<std::size_t>(headSize));
  return bytes + head + std::string(2000, '\0');
}

TEST(DecodeFailure, FormsOfBmpThatAreNotReadAreNamed) {
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(24, 0)), kNone);
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(0, 4)), Unsupported("JPEG inside BMP"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(0, 5)), Unsupported("PNG inside BMP"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(1, 3, 64)), Unsupported("BMP packed as fax"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(24, 11)), Unsupported("BMP of packing 11"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(48, 0)), Unsupported("BMP of 48 bits a pixel"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(24, 0, 14)), Unsupported("BMP with a head of 14 bytes"));
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(24, 1)), kBroken) << "runs of 8 bits are no runs of 24";
  EXPECT_EQ(FailureOf(kCoreImageBmp, Bmp(8, 2)), kBroken);
}

TEST(DecodeFailure, AFeatureIsForgottenWithItsFile) {
  const std::string unsupported = Bmp(48, 0), broken = Bmp(24, 1);
  CoreMemoryInputStream first(unsupported.data(), unsupported.size()), second(broken.data(), broken.size());
  const auto decoder = DecoderOf(kCoreImageBmp);
  EXPECT_EQ(decoder->Open(&first, 0), 0u);
  EXPECT_EQ(FailureOf(*decoder), Unsupported("BMP of 48 bits a pixel"));
  EXPECT_EQ(decoder->Open(&second, 0), 0u);
  EXPECT_EQ(FailureOf(*decoder), kBroken);
}

// The start-of-frame segment of a JPEG, changed.
std::string JpegWith(std::size_t at, char value) {
  std::string bytes = image::Encode(image::MakePicture(40, 30, 24), kCoreImageJpeg);
  const std::size_t frame = bytes.find("\xff\xc0");
  EXPECT_NE(frame, std::string::npos);
  bytes[frame + at] = value;
  return bytes;
}

TEST(DecodeFailure, FormsOfJpegThatAreNotReadAreNamed) {
  EXPECT_EQ(FailureOf(kCoreImageJpeg, JpegWith(4, 12)), Unsupported("12-bit JPEG samples"));
  EXPECT_EQ(FailureOf(kCoreImageJpeg, JpegWith(1, '\xc3')), Unsupported("lossless or hierarchical JPEG"));
  EXPECT_EQ(FailureOf(kCoreImageJpeg, JpegWith(1, '\xc5')), Unsupported("lossless or hierarchical JPEG"));
  std::string two = image::Encode(image::MakePicture(40, 30, 24), kCoreImageJpeg);
  const std::size_t frame = two.find("\xff\xc0");
  two[frame + 3] = 14, two[frame + 9] = 2;
  two.erase(frame + 16, 3);
  const std::size_t scan = two.find("\xff\xda");
  two[scan + 3] = 10, two[scan + 4] = 2;
  two.erase(scan + 9, 2);
  EXPECT_EQ(FailureOf(kCoreImageJpeg, two), Unsupported("JPEG of 2 components"));
  std::string eleven = image::Encode(image::MakePicture(40, 30, 24), kCoreImageJpeg);
  eleven[frame + 3] = 17 + 8 * 3, eleven[frame + 9] = 11;
  for (char id = 4; id <= 11; ++id) eleven.insert(frame + 19, std::string({id, 0x11, 0}));
  EXPECT_EQ(FailureOf(kCoreImageJpeg, eleven), Unsupported("JPEG of 11 components"));
}

TEST(DecodeFailure, AJpegOfMorePixelsASideThanTheLibraryTakesIsOverTheLimit) {
  const std::size_t frame = JpegWith(0, '\xff').find("\xff\xc0");
  for (const std::size_t side : {5U, 7U}) {
    std::string bytes = JpegWith(side, '\xff');
    bytes[frame + side + 1] = '\xff';
    EXPECT_EQ(FailureOf(kCoreImageJpeg, bytes), kOverLimit) << side;
  }
}

TEST(DecodeFailure, AJpegOfTooManyScansIsOverTheLimit) {
  std::string bytes = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/progressive.jpg");
  const std::size_t scan = bytes.rfind("\xff\xda");
  const std::string last = bytes.substr(scan, bytes.size() - 2 - scan);
  bytes.resize(bytes.size() - 2);
  for (int i = 0; i < 2000; ++i) bytes += last;
  EXPECT_EQ(FailureOf(kCoreImageJpeg, bytes + "\xff\xd9"), kOverLimit);
}

// Sides of 0 are no matter of the limit.
TEST(DecodeFailure, AGifWithoutWidthOrHeightIsBroken) {
  for (const std::size_t side : {6U, 8U}) {
    std::string bytes = SampleOf(kCoreImageGif);
    bytes[side] = bytes[side + 1] = '\0';
    EXPECT_EQ(FailureOf(kCoreImageGif, bytes), kBroken) << side;
  }
}

// A TIFF of 40 by 30 pixels whose 16-bit tag has another value.
std::string TiffWith(unsigned tag, unsigned value) {
  std::string bytes = image::Encode(image::MakePicture(40, 30, 8), kCoreImageTiff);
  const auto at = [&](std::size_t i) { return static_cast<unsigned>(static_cast<unsigned char>(bytes[i])); };
  const std::size_t directory = at(4) | at(5) << 8;
  for (std::size_t i = 0; i < at(directory); ++i) {
    const std::size_t entry = directory + 2 + 12 * i;
    if ((at(entry) | at(entry + 1) << 8) != tag) continue;
    bytes[entry + 8] = static_cast<char>(value & 255U), bytes[entry + 9] = static_cast<char>(value >> 8);
    return bytes;
  }
  ADD_FAILURE() << "no tag " << tag;
  return bytes;
}

// One gray pixel of one sample of `bits`, of a format that is the number of its tag.
std::string TiffOfSamples(unsigned bits, unsigned format, unsigned compression = 1) {
  const unsigned tags[][2] = {{256, 1},   {257, 1}, {258, bits}, {259, compression},    {262, 1},
                              {273, 200}, {277, 1}, {278, 1},    {279, (bits + 7) / 8}, {339, format}};
  std::string bytes("II*\0\10\0\0\0", 8);
  const auto put = [&bytes](unsigned value) {
    bytes += static_cast<char>(value & 255U);
    bytes += static_cast<char>(value >> 8);
  };
  put(std::size(tags));
  for (const auto& [tag, value] : tags) {
    for (const unsigned field : {tag, 3U, 1U, 0U, value, 0U}) put(field);
  }
  bytes.resize(208);
  return bytes;
}

TEST(DecodeFailure, FormsOfTiffThatAreNotReadAreNamed) {
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffWith(259, 60000)), Unsupported("TIFF compression 60000"));
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffWith(262, 1234)),
            Unsupported("TIFF with 1 samples of 8 bits, photometric interpretation 1234"));
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffWith(258, 48)),
            Unsupported("TIFF with 1 samples of 48 bits, photometric interpretation 1"));
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffOfSamples(32, 2)),
            Unsupported("TIFF with 1 signed samples of 32 bits, photometric interpretation 1"));
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffOfSamples(12, 3)),
            Unsupported("TIFF with 1 floating-point samples of 12 bits, photometric interpretation 1"));
  constexpr unsigned kJpeg = 7;
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffOfSamples(12, 1, kJpeg)), Unsupported("12-bit JPEG inside TIFF"));
  EXPECT_EQ(FailureOf(kCoreImageTiff, TiffOfSamples(8, 1, kJpeg)), kBroken) << "there is no JPEG in it";
  for (const unsigned complex : {5U, 6U}) {
    EXPECT_EQ(FailureOf(kCoreImageTiff, TiffOfSamples(64, complex)),
              Unsupported("TIFF with 1 complex samples of 64 bits, photometric interpretation 1"));
  }
}

TEST(DecodeFailure, WhatTiffRefusesToAllocateIsOverTheLimit) {
  // Bits that the strips do not have: the library wants a strip of gigabytes.
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  registry.SetPixelLimit(std::uint64_t{4} << 20);
  std::string bytes = image::Encode(image::MakePicture(3000, 1000, 8), kCoreImageTiff);
  EXPECT_EQ(FailureOf(kCoreImageTiff, bytes), kNone);
  registry.SetPixelLimit(2'900'000);
  EXPECT_EQ(FailureOf(kCoreImageTiff, bytes), kOverLimit);
  registry.SetPixelLimit(usual);
}

TEST(DecodeFailure, AJpeg2000OfMoreTilesThanTheLimitHoldsIsOverItAndOneOfMoreThanTheFileHoldsIsBroken) {
  std::string bytes = SampleOf(kCoreImageJpeg2000);
  const std::size_t size = bytes.find("\xff\x4f\xff\x51");
  ASSERT_NE(size, std::string::npos);
  // 65,535 by 65,535 pixels in tiles of 1 by 1.
  const std::string canvas("\0\0\xff\xff\0\0\xff\xff\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\1", 24);
  bytes.replace(size + 8, canvas.size(), canvas);
  EXPECT_EQ(FailureOf(kCoreImageJpeg2000, bytes), kBroken);
  const std::string row("\0\0\x40\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\1", 24);
  bytes.replace(size + 8, row.size(), row);
  bytes += std::string(0x4000 * 14, '\0');
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  registry.SetPixelLimit(std::uint64_t{4} << 20);
  EXPECT_EQ(FailureOf(kCoreImageJpeg2000, bytes), kOverLimit);
  registry.SetPixelLimit(usual);
}

}  // namespace
