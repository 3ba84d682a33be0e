// SPDX-License-Identifier: MIT
// Which codecs there are, and how formats are told: by content, by extension, by name.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <set>
#include <string>

namespace {

using image::Encode;
using image::kWritable;
using image::MakePicture;

TEST(CodecRegistry, GifIsNotWritten) {
  EXPECT_EQ(CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImageGif), nullptr);
  EXPECT_NE(CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif), nullptr);
}

TEST(CodecRegistry, UnknownFormatsHaveNoCodec) {
  const CoreCodecFactory& factory = CoreCodecRegistry::Get().GetFactory();
  for (const std::uint32_t format : {0U, 8U, 1000U, UINT32_MAX}) {
    EXPECT_EQ(factory.CreateEncoder(static_cast<CoreImageFormat>(format)), nullptr);
    EXPECT_EQ(factory.CreateDecoder(static_cast<CoreImageFormat>(format)), nullptr);
    EXPECT_STREQ(CoreImageFormatName(static_cast<CoreImageFormat>(format)), "unknown");
  }
}

TEST(CodecRegistry, DetectionGoesByContentAndKeepsThePosition) {
  for (const CoreImageFormat format : kWritable) {
    const std::string bytes = "before" + Encode(MakePicture(5, 5, 24), format);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    in.Seek(6);
    EXPECT_EQ(CoreDetectImageFormat(&in), format);
    EXPECT_EQ(in.GetPosition(), 6u);
  }
  const struct {
    std::string text;
    CoreImageFormat format;
  } cases[] = {{"", kCoreImageUnknown},
               {"B", kCoreImageUnknown},
               {"GIF88a", kCoreImageUnknown},
               {"GIF89", kCoreImageUnknown},
               {"GIF89a", kCoreImageGif},
               {"GIF87a", kCoreImageGif},
               {std::string("MM\0*", 4), kCoreImageTiff},
               {std::string("MM\0+", 4), kCoreImageTiff},
               {"RIFF....WAVE", kCoreImageUnknown},
               {"JUNK....WEBP", kCoreImageUnknown},
               {"just some text", kCoreImageUnknown}};
  for (const auto& c : cases) {
    CoreMemoryInputStream in(c.text.data(), c.text.size());
    EXPECT_EQ(CoreDetectImageFormat(&in), c.format) << c.text;
  }
  EXPECT_EQ(CoreDetectImageFormat(nullptr), kCoreImageUnknown);
}

// Every byte of a signature counts, and no byte behind it.
TEST(CodecRegistry, DetectionNeedsTheWholeSignature) {
  const struct {
    std::string signature;
    CoreImageFormat format;
    std::size_t anyFirst = 0, anyLast = 0;  // bytes that say nothing
  } cases[] = {{"\x89PNG\r\n\x1a\n", kCoreImagePng},
               {"\xff\xd8\xff", kCoreImageJpeg},
               {std::string("II*\0", 4), kCoreImageTiff},
               {std::string("MM\0*", 4), kCoreImageTiff},
               {std::string("II+\0", 4), kCoreImageTiff},
               {std::string("MM\0+", 4), kCoreImageTiff},
               {"RIFF1234WEBP", kCoreImageWebp, 4, 8},
               {std::string("\0\0\0\x0cjP  \r\n\x87\n", 12), kCoreImageJpeg2000},
               {"\xff\x4f\xff\x51", kCoreImageJpeg2000},
               {"BM", kCoreImageBmp},
               {"GIF87a", kCoreImageGif},
               {"GIF89a", kCoreImageGif}};
  for (const auto& c : cases) {
    const auto detect = [](const std::string& bytes) {
      CoreMemoryInputStream in(bytes.data(), bytes.size());
      return CoreDetectImageFormat(&in);
    };
    EXPECT_EQ(detect(c.signature), c.format) << c.signature;
    EXPECT_EQ(detect(c.signature + "and more of it"), c.format) << c.signature;
    for (std::size_t i = 0; i < c.signature.size(); ++i) {
      EXPECT_EQ(detect(c.signature.substr(0, i)), kCoreImageUnknown) << c.signature << ", " << i;
      std::string other = c.signature;
      other[i] = static_cast<char>(other[i] ^ 0x40);
      const bool counts = i < c.anyFirst || i >= c.anyLast;
      EXPECT_EQ(detect(other), counts ? kCoreImageUnknown : c.format) << c.signature << ", " << i;
    }
  }
}

TEST(CodecRegistry, ExtensionsStandForFormats) {
  const struct {
    const char* extension;
    CoreImageFormat format;
  } cases[] = {{"png", kCoreImagePng},       {".PNG", kCoreImagePng},     {"jpg", kCoreImageJpeg},
               {"jpeg", kCoreImageJpeg},     {"tif", kCoreImageTiff},     {"tiff", kCoreImageTiff},
               {"webp", kCoreImageWebp},     {"jp2", kCoreImageJpeg2000}, {"bmp", kCoreImageBmp},
               {"gif", kCoreImageGif},       {"", kCoreImageUnknown},     {".", kCoreImageUnknown},
               {"..png", kCoreImageUnknown}, {"pn", kCoreImageUnknown},   {nullptr, kCoreImageUnknown}};
  for (const auto& c : cases)
    EXPECT_EQ(CoreImageFormatFromExtension(c.extension), c.format) << (c.extension ? c.extension : "null");
}

TEST(CodecRegistry, BackendsAreNamedWithTheirVersions) {
  std::set<std::string> names;
  for (const CoreString& line : CoreCodecRegistry::Get().DescribeBackends()) {
    const std::string text = line.c_str();
    const std::size_t gap = text.find(' ');
    ASSERT_NE(gap, std::string::npos) << text;
    EXPECT_TRUE(gap + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[gap + 1])) != 0)
        << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    names.insert(text.substr(0, gap));
  }
  EXPECT_EQ(names,
            (std::set<std::string>{"libpng", "libjpeg-turbo", "libtiff", "libwebp", "OpenJPEG", "giflib"}));
}

}  // namespace
