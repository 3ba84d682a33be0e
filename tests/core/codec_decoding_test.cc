// SPDX-License-Identifier: MIT
// What all decoders have in common: where they read, what they refuse, scaling and the pixel limit.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using image::Decode;
using image::Difference;
using image::Encode;
using image::kWritable;
using image::MakePicture;

TEST(CodecDecoding, AnImageIsReadFromWhereTheStreamStands) {
  for (const CoreImageFormat format : kWritable) {
    const CoreDib dib = MakePicture(33, 12, 24);
    const std::string bytes = "seventeen bytes.." + Encode(dib, format) + "and a tail";
    image::StubbornInput in(bytes, UINT64_MAX);
    in.Seek(17);
    const auto back = Decode(in);
    ASSERT_NE(back, nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Difference(dib, *back, format == kCoreImageJpeg ? 40 : 0), "") << CoreImageFormatName(format);
  }
}

TEST(CodecDecoding, WithoutTheFlagTheStreamStaysWhereItWas) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = "..." + Encode(MakePicture(33, 12, 24), format);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    in.Seek(3);
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    ASSERT_EQ(decoder->Open(&in, 0), 1u) << CoreImageFormatName(format);
    EXPECT_EQ(in.GetPosition(), 3u) << CoreImageFormatName(format);
    in.Seek(1);
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
    EXPECT_EQ(in.GetPosition(), 1u) << CoreImageFormatName(format);
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr) << "a second time";
  }
}

TEST(CodecDecoding, ADecoderRefusesOtherFormatsAndWhatIsNotThere) {
  const std::string bmp = Encode(MakePicture(3, 3, 24), kCoreImageBmp);
  for (std::uint32_t format = kCoreImagePng; format <= kCoreImageGif; ++format) {
    const auto decoder =
        CoreCodecRegistry::Get().GetFactory().CreateDecoder(static_cast<CoreImageFormat>(format));
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr) << "not open";
    EXPECT_EQ(decoder->Open(nullptr, 1), 0u);
    CoreMemoryInputStream empty(nullptr, 0);
    EXPECT_EQ(decoder->Open(&empty, 1), 0u);
    CoreMemoryInputStream other(bmp.data(), format == kCoreImageBmp ? 1 : bmp.size());
    EXPECT_EQ(decoder->Open(&other, 1), 0u);
    EXPECT_EQ(decoder->GetInfo().width, 0);
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  }
}

TEST(CodecDecoding, FramesAndSizesThatAreNotThereGiveNull) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = Encode(MakePicture(10, 10, 24), format);
    EXPECT_EQ(Decode(bytes, 1), nullptr);
    EXPECT_EQ(Decode(bytes, -1), nullptr);
    EXPECT_EQ(Decode(bytes, INT_MAX), nullptr);
    EXPECT_EQ(Decode(bytes, 0, -1, 0), nullptr);
    EXPECT_EQ(Decode(bytes, 0, 0, -1), nullptr);
    EXPECT_EQ(Decode(bytes, 0, INT_MAX, INT_MAX), nullptr);
  }
}

TEST(CodecDecoding, ASizeScales) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(100, 60, 24));
  std::memset(dib.GetBuffer(), 77, dib.GetBufferSize());
  dib.SetDpi(100, 100);
  const std::string bytes = Encode(dib, kCoreImagePng);
  const struct {
    int width, height, gotWidth, gotHeight;
  } cases[] = {{50, 30, 50, 30},   {50, 0, 50, 30},    {0, 30, 50, 30},    {1, 1, 1, 1},
               {300, 0, 300, 180}, {1, 0, 1, 1},       {100, 60, 100, 60}, {100, 30, 100, 30},
               {50, 60, 50, 60},   {7, 1000, 7, 1000}, {1000, 1, 1000, 1}};
  for (const auto& c : cases) {
    const auto back = Decode(bytes, 0, c.width, c.height);
    ASSERT_NE(back, nullptr) << c.width << "x" << c.height;
    EXPECT_EQ(back->GetWidth(), c.gotWidth);
    EXPECT_EQ(back->GetHeight(), c.gotHeight);
    EXPECT_NEAR(back->GetDpiX(), c.gotWidth, 0.05);
    for (int y = 0; y < back->GetHeight(); ++y) {
      for (int x = 0; x < back->GetWidth(); ++x)
        ASSERT_EQ(back->GetArgb(x, y), 0xff4d4d4du) << x << ", " << y;
    }
  }
}

TEST(CodecDecoding, ScalingWeighsColorsByAlpha) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(2, 1, 32));
  const std::uint8_t pixels[] = {10, 20, 30, 255, 200, 200, 200, 0};
  std::memcpy(dib.GetBuffer(), pixels, sizeof pixels);
  const auto back = Decode(Encode(dib, kCoreImagePng), 0, 1, 1);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->GetArgb(0, 0), 0x801e140au);
}

TEST(CodecDecoding, ScalingKeepsGrayGrayAndUnfoldsPalettes) {
  EXPECT_EQ(Decode(Encode(MakePicture(40, 40, 1), kCoreImagePng), 0, 20, 20)->GetBitsPerPixel(), 8);
  CoreDib dib = MakePicture(40, 40, 4);
  image::GivePalette(dib, 16);
  EXPECT_EQ(Decode(Encode(dib, kCoreImagePng), 0, 20, 20)->GetBitsPerPixel(), 24);
}

TEST(CodecDecoding, ThePixelLimitIsAskedBeforeAnythingIsDecoded) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  EXPECT_EQ(usual, std::uint64_t{1} << 30);
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = Encode(MakePicture(100, 100, 24), format);
    registry.SetPixelLimit(100 * 300 - 1);
    EXPECT_EQ(Decode(bytes), nullptr) << CoreImageFormatName(format);
    registry.SetPixelLimit(100 * 300);
    EXPECT_EQ(Decode(bytes) != nullptr, format != kCoreImageJpeg2000) << CoreImageFormatName(format);
    registry.SetPixelLimit(100 * 300 + 100 * 100 * 12);  // JPEG 2000 unpacks whole numbers first
    EXPECT_NE(Decode(bytes), nullptr) << CoreImageFormatName(format);
    EXPECT_EQ(Decode(bytes, 0, 300, 300), nullptr) << CoreImageFormatName(format);
  }
  registry.SetPixelLimit(usual);
}

}  // namespace
