// SPDX-License-Identifier: MIT
// Details of single formats that no round trip meets.
#include "image_support.h"
#include "scratch_dir.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string BigEndian(std::size_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes) & 255U);
  return text;
}

// Segments of a JPEG that readers pass over, in front of everything else.
std::string WithSegments(const std::string& jpeg, const std::string& segments) {
  return jpeg.substr(0, 2) + segments + jpeg.substr(2);
}

std::string Segment(char marker, const std::string& content) {
  return std::string("\xff") + marker + BigEndian(content.size() + 2, 2) + content;
}

// Segments as long as the block that is read at once and around it, several of them, and the longest.
TEST(JpegDetails, SegmentsInFrontOfThePictureArePassedOver) {
  const CoreDib picture = image::MakePicture(40, 30, 24);
  const std::string jpeg = image::Encode(picture, kCoreImageJpeg);
  const auto plain = image::Decode(jpeg);
  ASSERT_NE(plain, nullptr);
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/a.jpg";
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, std::size_t{40}, std::size_t{32700}, std::size_t{32760},
        std::size_t{32768}, std::size_t{40000}, std::size_t{65533}}) {
    for (const int count : {1, 3}) {
      std::string segments;
      for (int i = 0; i < count; ++i) {
        // What lies in them looks like the end of the picture.
        std::string ends;
        while (ends.size() < size) ends += "\xff\xd9";
        segments += Segment('\xe1', (std::string("Exif\0\0", 6) + ends).substr(0, size));
        segments += Segment('\xe2', (std::string("ICC_PROFILE\0", 12) + ends).substr(0, size));
      }
      const std::string file = WithSegments(jpeg, segments);
      const auto viewed = image::Decode(file);
      ASSERT_NE(viewed, nullptr) << size;
      EXPECT_EQ(image::Difference(*viewed, *plain), "") << size;
      image::StubbornInput piecemeal(file, file.size());
      const auto blocks = image::Decode(piecemeal);
      ASSERT_NE(blocks, nullptr) << size;
      EXPECT_EQ(image::Difference(*blocks, *plain), "") << size;
      std::ofstream(path, std::ios::binary) << file;
      CoreFileInputStream in(path.c_str());
      const auto read = image::Decode(in);
      ASSERT_NE(read, nullptr) << size;
      EXPECT_EQ(image::Difference(*read, *plain), "") << size;
      // Cut within the segments there is no picture.
      for (const std::size_t cut : {std::size_t{5}, segments.size() / 2, segments.size() + 1}) {
        image::StubbornInput ends(file, cut);
        EXPECT_EQ(image::Decode(ends), nullptr) << size;
        EXPECT_EQ(image::Decode(file.substr(0, cut)), nullptr) << size;
      }
    }
  }
}

// Wherever the end of a block falls: in a head, in what is passed over, in front of the last byte.
TEST(JpegDetails, ABlockMayEndAnywhere) {
  constexpr std::size_t kBlock = 32768;
  const CoreDib picture = image::MakePicture(8, 8, 24);
  const std::string jpeg = image::Encode(picture, kCoreImageJpeg);
  const auto plain = image::Decode(jpeg);
  ASSERT_NE(plain, nullptr);
  const std::string second = Segment('\xe2', std::string(300, '\xd9'));
  for (std::size_t at = kBlock - 320; at <= kBlock + 8; ++at) {
    // The second segment begins `at`.
    const std::string file = WithSegments(jpeg, Segment('\xe1', std::string(at - 6, '\xff')) + second);
    image::StubbornInput in(file, file.size());
    const auto bitmap = image::Decode(in);
    ASSERT_NE(bitmap, nullptr) << at;
    ASSERT_EQ(image::Difference(*bitmap, *plain), "") << at;
  }
  for (const std::size_t size : {kBlock - 1, kBlock, kBlock + 1, kBlock + 2, 2 * kBlock + 1}) {
    std::string file = jpeg;
    while (file.size() < size)
      file = WithSegments(
          file, Segment('\xe1', std::string(std::min<std::size_t>(size - file.size(), 20'000) - 4, 'x')));
    ASSERT_EQ(file.size(), size);
    image::StubbornInput in(file, file.size());
    const auto bitmap = image::Decode(in);
    ASSERT_NE(bitmap, nullptr) << size;
    EXPECT_EQ(image::Difference(*bitmap, *plain), "") << size;
  }
}

// Whatever lies in memory behind the stream is no part of it, and what is no mark of the end is none.
TEST(JpegDetails, AFileEndsWhereItsStreamDoes) {
  const std::string jpeg = image::Encode(image::MakePicture(40, 30, 24), kCoreImageJpeg);
  for (const std::size_t ahead : {std::size_t{0}, std::size_t{100}, std::size_t{1000}}) {
    const std::string bytes = std::string(ahead, 'x') + jpeg;
    for (const std::size_t missing :
         {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{30}, std::size_t{90}}) {
      CoreMemoryInputStream in(bytes.data(), bytes.size() - missing);
      in.Seek(ahead);
      EXPECT_EQ(image::Decode(in) != nullptr, missing == 0) << ahead << ", " << missing;
    }
  }
  EXPECT_EQ(image::Decode(jpeg.substr(0, jpeg.size() - 2) + std::string(100, '\0')), nullptr);
  EXPECT_NE(image::Decode(jpeg + std::string(100, '\0')), nullptr);
}

// What a file of several scans costs: 2 bytes for each component of each pixel, besides the bitmap.
TEST(JpegDetails, TheLimitPaysForTheCoefficientsOfAProgressiveFile) {
  const std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/progressive.jpg");
  CoreImageInfo info;
  const auto bitmap = image::Decode(file, 0, 0, 0, &info);
  ASSERT_NE(bitmap, nullptr);
  const auto pixels = static_cast<std::uint64_t>(info.width) * static_cast<std::uint64_t>(info.height);
  const std::uint64_t most =
      bitmap->GetBufferSize() + pixels * static_cast<std::uint64_t>(info.fileBitsPerPixel) / 8 * 2;
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  registry.SetPixelLimit(most);
  EXPECT_NE(image::Decode(file), nullptr);
  registry.SetPixelLimit(most - 1);
  EXPECT_EQ(image::Decode(file), nullptr);
  // It is refused before anything is decoded.
  CoreMemoryInputStream in(file.data(), file.size());
  EXPECT_FALSE(registry.GetFactory().CreateDecoder(kCoreImageJpeg)->Open(&in, 0));
  registry.SetPixelLimit(usual);
}

TEST(JpegDetails, AFileMayHave500Scans) {
  std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/progressive.jpg");
  int scans = 0;
  for (std::size_t at = file.find("\xff\xda"); at != std::string::npos; at = file.find("\xff\xda", at + 2))
    ++scans;
  const std::size_t last = file.rfind("\xff\xda");
  const std::string scan = file.substr(last, file.size() - 2 - last);
  file.resize(file.size() - 2);
  for (; scans < 500; ++scans) file += scan;
  EXPECT_NE(image::Decode(file + "\xff\xd9"), nullptr);
  EXPECT_EQ(image::Decode(file + scan + "\xff\xd9"), nullptr);
}

TEST(JpegDetails, TheUnitOfTheDensityCounts) {
  CoreDib picture = image::MakePicture(8, 8, 24);
  picture.SetDpi(100, 50);
  const std::string jpeg = image::Encode(picture, kCoreImageJpeg);
  const std::size_t unit = jpeg.find("JFIF") + 7;
  ASSERT_EQ(jpeg[unit], 1);
  const struct {
    char unit;
    float dpiX, dpiY;
  } rows[] = {{0, 0, 0}, {1, 100, 50}, {2, 254, 127}};
  for (const auto& row : rows) {
    std::string file = jpeg;
    file[unit] = row.unit;
    CoreImageInfo info;
    const auto bitmap = image::Decode(file, 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_FLOAT_EQ(info.dpiX, row.dpiX) << int{row.unit};
    EXPECT_FLOAT_EQ(info.dpiY, row.dpiY) << int{row.unit};
    EXPECT_FLOAT_EQ(bitmap->GetDpiX(), row.dpiX) << int{row.unit};
    EXPECT_FLOAT_EQ(bitmap->GetDpiY(), row.dpiY) << int{row.unit};
  }
}

// A stream without a view is read in blocks that double: 65,536 bytes, then twice as many, and so on.
TEST(WebpDetails, AFileLongerThanABlockIsReadFromAnyStream) {
  CoreDib picture;
  ASSERT_TRUE(picture.Create(400, 300, 24));
  unsigned state = 3;
  for (std::size_t i = 0; i < picture.GetBufferSize(); ++i) {
    state = state * 1664525U + 1013904223U;
    picture.GetBuffer()[i] = static_cast<std::uint8_t>(state >> 24);
  }
  const std::string file = image::Encode(picture, kCoreImageWebp);
  ASSERT_GT(file.size(), 5U * 65536);
  for (const std::size_t ahead : {std::size_t{0}, std::size_t{100}}) {
    image::StubbornInput in(std::string(ahead, 'R') + file + "and a tail", UINT64_MAX);
    in.Seek(ahead);
    const auto bitmap = image::Decode(in);
    ASSERT_NE(bitmap, nullptr) << ahead;
    EXPECT_EQ(image::Difference(*bitmap, picture), "") << ahead;
  }
  image::StubbornInput cut(file, file.size() - 1);
  EXPECT_EQ(image::Decode(cut), nullptr);
}

// The head states the length in four bytes, and what lies behind the picture counts.
TEST(WebpDetails, AllOfTheLengthCounts) {
  const CoreDib picture = image::MakePicture(20, 10, 24);
  const std::string plain = image::Encode(picture, kCoreImageWebp);
  for (const std::size_t length :
       {plain.size(), std::size_t{0x1304}, std::size_t{0x020304}, std::size_t{0x01020304}}) {
    ASSERT_GE(length, plain.size());
    std::string file = plain;
    for (std::size_t i = 0; i < 4; ++i) file[4 + i] = static_cast<char>((length - 8) >> (8 * i) & 255U);
    file.resize(length);
    const auto bitmap = image::Decode(file);
    ASSERT_NE(bitmap, nullptr) << length;
    EXPECT_EQ(image::Difference(*bitmap, picture), "") << length;
    file.pop_back();
    EXPECT_EQ(image::Decode(file), nullptr) << length;
  }
}

// Animations that end early though their head says that this is all. Behind a frame they may end.
TEST(WebpDetails, AnAnimationThatIsCutWithinAFrameIsRefused) {
  const std::string whole = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.webp");
  std::set<std::size_t> ends;
  for (std::size_t at = 12; at < whole.size();) {
    const bool frame = whole.compare(at, 4, "ANMF") == 0;
    const auto byte = [&](std::size_t i) {
      return static_cast<std::size_t>(static_cast<unsigned char>(whole[at + i]));
    };
    at += 8 + (byte(4) | byte(5) << 8);
    if (frame) ends.insert(at);
  }
  ASSERT_EQ(ends.size(), 5U);
  for (std::size_t size = 12; size < whole.size(); ++size) {
    std::string file = whole.substr(0, size);
    for (std::size_t i = 0; i < 4; ++i) file[4 + i] = static_cast<char>((size - 8) >> (8 * i) & 255U);
    CoreMemoryInputStream in(file.data(), file.size());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageWebp);
    const bool isWhole = ends.count(size) != 0;
    EXPECT_EQ(decoder->Open(&in, 0), isWhole ? 1U : 0U) << size;
    EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), isWhole ? kCoreDecodeNoFailure : kCoreDecodeBroken)
        << size;
  }
}

// A frame whose pixels are nonsense ends the animation there.
TEST(WebpDetails, ABrokenFrameGivesNull) {
  std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.webp");
  const auto first = image::Decode(file);
  ASSERT_NE(first, nullptr);
  const std::size_t second = file.find("ANMF", file.find("ANMF") + 4);
  ASSERT_NE(second, std::string::npos);
  const std::size_t length = static_cast<unsigned char>(file[second + 4]);
  ASSERT_GT(length, 34U);
  for (std::size_t i = second + 8 + 16 + 8 + 5; i < second + 8 + length; ++i) file[i] = '\xff';
  CoreMemoryInputStream in(file.data(), file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageWebp);
  ASSERT_EQ(decoder->Open(&in, 0), 1U);
  EXPECT_EQ(decoder->GetBitmap(1, 0, 0), nullptr);
  EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeBroken);
  const auto got = decoder->GetBitmap(0, 0, 0);
  ASSERT_NE(got, nullptr);
  EXPECT_EQ(image::Difference(*got, *first), "");
}

// A gray picture of 16 bits whose pixels have these samples, of which the first is its level and the others
// are white.
std::string DeepTiff(const std::vector<std::uint32_t>& levels, std::uint32_t samples) {
  const auto put = [](std::string& to, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) to += static_cast<char>(value >> (8 * i));
  };
  constexpr std::uint32_t kBehind = 122;  // the directory
  const auto width = static_cast<std::uint32_t>(levels.size());
  const std::uint32_t depths = samples == 1 ? 16 : samples == 2 ? 0x100010 : kBehind;
  const struct {
    std::uint32_t tag, type, count, value;
  } entries[] = {{256, 4, 1, width},   {257, 4, 1, 1}, {258, 3, samples, depths},
                 {259, 3, 1, 1},       {262, 3, 1, 1}, {273, 4, 1, kBehind + 2 * samples},
                 {277, 3, 1, samples}, {278, 4, 1, 1}, {279, 4, 1, 2 * width * samples}};
  std::string file("II*\0\x08\0\0\0", 8);
  put(file, std::size(entries), 2);
  for (const auto& entry : entries) {
    put(file, entry.tag, 2);
    put(file, entry.type, 2);
    put(file, entry.count, 4);
    put(file, entry.value, 4);
  }
  put(file, 0, 4);
  for (std::uint32_t i = 0; i < samples; ++i) put(file, 16, 2);
  for (const std::uint32_t level : levels) {
    put(file, level, 2);
    for (std::uint32_t i = 1; i < samples; ++i) put(file, 0xFFFF, 2);
  }
  return file;
}

// Up to more than are narrowed at a time.
TEST(TiffDetails, APixelMayHaveThousandsOfSamples) {
  for (const std::uint32_t samples : {1U, 2U, 4095U, 4096U, 4097U, 5000U}) {
    for (const std::vector<std::uint32_t>& levels :
         {std::vector<std::uint32_t>{0x4000}, {0x4000, 0xC0FF}, {0, 0xFFFF, 0x8000}}) {
      SCOPED_TRACE(std::to_string(levels.size()) + " pixels of " + std::to_string(samples) + " samples");
      const auto picture = image::Decode(DeepTiff(levels, samples));
      ASSERT_NE(picture, nullptr);
      ASSERT_EQ(picture->GetWidth(), static_cast<int>(levels.size()));
      for (int x = 0; x < picture->GetWidth(); ++x) {
        const std::uint32_t level = levels[static_cast<std::size_t>(x)];
        EXPECT_EQ(picture->GetArgb(x, 0) & 0xFFFFFF, (level * 255 + 32767) / 65535 * 0x10101) << x;
      }
    }
  }
}

// Box by box: the resolution is one in the header box, which a file need not have.
TEST(Jpeg2000Details, WithoutAResolutionBothDpiAreZero) {
  const CoreDib picture = image::MakePicture(20, 10, 24);
  const std::string plain = image::Encode(picture, kCoreImageJpeg2000);
  ASSERT_EQ(plain.find("res "), std::string::npos);
  CoreDib dense = image::MakePicture(20, 10, 24);
  dense.SetDpi(300, 150);
  std::string renamed = image::Encode(dense, kCoreImageJpeg2000);
  ASSERT_NE(renamed.find("res "), std::string::npos);
  std::string inner = renamed;
  renamed.replace(renamed.find("res "), 4, "reX ");
  inner.replace(inner.find("resc"), 4, "resX");
  const std::string bare = plain.substr(plain.find("\xff\x4f\xff\x51"));
  for (const std::string& file : {plain, renamed, inner, bare}) {
    CoreImageInfo info;
    info.dpiX = info.dpiY = 7;
    const auto bitmap = image::Decode(file, 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr);
    for (const float dpi : {info.dpiX, info.dpiY, bitmap->GetDpiX(), bitmap->GetDpiY()}) EXPECT_EQ(dpi, 0);
  }
}

// The factories of encoders and decoders return objects that the caller owns: under the leak check of the
// sanitizers nothing is left once it lets go, and what one decoder reads another one does not.
TEST(CodecFactory, TheCallerOwnsWhatItGets) {
  const CoreCodecFactory& factory = CoreCodecRegistry::Get().GetFactory();
  const std::string bytes = image::Encode(image::MakePicture(9, 7, 24), kCoreImagePng);
  for (const CoreImageFormat format : image::kFormats) {
    std::unique_ptr<CoreImageDecoder> first = factory.CreateDecoder(format);
    std::unique_ptr<CoreImageDecoder> second = factory.CreateDecoder(format);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first.get(), second.get());
    first.reset();
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    EXPECT_EQ(second->Open(&in, 0), format == kCoreImagePng ? 1u : 0u);
    std::unique_ptr<CoreImageEncoder> encoder = factory.CreateEncoder(format);
    EXPECT_NE(static_cast<const void*>(encoder.get()), static_cast<const void*>(second.get()));
    EXPECT_TRUE(encoder == nullptr || encoder.get() != factory.CreateEncoder(format).get());
  }
}

// A frame of an animation that a decoder keeps, its palette and its stream's bytes go with it.
TEST(CodecFactory, ADecoderThatGoesMidwayLeavesNothing) {
  for (const char* name : {"animation.gif", "animation.webp"}) {
    const std::string bytes = image::ReadFile(std::string(TOVKIT_SOURCE_DIR "/tests/data/images/") + name);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
    ASSERT_EQ(decoder->Open(&in, 0), 1u) << name;
    auto frame = decoder->GetBitmap(1, 0, 0);
    ASSERT_NE(frame, nullptr) << name;
    const std::uint32_t pixel = frame->GetArgb(3, 3);
    decoder.reset();
    EXPECT_EQ(frame->GetArgb(3, 3), pixel) << "the bitmap outlives its decoder";
  }
}

TEST(MovedBitmaps, KeepBothResolutions) {
  CoreDib from = image::MakePicture(3, 2, 24);
  from.SetDpi(300, 150);
  CoreDib made(std::move(from));
  EXPECT_EQ(made.GetDpiX(), 300);
  EXPECT_EQ(made.GetDpiY(), 150);
  CoreDib assigned = image::MakePicture(2, 2, 8);
  assigned.SetDpi(1, 2);
  assigned = std::move(made);
  EXPECT_EQ(assigned.GetDpiX(), 300);
  EXPECT_EQ(assigned.GetDpiY(), 150);
  CoreDib copied;
  ASSERT_TRUE(copied.CopyFrom(assigned));
  EXPECT_EQ(copied.GetDpiX(), 300);
  EXPECT_EQ(copied.GetDpiY(), 150);
}

}  // namespace
