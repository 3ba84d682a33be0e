// SPDX-License-Identifier: MIT
// What all encoders have in common: the bitmap stays, the bytes are the same each time, failures are told.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using image::Describe;
using image::Encode;
using image::kWritable;
using image::MakePicture;

TEST(CodecEncoding, ALowerQualityMakesASmallerFile) {
  const CoreDib dib = MakePicture(200, 200, 24);
  for (const CoreImageFormat format : {kCoreImageJpeg, kCoreImageWebp, kCoreImageJpeg2000}) {
    EXPECT_LT(Encode(dib, format, 20).size(), Encode(dib, format, 80).size()) << CoreImageFormatName(format);
    EXPECT_EQ(Encode(dib, format, -5).size(), Encode(dib, format, 0).size()) << CoreImageFormatName(format);
    EXPECT_EQ(Encode(dib, format, 500).size(), Encode(dib, format, 100).size())
        << CoreImageFormatName(format);
  }
}

TEST(CodecEncoding, EncodeLeavesTheBitmapAsItIs) {
  for (const CoreImageFormat format : kWritable) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      const CoreDib dib = MakePicture(37, 21, bits);
      CoreDib kept;
      ASSERT_TRUE(kept.CopyFrom(dib));
      Encode(dib, format);
      Encode(dib, format, 50);
      EXPECT_EQ(std::memcmp(kept.GetBuffer(), dib.GetBuffer(), dib.GetBufferSize()), 0)
          << Describe(format, dib);
    }
  }
}

TEST(CodecEncoding, EncodeIsReproducible) {
  for (const CoreImageFormat format : kWritable)
    EXPECT_EQ(Encode(MakePicture(30, 30, 24), format), Encode(MakePicture(30, 30, 24), format));
}

TEST(CodecEncoding, EncodeRefusesWhatHasNoPixelsAndNullStreams) {
  const CoreDib picture = MakePicture(3, 3, 24);
  const CoreDib empty;
  CoreMemoryOutputStream out;
  for (const CoreImageFormat format : kWritable) {
    const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
    EXPECT_EQ(encoder->Encode(nullptr, &out), 0u);
    EXPECT_EQ(encoder->Encode(&empty, &out), 0u);
    EXPECT_EQ(encoder->Encode(&picture, nullptr), 0u);
    EXPECT_EQ(out.GetSize(), 0u);
  }
}

TEST(CodecEncoding, EncodeRefusesSizesThatTheFormatCannotHold) {
  CoreDib wide;
  ASSERT_TRUE(wide.Create(70000, 1, 8));
  EXPECT_EQ(Encode(wide, kCoreImageJpeg), "");
  EXPECT_EQ(Encode(wide, kCoreImageWebp), "");
  EXPECT_NE(Encode(wide, kCoreImagePng), "");
}

TEST(CodecEncoding, AWriteThatFailsGivesZeroWhereverItHappens) {
  for (const CoreImageFormat format : kWritable) {
    for (const int bits : {1, 24, 32}) {
      CoreDib dib = MakePicture(150, 90, bits);
      dib.SetDpi(72, 72);
      const std::size_t size = Encode(dib, format).size();
      const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
      for (std::size_t limit = 0; limit < size; limit += 1 + size / 15) {
        image::FullOutput out(limit);
        EXPECT_EQ(encoder->Encode(&dib, &out), 0u) << Describe(format, dib) << " after " << limit << " bytes";
      }
      image::FullOutput out(size);
      EXPECT_EQ(encoder->Encode(&dib, &out), 1u) << Describe(format, dib);
    }
  }
}

TEST(CodecEncoding, AJpegOfManyBlocksFailsAtEachOfThem) {
  const CoreDib dib = MakePicture(300, 300, 24);
  const std::size_t size = Encode(dib, kCoreImageJpeg, 100).size();
  ASSERT_GT(size, 3U * 32768);  // the encoder hands on blocks of this size
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageJpeg);
  encoder->SetQuality(100);
  for (const std::size_t limit : {std::size_t{0}, std::size_t{32768}, std::size_t{65536}, size - 1}) {
    image::FullOutput out(limit);
    EXPECT_EQ(encoder->Encode(&dib, &out), 0u) << limit;
  }
  image::FullOutput out(size);
  EXPECT_EQ(encoder->Encode(&dib, &out), 1u) << "an encoder is of use after failures";
}

TEST(CodecEncoding, AQualityBeyondTheScaleIsItsEnd) {
  const CoreDib dib = MakePicture(60, 40, 24);
  for (const CoreImageFormat format : {kCoreImageJpeg, kCoreImageWebp, kCoreImageJpeg2000}) {
    EXPECT_TRUE(Encode(dib, format, 101) == Encode(dib, format, 100)) << CoreImageFormatName(format);
    EXPECT_TRUE(Encode(dib, format, 1000) == Encode(dib, format, 100)) << CoreImageFormatName(format);
    EXPECT_TRUE(Encode(dib, format, -1) == Encode(dib, format, 0)) << CoreImageFormatName(format);
    EXPECT_FALSE(Encode(dib, format, 50) == Encode(dib, format, 100)) << CoreImageFormatName(format);
  }
}

}  // namespace
